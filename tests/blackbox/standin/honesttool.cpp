// Stands in for every SDK program in the convergence test: what it writes is made of what it reads
// and of its options, and of nothing else, so that a stale or half-written input shows in the
// bytes.
//
// At a planned moment of a planned call it does what can happen to a tool. ZTTEST_PLAN names a
// directory with the file "plan", one event a line: "<number of the call> <moment> <action>".
// The moments are "start", "half" (the outputs are half written), "end" (they are whole). Actions:
//   parent SIGNAL, group SIGNAL, self SIGNAL   send the signal with that number
//   catch, ignore   from now on finish in spite of SIGINT, SIGTERM and SIGHUP, or ignore them
//   clean           from now on remove the outputs and fail after such a signal
//   fail            exit with status 1
//   edit FILE TEXT  append the text to the file, at a time of its own (see distinctTime()); "-" is
//                   the tool's input, when that is a source
//   flip FILE       turn an option of the project file, likewise
//
// With ZTTEST_TALK it also adds its arguments to the file "log" of the directory, takes a while,
// and prints to both streams; how long and how much depends on that variable and the arguments
// alone. It fails when its output is ZTTEST_FAILING.

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Strings = std::vector<std::string>;
using Outputs = std::map<std::string, std::string>; // what goes into which file

volatile sig_atomic_t pendingSignal = 0;
bool cleansUp = false;
std::string sourceInput; // the input, when it is a source

std::string readFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        std::_Exit(3);
    }
    return {std::istreambuf_iterator<char>(in), {}};
}

void writeFile(const std::string &path, const std::string &text)
{
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    if (!parent.empty())
        std::filesystem::create_directories(parent);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text << std::flush;
    if (!out) {
        std::fprintf(stderr, "cannot write %s\n", path.c_str());
        std::_Exit(4);
    }
}

long long milliseconds(const timespec &time)
{
    return time.tv_sec * 1000LL + time.tv_nsec / 1000000;
}

/// Returns when the file system's clock has passed the present millisecond: what is written from
/// now on is younger than all that was written before, whatever the length of the clock's tick.
void distinctTime()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::string probe = std::string(std::getenv("ZTTEST_PLAN")) + "/probe";
    struct stat data
    {
    };
    do {
        writeFile(probe, "x");
    } while (stat(probe.c_str(), &data) == 0 && milliseconds(data.st_mtim) <= milliseconds(now));
}

void sendSignal(pid_t process, const std::string &number)
{
    kill(process, std::atoi(number.c_str()));
}

void handleSignals(void (*handler)(int))
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, handler);
}

void noteSignal(int number)
{
    pendingSignal = number;
}

void act(const std::string &text)
{
    std::istringstream words(text);
    std::string action;
    std::string argument;
    words >> action >> argument;
    if (action == "parent") {
        sendSignal(getppid(), argument);
    } else if (action == "group") {
        sendSignal(0, argument);
    } else if (action == "self") {
        sendSignal(getpid(), argument);
    } else if (action == "catch") {
        handleSignals(noteSignal);
    } else if (action == "clean") {
        cleansUp = true;
        handleSignals(noteSignal);
    } else if (action == "ignore") {
        handleSignals(SIG_IGN);
    } else if (action == "fail") {
        std::_Exit(1);
    } else if (action == "edit") {
        std::string added;
        std::getline(words >> std::ws, added);
        if (argument == "-")
            argument = sourceInput;
        if (argument.empty())
            return;
        distinctTime();
        std::ofstream(argument, std::ios::app) << added << '\n';
    } else if (action == "flip") {
        const std::string option = "RemoveComments=\"";
        std::string project = readFile(argument);
        char &value = project[project.find(option) + option.size()];
        value = value == '0' ? '1' : '0';
        distinctTime();
        writeFile(argument, project);
    }
}

/// Each call has a number: the calls so far are counted by the length of a file.
long countCall()
{
    const std::string path = std::string(std::getenv("ZTTEST_PLAN")) + "/calls";
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (file < 0 || write(file, "x", 1) != 1)
        std::_Exit(5);
    const long number = static_cast<long>(lseek(file, 0, SEEK_END));
    close(file);
    return number;
}

