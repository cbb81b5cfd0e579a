// Brings Qt translation files up to date with the texts of Lua sources.

#include "../lua/lexer.h"
#include "../lua/sourceerror.h"
#include "../lua/texts.h"
#include "catalogue.h"
#include "files.h"
#include "tool.h"
#include "xml.h"

#include <cstdio>
#include <filesystem>
#include <list>

namespace {

namespace fs = std::filesystem;

const char usage[] =
        "usage: ztlupdate [--xml-report FILE] [-B DIR] [--source-language LANGUAGE]\n"
        "                 (--target-language LANGUAGE --ts FILE)... SOURCE...\n"
        "       ztlupdate --clearobsolete [--xml-report FILE] (--ts FILE)...\n"
        "\n"
        "A text is the literal first argument of a call of tr; a literal second one tells equal\n"
        "texts apart. Its context is its source's path below DIR without the suffix, or the bare\n"
        "file name of a source that is not below DIR. New texts are marked unfinished. A text is\n"
        "gone when none of its sources has it any more: sources that are not named in this run\n"
        "count as unchanged as long as they exist, so each tree of a project can be scanned on\n"
        "its own. Texts that are gone stay in the file as vanished (once finished) or obsolete\n"
        "(never finished) until --clearobsolete drops them. Calls of tr that cannot be read give\n"
        "a warning.";

struct Options
{
    bool clear = false;
    std::string report;
    std::string base;
    std::string sourceLanguage;
    std::vector<std::pair<std::string, std::string>> files; // with their languages
    std::set<std::string> sources;
};

Options optionsOf(const Arguments &arguments)
{
    if (arguments.options.empty() && arguments.operands.empty())
        throw ToolError(usage);
    Options options;
    std::string language;
    for (const auto &[letter, value] : arguments.options) {
        switch (letter) {
        case 'c':
            options.clear = true;
            break;
        case 'x':
            options.report = value;
            break;
        case 'B':
            options.base = value;
            break;
        case 's':
            options.sourceLanguage = value;
            break;
        case 't':
            language = value;
            break;
        case 'f':
            options.files.emplace_back(value, language);
            language.clear();
            break;
        }
    }
    options.sources.insert(arguments.operands.begin(), arguments.operands.end());
    if (options.clear && !options.sources.empty())
        throw ToolError("--clearobsolete takes no sources");
    for (const auto &[file, target] : options.files) {
        if (!options.clear && target.empty())
            throw ToolError("--target-language is missing before --ts");
    }
    return options;
}

fs::path normal(const fs::path &path)
{
    return fs::absolute(path).lexically_normal();
}

/// The context of a source's texts.
std::string contextOf(const std::string &source, const std::string &base)
{
    const fs::path name = normal(source).replace_extension();
    if (!base.empty()) {
        const fs::path below = name.lexically_relative(normal(base));
        if (!below.empty() && *below.begin() != "..")
            return below.string();
    }
    return name.filename().string();
}

/// The texts of one source with its context; tells about calls that cannot be read.
std::vector<std::pair<Key, int>> scan(const std::string &source, const std::string &base)
{
    lua::Texts texts;
    try {
        texts = lua::textsOf(readFile(source));
    } catch (const lua::LexicalError &error) {
        throw lua::SourceError(error.what(), source, error.line);
    }
    for (const auto &[text, line] : texts.warnings)
        fprintf(stderr, "%s:%d: warning: %s\n", source.c_str(), line, text.c_str());
    std::vector<std::pair<Key, int>> found;
    const std::string context = texts.found.empty() ? "" : contextOf(source, base);
    for (const lua::Text &text : texts.found)
        found.push_back({{context, text.text, text.comment}, text.line});
    return found;
}

/// Writes the statistics.
void writeReport(const std::string &file, const std::list<Catalogue> &catalogues,
                 std::string sourceLanguage)
{
    if (sourceLanguage.empty() && !catalogues.empty())
        sourceLanguage = catalogues.front().sourceLanguage();
    pugi::xml_document document;
    pugi::xml_node root = newDocument(document, "TSREPORT");
    root.append_attribute("sourcelanguage") = sourceLanguage.c_str();
    for (const Catalogue &ts : catalogues) {
        pugi::xml_node source = root.append_child("source");
        source.append_attribute("filename") = ts.path().c_str();
        source.append_attribute("language") = ts.language().c_str();
        if (ts.sourceLanguage() != sourceLanguage)
            source.append_attribute("sourcelanguage") = ts.sourceLanguage().c_str();
        const Catalogue::Counts counts = ts.counts();
        pugi::xml_node stats = source.append_child("stats");
        stats.append_attribute("total") = counts.used;
        stats.append_attribute("unfinished") = counts.unfinished;
        stats.append_attribute("obsolete") = counts.gone;
    }
    writeFile(file, toText(document));
}

void update(const Arguments &arguments)
{
    const Options options = optionsOf(arguments);
    std::list<Catalogue> catalogues;
    for (const auto &[file, language] : options.files)
        catalogues.emplace_back(file, language, options.sourceLanguage);

    std::vector<std::pair<std::string, std::vector<std::pair<Key, int>>>> texts;
    for (const std::string &source : options.sources)
        texts.emplace_back(source, scan(source, options.base));

    for (Catalogue &ts : catalogues) {
        if (options.clear) {
            ts.clear();
        } else {
            const fs::path directory = normal(ts.path()).parent_path();
            FoundTexts found;
            std::set<std::string> scanned;
            for (const auto &[source, keys] : texts) {
                const std::string name = normal(source).lexically_relative(directory).string();
                scanned.insert(name);
                for (const auto &[key, line] : keys)
                    found.push_back({key, {name, line}});
            }
            ts.update(found, scanned);
        }
        ts.write();
    }
    if (!options.report.empty())
        writeReport(options.report, catalogues, options.sourceLanguage);
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<option> options = {
            {"clearobsolete", no_argument, nullptr, 'c'},
            {"xml-report", required_argument, nullptr, 'x'},
            {"source-language", required_argument, nullptr, 's'},
            {"target-language", required_argument, nullptr, 't'},
            {"ts", required_argument, nullptr, 'f'},
    };
    return runTool(argc, argv, "B:", options, update);
}
