// The Lua compiler: what luac 5.1 does, with messages that name the source whole.

#include "../lua/compiler.h"
#include "../lua/preprocessor.h"
#include "files.h"
#include "tool.h"

namespace {

const char usage[] =
        "usage: ztluac [-s] -o FILE -- SOURCE\n"
        "\n"
        "-s  leaves out the debug information\n"
        "\n"
        "For messages and byte code, what ztlpp has made bears the name of its source.";

void compile(const Arguments &arguments)
{
    bool strip = false;
    std::string out;
    for (const auto &[letter, value] : arguments.options) {
        if (letter == 's')
            strip = true;
        else
            out = value;
    }
    if (out.empty() || arguments.operands.size() != 1)
        throw ToolError(usage);
    const std::string file = arguments.operands[0];
    const std::string source = readFile(file);
    const std::string name = lua::notedSource(source);
    writeFile(out, lua::compile(source, name.empty() ? file : name, strip));
}

} // namespace

int main(int argc, char **argv)
{
    return runTool(argc, argv, "so:", {}, compile);
}
