#pragma once

#include <QList>
#include <QString>

#include <optional>

class QRegularExpression;

/// A place in a text file, in lines and characters, counted from 1. Line 0: the file as a whole.
struct Place
{
    int line = 0;
    int column = 0;

    bool operator==(const Place &) const = default;
};

/// Where the elements and attributes of a project file stand, for messages about what the readers
/// have read out of them. An element is named by its path below the root, as "Project/Target".
class Places
{
public:
    /// @param text  what of it is no XML is left out
    explicit Places(const QByteArray &text);

    /// Where an element is repeated that is no list, the last one holds.
    static constexpr qsizetype last = -1;

    /// @return the @p number th element of that path, from 0; when there is none the one above it
    Place element(const QString &path, qsizetype number = last) const;
    /// @return the attribute of that element; when there is none the element
    Place attribute(const QString &path, const QString &name, qsizetype number = last) const;
    /// @return the last element @p name in the @p number th element of that path, or its attribute;
    /// when there is none that one
    Place child(const QString &path, qsizetype number, const QString &name,
                const QString &attribute = {}) const;
    /// @return the element of that name whose text is @p text; nothing when there is none
    std::optional<Place> elementWithText(const QString &name, const QString &text) const;

    /// @return what stands between the quotes of an attribute; empty when there is none
    QString value(const QString &path, const QString &name) const;
    /// @return the text in the @p number th element of that path, without comments
    QString text(const QString &path, qsizetype number) const;

    /// @return the namespace of the root element
    const QString &nameSpace() const { return m_nameSpace; }
    /// @return the elements of a path that are in another namespace than the root element
    QList<Place> foreignElements(const QRegularExpression &paths) const;

    /// @return a place whose column counts units of UTF-16
    Place inCharacters(const Place &place) const;

    /// @return the @p number th element of the file, from 0, or its attribute
    Place inDocumentOrder(qsizetype number, const QString &attribute = {}) const;

private:
    struct Element
    {
        QString path;
        qsizetype end; ///< of the tag
        bool isForeign = false;
        QString text = {};
    };

    const Element *find(const QString &path, qsizetype number) const;
    Place placeAt(qsizetype offset) const;
    Place placeOf(const Element &element, const QString &attribute) const;
    qsizetype startOf(const Element &element) const;

    QString m_text;
    QString m_nameSpace;
    QList<Element> m_elements; ///< in document order
};
