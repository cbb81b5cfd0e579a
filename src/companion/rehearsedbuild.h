#pragma once

#include "engine/project.h"

/// One thing that a build would do: make an output, or run a tool whose outputs are not known.
struct RehearsedStep
{
    QString output; ///< empty: a tool run that promises none
    QString input;  ///< what the output is made from; may be empty
    Staleness why = Staleness::Always;
    FileStatus outputBefore;
    FileStatus inputBefore;
    bool isInputMade = false; ///< the build makes the input, too
    int command = -1;         ///< in RehearsedBuild::commands(); -1: no tool is run for it
};

/// A rehearsal for as long as the object lives.
struct RehearsalScope
{
    RehearsalScope();
    ~RehearsalScope();
    RehearsalScope(const RehearsalScope &) = delete;
    RehearsalScope &operator=(const RehearsalScope &) = delete;
};

/// A build that is only walked through: the decisions are those of a real one, the tools are not
/// run, and the disk stays as it is. What it would do can be read afterwards.
class RehearsedBuild final : private RehearsalScope, public Project
{
public:
    /// @param spec  must outlive this object
    /// @param projectFile  what the project file was like before it was read
    RehearsedBuild(const ProjectSpec &spec, const FileStatus &projectFile);

    /// Walks through a build. Until this object is gone, FileStatus shows files as they would be.
    /// @return false with the error text set where the build would stop
    bool rehearse(Operation operation);

    const QList<RehearsedStep> &steps() const { return m_steps; }
    const QList<Command> &commands() const { return m_commands; }
    const QStringList &messages() const { return m_messages; }

    /// @return where the tools of the build are: in the directory of this program, if any of them
    /// is there, or else in the SDK; empty when none is in either
    QString toolDirectory() const;

    void msg(const QString &text) override { m_messages.append(text); }
    void making(const QString &output, const QString &input, Staleness why) override;

private:
    class Recorder;

    void record(const Command &command);
    void foreseeTranslations(const Command &command);

    QList<RehearsedStep> m_steps;
    QList<Command> m_commands;
    QStringList m_messages;
    qsizetype m_announced = 0; ///< the first step whose command has not come yet
};

/// @return whether @p path is a file that can be run
bool isProgram(const QString &path);

/// @return the value that follows @p option in @p arguments; empty when there is none
QString optionValue(const QStringList &arguments, const QString &option);
/// @return all values that follow an @p option
QStringList optionValues(const QStringList &arguments, const QString &option);
