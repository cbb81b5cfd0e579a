// Stands in for every program that ztmake starts: it is linked under each tool's name, logs how it
// was called and then behaves as the test has planned for it.
//
// ZTTEST_DIR names the directory with the log ("calls") and the plans ("plan/<tool>"). A plan has
// one action a line, "<number of the call, or *> <action> [argument]", in which \n and \\ stand for
// a newline and a backslash:
//   out TEXT, err TEXT   print
//   read                 read standard input to its end and log it
//   probe PATH           log whether PATH is missing, a directory, or a file and its content
//   write PATH TEXT      write a file
//   folder PATH          make a folder
//   remove PATH          remove a file or a tree
//   sleep SECONDS        wait
//   await PATH           wait until something is there
//   signal WHOM NUMBER   send a signal to "parent" (the program), "group" (everybody) or "self"
//   catch, ignore        from now on note, or ignore, SIGINT, SIGTERM and SIGHUP
//   wait                 until a signal comes, which ends the tool or has been noted
//   partial              create the outputs now, half written
//   quiet                create no outputs
//   exit STATUS, crash, kill   end here
// Without such an end the outputs are created as the real tool would and the status is 0.

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Strings = std::vector<std::string>;

std::string recordDirectory()
{
    const char *directory = std::getenv("ZTTEST_DIR");
    return directory ? directory : ".";
}

std::string readFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

[[noreturn]] void giveUp(const std::string &text)
{
    std::cerr << "stand-in: " << text << '\n';
    std::exit(97);
}

void writeFile(const std::string &path, const std::string &content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    if (!out)
        giveUp("cannot write " + path);
}

/// One call's record: pairs of a key and a value, each written as <length>:<bytes>,
class Record
{
public:
    void add(const std::string &key, const std::string &value)
    {
        field(key);
        field(value);
    }

    void append() const
    {
        const std::string path = recordDirectory() + "/calls";
        const int log = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
        const std::string bytes = m_bytes + "3:end,0:,";
        if (log < 0 || ::write(log, bytes.data(), bytes.size()) != ssize_t(bytes.size()))
            giveUp("cannot log to " + path);
        ::close(log);
    }

private:
    void field(const std::string &text)
    {
        m_bytes += std::to_string(text.size()) + ':' + text + ',';
    }

    std::string m_bytes;
};

std::string unescaped(const std::string &text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size()) {
            ++i;
            result += text[i] == 'n' ? '\n' : text[i];
        } else {
            result += text[i];
        }
    }
    return result;
}

/// The actions planned for this call; counts the tool's calls in a file beside the plan.
Strings plannedActions(const std::string &tool)
{
    const std::string plan = recordDirectory() + "/plan/" + tool;
    if (!std::filesystem::exists(plan))
        return {};
    const std::string counter = plan + ".count";
    const int number = std::atoi(readFile(counter).c_str()) + 1;
    writeFile(counter, std::to_string(number));

    Strings actions;
    std::istringstream lines(readFile(plan));
    for (std::string line; std::getline(lines, line);) {
        const std::size_t blank = line.find(' ');
        const std::string which = line.substr(0, blank);
        if (which == "*" || which == std::to_string(number))
            actions.push_back(line.substr(blank + 1));
    }
    return actions;
}

std::string probed(const std::string &path)
{
    const std::filesystem::file_status status = std::filesystem::status(path);
    if (!std::filesystem::exists(status))
        return "missing";
    if (std::filesystem::is_directory(status))
        return "directory";
    return "file " + readFile(path);
}

/// The one argument "@file" replaced by the lines of the file.
Strings expanded(const Strings &arguments, Record &record)
{
    if (arguments.size() != 1 || arguments[0].empty() || arguments[0][0] != '@')
        return arguments;
    const std::string path = arguments[0].substr(1);
    if (!std::filesystem::is_regular_file(path)) {
        record.add("missing response file", path);
        return arguments;
    }
    const std::string text = readFile(path);
    record.add("response file", path);
    record.add("response text", text);
    Strings result;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
        result.push_back(text.substr(start, end - start));
    if (start != text.size())
        result.push_back(text.substr(start) + "<no newline>");
    return result;
}

bool isOutputOption(const std::string &tool, const std::string &argument)
{
    if (tool == "ztmkromfs")
        return argument == "-o" || argument == "--out";
    if (tool == "ztmkmtd")
        return argument == "--header" || argument == "--lua";
    if (tool == "ztlupdate")
        return argument == "--ts" || argument == "--xml-report";
    return (tool == "ztlpp" && argument == "--out") || (tool == "ztluac" && argument == "-o")
           || (tool == "ztlink" && argument == "--output")
           || (tool == "lrelease" && argument == "-qm");
}

volatile sig_atomic_t caught = 0;

void handleSignals(void (*handler)(int))
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, handler);
}

