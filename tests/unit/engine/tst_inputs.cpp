#include "engine/inputs.h"

#include "model/projectspec.h"
#include "rows.h"
#include "testfiles.h"

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
        QVERIFY(inputs.contains(FileStatus::of(path(u"link"_s))));
        QVERIFY(inputs.contains(FileStatus::of(m_spec.projectFile)));
        QVERIFY(!inputs.contains(FileStatus::of(path(u"other"_s))));
        QVERIFY(!inputs.contains(FileStatus::of(path(u"missing"_s))));
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
            QVERIFY2(inputs.contains(FileStatus::of(path(file))), qPrintable(file));
        m_spec.mtd16 = {0};
        QVERIFY(!Inputs(m_spec).contains(FileStatus::of(path(u"definitions"_s))));
    }

    // What was an input when the inputs were looked at may have become something else.
    void fileThatIsNoLongerAnInput()
    {
        const Inputs inputs(m_spec);
        QVERIFY(inputs.contains(FileStatus::of(texts())));
        QVERIFY(QFile::rename(texts(), path(u"output"_s)));
        QVERIFY(TestFiles::write(texts()));
        QVERIFY(!inputs.contains(FileStatus::of(path(u"output"_s))));
    }

    void fileThatHasBecomeAnInput()
    {
        Inputs inputs(m_spec);
        QVERIFY(inputs.contains(FileStatus::of(texts())));
        QVERIFY(QFile::remove(texts()) && QFile::rename(path(u"other"_s), texts()));
        inputs.forget();
        QVERIFY(inputs.contains(FileStatus::of(texts())));
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
    }
    void luaFilesOfMergedTrees()
    {
        const auto [source, objects, file, isSource] = fetch<QString, QString, QString, bool>();
        for (const QString &name : {u"root/a.lua"_s, u"root/a.txt"_s, u"obj/root/a.lua"_s})
            QVERIFY(TestFiles::write(path(name)));
        QVERIFY(QFile::link(u"../root/a.lua"_s, path(u"obj/link.luo"_s)));
        merge(source);
        m_spec.objectDirectory = objects;
        QCOMPARE(Inputs(m_spec).isLuaSource(path(file)), isSource);
    }

private:
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
