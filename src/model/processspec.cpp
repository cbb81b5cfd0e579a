#include "model/processspec.h"

namespace {

void overrideIfSet(Tristate *setting, Tristate other)
{
    if (other.isSet())
        *setting = other;
}

} // namespace

void ProcessSpec::clear()
{
    const Tristate keptLupdate = lupdate;
    *this = {};
    lupdate = keptLupdate;
}

void ProcessSpec::mergeFrom(const ProcessSpec &other)
{
    overrideIfSet(&preprocess_, other.preprocess_);
    overrideIfSet(&simplifyWhitespace_, other.simplifyWhitespace_);
    overrideIfSet(&removeComments_, other.removeComments_);
    include += other.include;
    overrideIfSet(&compile, other.compile);
    overrideIfSet(&strip, other.strip);
    overrideIfSet(&strict, other.strict);
}
