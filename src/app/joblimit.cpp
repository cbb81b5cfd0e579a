#include "app/joblimit.h"

#include "engine/processors.h"

#include <QByteArray>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr char variable[] = "ZTMAKE_JOBS";

bool isDigit(char letter)
{
    return letter >= '0' && letter <= '9';
}

} // namespace

std::optional<int> jobLimit(QString *error)
{
    const QByteArray value = qgetenv(variable);
    if (value.isEmpty())
        return 1;
    if (value == "auto")
        return availableProcessors();
    bool isNumber = false;
    const int limit = value.toInt(&isNumber);
    if (isNumber && limit > 0 && std::all_of(value.begin(), value.end(), isDigit))
        return limit;
    *error = u"%1 must be a number from 1 on, or \"auto\", but is \"%2\""_s.arg(
            QLatin1StringView(variable), QString::fromLocal8Bit(value));
    return {};
}
