#include "compile/projectmtd16.h"

#include "rows.h"
#include "testfiles.h"

using namespace Qt::StringLiterals;

class TestProjectMtd16 : public QObject
{
    Q_OBJECT

private slots:
    void newCompilerIsQuiet()
    {
        const ProjectMtd16 compiler(nullptr);
        QCOMPARE(compiler.verbosity, 0);
        QVERIFY(!compiler.rebuildAll);
    }

    void needRebuild_data()
    {
        Rows<QString, bool, bool> row; // output, rebuildAll, expected
        row("not wanted", u""_s, false, false);
        row("not wanted, forced", u""_s, true, false);
        row("missing", u"missing"_s, false, true);
        row("older", u"older"_s, false, true);
        row("equal", u"equal"_s, false, false);
        row("newer", u"newer"_s, false, false);
        row("newer, forced", u"newer"_s, true, true);
    }
    void needRebuild()
    {
        const auto [output, rebuildAll, expected] = fetch<QString, bool, bool>();
        const QTemporaryDir world;
        qint64 milliseconds = 0;
        for (const QString &name : {u"older"_s, u"equal"_s, u"newer"_s}) {
            QVERIFY(TestFiles::write(world.filePath(name)));
            QVERIFY(TestFiles::setModified(world.filePath(name),
                                           {1000, ++milliseconds * 1'000'000}));
        }
        ProjectMtd16 compiler(nullptr);
        compiler.rebuildAll = rebuildAll;
        QCOMPARE(compiler.needRebuild(QDateTime::fromMSecsSinceEpoch(1'000'002),
                                      output.isEmpty() ? output : world.filePath(output)),
                 expected);
    }

    void missingDefinition()
    {
        const ProjectSpec spec;
        RecordingProject project(spec);
        ProjectMtd16 compiler(&project);
        compiler.definitionFile = u"/missing/box.mtdef"_s;
        compiler.headerFile = u"/missing/h"_s;
        QVERIFY(!compiler.compile());
        QCOMPARE(compiler.errorString, u"MTD16 input file \"/missing/box.mtdef\" not found."_s);
    }

    void anythingThatExistsIsADefinition()
    {
        const QTemporaryDir world;
        ProjectSpec spec;
        spec.objectDirectory = world.path();
        RecordingProject project(spec);
        ProjectMtd16 compiler(&project);
        compiler.verbosity = 1;
        compiler.definitionFile = world.path(); // to refuse a directory is up to the tool
        compiler.headerFile = world.filePath(u"h"_s);
        QVERIFY(!compiler.compile());
        QCOMPARE(project.messages, QStringList{u"ztmkmtd --header %1 %2"_s.arg(
                                           compiler.headerFile, compiler.definitionFile)});
    }

    void currentOutputsRunNothing()
    {
        const QTemporaryDir world;
        const ProjectSpec spec;
        RecordingProject project(spec);
        ProjectMtd16 compiler(&project);
        compiler.verbosity = 1;
        compiler.definitionFile = world.filePath(u"d"_s);
        compiler.headerFile = world.filePath(u"h"_s);
        for (const QString &file : {compiler.definitionFile, compiler.headerFile}) {
            QVERIFY(TestFiles::write(file));
            QVERIFY(TestFiles::setModified(file, {1000, 0}));
        }
        QVERIFY(compiler.compile());
        QCOMPARE(project.messages, QStringList());
    }

    void failedRunDeletesTheRequestedOutputsOnly()
    {
        const QTemporaryDir world;
        ProjectSpec spec;
        spec.objectDirectory = world.path();
        RecordingProject project(spec); // there is no tool beside this program
        ProjectMtd16 compiler(&project);
        compiler.verbosity = 1;
        compiler.definitionFile = world.filePath(u"d"_s);
        compiler.headerFile = world.filePath(u"current"_s);
        compiler.luaFile = world.filePath(u"old"_s);
        const std::pair<QString, int> files[] = {
                {compiler.luaFile, 1}, {compiler.definitionFile, 2}, {compiler.headerFile, 3}};
        for (const auto &[file, nanoseconds] : files) {
            QVERIFY(TestFiles::write(file));
            QVERIFY(TestFiles::setModified(file, {1000, nanoseconds}));
        }
        QVERIFY(!compiler.compile());
        QCOMPARE(project.messages, QStringList{u"ztmkmtd --lua %1 %2"_s.arg(
                                           compiler.luaFile, compiler.definitionFile)});
        QCOMPARE(compiler.errorString, project.errorText());
        QVERIFY(compiler.errorString.startsWith(u"Command failed to run: "_s));
        QVERIFY(!QFile::exists(compiler.luaFile));
        QVERIFY(QFile::exists(compiler.headerFile));
    }
};

QTEST_GUILESS_MAIN(TestProjectMtd16)
#include "tst_projectmtd16.moc"
