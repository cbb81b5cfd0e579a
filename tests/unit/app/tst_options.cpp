#include "app/options.h"

#include "rows.h"

#include <getopt.h>

using namespace Qt::StringLiterals;

namespace {

std::optional<Options> parse(const QByteArray &commandLine)
{
    QList<QByteArray> words = ("ztmake " + commandLine).simplified().split(' ');
    QList<char *> arguments;
    for (QByteArray &word : words)
        arguments.append(word.data());
    const auto count = static_cast<int>(arguments.size());
    arguments.append(nullptr);
    optind = 0; // restarts the parser
    opterr = 0;
    return parseOptions(count, arguments.data());
}

} // namespace

class TestOptions : public QObject
{
    Q_OBJECT

private slots:
    void accepted_data()
    {
        Rows<int, int, bool, QString> row; // operation, verbosity, report, projectFile
        const auto add = [&](const char *line, int operation, int verbosity, bool report,
                             const QString &file) {
            row(line, operation, verbosity, report, file);
        };
        add("", 0, 1, false, {});
        add("-A", 1, 1, false, {});
        add("--all", 1, 1, false, {});
        add("-v", 0, 2, false, {});
        add("--verbose", 0, 2, false, {});
        add("-v -v", 0, 3, false, {});
        add("-vv", 0, 3, false, {});
        add("-q", 0, 0, false, {});
        add("--quiet", 0, 0, false, {});
        add("-q -v", 0, 1, false, {});
        add("-v -q", 0, 0, false, {});
        add("-R", 0, 1, true, {});
        add("--report", 0, 1, true, {});
        add("--clearobsolete", 2, 1, false, {});
        add("--noobsolete", 2, 1, false, {});
        add("--cleanfirmwarefolder", 3, 1, false, {});
        add("--all --clearobsolete", 2, 1, false, {});
        add("--clearobsolete --all", 1, 1, false, {});
        add("--cleanfirmwarefolder -A", 1, 1, false, {});
        add("box.ztp", 0, 1, false, u"box.ztp"_s);
        add("box.ztp -A -R", 1, 1, true, u"box.ztp"_s);
        add("-q -- -box.ztp", 0, 0, false, u"-box.ztp"_s);
        add("--verb", 0, 2, false, {});
    }
    void accepted()
    {
        const auto [operation, verbosity, report, projectFile] = fetch<int, int, bool, QString>();
        const std::optional<Options> options = parse(QTest::currentDataTag());
        QVERIFY(options);
        QCOMPARE(static_cast<int>(options->operation), operation);
        QCOMPARE(options->verbosity, verbosity);
        QCOMPARE(options->report, report);
        QCOMPARE(options->projectFile, projectFile);
    }

    void usageIsDue_data()
    {
        Rows<int> row; // dummy
        for (const char *line :
             {"-D", "-?", "--help", "-x", "--unknown", "a.ztp b.ztp", "--all=1", "--clear -x"})
            row(line, 0);
    }
    void usageIsDue() { QVERIFY(!parse(QTest::currentDataTag())); }
};

QTEST_APPLESS_MAIN(TestOptions)
#include "tst_options.moc"
