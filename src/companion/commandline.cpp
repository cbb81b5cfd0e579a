#include "companion/commandline.h"

#include "app/makeproject.h"
#include "companion/check.h"
#include "companion/init.h"
#include "companion/size.h"
#include "companion/why.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <array>
#include <cstdio>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

/// A command line whose first word is a sub-command.
class SubCommandLine
{
public:
    /// @param argument  what stands behind the options, for the usage text
    SubCommandLine(const QStringList &arguments, const char *description,
                   const std::array<const char *, 2> &argument)
        : m_arguments(arguments)
    {
        m_parser.setApplicationDescription(QString::fromUtf8(description));
        m_parser.addPositionalArgument(m_arguments.value(1), {}, m_arguments.value(1));
        m_parser.addPositionalArgument(QString::fromUtf8(argument[0]),
                                       QString::fromUtf8(argument[1]),
                                       u'[' + QString::fromUtf8(argument[0]) + u']');
        m_parser.addOption({{u"h"_s, u"help"_s}, u"print this text"_s});
    }

    void addFlag(const char *name, const char *description)
    {
        m_parser.addOption({QString::fromUtf8(name), QString::fromUtf8(description)});
    }
    void addOption(const char *name, const char *description, const char *value)
    {
        m_parser.addOption({QString::fromUtf8(name), QString::fromUtf8(description),
                            QString::fromUtf8(value)});
    }

    /// @return the exit status when there is nothing to do, or a mistake
    std::optional<int> read()
    {
        if (!m_parser.parse(m_arguments)) {
            printMessage(m_parser.errorText());
            return 1;
        }
        if (m_parser.isSet(u"help"_s)) {
            QString text = m_parser.helpText();
            text.replace(QCoreApplication::arguments().value(0), u"ztproject"_s);
            std::fputs(qPrintable(text), stdout);
            return 0;
        }
        if (m_parser.positionalArguments().size() > 2) {
            printMessage(u"Only one name is expected: %1"_s.arg(
                    m_parser.positionalArguments().sliced(1).join(u' ')));
            return 1;
        }
        return {};
    }

    bool isSet(const char *name) const { return m_parser.isSet(QString::fromUtf8(name)); }
    QString value(const char *name) const { return m_parser.value(QString::fromUtf8(name)); }
    QStringList values(const char *name) const { return m_parser.values(QString::fromUtf8(name)); }
    /// @return what is named behind the sub-command; empty when nothing is
    QString argument() const { return m_parser.positionalArguments().value(1); }

private:
    QStringList m_arguments;
    QCommandLineParser m_parser;
};

constexpr std::array projectFileArgument{
        "file", "the project file; by default the one that ztmake would take"};

int runWhy(const QStringList &arguments)
{
    SubCommandLine line(arguments, "Tells what a build would do, and why, without doing it.",
                        projectFileArgument);
    line.addFlag("all", "as for a build with --all");
    line.addFlag("commands", "show the tool calls, too");
    if (const std::optional<int> status = line.read())
        return *status;
    return tellWhy({line.argument(), line.isSet("all"), line.isSet("commands")});
}

int runCheck(const QStringList &arguments)
{
    SubCommandLine line(arguments, "Finds what would build the wrong firmware.",
                        projectFileArgument);
    line.addFlag("strict", "fail for warnings, too");
    line.addFlag("compare", "compare what a build would keep with what the tools make now");
    line.addOption("format", "text, as compilers print it, or json", "format");
    if (const std::optional<int> status = line.read())
        return *status;
    const QString format = line.value("format");
    if (!format.isEmpty() && format != "text"_L1 && format != "json"_L1) {
        printMessage(u"Unknown format %1: choose text or json."_s.arg(format));
        return 1;
    }
    return checkProject(
            {line.argument(), line.isSet("strict"), format == "json"_L1, line.isSet("compare")});
}

int runInit(const QStringList &arguments)
{
    SubCommandLine line(arguments, "Starts a project that builds at once.",
                        {"name", "the project's directory, which is made"});
    line.addOption("model", "a device model; can be repeated", "model");
    line.addOption("language", "translate into this language; can be repeated", "language");
    line.addOption("sdk", "the version or the directory of the SDK", "sdk");
    line.addFlag("key", "make a key, and sign the firmware with it");
    if (const std::optional<int> status = line.read())
        return *status;
    if (line.argument().isEmpty()) {
        printMessage(u"Name the project: ztproject init NAME"_s);
        return 1;
    }
    return startProject({line.argument(), line.value("sdk"), line.values("model"),
                         line.values("language"), line.isSet("key")});
}

int runSize(const QStringList &arguments)
{
    SubCommandLine line(arguments, "Shows what the firmware of the last build holds.",
                        projectFileArgument);
    line.addOption("svg", "draw the sizes into this file", "file");
    if (const std::optional<int> status = line.read())
        return *status;
    return showSizes({line.argument(), line.value("svg")});
}

struct SubCommand
{
    const char *name;
    int (*run)(const QStringList &arguments);
};

constexpr std::array<SubCommand, 4> subCommands{{
        {"check", runCheck},
        {"init", runInit},
        {"size", runSize},
        {"why", runWhy},
}};

constexpr char usageText[] = R"(Usage: ztproject COMMAND [OPTION]... [ARGUMENT]

  check [FILE]  find what would build the wrong firmware
  why [FILE]    tell what a build would do, and why
  init NAME     start a project
  size [FILE]   show what the firmware holds

ztproject COMMAND --help explains one of them.
)";

} // namespace

int runCompanion(const QStringList &arguments)
{
    const QString name = arguments.value(1);
    for (const SubCommand &command : subCommands) {
        if (name == QLatin1StringView(command.name))
            return command.run(arguments);
    }
    if (name == "--version"_L1) {
        std::printf("ztproject %s\n", qPrintable(QCoreApplication::applicationVersion()));
        return 0;
    }
    const bool isHelp = name == "--help"_L1 || name == "-h"_L1;
    std::fputs(usageText, isHelp ? stdout : stderr);
    return isHelp ? 0 : 1;
}
