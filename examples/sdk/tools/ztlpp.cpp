// The Lua preprocessor.

#include "../lua/preprocessor.h"
#include "files.h"
#include "tool.h"

#include <filesystem>

namespace {

const char usage[] =
        "usage: ztlpp [--strip] [--trim] (-I DIR)... --out FILE --root DIR -- SOURCE\n"
        "\n"
        "#include \"file\"    takes in a file from the -I directories or from below --root\n"
        "#define NAME text  replaces the identifier NAME from here on, outside strings and\n"
        "                   comments\n"
        "--strip            removes comments\n"
        "--trim             removes blanks at both ends of a line, and makes one of several\n"
        "                   within\n"
        "\n"
        "What a file takes in stands on the line of its #include, so a source's lines keep their\n"
        "numbers (long strings in an included file are the exception). A comment at the end of\n"
        "the output names the source, for the messages of ztluac.";

void preprocess(const Arguments &arguments)
{
    bool strip = false;
    bool trim = false;
    std::vector<std::string> directories;
    std::string out;
    std::string root;
    for (const auto &[letter, value] : arguments.options) {
        if (letter == 's')
            strip = true;
        else if (letter == 't')
            trim = true;
        else if (letter == 'I')
            directories.push_back(value);
        else if (letter == 'o')
            out = value;
        else
            root = value;
    }
    if (out.empty() || root.empty() || arguments.operands.size() != 1)
        throw ToolError(usage);
    // A tree may consist of a single source; what it takes in then lies beside it.
    if (!std::filesystem::is_directory(root))
        root = std::filesystem::path(root).parent_path().string();
    directories.push_back(root.empty() ? "." : root);

    const std::string source = arguments.operands[0];
    lua::Preprocessor preprocessor(directories, strip, trim);
    writeFile(out, preprocessor.process(source) + lua::sourceNote(source));
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<option> options = {
            {"strip", no_argument, nullptr, 's'},
            {"trim", no_argument, nullptr, 't'},
            {"out", required_argument, nullptr, 'o'},
            {"root", required_argument, nullptr, 'r'},
    };
    return runTool(argc, argv, "I:", options, preprocess);
}
