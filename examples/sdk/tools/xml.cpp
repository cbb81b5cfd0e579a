#include "xml.h"

#include <sstream>

pugi::xml_node newDocument(pugi::xml_document &document, const char *name)
{
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "utf-8";
    document.append_child(pugi::node_doctype).set_value(name);
    return document.append_child(name);
}

std::string toText(const pugi::xml_document &document)
{
    std::ostringstream text;
    document.save(text, "    ", pugi::format_indent | pugi::format_no_declaration);
    return text.str();
}