void reach(const std::string &moment)
{
    static const long number = countCall();
    std::ifstream plan(std::string(std::getenv("ZTTEST_PLAN")) + "/plan");
    for (std::string line; std::getline(plan, line);) {
        const std::string start = std::to_string(number) + ' ' + moment + ' ';
        if (line.rfind(start, 0) == 0)
            act(line.substr(start.size()));
    }
}

Strings expanded(const Strings &arguments)
{
    if (arguments.size() != 1 || arguments[0].rfind('@', 0) != 0)
        return arguments;
    Strings lines;
    std::istringstream text(readFile(arguments[0].substr(1)));
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

/// Takes an option and its value out of the arguments.
std::string take(Strings &arguments, const std::string &option)
{
    const auto found = std::find(arguments.begin(), arguments.end(), option);
    if (found == arguments.end() || found + 1 == arguments.end())
        return {};
    const std::string value = found[1];
    arguments.erase(found, found + 2);
    return value;
}

std::string frame(const std::string &tool, const std::string &options, const std::string &text)
{
    return tool + " [" + options + "]\n" + text + "end of " + tool + '\n';
}

/// One input, whose path goes into the output with its options.
std::string compiled(const std::string &tool, const Strings &arguments)
{
    std::string options;
    for (const std::string &argument : arguments)
        options += ' ' + argument;
    return frame(tool, options, readFile(arguments.back()));
}

void addToImage(std::map<std::string, std::string> &image, const std::string &name,
                const std::string &path)
{
    if (!std::filesystem::is_directory(path)) {
        image[name] = readFile(path);
        return;
    }
    for (const auto &entry : std::filesystem::directory_iterator(path))
        addToImage(image, name + '/' + entry.path().filename().string(), entry.path());
}

/// The image in the order of its names: directories are listed in any order.
std::string packed(const Strings &arguments)
{
    std::map<std::string, std::string> image;
    std::string directory;
    std::string options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const bool isInput = arguments[i] == "-i" || arguments[i] == "--in";
        if ((arguments[i] == "-D" || arguments[i] == "--destination") && i + 1 < arguments.size())
            directory = arguments[++i];
        else if (isInput && i + 1 < arguments.size())
            addToImage(image, directory, arguments[++i]);
        else
            options += ' ' + arguments[i];
    }
    std::string text;
    for (const auto &[name, content] : image)
        text += name + ":\n" + content;
    return frame("image", options, text);
}

std::string linked(Strings arguments)
{
    const std::string kernel = readFile(take(arguments, "--kernel"));
    const std::string data = readFile(take(arguments, "--data"));
    std::string options;
    for (const std::string &argument : arguments)
        options += ' ' + argument;
    return frame("firmware", options, kernel + data);
}

/// Catalogues are the user's own, so they are replaced whole, and only when they change.
void updateCatalogues(Strings arguments)
{
    const std::string report = take(arguments, "--xml-report");
    Strings catalogues;
    for (std::string name; !(name = take(arguments, "--ts")).empty();)
        catalogues.push_back(name);
    std::map<std::string, std::string> sources;
    for (const std::string &argument : arguments) {
        if (argument.size() > 4 && argument.substr(argument.size() - 4) == ".lua")
            sources[argument] = readFile(argument);
    }
    std::string found;
    for (const auto &[name, text] : sources)
        found += "source " + std::to_string(text.size()) + ' ' + name + '\n';
    reach("half");
    for (const std::string &name : catalogues) {
        const std::string before = std::filesystem::exists(name) ? readFile(name) : "";
        std::istringstream lines(before);
        std::string after;
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind("source ", 0) != 0)
                after += line + '\n';
        }
        after += found;
        if (after == before)
            continue;
        writeFile(name + ".new", after);
        std::filesystem::rename(name + ".new", name);
    }
    writeFile(report, "<!DOCTYPE TSREPORT>\n<TSREPORT/>\n");
}

