#include "catalogue.h"

#include "../lua/lexer.h"
#include "../lua/sourceerror.h"
#include "files.h"
#include "xml.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string_view>

namespace {

namespace fs = std::filesystem;

bool isGone(const std::string &state)
{
    return state == "vanished" || state == "obsolete";
}

/// The state of a message that is in use, or is not.
std::string stateOf(const std::string &before, bool inUse)
{
    if (inUse)
        return before == "vanished" ? "" : before == "obsolete" ? "unfinished" : before;
    return before.empty() ? "vanished" : before == "unfinished" ? "obsolete" : before;
}

/// Reads and writes locations as Qt's tools do: a line is counted from the one before in the same
/// file when it has a sign, and a file's name is left out when it is that of the location before.
class Locations
{
public:
    std::vector<Location> read(pugi::xml_node message);
    void write(pugi::xml_node message, const std::vector<Location> &places);

private:
    std::map<std::string, int> m_lines;
    std::string m_file; // that of the last message's first location
};

std::vector<Location> Locations::read(pugi::xml_node message)
{
    std::vector<Location> places;
    std::string file = m_file;
    for (const pugi::xml_node node : message.children("location")) {
        if (node.attribute("filename"))
            file = node.attribute("filename").value();
        if (places.empty())
            m_file = file;
        const std::string_view text = node.attribute("line").value();
        int line = node.attribute("line").as_int();
        if (text.starts_with('+') || text.starts_with('-'))
            line = m_lines[file] += line;
        places.emplace_back(file, line);
    }
    return places;
}

void Locations::write(pugi::xml_node message, const std::vector<Location> &places)
{
    std::string file = m_file;
    pugi::xml_node last;
    for (const auto &[name, line] : places) {
        pugi::xml_node node = last ? message.insert_child_after("location", last)
                                   : message.prepend_child("location");
        if (name != file)
            node.append_attribute("filename") = name.c_str();
        if (!last)
            m_file = name;
        file = name;
        if (line != 0) {
            const int step = line - m_lines[name];
            m_lines[name] = line;
            node.append_attribute("line") = ((step < 0 ? "" : "+") + std::to_string(step)).c_str();
        }
        last = node;
    }
}

} // namespace

Catalogue::Catalogue(std::string path, const std::string &language,
                     const std::string &sourceLanguage)
    : m_path(std::move(path))
{
    if (language.empty() || fs::exists(m_path))
        load();
    if (!language.empty())
        m_language = language;
    if (!sourceLanguage.empty())
        m_sourceLanguage = sourceLanguage;
}

void Catalogue::load()
{
    const std::string content = readFile(m_path);
    const pugi::xml_parse_result result = m_document.load_buffer(
            content.data(), content.size(), pugi::parse_default | pugi::parse_ws_pcdata_single);
    if (!result) {
        const auto offset = std::min(static_cast<size_t>(result.offset), content.size());
        const int line = 1 + lua::countLines(std::string_view(content).substr(0, offset));
        throw lua::SourceError(std::string("not well-formed: ") + result.description(), m_path,
                               line);
    }
    const pugi::xml_node root = m_document.child("TS");
    if (!root)
        throw lua::SourceError("not a translation file", m_path, 1);
    m_language = root.attribute("language").value();
    m_sourceLanguage = root.attribute("sourcelanguage").value();
    readMessages(root);
    m_before = description();
}

void Catalogue::readMessages(pugi::xml_node root)
{
    Locations locations;
    for (const pugi::xml_node context : root.children("context")) {
        for (pugi::xml_node node : context.children("message")) {
            if (!node.child("translation"))
                node.append_child("translation").append_attribute("type") = "unfinished";
            const Key key(context.child_value("name"), node.child_value("source"),
                          node.child_value("comment"));
            const char *state = node.child("translation").attribute("type").value();
            m_messages[key] = {node, state, locations.read(node)};
        }
    }
}

