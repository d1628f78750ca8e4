// The command `koln show`: the notes of a database, or all that one of them holds.
#include <fmt/format.h>
#include <koln.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Amounts.h"
#include "Commands.h"
#include "ItemText.h"
#include "NoteArgument.h"
#include "NoteFacts.h"
#include "NotesFailure.h"
#include "OneByOne.h"
#include "Output.h"
#include "Session.h"
#include "ShownText.h"
#include "Times.h"
#include "Translation.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* footer =
    R"(Without NOTE one line for each document: ID, date, size in bytes, number of
attachments, "stub" if it has been archived, subject. With --json an object a line.

A NOTE is the ID as it stands there, or the universal ID. With --json one object that
holds the items too; "value" are the bytes of an item in hexadecimal digits. The number
of an object in the database is left out there, and "object" tells its bytes and CRC-32:
so the items of two copies of a note can be compared.
)";

struct Object {
  std::uint64_t bytes = 0;
  uLong checksum = 0;
};

struct Item {
  std::string name;
  WORD type = 0;
  WORD flags = 0;
  std::string value;  // Without the type word.
  std::optional<Object> object;
};

struct Note {
  NOTEID id = 0;
  WORD noteClass = 0;
  NOTEID parent = 0;
  NoteFacts facts;
  DbMigrateCriteria criteria;
  TIMEDATE mailTime = {};
  std::optional<bool> unread;
  std::vector<Item> items;
};

void require(const KoLNError& error, const char* what) {
  if (isError(error)) {
    throw failureOf(what, error);
  }
}

// ---- reading ------------------------------------------------------------------------------------

// Called by the runtime, which knows no exceptions. Name and value are not terminated.
STATUS onItem(WORD /*unused*/, WORD flags, char* name, WORD nameLength, void* value, DWORD length,
              void* context) {
  try {
    Item item{utf8FromLmbcs({name, nameLength}), 0, flags, {}, std::nullopt};
    if (length >= sizeof item.type) {
      std::memcpy(&item.type, value, sizeof item.type);
      item.value.assign(static_cast<const char*>(value) + sizeof item.type,
                        length - sizeof item.type);
    }
    static_cast<std::vector<Item>*>(context)->push_back(std::move(item));
    return NOERROR;
  } catch (...) {
    return ERR_MEMORY;
  }
}

// Where the number of the object stands in the value of an item.
constexpr std::size_t objectPlace = sizeof(WORD);

Object readObject(KoLNDatabase& database, DWORD number) {
  constexpr DWORD piece = 256 * 1024;
  OBJECT_DESCRIPTOR descriptor = {OBJECT_UNKNOWN, number};
  DWORD size = 0;
  KoLNError error =
      KoLNUtilities().DBGetObjectDetails(database.GetHandle(), descriptor, &size, nullptr, nullptr);
  require(error, "the size of an attachment cannot be told");
  Object object{size, crc32(0, nullptr, 0)};
  for (DWORD done = 0; done < size;) {
    const DWORD count = std::min(piece, size - done);
    DHANDLE block = NULLHANDLE;
    require(database.ReadObject(number, done, count, &block), "an attachment cannot be read");
    const void* const bytes = database.LockObject(block);
    if (bytes != nullptr) {
      object.checksum = crc32(object.checksum, static_cast<const Bytef*>(bytes), count);
      database.UnlockObject(block);
    }
    database.MemFreeObject(block);
    if (bytes == nullptr) {
      throw Failure(ExitCode::Failed, "an attachment cannot be read: Notes gives no memory for it");
    }
    done += count;
  }
  return object;
}

std::optional<bool> unreadIn(KoLNDatabase& database, NOTEID id) {
  bool unread = false;
  if (isError(database.DiscoverUnReadDocuments()) ||
      isError(database.GetNoteUnreadStatus(id, unread))) {
    return std::nullopt;  // Not every database has an owner who reads it.
  }
  return unread;
}

