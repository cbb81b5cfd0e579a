#pragma once

#include "model/filesystemspec.h"

class Project;

/// The image of the root filesystem: its argument list, which grows from step to step in the order
/// in which the image tool reads it, and the packing.
class RootImage
{
public:
    RootImage(Project *project, const FilesystemSpec &filesystem);

    /// Reserves the image's file and begins the argument list.
    /// @param temporaryFile  see Project::prepareTemporaryFile()
    bool begin(QString *temporaryFile);

    /// What is added next goes below @p directory of the image.
    void setDestination(const QString &directory);
    /// Adds a file or a directory with all below it.
    void addSource(const QString &path);
    /// Adds the content of another image.
    void addArchive(const QString &path);
    /// Adds a file as @p destination of the image.
    void addFile(const QString &destination, const QString &path);

    bool pack();

    const QString &path() const { return m_path; }
    /// @return the level of the steps that fill and pack the image
    int level() const;

private:
    Project *m_project;
    const FilesystemSpec &m_filesystem;
    QString m_path;
    QStringList m_arguments;
};
