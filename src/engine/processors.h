#pragma once

#include <QString>

/// @return how many processors this process may use at a time: those that it may run on, or fewer
/// if its control groups have a smaller quota of processor time; at least 1
int availableProcessors();

/// @param groupRoot  where the control groups are mounted
/// @param group  the path of a group below it
/// @return the quota of a group, or the smallest one above it, in whole processors, rounded up;
/// 0: there is none
int processorQuota(const QString &groupRoot, const QString &group);
