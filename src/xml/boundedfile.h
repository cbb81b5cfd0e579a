#pragma once

#include <QFile>

/// A file that ends after half a mebibyte, so that no input can make a reader take memory or time
/// without end: Qt's readers take up to 54 bytes for each byte of a document.
class BoundedFile : public QFile
{
public:
    using QFile::QFile;

    static constexpr qint64 maximumSize = 512 << 10;

    /// @return whether reading was cut short
    bool isTooLarge() const { return m_bytesRead > maximumSize; }

    bool open(OpenMode mode) override
    {
        m_bytesRead = 0;
        return QFile::open(mode);
    }

    bool atEnd() const override { return isTooLarge() || QFile::atEnd(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const qint64 count = isTooLarge() ? -1 : QFile::readData(data, maxSize);
        if (count > 0)
            m_bytesRead += count;
        return isTooLarge() ? -1 : count;
    }

private:
    qint64 m_bytesRead = 0;
};
