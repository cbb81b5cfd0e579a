#include "tool.h"

#include "../lua/sourceerror.h"
#include "files.h"

#include <cstdio>
#include <system_error>

namespace {

std::vector<std::string> readArguments(int argc, char **argv)
{
    if (argc != 2 || argv[1][0] != '@')
        return {argv + 1, argv + argc};
    const std::string text = readFile(argv[1] + 1);
    std::vector<std::string> lines;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

Arguments parse(std::string tool, std::vector<std::string> arguments, const char *shortOptions,
                std::vector<option> longOptions)
{
    std::vector<char *> pointers{tool.data()};
    for (std::string &argument : arguments)
        pointers.push_back(argument.data());
    const int count = static_cast<int>(pointers.size());
    pointers.push_back(nullptr);
    longOptions.push_back({});

    Arguments result;
    for (;;) {
        const int letter =
                getopt_long(count, pointers.data(), shortOptions, longOptions.data(), nullptr);
        if (letter == -1)
            break;
        if (letter == '?')
            exit(1); // getopt_long has said why
        result.options.push_back({letter, optarg != nullptr ? optarg : ""});
    }
    result.operands.assign(pointers.begin() + optind, pointers.end() - 1);
    return result;
}

} // namespace

int runTool(int argc, char **argv, const char *shortOptions, const std::vector<option> &longOptions,
            const std::function<void(const Arguments &)> &main)
{
    const std::string path = argv[0];
    const std::string tool = path.substr(path.rfind('/') + 1);
    try {
        main(parse(tool, readArguments(argc, argv), shortOptions, longOptions));
        return 0;
    } catch (const lua::SourceError &error) {
        fprintf(stderr, "%s\n", error.what());
    } catch (const std::exception &error) {
        fprintf(stderr, "%s: %s\n", tool.c_str(), error.what());
    }
    return 1;
}
