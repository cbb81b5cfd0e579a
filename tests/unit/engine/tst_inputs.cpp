#include "engine/inputs.h"

#include "model/projectspec.h"
#include "rows.h"
#include "testfiles.h"

#include <unistd.h>

using namespace Qt::StringLiterals;

class TestInputs : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        m_spec = {};
        m_spec.projectFile = path(u"box.ztp"_s);
        m_spec.languages = QStringList{u"de"_s};
        QVERIFY(TestFiles::write(m_spec.projectFile));
        QVERIFY(QDir().mkpath(path(u"translations"_s)));
        QVERIFY(TestFiles::write(texts()));
        QVERIFY(TestFiles::write(path(u"other"_s)));
    }

    void inputsAreKnownByAnyName()
    {
        QVERIFY(QFile::link(texts(), path(u"link"_s)));
        const Inputs inputs(m_spec);
        QVERIFY(contains(inputs, path(u"link"_s)));
        QVERIFY(contains(inputs, m_spec.projectFile));
        QVERIFY(!contains(inputs, path(u"other"_s)));
        QVERIFY(!contains(inputs, path(u"missing"_s)));
    }

    void inputsOfEachKind()
    {
        m_spec.setSdk(path(u"sdk"_s));
        m_spec.refreshSdkCache();
        m_spec.keyFile = u"key"_s;
        m_spec.mtd16 = {1};
        m_spec.mtd16Source = path(u"definitions"_s);
        m_spec.targets.append({u"T1"_s, {}, {}, -1});
        merge(u"file"_s);
        const QStringList files{u"sdk/kernel/base.romfs"_s,
                                u"sdk/kernel/install.romfs"_s,
                                u"sdk/kernel/T1-kernel.bin"_s,
                                u"sdk/kernel/T1-boot.bin"_s,
                                u"definitions"_s,
                                u"key"_s,
                                u"file"_s};
        for (const QString &file : files)
            QVERIFY(TestFiles::write(path(file)));
        const Inputs inputs(m_spec);
        for (const QString &file : files)
            QVERIFY2(contains(inputs, path(file)), qPrintable(file));
        m_spec.mtd16 = {0};
        QVERIFY(!contains(Inputs(m_spec), path(u"definitions"_s)));
    }

    // What was an input when the inputs were looked at may have become something else.
    void fileThatIsNoLongerAnInput()
    {
        const Inputs inputs(m_spec);
        QVERIFY(contains(inputs, texts()));
        QVERIFY(QFile::rename(texts(), path(u"output"_s)));
        QVERIFY(TestFiles::write(texts()));
        QVERIFY(!contains(inputs, path(u"output"_s)));
    }

    void fileThatHasBecomeAnInput()
    {
        Inputs inputs(m_spec);
        QVERIFY(contains(inputs, texts()));
        QVERIFY(QFile::remove(texts()) && QFile::rename(path(u"other"_s), texts()));
        inputs.forget();
        QVERIFY(contains(inputs, texts()));
    }

    void luaFilesOfMergedTrees_data()
    {
        const Rows<QString, QString, QString, bool> row; // source, object directory, file
        row("source", u"root"_s, u"obj"_s, u"root/a.lua"_s, true);
        row("through a link", u"root"_s, u"obj"_s, u"obj/link.luo"_s, true);
        row("object directory above", u"root"_s, u"."_s, u"root/a.lua"_s, true);
        row("object", u"root"_s, u"obj"_s, u"obj/root/a.lua"_s, false);
        row("object inside the tree", u"."_s, u"obj"_s, u"obj/root/a.lua"_s, false);
        row("source beside the objects", u"."_s, u"obj"_s, u"root/a.lua"_s, true);
        row("no Lua file", u"root"_s, u"obj"_s, u"root/a.txt"_s, false);
        row("tree that is missing", u"none"_s, u"obj"_s, u"root/a.lua"_s, false);
        row("missing", u"root"_s, u"obj"_s, u"root/missing.lua"_s, false);
        row("hard link", u"root"_s, u"obj"_s, u"obj/hard.luo"_s, true);
        row("hard link of an object", u"."_s, u"obj"_s, u"obj/copy.luo"_s, false);
        row("through a link in the tree", u"root"_s, u"obj"_s, u"obj/far.luo"_s, true);
        row("the same file by its own name", u"root"_s, u"obj"_s, u"far/b.lua"_s, false);
    }
    void luaFilesOfMergedTrees()
    {
        const auto [source, objects, file, isSource] = fetch<QString, QString, QString, bool>();
        for (const QString &name : {u"root/a.lua"_s, u"root/a.txt"_s, u"obj/root/a.lua"_s,
                                    u"root/hard.lua"_s, u"obj/root/copy.lua"_s, u"far/b.lua"_s})
            QVERIFY(TestFiles::write(path(name)));
        QVERIFY(QFile::link(u"../root/a.lua"_s, path(u"obj/link.luo"_s)));
        QVERIFY(QFile::link(u"../far"_s, path(u"root/far"_s)));
        QVERIFY(QFile::link(u"../far/b.lua"_s, path(u"obj/far.luo"_s)));
        QVERIFY(linkHard(u"root/hard.lua"_s, u"obj/hard.luo"_s));
        QVERIFY(linkHard(u"obj/root/copy.lua"_s, u"obj/copy.luo"_s));
        merge(source);
        m_spec.objectDirectory = objects;
        QCOMPARE(contains(Inputs(m_spec), path(file)), isSource);
    }

private:
    static bool contains(const Inputs &inputs, const QString &file)
    {
        return inputs.contains(file, FileStatus::of(file));
    }
    bool linkHard(const QString &file, const QString &name) const
    {
        return ::link(path(file).toLocal8Bit().constData(), path(name).toLocal8Bit().constData())
               == 0;
    }
    QString path(const QString &name) const { return m_world->filePath(name); }
    QString texts() const { return m_spec.tsFilePath(u"de.ts"_s); }
    void merge(const QString &source)
    {
        FilesystemSpec filesystem;
        filesystem.merges.append({MergeSpec::Type::Directory, source, {}, {}});
        m_spec.filesystems.append(filesystem);
    }

    std::unique_ptr<QTemporaryDir> m_world;
    ProjectSpec m_spec;
};

QTEST_GUILESS_MAIN(TestInputs)
#include "tst_inputs.moc"
