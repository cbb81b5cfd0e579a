#pragma once

#include <QDir>
#include <QStringList>

/// @return @p option and the path that goes with it, for the argument list of a tool
inline QStringList pathOption(const QString &option, const QString &path)
{
    return {option, QDir::toNativeSeparators(path)};
}

/// @return the argument that hands a level of verbosity to an image tool: "-v", "-vv", … above
/// level 1, and nothing up to it
inline QStringList verbosityLetters(int level)
{
    return level > 1 ? QStringList{u'-' + QString(level - 1, u'v')} : QStringList();
}
