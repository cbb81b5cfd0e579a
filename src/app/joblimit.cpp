#include "app/joblimit.h"

#include "engine/processors.h"

#include <QByteArray>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool isDigit(char letter)
{
    return letter >= '0' && letter <= '9';
}

} // namespace

std::optional<int> jobLimit(QString *error)
{
    const QByteArray value = qgetenv("ZTMAKE_JOBS");
    if (value.isEmpty())
        return 1;
    if (value == "auto")
        return availableProcessors();
    const int limit = value.toInt(); // 0 when it is none
    if (limit > 0 && std::all_of(value.begin(), value.end(), isDigit))
        return limit;
    *error = u"ZTMAKE_JOBS must be a number from 1 on, or \"auto\", but is \"%1\""_s.arg(
            QString::fromLocal8Bit(value));
    return {};
}
