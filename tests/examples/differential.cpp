// Compares the byte code of preprocessed Lua sources with that of the sources themselves, for
// sources that are changed at random. Usage: differential ROUNDS SEED DIRECTORY...
//
// Half of the changes are made where nothing should come of them, between the pieces of a source;
// the others anywhere. A source that Lua refuses must be refused after preprocessing, too, and for
// the same reason, unless the preprocessor has refused it already. Line ends and first lines are as
// good as any code here, because the debug information is compared as well.

#include "lua/compiler.h"
#include "lua/preprocessor.h"
#include "lua/sourceerror.h"
#include "tools/files.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <lua.hpp>
#include <random>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using Sources = std::vector<std::string>;

const std::string blanks[] = {" ",
                              "  ",
                              "\t",
                              "\v",
                              "\f",
                              "\n",
                              "\r",
                              "\r\n",
                              "\n\r",
                              "\r\r",
                              "\n\n",
                              "--\n",
                              "-- it's \" [[ #\n",
                              "--[ [\n",
                              "---[[\n",
                              "--[==\n",
                              "-- x\r",
                              "-- x\r\n",
                              "-- x\n\r",
                              "--[[]]",
                              "--[[ x ]]",
                              "--[[\n]]",
                              "--[[\r]]",
                              "--[[\r\n]]",
                              "--[[ -- ]]",
                              "--[==[ ]] ]=] ]==]",
                              "--[=[\n[[\r]=]",
                              "--[[ #define x y\n#include \"z\"\n ]]"};
const std::string fragments[] = {"--",
                                 "--[[",
                                 "]]",
                                 "[[",
                                 "[",
                                 "]",
                                 "[=[",
                                 "]=]",
                                 "--[=[",
                                 "[=",
                                 "\"",
                                 "'",
                                 "\\",
                                 "\\\n",
                                 "\\\r",
                                 "\\\r\n",
                                 "\\65",
                                 "\\999",
                                 "#",
                                 "#!",
                                 "0x",
                                 "0xe+",
                                 "1e+",
                                 "1e",
                                 "3..2",
                                 ".5",
                                 ".",
                                 "..",
                                 "...",
                                 "-",
                                 "=",
                                 "==",
                                 "~=",
                                 "_",
                                 "e",
                                 "9",
                                 std::string(1, '\0'),
                                 "\xef\xbb\xbf",
                                 "\xff",
                                 "`",
                                 "nil",
                                 "'\\\r\n'",
                                 "[[\r]]",
                                 "[==[\n\r]==]",
                                 "(0xfe+x-1e-2-x..5 ..x)",
                                 "\n",
                                 "\r",
                                 " "};
const std::string firstLines[] = {"#", "#!/usr/bin/lua", "# it's [[", "#\r", "#--[["};
const std::string lineEnds[] = {"\n", "\r", "\r\n", "\n\r"};

class Mutator
{
public:
    Mutator(const Sources &sources, unsigned seed) : m_sources(sources), m_random(seed) {}

    std::string next()
    {
        std::string text = any(m_sources);
        for (size_t count = below(4) + 1; count > 0; --count)
            change(text);
        return text;
    }

private:
    size_t below(size_t limit) { return m_random() % limit; }
    template <typename List>
    const std::string &any(const List &list)
    {
        return *(std::begin(list) + static_cast<std::ptrdiff_t>(below(std::size(list))));
    }
    void change(std::string &text);
    size_t betweenPieces(const std::string &text);
    static void setLineEnds(std::string &text, const std::string &end);

    const Sources &m_sources;
    std::mt19937 m_random;
};

void Mutator::change(std::string &text)
{
    const size_t place = below(text.size() + 1);
    const size_t size = below(std::min<size_t>(40, text.size() - place) + 1);
    switch (below(12)) {
    case 0:
        text.erase(place, size);
        break;
    case 1:
        text.insert(place, text.substr(place, size));
        break;
    case 2:
        text.insert(place, any(fragments));
        break;
    case 3:
        text.insert(betweenPieces(text), any(fragments));
        break;
    case 4:
        text.resize(place);
        break;
    case 5: {
        const std::string &other = any(m_sources);
        text.insert(betweenPieces(text), other, below(other.size() + 1), 60);
        break;
    }
    case 6:
        setLineEnds(text, any(lineEnds));
        break;
    case 7:
        text.insert(0, any(firstLines) + any(lineEnds));
        break;
    default:
        text.insert(betweenPieces(text), any(blanks));
        break;
    }
}

