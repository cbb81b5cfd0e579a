#include "engine/project.h"

#include "rows.h"
#include "testfiles.h"

using namespace Qt::StringLiterals;

class TestProject : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        m_spec = {};
        m_spec.projectFile = path(u"box.ztp"_s);
        QVERIFY(QDir().mkpath(path(u"obj"_s)));
    }

    void newProjectHasNoErrorAndNoTime()
    {
        const RecordingProject project(m_spec);
        QCOMPARE(project.errorText(), QString());
        QVERIFY(project.projectFileTime().isNull());
        QCOMPARE(&project.spec(), &m_spec);
    }

    void operationsHaveTheirNumbers()
    {
        QCOMPARE(static_cast<int>(Project::Operation::Build), 0);
        QCOMPARE(static_cast<int>(Project::Operation::BuildAll), 1);
        QCOMPARE(static_cast<int>(Project::Operation::ClearObsolete), 2);
        QCOMPARE(static_cast<int>(Project::Operation::CleanFirmwareFolder), 3);
    }

    void lastErrorStands()
    {
        RecordingProject project(m_spec);
        QVERIFY(!project.raiseError(u"first"_s));
        QVERIFY(!project.raiseError(u"second"_s));
        QCOMPARE(project.errorText(), u"second"_s);
    }

    void everyOperationNeedsAnSdk_data()
    {
        Rows<int> row; // operation
        for (int operation = 0; operation < 4; ++operation)
            row(QByteArray::number(operation), operation);
    }
    void everyOperationNeedsAnSdk()
    {
        const auto [operation] = fetch<int>();
        const auto code = static_cast<Project::Operation>(operation);
        RecordingProject project(m_spec);
        m_spec.setSdk(u"none"_s);
        QVERIFY(!project.run(code));
        QCOMPARE(project.errorText(), u"Cannot find SDK directory."_s);
        m_spec.setSdk(path(u"missing"_s));
        QVERIFY(!project.run(code));
        QCOMPARE(project.errorText(), u"SDK %1 does not exist."_s.arg(path(u"missing"_s)));
        QVERIFY(TestFiles::write(path(u"file"_s)));
        m_spec.setSdk(path(u"file"_s));
        QVERIFY(!project.run(code));
        QCOMPARE(project.errorText(), u"SDK %1 is not a directory."_s.arg(path(u"file"_s)));
        QVERIFY(!QFile::exists(path(u"obj/version.txt"_s)));
    }

    void unknownOperationFailsWithoutAText()
    {
        m_spec.setSdk(m_world->path());
        RecordingProject project(m_spec);
        project.raiseError(u"old"_s);
        QVERIFY(!project.run(static_cast<Project::Operation>(4)));
        QCOMPARE(project.errorText(), QString());
    }

    void runForgetsTheLastError()
    {
        m_spec.setSdk(m_world->path());
        RecordingProject project(m_spec);
        project.raiseError(u"old"_s);
        QVERIFY(project.run(Project::Operation::CleanFirmwareFolder));
        QCOMPARE(project.errorText(), QString());
    }

    void commandMayReplaceInputs()
    {
        m_spec.languages = QStringList{u"de"_s};
        const QString texts = path(u"translations/de.ts"_s);
        const QString other = path(u"other"_s);
        QVERIFY(TestFiles::write(texts) && TestFiles::write(other));
        RecordingProject project(m_spec);
        QVERIFY(project.checkNoInput(other, FileStatus::of(other))); // now it knows its inputs
        project.setCommandRunner(std::make_unique<FakeRunner>([&](const Command &) {
            return QFile::remove(texts) && QFile::rename(other, texts);
        }));
        QVERIFY(project.runTool(u"tool"_s, {}, 0));
        QVERIFY(!project.checkNoInput(texts, FileStatus::of(texts)));
        QCOMPARE(project.errorText(), u"Cannot write %1"_s.arg(texts));
    }

    void objectDirectoryThatCannotBeMade()
    {
        m_spec.objectDirectory = u"missing"_s;
        RecordingProject project(m_spec);
        QVERIFY(!project.claimObjectDirectory([] { return false; }));
    }

    void temporaryFileIsFreed()
    {
        RecordingProject project(m_spec);
        QString previous;
        QVERIFY(TestFiles::write(path(u"obj/a"_s)));
        QVERIFY(project.prepareTemporaryFile(u"a"_s, &previous));
        QCOMPARE(previous, path(u"obj/a"_s));
        QVERIFY(!QFile::exists(previous));
    }

    void temporaryFileOfThePreviousCallIsDeleted()
    {
        RecordingProject project(m_spec);
        QString previous;
        QVERIFY(project.prepareTemporaryFile(u"a"_s, &previous));
        QVERIFY(TestFiles::write(previous));
        QVERIFY(project.prepareTemporaryFile(u"b"_s, &previous));
        QVERIFY(!QFile::exists(path(u"obj/a"_s)));
        QCOMPARE(previous, path(u"obj/b"_s));
    }

    void sameTemporaryFileAgainIsKeptAsPrevious()
    {
        RecordingProject project(m_spec);
        QString previous;
        QVERIFY(project.prepareTemporaryFile(u"a"_s, &previous));
        QVERIFY(TestFiles::write(previous));
        QVERIFY(project.prepareTemporaryFile(u"a"_s, &previous));
        QCOMPARE(previous, path(u"obj/a"_s));
        QVERIFY(!QFile::exists(previous));
    }

    void missingPreviousFileIsNoFailure()
    {
        RecordingProject project(m_spec);
        QString previous = path(u"obj/gone"_s);
        QVERIFY(project.prepareTemporaryFile(u"a"_s, &previous));
        QCOMPARE(previous, path(u"obj/a"_s));
    }

    void directoryIsNotOverwritten()
    {
        RecordingProject project(m_spec);
        QString previous;
        QVERIFY(QDir().mkpath(path(u"obj/a"_s)));
        QVERIFY(!project.prepareTemporaryFile(u"a"_s, &previous));
        QCOMPARE(project.errorText(), u"Refusing to overwrite non-file %1"_s.arg(path(u"obj/a"_s)));
        QCOMPARE(previous, QString());
    }

    void fileThatCannotBeRemoved()
    {
        // Nothing can be removed from /proc, not even by root.
        RecordingProject project(m_spec);
        QString previous;
        QVERIFY(!project.prepareTemporaryFile(u"/proc/version"_s, &previous));
        QCOMPARE(project.errorText(), u"Cannot remove %s"_s);
        QCOMPARE(previous, QString());
    }

private:
    QString path(const QString &name) const { return m_world->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_world;
    ProjectSpec m_spec;
};

QTEST_GUILESS_MAIN(TestProject)
#include "tst_project.moc"
