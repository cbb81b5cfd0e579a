#pragma once

#include <QFile>

/// A file that ends at an element with more than 10,000 attributes: Qt's readers compare each one
/// with all others, so such an element could keep them busy forever.
class BoundedFile : public QFile
{
public:
    using QFile::QFile;

    static constexpr int maximumAttributes = 10'000;

    /// @return whether reading was cut short
    bool hasTooManyAttributes() const { return m_attributes > maximumAttributes; }

    bool open(OpenMode mode) override;
    bool atEnd() const override { return hasTooManyAttributes() || QFile::atEnd(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override;

private:
    enum class State { Text, Opened, Declaration, Tag, Value, Comment, CData, Instruction };

    State next(char c);
    bool endsWith(const char *mark) const;

    State m_state = State::Text;
    char m_quote = 0;     ///< of the value
    char m_last[3] = {};  ///< the characters read last
    int m_attributes = 0; ///< of the tag
};
