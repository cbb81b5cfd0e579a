#pragma once

#include <QMap>
#include <QString>

#include <optional>

/// The sizes in a build, by file or firmware file.
using Sizes = QMap<QString, qint64>;

/// Compares the sizes of a build with those of the one before it that was looked at. They are kept
/// in a file; looking twice at one build compares it with the same earlier one.
class SizeHistory
{
public:
    explicit SizeHistory(const QString &file) : m_file(file) {}

    /// @param build  tells one build from another
    /// @return the sizes of the build before; nothing when none was looked at
    std::optional<Sizes> replace(const QString &build, const Sizes &sizes);

    /// @return false when the file cannot be written
    bool isKept() const { return m_isKept; }

private:
    QString m_file;
    bool m_isKept = true;
};
