#include "model/settingvalues.h"

using namespace Qt::StringLiterals;

Tristate Tristate::fromWord(const QString &word)
{
    if (word == "true"_L1 || word == "yes"_L1 || word == "1"_L1)
        return {1};
    if (word == "false"_L1 || word == "no"_L1 || word == "0"_L1)
        return {0};
    return {};
}
