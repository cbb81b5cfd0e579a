#pragma once

#include "model/settingvalues.h"

/// One device model for which firmware is built.
struct TargetSpec
{
    QString model;
    Tristate buildInstaller; ///< overrides the project's when set
    Tristate includeMbr;     ///< overrides the project's when set
    int verbose = -1;        ///< -1: the project's level applies

    bool operator==(const TargetSpec &) const = default;
};
