#pragma once

#include <pugixml.hpp>
#include <string>

/// Begins a document with a declaration and a document type; gives the root element of that name.
pugi::xml_node newDocument(pugi::xml_document &document, const char *name);

/// The text of a document.
std::string toText(const pugi::xml_document &document);
