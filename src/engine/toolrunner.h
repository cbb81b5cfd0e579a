#pragma once

#include "engine/command.h"

#include <functional>

struct ProjectSpec;

/// Runs programs whose output is shown, one at a time: their standard streams are this process's
/// own. Seventeen or more arguments travel in a response file in the object directory, which is
/// gone when the program has ended.
class ToolRunner final : public CommandRunner
{
public:
    /// @param spec  says where the object directory is; it must outlive the runner
    /// @param message  puts out the echo
    ToolRunner(const ProjectSpec &spec, std::function<void(const QString &)> message);

    CommandResult run(const Command &command) override;

private:
    const ProjectSpec &m_spec;
    std::function<void(const QString &)> m_message;
};
