#pragma once

#include <QDir>
#include <QStringList>

#include <algorithm>

/// @return @p option and the path that goes with it, for the argument list of a tool
inline QStringList pathOption(const QString &option, const QString &path)
{
    return {option, QDir::toNativeSeparators(path)};
}

/// @return the argument that passes a level of verbosity to an image tool: "-v", "-vv", … above
/// level 1, otherwise nothing; at most 1,000 letters
inline QStringList verbosityLetters(int level)
{
    return level > 1 ? QStringList{u'-' + QString(std::min(level - 1, 1'000), u'v')}
                     : QStringList();
}
