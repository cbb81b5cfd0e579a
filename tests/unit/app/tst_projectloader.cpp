#include "app/projectloader.h"

#include "rows.h"
#include "testfiles.h"

using namespace Qt::StringLiterals;

class TestProjectLoader : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_world = std::make_unique<QTemporaryDir>(); }

    void bothSchemasAreRead_data()
    {
        Rows<QByteArray> row; // nameSpace
        row("current", "http://zelta.example/Zelta/Project/2009/42");
        row("first", "http://zelta.example/Zelta/Project/2009");
    }
    void bothSchemasAreRead()
    {
        const auto [nameSpace] = fetch<QByteArray>();
        QVERIFY(load("<ZeltaProject xmlns='" + nameSpace
                     + "'><Project Name='B'></Project></ZeltaProject>"));
        QCOMPARE(m_spec.name, u"B"_s);
        QCOMPARE(m_spec.projectFile, file());
    }

    void currentSchemaIsReportedByItsReader()
    {
        QVERIFY(!load("<ZeltaProject xmlns='http://zelta.example/Zelta/Project/2009/42'>"
                      "<Project/></ZeltaProject>"));
        QVERIFY2(m_error.startsWith(u"Error reading %1, Line 1, "_s.arg(file())),
                 qPrintable(m_error));
        QVERIFY(m_error.endsWith(u"\n  (<Project>) Project name missing or empty."_s));
    }

    void anythingElseIsNoProject_data()
    {
        Rows<QByteArray> row; // text
        row("empty", {});
        row("no XML", "hello");
        row("other root", "<other/>");
        row("unknown namespace", "<ZeltaProject xmlns='x'/>");
        row("first schema with an error",
            "<ZeltaProject xmlns='http://zelta.example/Zelta/Project/2009'><Project><x/>"
            "</Project></ZeltaProject>");
    }
    void anythingElseIsNoProject()
    {
        const auto [text] = fetch<QByteArray>();
        QVERIFY(!load(text));
        QCOMPARE(m_error, u"This is not a ZeltaManager project file."_s);
    }

    void missingFileIsNoProject()
    {
        QVERIFY(!loadProject(file(), &m_spec, &m_error));
        QCOMPARE(m_error, u"This is not a ZeltaManager project file."_s);
    }

private:
    QString file() const { return m_world->filePath(u"box.ztp"_s); }
    bool load(const QByteArray &text)
    {
        return TestFiles::write(file(), text) && loadProject(file(), &m_spec, &m_error);
    }

    std::unique_ptr<QTemporaryDir> m_world;
    ProjectSpec m_spec;
    QString m_error;
};

QTEST_GUILESS_MAIN(TestProjectLoader)
#include "tst_projectloader.moc"
