#pragma once

#include <QString>

#include <optional>

/// @return how many tools may run at once, as ZTMAKE_JOBS in the environment has it: a number,
/// "auto" for as many as this process may use processors, or 1 when it is not set or empty; nothing
/// with the reason in @p error when it is anything else
std::optional<int> jobLimit(QString *error);
