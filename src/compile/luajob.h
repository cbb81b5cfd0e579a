#pragma once

#include "engine/job.h"
#include "engine/outputguard.h"
#include "model/processspec.h"

class Project;
class ProjectMake;

/// A file and its status when the walk reached it.
struct SeenFile
{
    QString path;
    FileStatus status;
};

/// What one source is made into.
struct LuaFiles
{
    QString name; ///< of the source, below its tree
    SeenFile source;
    SeenFile preprocessed; ///< no path: this stage is off
    SeenFile compiled;     ///< the same; without a status, when the stage before is due
};

/// Preprocesses and compiles one Lua source, as far as it is out of date.
class LuaJob final : public Job
{
public:
    /// @param make  decides what is out of date; it must outlive the job
    LuaJob(Project *project, const ProjectMake &make, const QStringList &includes, LuaFiles files);

    QString label() const override { return m_files.name; }
    QStringList outputs() const override;
    void outputsChanged() override;
    bool next(std::optional<Command> *command) override;
    void ended(const CommandResult &result) override;
    bool finish() override;

private:
    enum class Stage { Preprocess, Compile, Finished };

    bool preprocess(std::optional<Command> *command);
    bool compile(const SeenFile &input, std::optional<Command> *command);
    bool begin(const SeenFile &output, const SeenFile &input);

    Project *m_project;
    const ProjectMake &m_make;
    QStringList m_includes; ///< arguments of the preprocessor
    LuaFiles m_files;
    Stage m_stage = Stage::Preprocess;
    OutputChain m_chain;
    QString m_output; ///< what the running command makes
};