Note readNote(KoLNDatabase& database, NOTEID id, SizeFormula& formula, const std::string& path) {
  Note all;
  all.id = id;
  KoLNDataDocument note(database.GetHandle(), id);
  openNote(note, id, path);
  try {
    all.facts = factsOf(note, formula);
    require(note.GetMigrationDetails(all.criteria), "its times cannot be told");
    require(note.GetSentRecievedTime(all.mailTime), "when it was received cannot be told");
    require(note.GetInfo(_NOTE_CLASS, &all.noteClass), "its class cannot be told");
    require(note.GetInfo(_NOTE_PARENT_NOTEID, &all.parent), "its parent cannot be told");
    return all;
  } catch (const Failure& failure) {
    throw Failure(failure.code(),
                  fmt::format("note {} of {}: {}", textFromNoteId(id), path, failure.what()));
  }
}

std::vector<Item> readItems(KoLNDatabase& database, NOTEID id, const std::string& path,
                            bool objects) {
  KoLNDataDocument note(database.GetHandle(), id);
  openNote(note, id, path);
  std::vector<Item> items;
  require(note.ScanItems(onItem, &items), "the items of the note cannot be read");
  for (Item& item : items) {
    DWORD number = 0;
    if (!objects || item.type != TYPE_OBJECT || item.value.size() < objectPlace + sizeof number) {
      continue;
    }
    std::memcpy(&number, item.value.data() + objectPlace, sizeof number);
    if (number != 0) {
      item.object = readObject(database, number);
      std::memset(item.value.data() + objectPlace, 0, sizeof number);
    }
  }
  return items;
}

// ---- showing ------------------------------------------------------------------------------------

std::string className(WORD noteClass) {
  return noteClass == NOTE_CLASS_DOCUMENT ? "document" : fmt::format("0x{:04X}", noteClass);
}

Json orNull(const std::optional<std::string>& text) {
  return text ? Json(*text) : Json();
}

std::string hexadecimal(std::string_view bytes) {
  std::string digits;
  for (const char byte : bytes) {
    fmt::format_to(std::back_inserter(digits), "{:02X}", static_cast<unsigned char>(byte));
  }
  return digits;
}

Json json(const Item& item) {
  Json object = {{"name", item.name},
                 {"type", typeName(item.type)},
                 {"flags", flagNames(item.flags)},
                 {"bytes", item.value.size()},
                 {"text", readableValue(item.type, item.value)},
                 {"value", hexadecimal(item.value)}};
  if (item.object) {
    object["object"] = {{"bytes", item.object->bytes},
                        {"crc32", fmt::format("{:08X}", item.object->checksum)}};
  }
  return object;
}

Json json(const Note& note) {
  Json attachments = Json::array();
  for (const ATTACHMENT& file : note.facts.attachments) {
    attachments.push_back({{"name", utf8FromLmbcs(file.name)},
                           {"bytes", file.size},
                           {"created", orNull(iso8601(file.created))},
                           {"modified", orNull(iso8601(file.modified))}});
  }
  return {{"noteId", textFromNoteId(note.id)},
          {"unid", note.facts.unid},
          {"class", className(note.noteClass)},
          {"parent", note.parent == 0 ? Json() : Json(textFromNoteId(note.parent))},
          {"sequence", note.facts.identity.Sequence},
          {"sequenceTime", orNull(iso8601(note.facts.identity.SequenceTime))},
          {"created", orNull(iso8601(note.criteria.CreationTime))},
          {"modified", orNull(iso8601(note.criteria.ModifiedTime))},
          {"accessed", orNull(iso8601(note.criteria.LastAccessedTime))},
          {"sentOrReceived", orNull(iso8601(note.mailTime))},
          {"ageSeconds", note.facts.age},
          {"bytes", note.facts.size},
          {"subject", note.facts.subject},
          {"stub", note.facts.stub ? Json(utf8FromLmbcs(*note.facts.stub)) : Json()},
          {"attachmentBytes", note.criteria.AttachmentSize},
          {"attachments", std::move(attachments)}};
}

