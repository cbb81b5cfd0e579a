#include "companion/output.h"

#include "app/makeproject.h"

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

QString printable(const QString &text)
{
    QString shown = text;
    shown.replace(u'\n', u"\\n"_s).replace(u'\r', u"\\r"_s).replace(u'\t', u"\\t"_s);
    const auto cannotBeShown = [](QChar letter) {
        const QChar::Category category = letter.category();
        return category == QChar::Other_Control || category == QChar::Separator_Line
               || category == QChar::Separator_Paragraph || letter.unicode() >= 0xfffe;
    };
    std::replace_if(shown.begin(), shown.end(), cannotBeShown, QChar(QChar::ReplacementCharacter));
    return shown;
}

void printLine(const QString &text)
{
    std::fprintf(stdout, "%s\n", printable(text).toLocal8Bit().constData());
}

bool finishOutput()
{
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return true;
    printMessage(u"Cannot write to standard output."_s);
    return false;
}
