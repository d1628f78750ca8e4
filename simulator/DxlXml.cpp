// See DxlXml.h.
#include "DxlXml.h"

#include <algorithm>
#include <charconv>
#include <new>

#include "DxlText.h"
#include "Text.h"

namespace simulator {
namespace {

// References are left to unescapeXml, which knows what it may accept. White space is kept, and so
// is text outside of the root, so that it is noticed.
constexpr unsigned ParseOptions = pugi::parse_cdata | pugi::parse_ws_pcdata | pugi::parse_eol |
                                  pugi::parse_wconv_attribute | pugi::parse_fragment |
                                  pugi::parse_declaration;

bool isBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

[[noreturn]] void fail(Element element, const std::string& why) {
  unreadableDxl("element " + std::string(element.name()) + ": " + why);
}

}  // namespace

Element parseXml(pugi::xml_document& document, std::string& xml) {
  requireXmlCharacters(xml);
  const pugi::xml_parse_result result =
      document.load_buffer_inplace(xml.data(), xml.size(), ParseOptions, pugi::encoding_utf8);
  if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
  if (!result) unreadableDxl(result.description());
  if (const Element first = document.first_child(); first.type() == pugi::node_declaration) {
    const auto encoding = attribute(first, "encoding");
    if (encoding && !sameName(*encoding, "utf-8") && !sameName(*encoding, "us-ascii"))
      unreadableDxl("encoding " + *encoding);
    document.remove_child(first);
  }
  return onlyElement(document);
}

std::string_view nameOf(Element element) {
  return element.name();
}

void requireAttributes(Element element, std::initializer_list<std::string_view> allowed) {
  for (auto it = element.attributes_begin(); it != element.attributes_end(); ++it) {
    const std::string_view name = it->name();
    if (std::find(allowed.begin(), allowed.end(), name) == allowed.end())
      fail(element, "unknown attribute");
    if (std::any_of(element.attributes_begin(), it,
                    [name](const pugi::xml_attribute& other) { return other.name() == name; }))
      fail(element, "an attribute stands there twice");
  }
}

std::optional<std::string> attribute(Element element, const char* name) {
  const pugi::xml_attribute found = element.attribute(name);
  if (!found) return std::nullopt;
  return unescapeXml(found.value());
}

std::string requireAttribute(Element element, const char* name) {
  std::optional<std::string> value = attribute(element, name);
  if (!value) fail(element, std::string("no attribute ") + name);
  return *std::move(value);
}

std::uint64_t hexAttribute(Element element, const char* name, std::size_t mostDigits,
                           std::optional<std::uint64_t> absent) {
  if (absent && !element.attribute(name)) return *absent;
  const auto number = hexNumber(requireAttribute(element, name), mostDigits);
  if (!number) fail(element, std::string("no hexadecimal number in ") + name);
  return *number;
}

DWORD decimalAttribute(Element element, const char* name) {
  const std::string text = requireAttribute(element, name);
  DWORD number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size())
    fail(element, std::string("no number in ") + name);
  return number;
}

bool switchAttribute(Element element, const char* name) {
  const std::string value = attribute(element, name).value_or("false");
  if (value != "true" && value != "false")
    fail(element, std::string("no true or false in ") + name);
  return value == "true";
}

std::vector<Element> elementsOf(Element element) {
  std::vector<Element> found;
  for (const Element node : element) {
    if (node.type() == pugi::node_element)
      found.push_back(node);
    else if (node.type() != pugi::node_pcdata || !isBlank(node.value()))
      fail(element, "text between elements");
  }
  return found;
}

Element onlyElement(Element element, std::string_view name) {
  const std::vector<Element> found = elementsOf(element);
  if (found.size() != 1 || (!name.empty() && nameOf(found.front()) != name))
    fail(element, "not the one element that belongs there");
  return found.front();
}

std::string textOf(Element element, Breaks breaks) {
  std::string text;
  for (const Element node : element) {
    if (node.type() == pugi::node_cdata) {
      text += node.value();
    } else if (node.type() == pugi::node_pcdata) {
      text += unescapeXml(node.value());
    } else if (breaks == Breaks::Yes && nameOf(node) == "break" && !node.first_child()) {
      requireAttributes(node, {});
      text += '\0';
    } else {
      fail(element, "not only text");
    }
  }
  return text;
}

std::string_view plainTextOf(Element element) {
  const Element text = element.first_child();
  if (!text) return {};
  if (text.next_sibling() || text.type() != pugi::node_pcdata) fail(element, "not only text");
  return text.value();
}

}  // namespace simulator
