#include "companion/output.h"

#include "app/makeproject.h"

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

QString printable(const QString &text)
{
    QString shown = text;
    const auto cannotBeShown = [](QChar letter) {
        return letter.category() == QChar::Other_Control || letter.unicode() >= 0xfffe;
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
    printMessage(u"Standard output cannot be written."_s);
    return false;
}