Catalogue::Message Catalogue::newMessage(const Key &key)
{
    pugi::xml_node node = m_newMessages.append_child("message");
    node.append_child("source").text() = std::get<1>(key).c_str();
    if (!std::get<2>(key).empty())
        node.append_child("comment").text() = std::get<2>(key).c_str();
    node.append_child("translation");
    return {node, "unfinished", {}};
}

void Catalogue::update(const FoundTexts &found, const std::set<std::string> &scanned)
{
    std::map<std::string, bool> isKept;
    const auto isOutdated = [&](const Location &place) {
        const auto [known, isNew] = isKept.try_emplace(place.first);
        if (isNew)
            known->second = !scanned.contains(place.first)
                            && fs::exists(fs::path(directory()) / place.first);
        return !known->second;
    };
    for (auto &[key, message] : m_messages)
        std::erase_if(message.places, isOutdated);
    for (const auto &[key, place] : found) {
        auto message = m_messages.find(key);
        if (message == m_messages.end())
            message = m_messages.emplace(key, newMessage(key)).first;
        message->second.places.push_back(place);
    }
    for (auto &[key, message] : m_messages) {
        std::sort(message.places.begin(), message.places.end());
        message.state = stateOf(message.state, !message.places.empty());
    }
}

void Catalogue::clear()
{
    std::erase_if(m_messages, [](const auto &message) { return isGone(message.second.state); });
}

void Catalogue::write()
{
    if (description() == m_before)
        return;
    writeFile(m_path, content());
    const Counts now = counts();
    printf("%s: %d texts, %d unfinished, %d obsolete\n", m_path.c_str(), now.used, now.unfinished,
           now.gone);
}

/// All that is worth to write the file for.
std::string Catalogue::description() const
{
    const std::string separator(1, '\0');
    std::string text = m_language + separator + m_sourceLanguage + separator;
    for (const auto &[key, message] : m_messages) {
        const auto &[context, source, comment] = key;
        for (const std::string &part : {context, source, comment, message.state})
            text += separator + part;
        for (const Location &place : message.places)
            text += separator + place.first;
        text += '\n';
    }
    return text;
}

/// The text of the file: messages stand in the order of their contexts and places, those without a
/// place last.
std::string Catalogue::content() const
{
    std::vector<const Messages::value_type *> messages;
    for (const auto &message : m_messages)
        messages.push_back(&message);
    const auto before = [](const auto *left, const auto *right) {
        const auto order = [](const auto *message) {
            const auto &places = message->second.places;
            return std::tuple(std::get<0>(message->first), places.empty(),
                              places.empty() ? Location() : places[0]);
        };
        return order(left) < order(right);
    };
    std::stable_sort(messages.begin(), messages.end(), before);

    pugi::xml_document document;
    pugi::xml_node root = newDocument(document, "TS");
    root.append_attribute("version") = "2.1";
    root.append_attribute("language") = m_language.c_str();
    root.append_attribute("sourcelanguage") = m_sourceLanguage.c_str();
    Locations locations;
    pugi::xml_node context;
    for (const auto *message : messages) {
        const char *name = std::get<0>(message->first).c_str();
        if (!context || context.child_value("name") != std::string_view(name)) {
            context = root.append_child("context");
            context.append_child("name").text() = name;
        }
        pugi::xml_node node = context.append_copy(message->second.node);
        while (node.remove_child("location")) {
        }
        locations.write(node, message->second.places);
        pugi::xml_node translation = node.child("translation");
        translation.remove_attribute("type");
        if (!message->second.state.empty())
            translation.prepend_attribute("type") = message->second.state.c_str();
    }
    return toText(document);
}

Catalogue::Counts Catalogue::counts() const
{
    Counts counts;
    for (const auto &[key, message] : m_messages) {
        counts.used += isGone(message.state) ? 0 : 1;
        counts.unfinished += message.state == "unfinished" ? 1 : 0;
        counts.gone += isGone(message.state) ? 1 : 0;
    }
    return counts;
}

std::string Catalogue::directory() const
{
    const std::string parent = fs::path(m_path).parent_path().string();
    return parent.empty() ? "." : parent;
}
