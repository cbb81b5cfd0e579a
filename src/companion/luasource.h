#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

/// What the preprocessor sees in a Lua source: lines that it carries out, and what it passes on.
/// Comments and blanks do not count; mistakes are left to the tools.
struct LuaSource
{
    struct Inclusion
    {
        QString header;
        int line;
    };

    QByteArray text; ///< keeps what `tokens` and `macros` refer to
    QList<QByteArrayView> tokens;
    QList<QByteArrayView> macros; ///< the names that it defines
    QList<Inclusion> inclusions;
    bool isConditional = false; ///< has other directives, which may leave out some of the lines

    bool hasDirectives() const
    {
        return isConditional || !macros.isEmpty() || !inclusions.isEmpty();
    }

    static LuaSource of(const QByteArray &text);
    /// @return an empty source when the file cannot be read
    static LuaSource read(const QString &path);
};
