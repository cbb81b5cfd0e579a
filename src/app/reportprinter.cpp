#include "app/reportprinter.h"

#include "app/makeproject.h"
#include "files/filestatus.h"
#include "xml/translationreportparser.h"

#include <cstdio>

void printTranslationReport(const ProjectSpec &spec)
{
    const QString path = spec.translationReport();
    if (!FileStatus::of(path).exists())
        return;
    TranslationReportParser parser;
    if (!parser.parse(path)) {
        printMessage(parser.errorString());
        return;
    }
    for (const TranslationReport &report : parser.reports()) {
        std::printf("%s: %s->%s: %u total, %u unfinished, %u obsolete\n",
                    report.fileName.toLocal8Bit().constData(),
                    report.sourceLanguage.toLocal8Bit().constData(),
                    report.language.toLocal8Bit().constData(), report.total, report.unfinished,
                    report.obsolete);
    }
}
