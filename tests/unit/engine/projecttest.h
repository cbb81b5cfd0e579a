#pragma once

#include "testfiles.h"

using namespace Qt::StringLiterals;

/// A test of a project that has a directory of its own.
class ProjectTest : public QObject
{
protected:
    void makeProject()
    {
        m_world = std::make_unique<QTemporaryDir>();
        m_spec = {};
        m_spec.projectFile = path(u"box.ztp"_s);
        m_project = std::make_unique<RecordingProject>(m_spec);
    }

    QString path(const QString &name) const { return m_world->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_world;
    ProjectSpec m_spec;
    std::unique_ptr<RecordingProject> m_project;
};
