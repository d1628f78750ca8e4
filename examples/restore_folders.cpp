// Keeps which notes are in which folders, and later brings the notes back, each into its folders.
//   restore_folders DATA-DIRECTORY DATABASE DIRECTORY save|restore
// The notes are the files that backup_changed has made in the directory; this adds "folders".
#include <dirent.h>

#include <set>

#include "pages.h"
#include "staged_note.h"

template <typename Part>
static void append(std::string& bytes, const Part& part) {
  bytes.append(reinterpret_cast<const char*>(&part), sizeof part);
}

// The record of a folder as `PutNotesInFolders` takes it: its ID, a count, the IDs of its notes.
static std::string recordOf(KoLNDatabase& database, NOTEID folder, const ORIGINATORID& identity) {
  std::set<NOTEID> notes;  // A note may be there more than once, in several categories.
  KoLNView view(database, folder);
  readEntries(database, view, READ_MASK_NOTEID, [&notes](Page& page) {
    NOTEID id = 0;
    page.read(&id, sizeof id);
    if ((id & NOTEID_CATEGORY) == 0) notes.insert(id);
  });
  const std::size_t itemBytes = KoLNUtilities().GetDSLength(ODS_UNIVERSALNOTEID);
  std::string record;
  append(record, identity);
  append(record, static_cast<DWORD>(notes.size()));
  for (NOTEID id : notes) {
    ORIGINATORID note = {};
    TIMEDATE modified = {};
    WORD noteClass = 0;
    check(KoLNDocument(database.GetHandle(), id).GetInfoExtended(&note, &modified, &noteClass),
          "the identity of a note");
    const std::size_t end = record.size() + itemBytes;
    append(record, note);
    record.resize(end);
  }
  return record;
}

static void save(KoLNDatabase& database, const std::string& directory) {
  std::string records;
  TIMEDATE until = {};
  int folders = 0;
  for (NOTEID id : changedNotes(database, beginning(), NOTE_CLASS_VIEW, until)) {
    KoLNDocument design(database.GetHandle(), id);
    std::string flags;
    ORIGINATORID identity = {};
    check(design.Open(0), "a view cannot be opened");
    design.GetItem("$Flags", flags);
    if (flags.find('F') == std::string::npos) continue;  // A view, whose notes a formula selects.
    check(design.GetInfo(_NOTE_OID, &identity), "the identity of a folder");
    records += recordOf(database, id, identity);
    ++folders;
  }
  File file = createPart(directory, "folders");
  if (std::fwrite(records.data(), 1, records.size(), file.get()) != records.size())
    throw Failure("the folders cannot be written");
  publish(std::move(file), directory, "folders");
  std::printf("%d folders saved\n", folders);
}

static void import(KoLNDatabase& database, DXLIMPORTHANDLE importer, const std::string& path) {
  const File file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file || std::fseek(file.get(), 0, SEEK_END) != 0) throw Failure(path + " cannot be read");
  const long bytes = std::ftell(file.get()) - HeaderBytes;
  if (bytes <= 0) throw Failure(path + " is no note");
  NoteImportRecord record = {file.get(), nullptr, static_cast<DWORD>(bytes), 0};
  KoLNDocument note(database.GetHandle(), 0);
  check(note.Import(importer, &record), path);
  // A file that cannot be read to its end looks like a short one.
  if (record.offset != static_cast<DWORD>(bytes)) throw Failure(path + " was not read to its end");
}

static void restore(KoLNDatabase& database, const std::string& directory) {
  struct Importer {
    DXLIMPORTHANDLE handle = NULLHANDLE;
    ~Importer() { KoLNUtilities().DeleteDXLImporter(handle); }
  } importer;
  DWORD replace = DXLIMPORTOPTION_REPLACE_ELSE_CREATE, no = 0;
  KoLNError error = KoLNUtilities().CreateDXLImporter(
      importer.handle,
      {{iDocumentsImportOption, &replace}, {iReplicaRequiredForReplaceOrUpdate, &no}});
  if (error.IsErrorSet()) importer.handle = NULLHANDLE;  // It is deleted already.
  check(error, "notes cannot be imported");
  const std::unique_ptr<DIR, int (*)(DIR*)> files(opendir(directory.c_str()), closedir);
  if (!files) throw Failure(directory + " cannot be read");
  int notes = 0;
  while (const dirent* const entry = readdir(files.get())) {
    const std::string name = entry->d_name;
    if (name.size() != 36 || name.substr(32) != ".dxl") continue;
    if (interrupted()) throw Failure("interrupted; run it again");
    import(database, importer.handle, directory + "/" + name);
    ++notes;
  }
  std::string records;
  const File file(std::fopen((directory + "/folders").c_str(), "rb"), std::fclose);
  for (int c; file && (c = std::getc(file.get())) != EOF;) records += static_cast<char>(c);
  if (!file || std::ferror(file.get())) throw Failure("the folders cannot be read");
  check(database.PutNotesInFolders(&records[0], static_cast<DWORD>(records.size()), nullptr),
        "not all notes are in their folders");
  if (interrupted()) throw Failure("interrupted; run it again");  // The record does not tell.
  std::printf("%d notes restored\n", notes);
}

static int run(char** words) {
  const std::string what = words[3];
  if (what != "save" && what != "restore") throw Failure("the last word is save or restore");
  Partition partition(words[0]);
  KoLNDatabase database(words[1], partition.instance);
  check(database.Open(words[1], false), words[1]);
  what == "save" ? save(database, words[2]) : restore(database, words[2]);
  return 0;
}

int main(int argc, char** argv) {
  return runExample(argc, argv, 4, "DATA-DIRECTORY DATABASE DIRECTORY save|restore", run);
}
