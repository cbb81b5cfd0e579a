#include "engine/project.h"

#include "rows.h"
#include "testfiles.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

/// The operations that need no tool; builds are covered by the black-box tests.
class TestOperations : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_world = std::make_unique<QTemporaryDir>();
        m_spec = {};
        m_spec.projectFile = m_world->filePath(u"box.ztp"_s);
        m_spec.setSdk(m_world->path());
    }

    void cleaning_data()
    {
        Rows<QString, QStringList, QStringList> row; // name, removed, kept
        row("by name", u"Demo"_s,
            {u"T1-Demo-1.0-firmware.ztf"_s, u"T2-Demo-2.1-install.ztf"_s, u"-Demo-firmware.ztf"_s,
             u"a-b-Demo-c-d-firmware.ztf"_s, u"a-Demonstration-install.ztf"_s,
             u"T1-DEMO-FIRMWARE.ZTF"_s},
            {u"T1-Other-1.0-firmware.ztf"_s, u"Demo-firmware.ztf"_s,
             u"T1-Demo-1.0-firmware.ztf.old"_s, u"T1-Demo-1.0.ztf"_s,
             u".T1-Demo-1.0-firmware.ztf"_s, u"T1-Demo-1.0-firmware-ztf"_s,
             u"T1-Dem-firmware.ztf"_s, u"T1-Demo-update.ztf"_s, u"T1Demo-1.0-firmware.ztf"_s});
        row("blanks and other languages", u"Größe 2"_s, {u"T1-Größe 2-firmware.ztf"_s},
            {u"T1-Größe-firmware.ztf"_s, u"T1-Groesse 2-firmware.ztf"_s});
        row("without a name", u":/"_s, {u"a-firmware.ztf"_s, u"-install.ztf"_s},
            {u"firmware.ztf"_s, u".a-firmware.ztf"_s});
        row("wildcards in the name act", u"D[ae]mo"_s,
            {u"x-Damo-firmware.ztf"_s, u"x-Demo-firmware.ztf"_s}, {u"x-Dimo-firmware.ztf"_s});
        row("invalid wildcard matches nothing", u"D["_s, {}, {u"x-D[-firmware.ztf"_s});
        row("characters that file names cannot hold", u"De:mo?"_s, {u"x-Demo-firmware.ztf"_s},
            {u"x-De:mo-firmware.ztf"_s});
    }
    void cleaning()
    {
        auto [name, removed, kept] = fetch<QString, QStringList, QStringList>();
        m_spec.name = name;
        for (const QString &file : removed + kept)
            QVERIFY(TestFiles::write(firmware(file)));
        RecordingProject project(m_spec);
        QTest::failOnWarning(QRegularExpression(u".*"_s));
        QVERIFY(project.run(Project::Operation::CleanFirmwareFolder));
        QStringList left = QDir(firmware({})).entryList(QDir::Files | QDir::Hidden);
        kept.sort();
        left.sort();
        QCOMPARE(left, kept);
        QCOMPARE(project.messages, QStringList());
    }

    void cleaningNamesTheFilesAboveLevelOne_data()
    {
        Rows<int, bool> row; // verbose, named
        row("not set", -1, false);
        row("0", 0, false);
        row("1", 1, false);
        row("2", 2, true);
    }
    void cleaningNamesTheFilesAboveLevelOne()
    {
        const auto [verbose, named] = fetch<int, bool>();
        m_spec.verbose = verbose;
        QVERIFY(TestFiles::write(firmware(u"a-firmware.ztf"_s)));
        RecordingProject project(m_spec);
        QVERIFY(project.run(Project::Operation::CleanFirmwareFolder));
        QCOMPARE(project.messages,
                 named ? QStringList{u"Removing a-firmware.ztf"_s} : QStringList());
    }

    void cleaningAMissingFolder()
    {
        RecordingProject project(m_spec);
        QVERIFY(project.run(Project::Operation::CleanFirmwareFolder));
        QVERIFY(!QFile::exists(firmware({})));
        QVERIFY(TestFiles::write(m_world->filePath(u"firmware"_s), "a file"));
        QVERIFY(project.run(Project::Operation::CleanFirmwareFolder));
        QCOMPARE(TestFiles::read(m_world->filePath(u"firmware"_s)), "a file"_ba);
    }

    void cleaningLeavesDirectoriesAlone()
    {
        QVERIFY(TestFiles::write(firmware(u"a-firmware.ztf/b-firmware.ztf"_s)));
        RecordingProject project(m_spec);
        QVERIFY(project.run(Project::Operation::CleanFirmwareFolder));
        QVERIFY(QFile::exists(firmware(u"a-firmware.ztf/b-firmware.ztf"_s)));
    }

    void clearingObsoleteRunsTheScannerInTheTranslationDirectory_data()
    {
        Rows<int, bool> row; // verbose, echoed
        row("not set counts as 1", -1, true);
        row("0", 0, false);
        row("1", 1, true);
    }
    void clearingObsoleteRunsTheScannerInTheTranslationDirectory()
    {
        const auto [verbose, echoed] = fetch<int, bool>();
        const QString report = m_world->filePath(u"obj/translations/report.xml"_s);
        QVERIFY(TestFiles::write(report));
        m_spec.verbose = verbose;
        m_spec.languages = {u"de"_s, u"fr"_s};
        RecordingProject project(m_spec);
        QVERIFY(!project.run(Project::Operation::ClearObsolete)); // there is no tool here
        QVERIFY(!QFile::exists(report));
        const QString line = u"(in %1) ztlupdate --clearobsolete --xml-report ../%2 --ts de.ts "
                             "--ts fr.ts"_s.arg(m_world->filePath(u"translations"_s), report);
        QCOMPARE(project.messages, echoed ? QStringList{line} : QStringList());
    }

private:
    QString firmware(const QString &name) const { return m_world->filePath(u"firmware/"_s + name); }

    std::unique_ptr<QTemporaryDir> m_world;
    ProjectSpec m_spec;
};

QTEST_GUILESS_MAIN(TestOperations)
#include "tst_operations.moc"
