#include "fuzztarget.h"

#include "xml/translationreportparser.h"

using namespace Qt::StringLiterals;

namespace {

bool areEqual(const TranslationReport &left, const TranslationReport &right)
{
    return left.fileName == right.fileName && left.sourceLanguage == right.sourceLanguage
           && left.language == right.language && left.total == right.total
           && left.unfinished == right.unfinished && left.obsolete == right.obsolete;
}

void readTwice(const QString &path)
{
    TranslationReportParser parser;
    const bool ok = parser.parse(path);
    Fuzz::noteOutcome(ok ? QString() : parser.errorString(), parser.reports().size());
    if (!ok) {
        Fuzz::require(parser.errorString().startsWith(u"Error reading %1, Line "_s.arg(path)),
                      "a refusal names its place");
        return;
    }
    TranslationReportParser second;
    Fuzz::require(second.parse(path)
                          && std::equal(parser.reports().begin(), parser.reports().end(),
                                        second.reports().begin(), second.reports().end(), areEqual),
                  "reading again gives the same records");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Fuzz::run(data, size, readTwice);
    return 0;
}
