// See DxlReader.h.
#include "DxlReader.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <span>
#include <utility>

#include "DxlNames.h"
#include "DxlText.h"
#include "DxlXml.h"
#include "Text.h"

namespace simulator {
namespace {

// What a note can hold.
constexpr std::size_t LongestItemName = MAXPATH - 1;
constexpr std::size_t LargestValue = std::size_t{64} * 1024;
constexpr std::size_t LargestSummaryValue = std::size_t{32} * 1024;

template <typename Value>
void append(std::vector<BYTE>& bytes, const Value& value) {
  const auto* const start = reinterpret_cast<const BYTE*>(&value);
  bytes.insert(bytes.end(), start, start + sizeof value);
}

void appendText(std::vector<BYTE>& bytes, std::string_view text) {
  bytes.insert(bytes.end(), text.begin(), text.end());
}

USHORT countOf(std::size_t count) {
  if (count > std::numeric_limits<USHORT>::max()) unreadableDxl("too many or too long members");
  return static_cast<USHORT>(count);
}

std::vector<BYTE> bytesOf(std::string_view base64, std::size_t most) {
  std::vector<BYTE> bytes = Base64Reader(base64).next(most + 3);
  if (bytes.size() > most) unreadableDxl("more bytes than an item can hold");
  return bytes;
}

WORD wordAttribute(Element element, const char* name,
                   std::optional<std::uint64_t> absent = std::nullopt) {
  return static_cast<WORD>(hexAttribute(element, name, 4, absent));
}

// The name of an item or file, as LMBCS.
std::string nameAttribute(Element element) {
  if (!element.attribute("rawname")) return utf8ToLmbcs(requireAttribute(element, "name"));
  if (element.attribute("name")) unreadableDxl("two names");
  const auto bytes = bytesOf(requireAttribute(element, "rawname"), LongestItemName);
  return {bytes.begin(), bytes.end()};
}

// ---- values -------------------------------------------------------------------------------------

TIMEDATE timeIn(Element element) {
  requireAttributes(element, {"zone", "dst", "raw"});
  const auto time =
      timeOf({textOf(element), attribute(element, "zone").value_or(""),
              switchAttribute(element, "dst"), attribute(element, "raw").value_or("")});
  if (!time) unreadableDxl("not a time");
  return *time;
}

NUMBER numberIn(Element element) {
  requireAttributes(element, {});
  const auto number = numberOf(textOf(element));
  if (!number) unreadableDxl("not a number");
  return *number;
}

std::string textIn(Element element) {
  requireAttributes(element, {});
  return utf8ToLmbcs(textOf(element, Breaks::Yes));
}

std::vector<BYTE> textListIn(Element list) {
  std::vector<BYTE> value;
  std::string all;
  const std::vector<Element> members = elementsOf(list);
  append(value, LIST{countOf(members.size())});
  for (const Element member : members) {
    if (nameOf(member) != "text") unreadableDxl("a list of texts holds something else");
    const std::string text = textIn(member);
    append(value, countOf(text.size()));
    all += text;
  }
  appendText(value, all);
  return value;
}

// `valueIn` reads one element of the list, or of a pair.
template <typename ValueIn>
std::vector<BYTE> rangeIn(Element list, const std::string& name, const ValueIn& valueIn) {
  std::vector<BYTE> values;
  std::size_t singles = 0;
  std::size_t pairs = 0;
  for (const Element member : elementsOf(list)) {
    if (nameOf(member) == name && pairs == 0) {
      append(values, valueIn(member));
      ++singles;
      continue;
    }
    const std::vector<Element> ends = elementsOf(member);
    requireAttributes(member, {});
    if (nameOf(member) != name + "pair" || ends.size() != 2)
      unreadableDxl("a list holds something else, or single values behind pairs");
    for (const Element end : ends) {
      if (nameOf(end) != name) unreadableDxl("a pair of something else");
      append(values, valueIn(end));
    }
    ++pairs;
  }
  std::vector<BYTE> value;
  append(value, RANGE{countOf(singles), countOf(pairs)});
  value.insert(value.end(), values.begin(), values.end());
  return value;
}

// ---- items --------------------------------------------------------------------------------------

// Goes through all of the content: it is known to be base64 afterwards.
DWORD sizeOf(std::string_view base64) {
  Base64Reader reader(base64);
  std::uint64_t size = 0;
  for (auto piece = reader.next(LargestValue); !piece.empty(); piece = reader.next(LargestValue))
    size += piece.size();
  if (size > std::numeric_limits<DWORD>::max()) unreadableDxl("object is too large");
  return static_cast<DWORD>(size);
}

TIMEDATE timeInside(Element element) {
  requireAttributes(element, {});
  return timeIn(onlyElement(element, "datetime"));
}

// The descriptor of an attached file. Its content is the last element.
std::vector<BYTE> fileIn(Element file, DxlObject& object) {
  requireAttributes(file, {"name", "hosttype", "compression", "attributes", "flags", "size"});
  const std::vector<Element> parts = elementsOf(file);
  if (parts.size() != 3 || nameOf(parts[0]) != "created" || nameOf(parts[1]) != "modified" ||
      nameOf(parts[2]) != "filedata")
    unreadableDxl("a file without its times and content");
  requireAttributes(parts[2], {});
  object.content = plainTextOf(parts[2]);
  const std::string name = nameAttribute(file);
  DxlFileFields fields{};
  fields.nameLength = countOf(name.size());
  fields.hostType = wordAttribute(file, "hosttype");
  fields.compression = wordAttribute(file, "compression");
  fields.attributes = wordAttribute(file, "attributes");
  fields.flags = wordAttribute(file, "flags");
  fields.size = decimalAttribute(file, "size");
  fields.created = timeInside(parts[0]);
  fields.modified = timeInside(parts[1]);
  std::vector<BYTE> descriptor;
  append(descriptor, fields);
  appendText(descriptor, name);
  return descriptor;
}

std::vector<BYTE> objectIn(Element element, DxlNote& note) {
  requireAttributes(element, {"type", "class", "privileges"});
  DxlObject object;
  object.item = note.items.size();
  const std::vector<Element> parts = elementsOf(element);
  std::vector<BYTE> descriptor;
  if (parts.size() == 1 && nameOf(parts[0]) == "file") {
    descriptor = fileIn(parts[0], object);
  } else if (parts.size() == 2 && nameOf(parts[0]) == "descriptor" &&
             nameOf(parts[1]) == "objectdata") {
    for (const Element part : parts) requireAttributes(part, {});
    descriptor = bytesOf(plainTextOf(parts[0]), LargestValue);
    object.content = plainTextOf(parts[1]);
  } else {
    unreadableDxl("an object that is neither a file nor has a descriptor and data");
  }
  object.header = {wordAttribute(element, "class"), wordAttribute(element, "privileges"),
                   sizeOf(object.content)};
  std::vector<BYTE> value;
  append(value, wordAttribute(element, "type"));
  append(value, DWORD{0});
  value.insert(value.end(), descriptor.begin(), descriptor.end());
  note.objects.push_back(object);
  return value;
}

// Bytes as they are, but not the number of an object that may belong to another note.
NoteItem rawItem(Element element) {
  requireAttributes(element, {"type"});
  NoteItem item;
  item.type = wordAttribute(element, "type");
  item.value = bytesOf(plainTextOf(element), LargestValue);
  if (!isDxlItemType(item.type)) unreadableDxl("unknown type of items");
  DWORD object = 0;
  if (item.type == TYPE_OBJECT && item.value.size() >= DxlObjectStart)
    std::memcpy(&object, item.value.data() + sizeof(WORD), sizeof object);
  if (object != 0) unreadableDxl("an object without its bytes");
  return item;
}

NoteItem valueIn(Element element, DxlNote& note) {
  const std::string_view name = nameOf(element);
  if (name == "rawitemdata") return rawItem(element);
  if (name == "object") return {{}, 0, TYPE_OBJECT, objectIn(element, note)};
  std::vector<BYTE> value;
  if (name == "text") {
    appendText(value, textIn(element));
    return {{}, 0, TYPE_TEXT, std::move(value)};
  }
  if (name == "number") {
    append(value, numberIn(element));
    return {{}, 0, TYPE_NUMBER, std::move(value)};
  }
  if (name == "datetime") {
    append(value, timeIn(element));
    return {{}, 0, TYPE_TIME, std::move(value)};
  }
  requireAttributes(element, {});
  if (name == "textlist") return {{}, 0, TYPE_TEXT_LIST, textListIn(element)};
  if (name == "numberlist") return {{}, 0, TYPE_NUMBER_RANGE, rangeIn(element, "number", numberIn)};
  if (name == "datetimelist") return {{}, 0, TYPE_TIME_RANGE, rangeIn(element, "datetime", timeIn)};
  unreadableDxl("unknown value of an item");
}

void readItem(Element element, DxlNote& note) {
  requireAttributes(element, {"name", "rawname", "summary", "sign", "seal", "protected", "readers",
                              "authors", "names", "placeholder", "otherflags"});
  NoteItem item = valueIn(onlyElement(element), note);
  item.name = nameAttribute(element);
  item.flags = wordAttribute(element, "otherflags", 0);
  for (const DxlName& flag : DxlItemFlags) {
    if (switchAttribute(element, flag.name)) item.flags |= flag.number;
  }
  const bool summary = (item.flags & ITEM_SUMMARY) != 0;
  if (item.name.empty() || item.name.size() > LongestItemName ||
      item.name.find('\0') != std::string::npos ||
      item.value.size() > (summary ? LargestSummaryValue : LargestValue))
    unreadableDxl("an item without a proper name, or larger than an item can be");
  note.items.push_back(std::move(item));
}

// ---- notes --------------------------------------------------------------------------------------

WORD classOf(Element element) {
  if (nameOf(element) == "document") {
    if (element.attribute("class")) unreadableDxl("a document with another class");
    return NOTE_CLASS_DOCUMENT;
  }
  const std::string name = requireAttribute(element, "class");
  const auto* const found = std::find_if(DxlNoteClasses.begin(), DxlNoteClasses.end(),
                                         [&](const DxlName& known) { return known.name == name; });
  return found == DxlNoteClasses.end() ? wordAttribute(element, "class") : found->number;
}

void readInfo(Element element, NoteHeader& header) {
  requireAttributes(element, {"noteid", "unid", "sequence"});
  hexAttribute(element, "noteid", 8);  // means something in the database that it is from
  const auto unid = unidOf(requireAttribute(element, "unid"));
  if (!unid) unreadableDxl("not a UNID");
  header.originator.File = unid->File;
  header.originator.Note = unid->Note;
  header.originator.Sequence = decimalAttribute(element, "sequence");
  TIMEDATE created{};
  const std::pair<std::string_view, TIMEDATE*> times[] = {
      {"created", &created},
      {"modified", &header.modified},
      {"revised", &header.originator.SequenceTime},
      {"accessed", &header.accessed},
      {"addedtofile", &header.addedToFile}};
  const std::vector<Element> parts = elementsOf(element);
  if (parts.size() != std::size(times)) unreadableDxl("not the times of a note");
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (nameOf(parts[i]) != times[i].first) unreadableDxl("not the times of a note");
    *times[i].second = timeInside(parts[i]);
  }
  // The UNID holds it as well.
  if (timeDigits(created) != timeDigits(unid->Note)) unreadableDxl("two times of creation");
}

std::optional<DBID> replicaOf(Element element) {
  const auto text = attribute(element, "replicaid");
  if (!text) return std::nullopt;
  const auto id = timeOfDigits(*text);
  if (!id) unreadableDxl("not a replica ID");
  return id;
}

bool isNote(Element element) {
  return nameOf(element) == "document" || nameOf(element) == "note";
}

DxlNote readNote(Element element, const std::optional<DBID>& replica) {
  if (!isNote(element)) unreadableDxl("something else than notes");
  requireAttributes(element, {"version", "replicaid", "class", "flags", "parent"});
  DxlNote note;
  note.header.noteClass = classOf(element);
  note.header.flags = wordAttribute(element, "flags", 0);
  note.replica = replicaOf(element);
  if (!note.replica) note.replica = replica;
  if (const auto parent = attribute(element, "parent")) {
    note.parent = unidOf(*parent);
    if (!note.parent) unreadableDxl("not the UNID of a parent");
  }
  const std::vector<Element> parts = elementsOf(element);
  if (parts.empty() || nameOf(parts.front()) != "noteinfo") unreadableDxl("no noteinfo");
  readInfo(parts.front(), note.header);
  for (const Element part : std::span(parts).subspan(1)) {
    if (nameOf(part) != "item") unreadableDxl("something else than items");
    readItem(part, note);
  }
  return note;
}

}  // namespace

DxlFile::DxlFile(std::string xml) : xml_(std::move(xml)) {
  const Element root = parseXml(document_, xml_);
  if (isNote(root)) {
    notes_.push_back(readNote(root, std::nullopt));
    return;
  }
  requireAttributes(root, {"version", "replicaid"});
  const std::optional<DBID> replica = replicaOf(root);
  for (const Element element : elementsOf(root)) notes_.push_back(readNote(element, replica));
  if (notes_.empty()) unreadableDxl("no notes");
}

}  // namespace simulator