std::string text(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

std::string lines(const Note& note) {
  const auto line = [](const char* name, const std::string& value) {
    return fmt::format("{:<14}{}\n", name, shown(value.empty() ? "-" : value));
  };
  const NoteFacts& facts = note.facts;
  constexpr unsigned long day = 24UL * 60 * 60;
  std::string all =
      line("subject", facts.subject) + line("note ID", textFromNoteId(note.id)) +
      line("universal ID", facts.unid) + line("class", className(note.noteClass)) +
      line("parent", note.parent == 0 ? "" : textFromNoteId(note.parent)) +
      line("version", fmt::format("{} of {}", facts.identity.Sequence,
                                  readableTime(facts.identity.SequenceTime))) +
      line("created", readableTime(note.criteria.CreationTime)) +
      line("modified", readableTime(note.criteria.ModifiedTime)) +
      line("accessed", readableTime(note.criteria.LastAccessedTime)) +
      line("sent/received", readableTime(note.mailTime)) +
      line("mail's age", counted(facts.age / day, "day")) + line("size", readableSize(facts.size)) +
      line("unread", !note.unread   ? "unknown"
                     : *note.unread ? "yes"
                                    : "no") +
      line("stub", facts.stub ? "yes, " + utf8FromLmbcs(*facts.stub) : "no") +
      line("attachments",
           fmt::format("{}, {}", note.criteria.AttachmentNumbers,
                       readableSize(static_cast<std::uint64_t>(note.criteria.AttachmentSize))));
  for (const ATTACHMENT& file : facts.attachments) {
    all += fmt::format("  {}, {}, created {}, modified {}\n", shown(utf8FromLmbcs(file.name)),
                       readableSize(file.size), readableTime(file.created),
                       readableTime(file.modified));
  }
  for (const Item& item : note.items) {
    constexpr std::size_t mostRead = 300;  // Of which a line shows less.
    std::string start = readableValue(item.type, item.value).substr(0, mostRead);
    std::replace(start.begin(), start.end(), '\n', ' ');
    all += fmt::format("{}  {}  {:>7}  {}  {}\n", cell(item.name, 20, false),
                       cell(typeName(item.type), 12, false), item.value.size(),
                       cell(flagNames(item.flags), 19, false),
                       cell(start, std::min<std::size_t>(60, columnsOf(start)), true));
  }
  return all;
}

std::string row(const Note& note) {
  return fmt::format("{}  {}  {:>9}  {:>5}  {}  {}\n", textFromNoteId(note.id),
                     cell(readableTime(note.mailTime).substr(0, 16), 16, true), note.facts.size,
                     note.facts.attachments.size(), note.facts.stub ? "stub" : "    ",
                     shown(note.facts.subject));
}

// ---- the command --------------------------------------------------------------------------------

struct Request {
  std::string path;
  std::string note;
  bool items = false;
};

ExitCode list(const Options& options, KoLNDatabase& database, SizeFormula& formula,
              const std::string& path) {
  if (!options.json) {
    writeResult("NOTE      DATE                  BYTES  FILES  STUB  SUBJECT\n");
  }
  const std::vector<NOTEID> ids = documentsOf(database);
  return oneByOne(ids.size(), "note", [&](std::size_t i) {
    const Note note = readNote(database, ids[i], formula, path);
    writeResult(options.json ? text(json(note)) : row(note));
  });
}

ExitCode run(const Options& options, const Request& request) {
  std::optional<NoteArgument> wanted;
  if (!request.note.empty()) {
    wanted.emplace(request.note);
  }
  Session session(options);
  KoLNDatabase database(request.path, session.instance());
  openDatabase(database, request.path);
  SizeFormula formula;
  if (!wanted) {
    return list(options, database, formula, request.path);
  }
  Note note = readNote(database, wanted->in(database), formula, request.path);
  note.unread = unreadIn(database, note.id);
  if (options.json || request.items) {
    note.items = readItems(database, note.id, request.path, options.json);
  }
  if (!options.json) {
    writeResult(lines(note));
    return ExitCode::Done;
  }
  Json object = json(note);
  object["unread"] = note.unread ? Json(*note.unread) : Json();
  object["items"] = Json::array();
  for (const Item& item : note.items) {
    object["items"].push_back(json(item));
  }
  writeResult(text(object));
  return ExitCode::Done;
}

}  // namespace

Command show(CLI::App& parent, Options& options) {
  CLI::App* const words =
      parent.add_subcommand("show", "the notes of a database, or all that one of them holds");
  words->footer(footer);
  const auto request = std::make_shared<Request>();
  addDatabaseArgument(*words, request->path);
  words->add_option("NOTE", request->note, "note ID or universal ID")->type_name("");
  words->add_flag("--items", request->items, "the items of the note too");
  words->add_flag("--json", options.json, "one JSON object a note");
  return {words, [&options, request] { return run(options, *request); }};
}

}  // namespace host
