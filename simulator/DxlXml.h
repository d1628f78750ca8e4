// A strict look at the tree that pugixml makes of a file: whatever the asker did not expect makes
// the DXL unreadable, instead of being passed over. Every failure is a StatusError DxlUnreadable.
#ifndef KOLN_SIMULATOR_DXL_XML_H
#define KOLN_SIMULATOR_DXL_XML_H

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "NotesApi.h"

namespace simulator {

using Element = pugi::xml_node;

// UTF-8 alone, entities and whatever else a document type declares are not used. The document keeps
// pointing into the text. Gives the root element.
Element parseXml(pugi::xml_document& document, std::string& xml);

std::string_view nameOf(Element element);
// No attributes but these, none twice.
void requireAttributes(Element element, std::initializer_list<std::string_view> allowed);

// UTF-8 without references.
std::optional<std::string> attribute(Element element, const char* name);
std::string requireAttribute(Element element, const char* name);
std::uint64_t hexAttribute(Element element, const char* name, std::size_t mostDigits,
                           std::optional<std::uint64_t> absent = std::nullopt);
DWORD decimalAttribute(Element element, const char* name);
// "true" or "false"; false if it is absent.
bool switchAttribute(Element element, const char* name);

// The elements inside; nothing but white space may stand between them.
std::vector<Element> elementsOf(Element element);
// The same if there is one; of this name, if that is given.
Element onlyElement(Element element, std::string_view name = {});
// What stands inside as UTF-8 without references. An element "break" means a nul where these are
// allowed; there may be no other element.
enum class Breaks { No, Yes };
std::string textOf(Element element, Breaks breaks = Breaks::No);
// The same for a large text without references: nothing is copied.
std::string_view plainTextOf(Element element);

}  // namespace simulator

#endif
