#include "app/reportprinter.h"

#include "app/makeproject.h"
#include "files/filestatus.h"
#include "xml/translationreportparser.h"

#include <cerrno>
#include <cstdio>

using namespace Qt::StringLiterals;

bool printTranslationReport(const ProjectSpec &spec)
{
    const QString path = spec.translationReport();
    if (!FileStatus::of(path).exists())
        return true;
    TranslationReportParser parser;
    if (!parser.parse(path)) {
        printMessage(parser.errorString());
        return true;
    }
    for (const TranslationReport &report : parser.reports()) {
        std::printf("%s: %s->%s: %u total, %u unfinished, %u obsolete\n",
                    report.fileName.toLocal8Bit().constData(),
                    report.sourceLanguage.toLocal8Bit().constData(),
                    report.language.toLocal8Bit().constData(), report.total, report.unfinished,
                    report.obsolete);
    }
    std::fflush(stdout);
    if (std::ferror(stdout) == 0)
        return true;
    printMessage(u"Error writing standard output: %1"_s.arg(qt_error_string(errno)));
    return false;
}