size_t Mutator::betweenPieces(const std::string &text)
{
    try {
        const auto pieces = lua::tokens(text);
        if (!pieces.empty())
            return static_cast<size_t>(pieces[below(pieces.size())].text.data() - text.data());
    } catch (const lua::LexicalError &) {
        // Then anywhere.
    }
    return below(text.size() + 1);
}

void Mutator::setLineEnds(std::string &text, const std::string &end)
{
    std::string result;
    for (const char c : text)
        result += c == '\n' ? end : std::string(1, c);
    text = result;
}

/// What compiling came to: byte code with debug information, or the reason why there is none.
struct Result
{
    std::string code;
    std::string error;
    bool operator==(const Result &) const = default;
};

const std::string name = "source.lua";

/// What Lua itself makes of a source.
Result reference(const std::string &source)
{
    writeFile(name, source);
    lua_State *state = luaL_newstate();
    Result result;
    if (luaL_loadfile(state, name.c_str()) != 0)
        result.error = lua_tostring(state, -1);
    else
        lua_dump(
                state,
                [](lua_State *, const void *part, size_t size, void *code) {
                    static_cast<std::string *>(code)->append(static_cast<const char *>(part), size);
                    return 0;
                },
                &result.code);
    lua_close(state);
    return result;
}

/// What the tools make of it; the preprocessor's own refusals begin with "ztlpp".
Result preprocessed(const std::string &source, bool strip, bool trim)
{
    std::string text;
    try {
        text = lua::Preprocessor({}, strip, trim).process(name, source) + lua::sourceNote(name);
    } catch (const lua::SourceError &error) {
        return {"", std::string("ztlpp: ") + error.what()};
    }
    try {
        return {lua::compile(text, lua::notedSource(text), false), ""};
    } catch (const lua::SourceError &error) {
        return {"", error.what()};
    }
}

bool hasDirective(const std::string &source)
{
    try {
        const auto pieces = lua::tokens(source);
        return std::any_of(pieces.begin(), pieces.end(), [](const lua::Token &piece) {
            return piece.kind == lua::Kind::Directive;
        });
    } catch (const lua::LexicalError &) {
        return false;
    }
}

Sources readSources(char **first, char **last)
{
    std::vector<fs::path> paths;
    for (; first != last; ++first) {
        for (const auto &entry : fs::recursive_directory_iterator(*first)) {
            if (entry.path().extension() == ".lua" && !entry.is_symlink()
                && entry.is_regular_file())
                paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    Sources sources;
    for (const fs::path &path : paths) {
        sources.push_back(readFile(path.string()));
        if (hasDirective(sources.back()) || sources.back().size() > 40000)
            sources.pop_back();
    }
    return sources;
}

/// Compares one source in all ways to preprocess it; false after telling about a difference.
bool compare(const std::string &source, const Result &expected)
{
    for (const int options : {0, 1, 2, 3}) {
        const Result found = preprocessed(source, (options & 1) != 0, (options & 2) != 0);
        const bool refused = !expected.error.empty() && found.error.starts_with("ztlpp: ");
        if (found == expected || refused)
            continue;
        printf("strip %d, trim %d: \"%s\" instead of \"%s\"\n", options & 1, options / 2,
               found.error.c_str(), expected.error.c_str());
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    const unsigned long rounds = argc > 3 ? std::stoul(argv[1]) : 0;
    const Sources sources = readSources(argv + std::min(argc, 3), argv + argc);
    if (rounds == 0 || sources.empty()) {
        printf("usage: differential ROUNDS SEED DIRECTORY...\n");
        return 1;
    }
    std::string directory = (fs::temp_directory_path() / "ztmaketestXXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr)
        return 1;
    fs::current_path(directory);

    Mutator mutator(sources, static_cast<unsigned>(std::stoul(argv[2])));
    unsigned long compiled = 0;
    unsigned long left = 0;
    unsigned long different = 0;
    for (unsigned long round = 0; round < rounds; ++round) {
        const std::string source = round < sources.size() ? sources[round] : mutator.next();
        if (hasDirective(source)) {
            ++left;
            continue;
        }
        const Result expected = reference(source);
        compiled += expected.error.empty() ? 1 : 0;
        if (compare(source, expected))
            continue;
        ++different;
        writeFile("different" + std::to_string(round) + ".lua", source);
    }
    printf("%zu sources, %lu variants of them: %lu compile, %lu left out for a directive, %lu "
           "differ\n",
           sources.size(), rounds, compiled, left, different);
    fs::current_path("/");
    if (different > 0)
        printf("They are in %s\n", directory.c_str());
    else
        fs::remove_all(directory);
    return different > 0 ? 1 : 0;
}
