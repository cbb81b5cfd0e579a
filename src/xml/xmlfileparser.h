#pragma once

#include "model/settingvalues.h"
#include "xml/boundedfile.h"

#include <QXmlStreamReader>

#include <functional>
#include <initializer_list>

/// Base of the pull-style readers: a stream reader that opens its file, hides comments and layout
/// white space, and keeps one error text with the place where reading stopped.
///
/// The helpers that return bool return false when an error is recorded, so that a reader function
/// can stop at once. The attribute helpers read the current start tag and only record an error:
/// test error() after a group of them; the first faulty attribute of the group is the one reported.
/// A parser reads one file; nothing clears the error.
class XmlFileParser : public QXmlStreamReader
{
public:
    XmlFileParser() = default;

    bool openFile(const QString &path);
    void closeFile();

    /// Reads the next token that is not a comment, a processing instruction or white space.
    TokenType readNext();

    /// Reads the text of the current element, which must hold nothing else, to its end tag.
    /// @return empty on an error, too
    QString readCharacters();

    /// Checks the current token; reads nothing.
    bool expectStartElement(const char *name);
    /// Reads one token, which must be the end tag of @p name.
    bool expectNextEndElement(const char *name);

    /// Skips the current element with all it holds; more than 20 levels are an error.
    bool skipElement();

    /// @return unset when the attribute is absent or empty
    Tristate tristateAttribute(const char *name);
    int intAttribute(const char *name, int defaultValue);
    bool boolAttribute(const char *name, bool defaultValue);
    /// @return the value as written, empty when absent
    QString stringAttribute(const char *name) const;

    /// Records @p message with the current token as its context and ends reading.
    /// @return false, always
    bool raiseError(const QString &message);

    /// @return the complete report: file, line, column and message
    QString errorString() const;

    /// Prints each token on the debug channel when on; for developers of readers.
    void setTraceTokens(bool on) { m_traceTokens = on; }

protected:
    /// A child element that a reader knows, and what reads it.
    struct Child
    {
        const char *name;
        std::function<bool()> read;
    };

    /// Reads the children of the current element to its end tag. Unknown children are announced on
    /// the debug channel and skipped.
    bool readChildren(std::initializer_list<Child> children);

    QString m_fileName; ///< as given to openFile()
    BoundedFile m_file;

private:
    bool readChild(std::initializer_list<Child> children);
    void trace() const;

    bool m_traceTokens = false;
    int m_nestingDepth = 0;
};
