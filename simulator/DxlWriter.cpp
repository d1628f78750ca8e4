// See DxlWriter.h.
#include "DxlWriter.h"

#include <algorithm>
#include <cstring>

#include "Databases.h"
#include "DxlNames.h"
#include "DxlText.h"
#include "ItemValue.h"

namespace simulator {
namespace {

// How much is read of an object at once. It fills whole blocks, four characters for three bytes,
// and many of them, since the way to a place in an object takes the longer the farther it is.
constexpr DWORD ObjectPiece = DxlBlockSize / 4 * 3 * 64;

std::string attributeText(std::string_view name, std::string_view value) {
  return " " + std::string(name) + "='" + escapeXml(value) + "'";
}

std::string element(const std::string& name, const std::string& content) {
  return "<" + name + ">" + content + "</" + name + ">";
}

template <typename Value>
Value valueAt(std::span<const BYTE> bytes, std::size_t offset) {
  Value value{};
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

// A text in bytes that XML may be unable to hold is given in base64 under another name.
std::string nameAttribute(std::string_view lmbcs) {
  if (const auto name = readableText(lmbcs)) return attributeText("name", *name);
  return attributeText("rawname",
                       toBase64({reinterpret_cast<const BYTE*>(lmbcs.data()), lmbcs.size()}));
}

std::string className(WORD noteClass) {
  const auto* const found =
      std::find_if(DxlNoteClasses.begin(), DxlNoteClasses.end(),
                   [&](const DxlName& known) { return known.number == noteClass; });
  return found == DxlNoteClasses.end() ? hexText(noteClass) : found->name;
}

// ---- values -------------------------------------------------------------------------------------

std::string timeElement(const TIMEDATE& time) {
  const TimeText parts = timeText(time);
  std::string attributes;
  if (!parts.zone.empty()) attributes += attributeText("zone", parts.zone);
  if (parts.daylightSaving) attributes += attributeText("dst", "true");
  if (!parts.raw.empty()) attributes += attributeText("raw", parts.raw);
  return "<datetime" + attributes + ">" + parts.text + "</datetime>";
}

std::optional<std::string> numberElement(NUMBER number) {
  const auto text = numberText(number);
  if (!text) return std::nullopt;
  return element("number", *text);
}

// Nul bytes are the line breaks of texts.
std::optional<std::string> textElement(std::string_view lmbcs) {
  std::string content;
  for (;;) {
    const std::size_t end = std::min(lmbcs.find('\0'), lmbcs.size());
    const auto line = readableText(lmbcs.substr(0, end));
    if (!line) return std::nullopt;
    content += escapeXml(*line);
    if (end == lmbcs.size()) return element("text", content);
    content += "<break/>";
    lmbcs.remove_prefix(end + 1);
  }
}

std::optional<std::string> textListElement(std::span<const BYTE> value) {
  if (value.size() < sizeof(LIST)) return std::nullopt;
  const std::vector<std::string_view> members = texts({TYPE_TEXT_LIST, value});
  std::size_t size = sizeof(LIST);
  std::string content;
  for (const std::string_view member : members) {
    size += sizeof(USHORT) + member.size();
    const auto text = textElement(member);
    if (!text) return std::nullopt;
    content += *text;
  }
  if (valueAt<LIST>(value, 0).ListEntries != members.size() || size != value.size())
    return std::nullopt;
  return element("textlist", content);
}

// Single values, and behind them pairs. `toElement` gives the element of a value, or nothing.
template <typename Value, typename ToElement>
std::optional<std::string> rangeElement(std::span<const BYTE> value, const std::string& name,
                                        const ToElement& toElement) {
  if (value.size() < sizeof(RANGE)) return std::nullopt;
  const auto range = valueAt<RANGE>(value, 0);
  const std::size_t count = range.ListEntries + std::size_t{2} * range.RangeEntries;
  if (value.size() != sizeof(RANGE) + count * sizeof(Value)) return std::nullopt;
  std::string content;
  for (std::size_t i = 0; i < count; ++i) {
    const std::optional<std::string> one =
        toElement(valueAt<Value>(value, sizeof(RANGE) + i * sizeof(Value)));
    if (!one) return std::nullopt;
    const bool ofPair = i >= range.ListEntries;
    const bool first = (i - range.ListEntries) % 2 == 0;
    if (ofPair && first) content += "<" + name + "pair>";
    content += *one;
    if (ofPair && !first) content += "</" + name + "pair>";
  }
  return element(name + "list", content);
}

// Nothing for the values that have no readable form.
std::optional<std::string> readableValue(WORD type, std::span<const BYTE> value) {
  switch (type) {
    case TYPE_TEXT:
      return textElement({reinterpret_cast<const char*>(value.data()), value.size()});
    case TYPE_TEXT_LIST:
      return textListElement(value);
    case TYPE_NUMBER:
      if (value.size() != sizeof(NUMBER)) return std::nullopt;
      return numberElement(valueAt<NUMBER>(value, 0));
    case TYPE_NUMBER_RANGE:
      return rangeElement<NUMBER>(value, "number", numberElement);
    case TYPE_TIME:
      if (value.size() != sizeof(TIMEDATE)) return std::nullopt;
      return timeElement(valueAt<TIMEDATE>(value, 0));
    case TYPE_TIME_RANGE:
      return rangeElement<TIMEDATE>(value, "datetime", timeElement);
    default:
      return std::nullopt;
  }
}

// The start tag of an attached file and its times; nothing if the descriptor is not a whole one
// with a name that can be read.
std::optional<std::string> fileStart(std::span<const BYTE> descriptor) {
  if (descriptor.size() < sizeof(DxlFileFields)) return std::nullopt;
  const auto fields = valueAt<DxlFileFields>(descriptor, 0);
  const auto nameBytes = descriptor.subspan(sizeof fields);
  const auto name =
      readableText({reinterpret_cast<const char*>(nameBytes.data()), nameBytes.size()});
  if (!name || fields.nameLength != nameBytes.size()) return std::nullopt;
  return "<file" + attributeText("name", *name) +
         attributeText("hosttype", hexText(fields.hostType)) +
         attributeText("compression", hexText(fields.compression)) +
         attributeText("attributes", hexText(fields.attributes)) +
         attributeText("flags", hexText(fields.flags)) +
         attributeText("size", std::to_string(DWORD{fields.size})) + ">" +
         element("created", timeElement(TIMEDATE{fields.created})) +
         element("modified", timeElement(TIMEDATE{fields.modified}));
}

}  // namespace

// ---- the note -----------------------------------------------------------------------------------

DxlWriter::DxlWriter(NoteContent note, const DxlExportOptions& options) : note_(std::move(note)) {
  const NoteHeader& header = note_.header;
  const bool document = header.noteClass == NOTE_CLASS_DOCUMENT && !options.forceNote;
  const std::string root = document ? "document" : "note";
  if (options.xmlDeclaration) text("<?xml version='1.0' encoding='utf-8'?>\n");
  if (options.doctype) {
    text("<!DOCTYPE " + root);
    if (options.doctypeSystem) text(" SYSTEM '" + *options.doctypeSystem + "'");
    text(">\n");
  }
  text("<" + root);
  {
    const StoreLease store = requireStore(note_.database);
    if (options.rootAttributes)
      text(" version='1.0'" +
           attributeText("replicaid", timeDigits(store->properties().replica.ID)));
    if (!document) text(attributeText("class", className(header.noteClass)));
    if (header.flags != 0) text(attributeText("flags", hexText(header.flags)));
    const auto parent = header.parent == 0 ? std::nullopt : store->note(header.parent);
    if (parent) {
      const ORIGINATORID& id = parent->originator;
      text(attributeText("parent", unidText({id.File, id.Note})));
    }
  }
  const ORIGINATORID& id = header.originator;
  text(">\n<noteinfo" + attributeText("noteid", hexText(header.id)) +
       attributeText("unid", unidText({id.File, id.Note})) +
       attributeText("sequence", std::to_string(id.Sequence)) + ">\n" +
       element("created", timeElement(id.Note)) +
       element("modified", timeElement(header.modified)) +
       element("revised", timeElement(id.SequenceTime)) +
       element("accessed", timeElement(header.accessed)) +
       element("addedtofile", timeElement(header.addedToFile)) + "\n</noteinfo>\n");
  for (const NoteItem& item : note_.items) writeItem(item);
  text("</" + root + ">\n");
  note_.items.clear();
}

void DxlWriter::writeItem(const NoteItem& item) {
  if (!isDxlItemType(item.type)) throw StatusError(ERR_INVALID_ITEMUNK, item.name + ": its type");
  text("<item" + nameAttribute(item.name));
  WORD unnamed = item.flags;
  for (const DxlName& flag : DxlItemFlags) {
    if ((item.flags & flag.number) != 0) text(attributeText(flag.name, "true"));
    unnamed = static_cast<WORD>(unnamed & ~flag.number);
  }
  if (unnamed != 0) text(attributeText("otherflags", hexText(unnamed)));
  text(">");
  writeValue(item);
  text("</item>\n");
}

void DxlWriter::writeValue(const NoteItem& item) {
  // No object has the number 0.
  const DWORD object = item.type == TYPE_OBJECT && item.value.size() >= DxlObjectStart
                           ? valueAt<DWORD>(item.value, sizeof(WORD))
                           : 0;
  if (object != 0) {
    writeObject(item, object);
  } else if (const auto readable = readableValue(item.type, item.value)) {
    text(*readable);
  } else {
    text("<rawitemdata" + attributeText("type", hexText(item.type)) + ">" + toBase64(item.value) +
         "</rawitemdata>");
  }
}

void DxlWriter::writeObject(const NoteItem& item, DWORD object) {
  const auto header = requireStore(note_.database)->object(object);
  if (!header) throw StatusError(ERR_INVALID_NOTE, item.name + ": its object is lost");
  const auto type = valueAt<WORD>(item.value, 0);
  text("<object" + attributeText("type", hexText(type)) +
       attributeText("class", hexText(header->objectClass)) +
       attributeText("privileges", hexText(header->privileges)) + ">");
  const auto descriptor = std::span(item.value).subspan(DxlObjectStart);
  const auto file = type == OBJECT_FILE ? fileStart(descriptor) : std::nullopt;
  text(file ? *file + "<filedata>" : element("descriptor", toBase64(descriptor)) + "<objectdata>");
  parts_.back().object = object;
  parts_.back().size = header->size;
  parts_.emplace_back();
  text(file ? "</filedata></file></object>" : "</objectdata></object>");
}

// ---- the text -----------------------------------------------------------------------------------

std::string DxlWriter::next() {
  std::string block;
  while (block.size() < DxlBlockSize && part_ < parts_.size()) {
    Part& part = parts_[part_];
    if (taken_ < part.text.size()) {
      const std::string_view rest = std::string_view(part.text).substr(taken_);
      const std::string_view more = rest.substr(0, DxlBlockSize - block.size());
      block += more;
      taken_ += more.size();
    } else if (part.objectRead < part.size) {
      const DWORD size = std::min(ObjectPiece, part.size - part.objectRead);
      part.text =
          toBase64(requireStore(note_.database)->readObject(part.object, part.objectRead, size));
      part.objectRead += size;
      taken_ = 0;
    } else {
      part = {};
      ++part_;
      taken_ = 0;
    }
  }
  return block;
}

}  // namespace simulator