Outputs made(const std::string &tool, Strings arguments)
{
    Outputs outputs;
    const auto add = [&outputs](const std::string &path, const std::string &text) {
        if (!path.empty())
            outputs[path] = text;
    };
    if (tool == "ztlpp") {
        const std::string path = take(arguments, "--out");
        add(path, compiled(tool, arguments));
    } else if (tool == "ztluac") {
        const std::string path = take(arguments, "-o");
        add(path, compiled(tool, arguments));
    } else if (tool == "lrelease") {
        const std::string path = take(arguments, "-qm");
        add(path, compiled(tool, arguments));
    } else if (tool == "ztmkmtd") {
        const std::string header = take(arguments, "--header");
        const std::string module = take(arguments, "--lua");
        add(header, frame("header", "", readFile(arguments.back())));
        add(module, frame("module", "", readFile(arguments.back())));
    } else if (tool == "ztmkromfs") {
        std::string path = take(arguments, "-o");
        if (path.empty())
            path = take(arguments, "--out");
        add(path, packed(arguments));
    } else if (tool == "ztlink") {
        const std::string path = take(arguments, "--output");
        add(path, linked(arguments));
    }
    return outputs;
}

void append(const std::string &path, const std::string &text)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (file < 0 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        std::_Exit(5);
    close(file);
}

void talk(const std::string &tool, const Strings &arguments)
{
    const char *const choice = std::getenv("ZTTEST_TALK");
    if (!choice || tool == "svnversion")
        return;
    std::string call = tool;
    for (const std::string &argument : arguments)
        call += '\0' + argument;
    append(std::string(std::getenv("ZTTEST_PLAN")) + "/log", call + '\n');
    std::minstd_rand random(
            static_cast<std::minstd_rand::result_type>(std::hash<std::string>{}(choice + call)));
    const auto pause = [&] {
        const timespec time{0, static_cast<long>(random() % 3'000) * 1'000};
        nanosleep(&time, nullptr);
    };
    const unsigned long pieces = random() % 4;
    for (unsigned long piece = 0; piece < pieces; ++piece) {
        pause();
        // At times more than a pipe holds, and no end of the line.
        const std::string text = tool + ' ' + std::to_string(piece)
                                 + std::string(random() % 20 == 0 ? 100'000 : 5, '.')
                                 + (random() % 4 == 0 ? "" : "\n");
        std::FILE *const stream = random() % 2 == 0 ? stdout : stderr;
        std::fputs(text.c_str(), stream);
        std::fflush(stream);
    }
    pause();
    const char *const failing = std::getenv("ZTTEST_FAILING");
    if (failing && std::find(arguments.begin(), arguments.end(), failing) != arguments.end()
        && tool != "ztmkromfs")
        std::exit(1);
}

} // namespace

int main(int argc, char **argv)
{
    const std::string tool = std::filesystem::path(argv[0]).filename();
    const Strings arguments = expanded({argv + 1, argv + argc});
    talk(tool, arguments);
    if (tool == "svnversion") {
        reach("start");
        reach("half");
        std::puts("1234");
        reach("end");
        return 0;
    }
    if (tool == "ztlpp" || tool == "ztluac" || tool == "lrelease" || tool == "ztmkmtd") {
        for (const std::string &argument : arguments) {
            const std::filesystem::path path(argument);
            const std::string extension = path.extension();
            const bool isSource =
                    extension == ".lua" || extension == ".ts" || extension == ".mtdef";
            if (isSource && path.stem() != "mtd16") // which is made of another
                sourceInput = argument;
        }
    }
    reach("start");
    if (tool == "ztlupdate")
        updateCatalogues(arguments);
    const Outputs outputs = made(tool, arguments);
    for (const auto &[path, text] : outputs)
        writeFile(path, text.substr(0, text.size() / 2));
    if (tool != "ztlupdate")
        reach("half");
    for (const auto &[path, text] : outputs)
        writeFile(path, text);
    reach("end");
    if (pendingSignal != 0 && cleansUp) {
        for (const auto &[path, text] : outputs)
            std::filesystem::remove(path);
        return 1;
    }
    return 0;
}
