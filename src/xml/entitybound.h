#pragma once

#include <QHash>
#include <QString>

/// Bounds what the entities of a document expand to: Qt's SAX reader bounds the size of each one,
/// but not the number of references to it, nor the depth of a content model.
class EntityBound
{
public:
    /// Far above any real project.
    static constexpr qint64 maximumCharacters = 64 << 20;
    static constexpr int maximumNesting = 1'000;
    static constexpr int maximumEntities = 1'000;

    /// @return whether the document's type declaration is nested no deeper than Qt's reader can
    /// take
    static bool mayBeParsed(const QString &path);

    /// @return false when the document declares too many: Qt's reader compares each with all others
    bool declare(const QString &name, const QString &value);

    /// @return whether all references of the document to the longest entity stay within the bound
    bool mayBeExpanded(const QString &path);

private:
    qint64 expandedSize(const QString &name, int depth);

    QHash<QString, QString> m_values;
    QHash<QString, qint64> m_sizes;
};
