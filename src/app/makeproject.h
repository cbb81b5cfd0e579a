#pragma once

#include "app/statusline.h"
#include "engine/project.h"

/// The program's name, which begins every message: the file name of argv[0] without its extension,
/// in the local 8-bit encoding. Set once by setProgramName(), never freed.
extern const char *myname;

void setProgramName(const char *argv0);

/// Writes "[name] text" and a newline to standard error, at once, so that it keeps its place among
/// the output of the tools.
void printMessage(const QString &text);

/// The project whose messages are printed.
class MakeProject final : public Project
{
public:
    explicit MakeProject(const ProjectSpec &spec) : Project(spec) {}

    /// Shows on a terminal how far the jobs are.
    void enableStatusLine() { m_statusLine.enable(); }

    void msg(const QString &text) override;
    int showOutput(OutputStream stream, QByteArrayView text) override;
    void showProgress(const QString &line) override { m_statusLine.show(line); }

private:
    StatusLine m_statusLine;
};
