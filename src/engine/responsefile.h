#pragma once

#include <QStringList>

/// A temporary file that carries a long argument list to a program, one argument a line in the
/// local encoding, unquoted. It is removed with this object.
class ResponseFile
{
public:
    /// @return whether so many arguments travel in a file instead of on the command line
    static bool isNeededFor(const QStringList &arguments);

    /// @return why the arguments cannot be told apart in a file; empty when they can
    static QString obstacleIn(const QStringList &arguments);

    /// Removes the files that killed builds have left in an object directory.
    static void removeLeftIn(const QString &directory);

    /// @param pathTemplate  ends in "XXXXXX", which are replaced
    explicit ResponseFile(const QString &pathTemplate) : m_template(pathTemplate) {}
    ~ResponseFile();
    ResponseFile(const ResponseFile &) = delete;
    ResponseFile &operator=(const ResponseFile &) = delete;

    /// @return false with the reason in @p error when the arguments could not be written in full
    bool write(const QStringList &arguments, QString *error);

    /// @return the one argument that leads the program to the file: "@" and its absolute path, in
    /// the file system's encoding
    QByteArray argument() const;

private:
    QString m_template;
    QByteArray m_path; ///< empty: there is no file
};