void sendSignal(const std::string &whomAndNumber)
{
    const std::size_t blank = whomAndNumber.find(' ');
    const std::string whom = whomAndNumber.substr(0, blank);
    const int number = std::atoi(whomAndNumber.substr(blank + 1).c_str());
    if (number == SIGSEGV) // a sanitizer catches it and exits
        std::signal(number, SIG_DFL);
    ::kill(whom == "parent" ? ::getppid() : whom == "group" ? 0 : ::getpid(), number);
}

/// Waits without sleeping through a signal that comes just before.
void waitForSignal()
{
    sigset_t all{};
    sigset_t before{};
    sigfillset(&all);
    ::sigprocmask(SIG_BLOCK, &all, &before);
    while (caught == 0)
        ::sigsuspend(&before);
    caught = 0;
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
}

void createOutput(const std::string &tool, const std::string &option, const std::string &path,
                  const std::string &content)
{
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    if (tool == "ztlink" && !parent.empty())
        std::filesystem::create_directories(parent);
    if (option == "--ts" && std::filesystem::exists(path))
        return;
    if (option == "--xml-report") {
        if (std::filesystem::is_directory(parent))
            writeFile(path, "<!DOCTYPE TSREPORT>\n<TSREPORT/>\n");
        return;
    }
    writeFile(path, content);
}

void createOutputs(const std::string &tool, const Strings &arguments, const std::string &content)
{
    for (std::size_t i = 0; i + 1 < arguments.size() && arguments[i] != "--"; ++i) {
        if (isOutputOption(tool, arguments[i]))
            createOutput(tool, arguments[i], arguments[i + 1], content);
    }
}

/// Carries out the actions that can be done before the call is logged.
void doBeforeLogging(const Strings &actions, Record &record)
{
    for (const std::string &action : actions) {
        if (action == "read")
            record.add("input", {std::istreambuf_iterator<char>(std::cin), {}});
        else if (action.rfind("probe ", 0) == 0)
            record.add("probe", action.substr(6) + ' ' + probed(action.substr(6)));
    }
}

/// Carries out the other actions, in their order. Returns whether outputs are still wanted.
bool doAfterLogging(const std::string &tool, const Strings &arguments, const Strings &actions)
{
    bool outputs = true;
    for (const std::string &line : actions) {
        const std::size_t blank = line.find(' ');
        const std::string action = line.substr(0, blank);
        const std::string argument = blank == std::string::npos ? "" : line.substr(blank + 1);
        if (action == "out") {
            std::cout << unescaped(argument) << std::flush;
        } else if (action == "err") {
            std::cerr << unescaped(argument) << std::flush;
        } else if (action == "write") {
            const std::size_t gap = argument.find(' ');
            writeFile(argument.substr(0, gap), unescaped(argument.substr(gap + 1)));
        } else if (action == "folder") {
            std::filesystem::create_directories(argument);
        } else if (action == "remove") {
            std::filesystem::remove_all(argument);
        } else if (action == "sleep") {
            ::sleep(unsigned(std::atoi(argument.c_str())));
        } else if (action == "await") {
            while (!std::filesystem::exists(argument))
                ::usleep(1000);
        } else if (action == "signal") {
            sendSignal(argument);
        } else if (action == "catch") {
            handleSignals([](int) { caught = 1; });
        } else if (action == "ignore") {
            handleSignals(SIG_IGN);
        } else if (action == "wait") {
            waitForSignal();
        } else if (action == "partial") {
            createOutputs(tool, arguments, "half");
        } else if (action == "quiet") {
            outputs = false;
        } else if (action == "exit") {
            std::_Exit(std::atoi(argument.c_str()));
        } else if (action == "crash") {
            std::signal(SIGABRT, SIG_DFL);
            const rlimit noCore{0, 0};
            ::setrlimit(RLIMIT_CORE, &noCore);
            std::abort();
        } else if (action == "kill") {
            ::kill(::getpid(), SIGKILL);
        } else if (action != "read" && action != "probe") {
            giveUp("unknown action: " + line);
        }
    }
    return outputs;
}

} // namespace

int main(int argc, char **argv)
{
    rlimit fileSize{};
    if (::getrlimit(RLIMIT_FSIZE, &fileSize) == 0) {
        fileSize.rlim_cur = fileSize.rlim_max;
        ::setrlimit(RLIMIT_FSIZE, &fileSize);
    }

    const std::string tool = std::filesystem::path(argv[0]).filename();
    const Strings received(argv + 1, argv + argc);
    Record record;
    record.add("name", tool);
    record.add("program", argv[0]);
    record.add("pid", std::to_string(::getpid()));
    record.add("directory", std::filesystem::current_path());
    for (const std::string &argument : received)
        record.add("received", argument);
    const Strings arguments = expanded(received, record);
    for (const std::string &argument : arguments)
        record.add("argument", argument);
    if (::fcntl(STDIN_FILENO, F_GETFD) < 0)
        record.add("input", "<closed>");
    const Strings actions = plannedActions(tool);
    doBeforeLogging(actions, record);
    record.append();

    if (doAfterLogging(tool, arguments, actions))
        createOutputs(tool, arguments, "made by " + tool + '\n');
    if (tool == "svnversion" && actions.empty())
        std::cout << "1234\n";
    return 0;
}
