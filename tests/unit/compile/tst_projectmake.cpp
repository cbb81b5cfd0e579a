#include "compile/projectmake.h"

#include "rows.h"
#include "testfiles.h"

#include <sys/resource.h>

using namespace Qt::StringLiterals;

/// What can be seen without the SDK programs; their runs are covered by the black-box tests.
class TestProjectMake : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        m_spec = {};
        m_spec.objectDirectory = m_world->path();
        m_project = std::make_unique<RecordingProject>(m_spec);
        m_make = std::make_unique<ProjectMake>(m_project.get());
        m_make->sourceDirectory = path(u"src"_s);
        m_make->objectDirectory = path(u"obj/root"_s);
        m_make->verbosity = 1;
    }

    void newCompilerHasTheDefaults()
    {
        const ProjectMake make(m_project.get());
        QCOMPARE(make.verbosity, -1);
        QVERIFY(make.process == ProcessSpec() && !make.rebuildAll && !make.referenceTime.isValid());
        QCOMPARE(make.sdkIncludeDirectory, QString());
    }

    void needRebuild_data()
    {
        Rows<int, int, int, bool, bool> row; // input (milliseconds; -1: missing), output, reference
                                             // (-1: none), rebuildAll, expected
        row("forced", 1, 2, -1, true, true);
        row("output missing", 1, -1, -1, false, true);
        row("output missing, input too", -1, -1, -1, false, true);
        row("input missing", -1, 1, -1, false, false);
        row("older", 2, 1, -1, false, true);
        row("equal", 2, 2, -1, false, false);
        row("newer", 1, 2, -1, false, false);
        row("older than the reference", 1, 2, 3, false, true);
        row("as old as the reference", 1, 2, 2, false, false);
        row("newer than the reference", 1, 3, 2, false, false);
        row("input missing, older than the reference", -1, 2, 3, false, true);
    }
    void needRebuild()
    {
        const auto [input, output, reference, rebuildAll, expected] =
                fetch<int, int, int, bool, bool>();
        m_make->rebuildAll = rebuildAll;
        if (reference >= 0)
            m_make->referenceTime = QDateTime::fromMSecsSinceEpoch(1'000'000 + reference);
        QCOMPARE(m_make->needRebuild(statusOf(u"in"_s, input), statusOf(u"out"_s, output)),
                 expected);
        QCOMPARE(m_make->needRebuild(path(u"in"_s), path(u"out"_s)), expected);
    }

    void withoutAReferenceFilesMayBeOlderThan1970()
    {
        QVERIFY(TestFiles::write(path(u"out"_s)));
        QVERIFY(TestFiles::setModified(path(u"out"_s), {-1000, 0}));
        QVERIFY(!m_make->needRebuild({}, FileStatus::of(path(u"out"_s))));
    }

    void referenceCountsMilliseconds()
    {
        m_make->referenceTime = QDateTime::fromMSecsSinceEpoch(1'000'002);
        QVERIFY(TestFiles::write(path(u"out"_s)));
        QVERIFY(TestFiles::setModified(path(u"out"_s), {1000, 1'999'999}));
        QVERIFY(m_make->needRebuild({}, FileStatus::of(path(u"out"_s))));
        QVERIFY(TestFiles::setModified(path(u"out"_s), {1000, 2'000'000}));
        QVERIFY(!m_make->needRebuild({}, FileStatus::of(path(u"out"_s))));
    }

    void upToDateTreeRunsNothingButListsEverything()
    {
        m_spec.translation = {1};
        for (const QString &file : {u"src/a.lua"_s, u"src/sub/B.LUA"_s, u"src/c.txt"_s,
                                    u"src/.hidden.lua"_s, u"obj/root/a.lui"_s, u"obj/root/a.luo"_s,
                                    u"obj/root/sub/B.lui"_s, u"obj/root/sub/B.luo"_s}) {
            QVERIFY(TestFiles::write(path(file)));
            QVERIFY(TestFiles::setModified(path(file), {1000, 0}));
        }
        QVERIFY(QFile::link(path(u"src/a.lua"_s), path(u"src/d.txt"_s)) && m_make->compile());
        QCOMPARE(m_project->messages, QStringList());
        QCOMPARE(objects(), QStringList({u"a.lua "_s + path(u"obj/root/a.luo"_s),
                                         u"sub/B.LUA "_s + path(u"obj/root/sub/B.luo"_s)}));
        QStringList sources = m_make->lupdateSources;
        sources.sort();
        QCOMPARE(sources, QStringList({path(u"src/a.lua"_s), path(u"src/sub/B.LUA"_s)}));
    }

    void secondCompileStartsTheObjectsAnew()
    {
        m_spec.translation = {1};
        m_make->process.preprocess_ = m_make->process.compile = {0};
        QVERIFY(TestFiles::write(path(u"src/sub/a.lua"_s)) && m_make->compile());
        QVERIFY(QDir(path(u"obj/root/sub"_s)).removeRecursively() && m_make->compile());
        QVERIFY(QFile::exists(path(u"obj/root/sub"_s)));
        QCOMPARE(m_make->objects.size(), 1);
        QCOMPARE(m_make->lupdateSources.size(), 2); // these accumulate
    }

    void sourcesForTranslationNeedBothSwitches()
    {
        QVERIFY(TestFiles::write(path(u"src/a.lua"_s)));
        m_make->process.preprocess_ = m_make->process.compile = {0};
        for (const auto &[ofProject, ofEntry, count] :
             {std::tuple(-1, -1, 0), {1, 0, 0}, {1, -1, 1}}) {
            m_spec.translation = {ofProject};
            m_make->process.lupdate = {ofEntry};
            QVERIFY(m_make->compile());
            QCOMPARE(m_make->lupdateSources.size(), count);
        }
        QCOMPARE(m_make->lupdateSources, QStringList{path(u"src/a.lua"_s)});
    }

    void withoutStagesTheSourceIsCopied()
    {
        m_make->process.preprocess_ = m_make->process.compile = {0};
        QVERIFY(TestFiles::write(path(u"src/sub/a.lua"_s), "new"));
        QVERIFY(m_make->compile());
        const QString copy = path(u"obj/root/sub/a.lua"_s);
        QCOMPARE(objects(), QStringList{u"sub/a.lua "_s + copy});
        QCOMPARE(TestFiles::read(copy), "new"_ba);
        QVERIFY(TestFiles::write(copy, "old") && TestFiles::setModified(copy, {1000, 5}));
        QVERIFY(TestFiles::setModified(path(u"src/sub/a.lua"_s), {1000, 5}));
        QVERIFY(m_make->compile());
        QCOMPARE(TestFiles::read(copy), "old"_ba);
        QVERIFY(TestFiles::setModified(path(u"src/sub/a.lua"_s), {1000, 6}));
        QVERIFY(m_make->compile());
        QCOMPARE(TestFiles::read(copy), "new"_ba);
    }

    void copyOverADirectoryFails()
    {
        m_make->process.preprocess_ = m_make->process.compile = {0};
        m_make->rebuildAll = true;
        QVERIFY(TestFiles::write(path(u"src/a.lua"_s)));
        QVERIFY(TestFiles::write(path(u"obj/root/a.lua/inside"_s)));
        QVERIFY(!m_make->compile() && m_make->errorString.isEmpty());
        QCOMPARE(m_project->errorText(), u"Cannot delete "_s + path(u"obj/root/a.lua"_s));
    }

    void copyThatCannotBeWrittenFails()
    {
        m_make->process.preprocess_ = m_make->process.compile = {0};
        QVERIFY(TestFiles::write(path(u"src/a.lua"_s)));
        // A symbolic link that leads nowhere does not exist, and yet its name is taken.
        QVERIFY(QDir().mkpath(path(u"obj/root"_s)));
        QVERIFY(QFile::link(path(u"missing/x"_s), path(u"obj/root/a.lua"_s)));
        QVERIFY(!m_make->compile() && m_make->errorString.isEmpty());
        QCOMPARE(m_project->errorText(), u"Cannot write "_s + path(u"obj/root/a.lua"_s));
    }

    void directoriesThatCannotBeMade()
    {
        QVERIFY(TestFiles::write(path(u"src/sub/a.lua"_s)));
        QVERIFY(TestFiles::write(path(u"obj/root/sub"_s)));
        for (const QString &directory : {u"obj/root"_s, u"obj/root/sub"_s}) {
            m_make->objectDirectory = path(directory);
            QVERIFY(!m_make->compile());
            QCOMPARE(m_make->errorString, u"Cannot make directory "_s + path(u"obj/root/sub"_s));
        }
    }

    void missingSourceIsSkipped()
    {
        QVERIFY(m_make->compile());
        QVERIFY(m_make->objects.isEmpty());
        QVERIFY(QFileInfo(path(u"obj/root"_s)).isDir());
    }

    void singleFileTakesItsNameFromTheObjectDirectory()
    {
        m_make->sourceDirectory = path(u"main.lua"_s);
        QVERIFY(TestFiles::write(path(u"main.lua"_s)));
        for (const QString &file : {u"obj/root.lui"_s, u"obj/root.luo"_s})
            QVERIFY(TestFiles::write(path(file)));
        QVERIFY(TestFiles::setModified(path(u"main.lua"_s), {1000, 0}));
        QVERIFY(TestFiles::setModified(path(u"obj/root.lui"_s), {2000, 0}));
        QVERIFY(m_make->compile());
        QCOMPARE(objects(), QStringList{u" "_s + path(u"obj/root.luo"_s)});
    }

    void copyUnderAnEditedProjectFileIsNotCurrent()
    {
        m_spec.projectFile = path(u"box.ztp"_s);
        QVERIFY(TestFiles::write(m_spec.projectFile));
        QVERIFY(TestFiles::setModified(m_spec.projectFile, {1000, 0}));
        m_project->setProjectFileTime(QDateTime::fromMSecsSinceEpoch(1'000'000));
        m_project->setProjectFileStatus(FileStatus::of(m_spec.projectFile));
        QVERIFY(TestFiles::setModified(m_spec.projectFile, {2000, 0}));
        QVERIFY(TestFiles::write(path(u"src/a.lua"_s)));
        m_make->process.preprocess_ = m_make->process.compile = {0};
        QVERIFY(m_make->compile());
        QVERIFY(FileStatus::of(path(u"obj/root/a.lua"_s)).modified() < (FileTime{1000, 0}));
    }

    // A caller may set any stamp; that it is not the file's own is no edit.
    void stampOfTheCallerIsNoEdit()
    {
        m_spec.projectFile = path(u"box.ztp"_s);
        QVERIFY(TestFiles::write(m_spec.projectFile));
        m_project->setProjectFileTime(QDateTime::fromMSecsSinceEpoch(1'000'000));
        m_make->referenceTime = m_project->projectFileTime();
        QVERIFY(TestFiles::write(path(u"src/a.lua"_s)));
        QVERIFY(TestFiles::setModified(path(u"src/a.lua"_s), {900, 0}));
        m_make->process.preprocess_ = m_make->process.compile = {0};
        QVERIFY(m_make->compile());
        const QString copy = path(u"obj/root/a.lua"_s);
        const FileTime made = FileStatus::of(copy).modified();
        QVERIFY(TestFiles::write(copy, "kept") && TestFiles::setModified(copy, made));
        QVERIFY(m_make->compile());
        QCOMPARE(TestFiles::read(copy), "kept"_ba);
    }

    void workDoesNotNeedTheProjectsOwnObjectDirectory()
    {
        m_spec.objectDirectory = path(u"missing"_s);
        m_make->process.preprocess_ = m_make->process.compile = {0};
        QVERIFY(TestFiles::write(path(u"src/a.lua"_s)));
        for (const QString &directory : {u"elsewhere/root"_s, u"missing/root"_s}) {
            m_make->objectDirectory = path(directory);
            QVERIFY2(m_make->compile(), qPrintable(m_project->errorText()));
            QVERIFY(QFile::exists(path(directory + u"/a.lua"_s)));
        }
        m_project.reset();
        QCOMPARE(QDir(path(u"elsewhere/root"_s)).entryList(QDir::Files | QDir::Hidden),
                 QStringList{u"a.lua"_s});
    }

    void sourceIsNeverOverwritten_data()
    {
        Rows<bool, bool, QString> row; // preprocess, compile, output
        row("copy", false, false, u"a.lua"_s);
        row("preprocessed", true, true, u"a.lui"_s);
        row("compiled", true, true, u"a.luo"_s);
        row("compiled alone", false, true, u"a.luo"_s);
    }
    void sourceIsNeverOverwritten()
    {
        const auto [preprocess, compile, output] = fetch<bool, bool, QString>();
        m_make->process.preprocess_ = {preprocess ? 1 : 0};
        m_make->process.compile = {compile ? 1 : 0};
        m_make->rebuildAll = true;
        m_project->setCommandRunner(std::make_unique<FakeRunner>([](const Command &command) {
            const QRegularExpression option(u"-o|--out"_s);
            return TestFiles::write(command.arguments[command.arguments.indexOf(option) + 1]);
        }));
        QVERIFY(TestFiles::write(path(u"src/a.lua"_s), "source"));
        QVERIFY(QDir().mkpath(path(u"obj/root"_s)));
        QCOMPARE(link(QFile::encodeName(path(u"src/a.lua"_s)),
                      QFile::encodeName(path(u"obj/root/"_s + output))),
                 0);
        QVERIFY(!m_make->compile());
        QCOMPARE(m_project->errorText(), u"Cannot write "_s + path(u"obj/root/"_s + output));
        QCOMPARE(TestFiles::read(path(u"src/a.lua"_s)), "source"_ba);
        QVERIFY(QFile::exists(path(u"obj/root/"_s + output)));
    }

    void openFilesDoNotGrowWithTheDepthOfTheTree()
    {
        rlimit limit;
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &limit), 0);
        constexpr int levels = 60;
        const rlim_t before = std::exchange(limit.rlim_cur, levels);
        const QString deepest = u"src/"_s + u"d/"_s.repeated(levels) + u"a.lua"_s;
        QVERIFY(TestFiles::write(path(deepest)));
        m_make->process.preprocess_ = m_make->process.compile = {0};
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &limit), 0);
        const bool ok = m_make->compile();
        limit.rlim_cur = before;
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &limit), 0);
        QVERIFY2(ok && m_make->objects.size() == 1, qPrintable(m_make->errorString));
    }

    void withoutAnSdkTheIncludesAreTheProjectsOwn()
    {
        QVERIFY(TestFiles::write(path(u"src/a.lua"_s)));
        m_make->process.include = {u"one"_s};
        QVERIFY(!m_make->compile()); // there is no tool beside this program
        const QString command =
                u"ztlpp --strip --trim -I one --out %1/obj/root/a.lui --root %1/src -- %1/src/a.lua"_s;
        QCOMPARE(m_project->messages, QStringList{command.arg(m_world->path())});
    }

    void failedToolLeavesNoOutput_data()
    {
        Rows<bool, QString, QString> row; // preprocess, output, command
        row("preprocessor", true, u"obj/root/a.lui"_s,
            u"ztlpp --strip --trim -I inc -I one -I two --out "
            "%1/obj/root/a.lui --root %1/src -- %1/src/a.lua"_s);
        row("compiler", false, u"obj/root/a.luo"_s,
            u"ztluac -s -o %1/obj/root/a.luo -- %1/src/a.lua"_s);
    }
    void failedToolLeavesNoOutput()
    {
        const auto [preprocess, output, command] = fetch<bool, QString, QString>();
        QVERIFY(TestFiles::write(path(u"src/a.lua"_s)));
        QVERIFY(TestFiles::write(path(output)));
        QVERIFY(TestFiles::setModified(path(output), {1000, 0}));
        m_make->process.preprocess_ = {preprocess ? 1 : 0};
        m_make->process.strip = {1};
        m_make->sdkIncludeDirectory = u"inc"_s;
        m_make->process.include = {u"one"_s, u"two"_s};
        QVERIFY(!m_make->compile()); // there is no tool beside this program
        QCOMPARE(m_project->messages, QStringList{command.arg(m_world->path())});
        QVERIFY(m_make->errorString.startsWith(u"Command failed to run: "_s));
        QCOMPARE(m_make->errorString, m_project->errorText());
        QVERIFY(!QFile::exists(path(output)));
        QVERIFY(m_make->objects.isEmpty());
    }

private:
    QString path(const QString &name) const { return m_world->filePath(name); }

    FileStatus statusOf(const QString &name, int milliseconds) const
    {
        if (milliseconds >= 0) {
            TestFiles::write(path(name));
            TestFiles::setModified(path(name), {1000, qint64(milliseconds) * 1'000'000});
        }
        return FileStatus::of(path(name));
    }

    /// @return "source object", sorted
    QStringList objects() const
    {
        QStringList lines;
        for (const CompiledObject &object : std::as_const(m_make->objects))
            lines << object.sourceFile + u' ' + object.objectFile;
        lines.sort();
        return lines;
    }

    std::unique_ptr<QTemporaryDir> m_world;
    ProjectSpec m_spec;
    std::unique_ptr<RecordingProject> m_project;
    std::unique_ptr<ProjectMake> m_make;
};

QTEST_GUILESS_MAIN(TestProjectMake)
#include "tst_projectmake.moc"
