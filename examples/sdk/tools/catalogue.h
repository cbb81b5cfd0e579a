#pragma once

#include <map>
#include <pugixml.hpp>
#include <set>
#include <string>
#include <tuple>
#include <vector>

/// Where a text was found: a file, seen from the catalogue's directory, and the line; 0: unknown.
using Location = std::pair<std::string, int>;

/// The texts found in a run: context, text and comment with their places.
using Key = std::tuple<std::string, std::string, std::string>;
using FoundTexts = std::vector<std::pair<Key, Location>>;

/// One Qt translation file (.ts). What it says that is of no interest here is kept.
class Catalogue
{
public:
    /// Reads a file. One that does not exist is an empty catalogue if there is a language for it;
    /// empty languages are taken from the file.
    Catalogue(std::string path, const std::string &language, const std::string &sourceLanguage);

    /// Takes over the texts found in the scanned sources, and notes which ones are gone.
    void update(const FoundTexts &found, const std::set<std::string> &scanned);

    /// Drops the texts that are gone.
    void clear();

    /// Writes the file when more than line numbers have changed: its time decides whether it is
    /// released again.
    void write();

    struct Counts
    {
        int used = 0;
        int unfinished = 0;
        int gone = 0;
    };
    Counts counts() const;

    const std::string &path() const { return m_path; }
    const std::string &language() const { return m_language; }
    const std::string &sourceLanguage() const { return m_sourceLanguage; }

private:
    struct Message
    {
        pugi::xml_node node;
        std::string state; // the type of the translation; empty: finished
        std::vector<Location> places;
    };
    using Messages = std::map<Key, Message>;

    void load();
    void readMessages(pugi::xml_node root);
    Message newMessage(const Key &key);
    std::string content() const;
    std::string directory() const;
    std::string description() const;

    std::string m_path;
    std::string m_language;
    std::string m_sourceLanguage;
    pugi::xml_document m_document;
    pugi::xml_document m_newMessages;
    Messages m_messages;
    std::string m_before; // the description of what is in the file; empty: there is none
};
