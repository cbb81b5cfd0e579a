#include "projecttest.h"
#include "rows.h"

class TestRevision : public ProjectTest
{
    Q_OBJECT

private slots:
    void init() { makeProject(); }

    void revision_data()
    {
        Rows<QByteArray, QString, QStringList> row; // script, expected, messages
        const QStringList failed{u"Warning: svnversion failed to run."_s};
        const QStringList unversioned{u"Warning: Unversioned directory."_s};
        row("revision", "echo 1234M\n", u"#1234M"_s, {});
        row("white space", "printf ' 1   2\\n\\n3 '\n", u"#1 2 3"_s, {});
        row("status does not count", "echo 7\nexit 1\n", u"#7"_s, {});
        row("no output", "echo oops >&2\n", u"#?"_s, failed);
        row("unversioned", "echo 'Unversioned directory'\n", u"#?"_s, unversioned);
        row("unversioned in any case", "echo UNVERSIONED\n", u"#?"_s, unversioned);
        row("does not depend on the language", "echo \"$LC_ALL\"\n"_ba, u"#C.UTF-8"_s, {});
        row("no input", "read x || echo none\n", u"#none"_s, {});
        row("argument", "echo \"$# $(basename \"$1\")\"\n"_ba, u"#1 work dir"_s, {});
    }
    void revision()
    {
        const auto [script, expected, messages] = fetch<QByteArray, QString, QStringList>();
        QVERIFY(TestFiles::writeProgram(path(u"bin/svnversion"_s), script));
        m_spec.projectFile = path(u"work dir/box.ztp"_s);
        const QByteArray searchPath = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(path(u"bin"_s)) + ':' + searchPath);
        qputenv("LC_ALL", "de_DE.UTF-8");
        const QString revision = m_project->runSvnversion();
        qputenv("PATH", searchPath);
        qputenv("LC_ALL", "C.UTF-8");
        QCOMPARE(revision, expected);
        QCOMPARE(m_project->messages, messages);
    }

    void missingSvnversion()
    {
        const QByteArray searchPath = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(path(u"obj"_s)));
        m_spec.version = u"1.0"_s;
        m_spec.svnversion = {1};
        const QString version = m_project->generateVersion();
        qputenv("PATH", searchPath);
        QCOMPARE(version, u"1.0#?"_s);
        QCOMPARE(m_project->messages, QStringList{u"Warning: svnversion failed to run."_s});
    }

    void versionAloneUnlessTheRevisionIsWanted()
    {
        m_spec.version = u"1.0"_s;
        for (const int value : {-1, 0}) {
            m_spec.svnversion = {value};
            QCOMPARE(m_project->generateVersion(), u"1.0"_s);
        }
        QCOMPARE(m_project->messages, QStringList());
    }
};

QTEST_GUILESS_MAIN(TestRevision)
#include "tst_revision.moc"
