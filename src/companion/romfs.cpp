#include "companion/romfs.h"

#include <QFile>
#include <QSet>
#include <QtEndian>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr QByteArrayView magic("-rom1fs-");
constexpr qsizetype headerSize = 16; // of the image, and of each file; a name follows
constexpr int maximumDepth = 100;

/// Reads what an image holds; what leads out of it makes it damaged.
class RomfsReader
{
public:
    explicit RomfsReader(QByteArrayView image) : m_image(image) {}

    std::optional<QList<RomfsFile>> read()
    {
        if (!m_image.startsWith(magic) || m_image.size() < 2 * headerSize)
            return {};
        const qsizetype size = number(8);
        if (size < 2 * headerSize || size > m_image.size() || !isChecked(size))
            return {};
        m_image = m_image.first(size);
        if (!readDirectory(behindName(headerSize), {}, 0))
            return {};
        std::sort(m_files.begin(), m_files.end(),
                  [](const RomfsFile &a, const RomfsFile &b) { return a.path < b.path; });
        return m_files;
    }

private:
    quint32 number(qsizetype offset) const
    {
        return offset + 4 <= m_image.size() ? qFromBigEndian<quint32>(m_image.data() + offset) : 0;
    }

    bool isChecked(qsizetype size) const
    {
        quint32 sum = 0;
        for (qsizetype offset = 0; offset + 4 <= std::min<qsizetype>(size, 512); offset += 4)
            sum += number(offset);
        return sum == 0;
    }

    /// @return where the padded name that begins at @p offset ends
    qsizetype behindName(qsizetype offset) const
    {
        const qsizetype end = offset < m_image.size() ? m_image.indexOf('\0', offset) : -1;
        return end < 0 ? m_image.size() : (end + headerSize) & ~(headerSize - 1);
    }

    bool readDirectory(qsizetype offset, const QString &path, int depth)
    {
        if (depth > maximumDepth)
            return false;
        while (offset != 0) {
            if (offset + headerSize >= m_image.size() || m_seen.contains(offset))
                return false;
            m_seen.insert(offset);
            if (!readObject(offset, path, depth))
                return false;
            offset = number(offset) & ~quint32(headerSize - 1);
        }
        return true;
    }

    bool readObject(qsizetype offset, const QString &path, int depth)
    {
        constexpr quint32 directory = 1;
        constexpr quint32 regularFile = 2;
        const qsizetype nameStart = offset + headerSize;
        const QByteArray name(m_image.sliced(nameStart).data());
        if (name == "." || name == "..")
            return true;
        const QString whole = path + QFile::decodeName(name);
        const quint32 kind = number(offset) & 7;
        if (kind == directory)
            return readDirectory(number(offset + 4) & ~quint32(headerSize - 1), whole + u'/',
                                 depth + 1);
        const qint64 size = number(offset + 8);
        if (behindName(nameStart) + size > m_image.size())
            return false;
        if (kind == regularFile)
            m_files.append({whole, size});
        return true;
    }

    QByteArrayView m_image;
    QList<RomfsFile> m_files;
    QSet<qsizetype> m_seen;
};

} // namespace

std::optional<QList<RomfsFile>> filesOfRomfs(QByteArrayView image)
{
    return RomfsReader(image).read();
}

std::optional<QList<RomfsFile>> filesOfFirmware(const QByteArray &firmware)
{
    // An image can hold others, as files of their own; those stand behind its own beginning.
    for (qsizetype start = firmware.indexOf(magic); start >= 0;
         start = firmware.indexOf(magic, start + 1)) {
        if (auto files = filesOfRomfs(QByteArrayView(firmware).sliced(start)))
            return files;
    }
    return {};
}
