#pragma once

#include "engine/command.h"
#include "engine/responsefile.h"

#include <functional>
#include <list>
#include <vector>

#include <poll.h>

struct ProjectSpec;
struct RunningTool;

/// Runs programs whose output is shown. Seventeen or more arguments travel in a response file in
/// the object directory, which is gone when the program has ended.
class ToolRunner final : public CommandRunner
{
public:
    /// @param spec  says where the object directory is; it must outlive the runner
    /// @param message  puts out the echo of a command that runs alone
    ToolRunner(const ProjectSpec &spec, std::function<void(const QString &)> message);
    ~ToolRunner() override;

    CommandResult run(const Command &command) override;

    /// A program for which the machine has no room (processes, open files) is started when another
    /// one has ended.
    void start(const Command &command, CommandListener *listener) override;
    void wait(bool blocks) override;

private:
    bool prepare(const Command &command, ResponseFile *file, QByteArrayList *arguments,
                 QString *error) const;
    QString responseFileTemplate() const;
    void launch(RunningTool *tool);
    void poll(bool blocks);

    const ProjectSpec &m_spec;
    std::function<void(const QString &)> m_message;
    std::list<RunningTool> m_tools;
    std::vector<pollfd> m_descriptors; ///< kept for the next call
};
