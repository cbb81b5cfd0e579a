#pragma once

#include "engine/command.h"

#include <optional>

/// Commands that run one after the other, while those of other jobs may run beside them.
class Job
{
public:
    Job() = default;
    virtual ~Job() = default;
    Job(const Job &) = delete;
    Job &operator=(const Job &) = delete;

    /// @return what a progress line calls the job
    virtual QString label() const = 0;

    /// @return every path that the job may write to
    virtual QStringList outputs() const = 0;

    /// Says, before the first command, that other jobs have written to those paths since this one
    /// was made.
    virtual void outputsChanged() {}

    /// @param command  receives the next one; none: the job is done
    /// @return false with the project's error text set
    virtual bool next(std::optional<Command> *command) = 0;

    /// Says how a command ended, also when it failed.
    virtual void ended(const CommandResult &result) = 0;

    /// Called once, when no more commands are to come.
    /// @return false with the project's error text set
    virtual bool finish() { return true; }
};
