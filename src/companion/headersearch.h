#pragma once

#include "companion/luasource.h"

#include <QHash>
#include <QSet>
#include <QStringList>

/// A header that a source takes in, itself or by way of others.
struct Header
{
    QString path;
    int line; ///< in the source
};

/// A header that is in none of the include directories.
struct MissingHeader
{
    QString name;
    QString file; ///< that includes it
    int line;
};

/// What a source takes in.
struct Headers
{
    QList<Header> found;
    QList<MissingHeader> missing;
};

/// Finds the headers of sources as the preprocessor does.
class HeaderSearch
{
public:
    /// @param directories  in which headers are looked for
    Headers headersOf(const QString &source, const QStringList &directories);

    /// @return the names that a file defines
    QSet<QByteArray> macrosOf(const QString &file) { return linesOf(file).macros; }

private:
    struct Lines
    {
        QList<LuaSource::Inclusion> inclusions;
        QSet<QByteArray> macros;
        bool isConditional = false; ///< some of the inclusions may not be carried out
    };

    /// @param line  in the source, through which the file is taken in; 0: it is the source
    void collect(const QString &file, int line, const QStringList &directories, QSet<QString> *seen,
                 Headers *headers);
    /// @return what of a file is about headers
    const Lines &linesOf(const QString &path);

    QHash<QString, Lines> m_lines;
};
