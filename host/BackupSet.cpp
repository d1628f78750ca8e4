#include "BackupSet.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "ArchiveFolder.h"
#include "JsonLine.h"
#include "NewFile.h"
#include "NoteArgument.h"
#include "Times.h"

namespace host {
namespace {

namespace fs = std::filesystem;
constexpr const char* prefix = "set-";
constexpr const char* folderFile = "/folders.bin";
constexpr const char* contentsFile = "/set.json";

std::string pathOf(const std::string& folder, unsigned number) {
  return fmt::format("{}/{}{:06}", folder, prefix, number);
}

std::string hexadecimal(std::uint32_t number) {
  return fmt::format("{:08X}", number);
}

std::uint32_t numberOf(const Json& digits) {
  const std::string text = digits.get<std::string>();
  std::size_t end = 0;
  const unsigned long number = std::stoul(text, &end, 16);
  if (end != text.size() || number > MAXDWORD) {
    throw std::out_of_range(text);
  }
  return static_cast<std::uint32_t>(number);
}

std::uint32_t checksumOf(const std::string& bytes) {
  return static_cast<std::uint32_t>(
      crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

Failure damaged(const std::string& path, const std::string& what) {
  return {ExitCode::Failed, fmt::format("{} {}; restore it from a copy of the backup", path, what)};
}

std::string readWhole(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (!file || file.bad()) {
    throw damaged(path, "cannot be read");
  }
  return bytes;
}

// ---- set.json -----------------------------------------------------------------------------------

Json jsonOf(const SetContents& set) {
  Json object = {{"kind", set.full() ? "full" : "incremental"},
                 {"complete", set.complete()},
                 {"database", set.database},
                 {"replicaId", set.replicaId},
                 {"since", set.full() ? Json() : Json(set.since)},
                 {"until", set.until},
                 {"notes", Json::array()},
                 {"deleted", Json::array()},
                 {"missing", Json::array()}};
  for (const StagedNote& note : set.notes) {
    object["notes"].push_back(host::jsonOf(note));
  }
  for (const DeletedNote& note : set.deleted) {
    object["deleted"].push_back({{"noteId", textFromNoteId(note.id)}, {"unid", note.unid}});
  }
  for (const MissingNote& note : set.missing) {
    object["missing"].push_back({{"noteId", textFromNoteId(note.id)}, {"reason", note.reason}});
  }
  Json folders = {{"file", folderFile + 1},
                  {"bytes", set.folders.records.size()},
                  {"checksum", hexadecimal(checksumOf(set.folders.records))},
                  {"itemBytes", set.folders.itemBytes},
                  {"folders", Json::array()},
                  {"missing", set.folders.unread}};
  for (const FolderFacts& folder : set.folders.folders) {
    folders["folders"].push_back(
        {{"unid", folder.unid}, {"name", folder.name}, {"notes", folder.notes}});
  }
  object["folders"] = std::move(folders);
  return object;
}

SetContents contentsOf(const Json& object) {
  SetContents set;
  set.database = object.at("database");
  set.replicaId = object.at("replicaId");
  set.until = object.at("until");
  if (object.at("kind") == "incremental") {
    set.since = object.at("since");
  }
  for (const Json& note : object.at("notes")) {
    StagedNote staged;
    staged.unid = note.at("unid");
    staged.id = numberOf(note.at("noteId"));
    staged.sequence = note.at("sequence");
    staged.sequenceTime = timeFromIso8601(note.at("sequenceTime")).value_or(TIMEDATE{});
    staged.dxlBytes = note.at("dxlBytes");
    staged.checksum = numberOf(note.at("checksum"));
    set.notes.push_back(std::move(staged));
  }
  for (const Json& note : object.at("deleted")) {
    set.deleted.push_back({numberOf(note.at("noteId")), note.at("unid")});
  }
  for (const Json& note : object.at("missing")) {
    set.missing.push_back({numberOf(note.at("noteId")), note.at("reason")});
  }
  const Json& folders = object.at("folders");
  set.folderBytes = folders.at("bytes");
  set.folderChecksum = numberOf(folders.at("checksum"));
  set.folders.itemBytes = folders.at("itemBytes");
  set.folders.unread = folders.at("missing").get<std::vector<std::string>>();
  for (const Json& folder : folders.at("folders")) {
    set.folders.folders.push_back({folder.at("unid"), folder.at("name"), folder.at("notes")});
  }
  return set;
}

}  // namespace

Json jsonOf(const StagedNote& note) {
  return {{"unid", note.unid},         {"noteId", textFromNoteId(note.id)},
          {"sequence", note.sequence}, {"sequenceTime", iso8601(note.sequenceTime).value_or("")},
          {"dxlBytes", note.dxlBytes}, {"checksum", hexadecimal(note.checksum)}};
}

// ---- reading ------------------------------------------------------------------------------------

std::string BackupSet::fileOf(const StagedNote& note) const {
  return path + "/notes/" + note.unid + copySuffix;
}

std::vector<unsigned> setNumbers(const std::string& folder) {
  std::vector<unsigned> numbers;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    // Whatever else is in front or behind: the comparison sees it.
    const auto digits = std::min(name.find_first_of("0123456789"), name.size());
    const auto number = static_cast<unsigned>(std::strtoul(&name[digits], nullptr, 10));
    if (entry->path() == fs::path(pathOf(folder, number))) {
      numbers.push_back(number);
    }
  }
  if (error) {
    throw fileFailure(folder, "cannot be read", error.value());
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

BackupSet readSet(const std::string& folder, unsigned number) {
  BackupSet set;
  set.number = number;
  set.path = pathOf(folder, number);
  const std::string file = set.path + contentsFile;
  try {
    Json object = Json::parse(readWhole(file));
    const std::uint32_t checksum = numberOf(object.at("checksum"));
    object.erase("checksum");
    if (checksumOf(jsonLine(object)) != checksum) {
      throw damaged(file, "is damaged");
    }
    set.contents = contentsOf(object);
  } catch (const Failure&) {
    throw;
  } catch (const std::exception&) {  // No JSON, or not what belongs there.
    throw damaged(file, "is damaged");
  }
  return set;
}

std::vector<BackupSet> lastChain(const std::string& folder) {
  const std::vector<unsigned> numbers = setNumbers(folder);
  if (numbers.empty()) {
    throw Failure(ExitCode::Failed,
                  fmt::format("{} holds no backup; 'koln backup DB --to DIR' makes one", folder));
  }
  std::vector<BackupSet> chain;
  for (auto number = numbers.rbegin(); number != numbers.rend(); ++number) {
    chain.insert(chain.begin(), readSet(folder, *number));
    const BackupSet& set = chain.front();
    if (chain.size() > 1 && set.contents.until != chain[1].contents.since) {
      break;
    }
    if (set.contents.full()) {
      return chain;
    }
  }
  const BackupSet& last = chain.size() > 1 ? chain[1] : chain.front();
  throw Failure(ExitCode::Failed,
                fmt::format("the set in front of {} is missing; bring it back from a copy of the "
                            "backup, or move what is behind it away",
                            last.path));
}

std::string readRecords(const BackupSet& set) {
  const std::string file = set.path + folderFile;
  std::string records = readWhole(file);
  if (records.size() != set.contents.folderBytes ||
      checksumOf(records) != set.contents.folderChecksum) {
    throw damaged(file, "is not the file that set.json describes");
  }
  return records;
}

// ---- writing ------------------------------------------------------------------------------------

void removeHalfSets(const std::string& folder) {
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name.compare(0, 4, prefix) == 0 && entry->path().extension() == temporarySuffix) {
      std::error_code removal;
      fs::remove_all(entry->path(), removal);
      if (removal) {
        throw fileFailure(entry->path().string(), "is half written and cannot be removed",
                          removal.value());
      }
    }
  }
  if (error) {
    throw fileFailure(folder, "cannot be read", error.value());
  }
}

NewSet::NewSet(const std::string& folder, unsigned number)
    : path_(pathOf(folder, number)), temporary_(path_ + temporarySuffix) {
  for (const std::string& made : {temporary_, temporary_ + "/notes"}) {
    if (mkdir(made.c_str(), 0700) != 0) {
      throw fileFailure(made, "cannot be made", errno);
    }
    syncDirectoryOf(made);
  }
}

NewSet::~NewSet() {
  if (!finished_) {
    std::error_code ignored;  // The next run removes it.
    fs::remove_all(temporary_, ignored);
  }
}

std::string NewSet::fileOf(const std::string& unid) const {
  return temporary_ + "/notes/" + unid + copySuffix;
}

void NewSet::probe() const {
  constexpr std::size_t enough = std::size_t{64} * 1024;
  NewFile file(temporary_ + "/probe");
  file.write(std::string(enough, '\0'));
  file.flush();
}

void NewSet::finish(const SetContents& contents) {
  NewFile folders(temporary_ + folderFile);
  folders.write(contents.folders.records);
  folders.finish();
  Json object = jsonOf(contents);
  object["checksum"] = hexadecimal(checksumOf(jsonLine(object)));
  NewFile file(temporary_ + contentsFile);
  file.write(jsonLine(object));
  file.finish();
  if (rename(temporary_.c_str(), path_.c_str()) != 0) {
    throw fileFailure(temporary_, "cannot get its name", errno);
  }
  finished_ = true;
  syncDirectoryOf(path_);
}

}  // namespace host
