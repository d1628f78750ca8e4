// What the sweeps do with databases, their views and folders.
#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "koln.h"
#include "support/Sweep.h"

namespace sweep {
namespace {

STATUS collectNote(void* context, SEARCH_MATCH* match, ITEM_TABLE*) {
  static_cast<std::vector<NOTEID>*>(context)->push_back(match->ID.NoteID);
  return NOERROR;
}

STATUS countProfile(DBHANDLE, void* count, char*, WORD, char*, WORD, NOTEID) {
  ++*static_cast<int*>(count);
  return NOERROR;
}

void readDatabase(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open(bench.mailbox, false))) return;
  auto number = marked<DWORD>();
  auto time = marked<TIMEDATE>();
  std::string text = "unchanged";
  auto replica = marked<DBREPLICAINFO>();
  auto quota = marked<DBQUOTAINFOEXT>();
  DHANDLE acl = NULLHANDLE;
  bench.keeps([&] { return db.GetSize(number); }, number);
  bench.keeps([&] { return db.GetCreationTime(time); }, time);
  bench.done(db.GetModifiedTime(time));  // Notes may have written it.
  bench.keeps([&] { return db.GetReplicaInfo(&replica); }, replica);
  bench.keeps([&] { return db.GetTitle(text); }, text);
  bench.keeps([&] { return db.GetQuota(&quota); }, quota);
  if (bench.keeps([&] { return db.ReadAcl(&acl); }, acl) && acl != NULLHANDLE)
    bench.holds(db.MemFreeObject(acl) == 0, "free");
  bench.keeps([&] { return db.GetReplicaID(text); }, text);
  bench.keeps([&] { return db.LocateByReplicaID(text, text); }, text);
  bench.done(db.GetViews());
  bench.done(db.Close());
}

void listNotes(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  bool unread = false;
  TIMEDATE minimum = {};
  auto until = marked<TIMEDATE>();
  DHANDLE table = NULLHANDLE;
  std::vector<NOTEID> found;
  NSFSEARCHPROC collect = collectNote;
  int profiles = 0;
  bench.done(db.DiscoverUnReadDocuments());
  bench.keeps([&] { return db.GetNoteUnreadStatus(bench.note, unread); }, unread);
  const auto discover = [&] {
    return db.DiscoverModifiedDocuments(minimum, &until, NOTE_CLASS_DOCUMENT, &table);
  };
  if (bench.keeps(discover, until, table) && table != NULLHANDLE) {
    bench.done(KoLNUtilities().MemFreeTable(table));
  }
  const auto search = [&] {
    return db.Search(NULLHANDLE, nullptr, SEARCH_SUMMARY, NOTE_CLASS_DOCUMENT, nullptr, &collect,
                     &found, &until);
  };
  bench.keeps(search, until);
  bench.holds(!found.empty(), "no notes");
  bench.done(db.ProfileEnum(nullptr, 0, countProfile, &profiles, 0));
  bench.done(db.Close());
}

void indexView(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  KoLNView view(db, "($All)");
  unsigned int id = 0;
  std::string titles;
  HCOLLECTION collection = 0;
  if (!bench.done(view.FindID(id)) || !bench.done(view.GetCoulmnTitles(&titles)) ||
      !bench.done(view.OpenCollection(0, 0, &collection, nullptr, nullptr, nullptr, nullptr))) {
    return;
  }
  COLLECTIONPOSITION position = {};
  DHANDLE buffer = NULLHANDLE;
  WORD length = 0;
  DWORD returned = 0;
  bench.done(view.ReadColection(&collection, &position, NAVIGATE_NEXT, 1, NAVIGATE_NEXT, 10,
                                READ_MASK_NOTEID | READ_MASK_SUMMARY, &buffer, &length, nullptr,
                                &returned, nullptr));
  if (buffer != NULLHANDLE) {
    auto* const bytes = static_cast<unsigned char*>(db.LockObject(buffer));
    char entry[4096];
    if (bench.holds(bytes != nullptr, "lock") && returned > 0) {
      bench.holds(view.AddEntryToNoteIndex(entry, bytes + sizeof(NOTEID), id, {}, position, 0) == 0,
                  "entry");
    }
    if (bytes != nullptr) bench.holds(db.UnlockObject(buffer), "unlock");
    bench.holds(db.MemFreeObject(buffer) == 0, "free");
  }
  bench.done(view.CloseCollection(collection));
}

void listSubFolders(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  std::string folders = "Projects";
  bench.keeps([&] { return db.AddSubFolders(folders); }, folders);
}

template <unsigned long mode>
void filterByFolders(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  KoLNUtilities utilities;
  if (!bench.done(db.Open())) return;
  DHANDLE table = NULLHANDLE;
  if (!bench.holds(utilities.CreateTable(4, &table) == 0 && table != NULLHANDLE, "table")) return;
  bench.holds(utilities.InsertIntoTable(table, bench.note, nullptr) == 0, "insert");
  std::string folders = "Projects;$Inbox";
  bench.done(db.FilterDocumentsOfFolders(folders, table, mode));
  bench.done(utilities.MemFreeTable(table));
}

void changeDatabase(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  std::array<char, NSF_INFO_SIZE> information = {};
  DBREPLICAINFO replica = {};
  DHANDLE buffer = NULLHANDLE;
  DWORD object = 0;
  // What was not read must not be written.
  if (bench.keeps([&] { return db.GetInfo(information.data()); }, information) &&
      bench.holds(information[0] != '\0', "information")) {
    bench.done(db.SetInfo(information.data()));
  }
  if (bench.keeps([&] { return db.GetReplicaInfo(&replica); }, replica) &&
      bench.holds(!same(replica, {}), "replica")) {
    bench.done(db.SetReplicaInfo(&replica));
  }
  if (bench.done(db.MemAllocObject(0, 100, &buffer)) && buffer != NULLHANDLE &&
      bench.keeps([&] { return db.AllocObject(100, NOTE_CLASS_DOCUMENT, 0, &object); }, object)) {
    OBJECT_DESCRIPTOR descriptor = {OBJECT_FILE, object};
    auto bytes = marked<DWORD>();
    auto noteClass = marked<WORD>();
    auto privileges = marked<WORD>();
    const auto describe = [&] {
      return KoLNUtilities().DBGetObjectDetails(db.GetHandle(), descriptor, &bytes, &noteClass,
                                                &privileges);
    };
    bench.keeps(describe, bytes, noteClass, privileges);
    bench.done(db.WriteObject(object, buffer, 0, 100));
    DHANDLE read = NULLHANDLE;
    if (bench.keeps([&] { return db.ReadObject(object, 0, MAXDWORD, &read); }, read) &&
        read != NULLHANDLE) {
      DWORD size = 0;
      bench.done(db.GetObjectSize(read, &size));
      if (bench.holds(db.LockObject(read) != nullptr, "lock")) {
        bench.holds(db.UnlockObject(read), "unlock");
      }
      bench.holds(db.MemFreeObject(read) == 0, "free");
    }
    bench.done(db.FreeObject(object));
  }
  if (buffer != NULLHANDLE) bench.holds(db.MemFreeObject(buffer) == 0, "free");
}

void putInFolders(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  unsigned int folderId = 0;
  if (!bench.done(KoLNView(db, "$Inbox").FindID(folderId))) return;
  struct Record {
    ORIGINATORID folder;
    DWORD count;
    ORIGINATORID note;
  } record = {{}, 1, {}};
  static_assert(sizeof record == 60);
  auto modified = marked<TIMEDATE>();
  auto noteClass = marked<WORD>();
  KoLNDocument folder(db.GetHandle(), folderId);
  KoLNDocument note(db.GetHandle(), bench.note);
  if (bench.done(folder.GetInfoExtended(&record.folder, &modified, &noteClass)) &&
      bench.done(note.GetInfoExtended(&record.note, &modified, &noteClass))) {
    bench.done(db.PutNotesInFolders(reinterpret_cast<char*>(&record), sizeof record, nullptr));
  }
}

void describeDatabase(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  std::string text = "unchanged";
  auto options = marked<DWORD>();
  auto used = marked<DWORD>();
  auto unused = marked<DWORD>();
  auto mode = marked<WORD>();
  std::array<char, 256> canonical = {};
  std::array<char, 256> expanded = {};
  bench.done(db.GetTitle(db.title));
  bench.keeps([&] { return db.GetCanonicalName(text); }, text);
  bench.keeps([&] { return db.GetDesignClass(text); }, text);
  bench.keeps([&] { return db.GetMode(&mode); }, mode);
  bench.keeps([&] { return db.GetSpaceUsage(&used, &unused); }, used, unused);
  bench.keeps([&] { return db.GetPaths(canonical.data(), expanded.data()); }, canonical, expanded);
  bench.keeps([&] { return db.GetOptions(&options); }, options);
}

void walkTable(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  KoLNUtilities utilities;
  TIMEDATE since = {};
  TIMEDATE until = {};
  DHANDLE table = NULLHANDLE;
  if (!bench.done(db.Open())) return;
  utilities.GetTimeDate(TIMEDATE_MINIMUM, &since);
  if (!bench.done(db.DiscoverModifiedDocuments(since, &until, NOTE_CLASS_DOCUMENT, &table)) ||
      table == NULLHANDLE) {
    return;
  }
  DWORD id = 0;
  DWORD seen = 0;
  for (bool on = db.NoteIDScan(table, 1, &id); on && seen < 100; ++seen) {
    on = db.NoteIDScan(table, 0, &id);
  }
  bench.holds(seen == utilities.CountTableEntries(table), "walk");
  bench.done(utilities.MemFreeTable(table));
}

void openView(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  KoLNView view(db, "($All)");
  unsigned int id = 0;
  auto type = marked<unsigned short>();
  auto block = marked<BLOCKID>();
  auto length = marked<unsigned int>();
  if (!bench.done(view.FindID(id)) || !bench.done(view.Open(0))) return;
  bench.keeps([&] { return view.GetItemInfo("$TITLE+", type, block, length); }, type, block,
              length);
  bench.done(view.Close());
}

// A database of its own each time: what a fault leaves offline must not be in the next one's way.
void restoreDatabase(Bench& bench) {
  static int number = 0;
  std::string path = "restore" + std::to_string(++number) + ".nsf";
  const std::string file = bench.instance.GetDataDirectory() + "/" + path;
  KoLNDatabase db(path, bench.instance);
  if (!bench.done(db.Create())) return;
  if (bench.done(db.Open())) {
    char entries[100] = {};
    DHANDLE acl = NULLHANDLE;
    if (bench.keeps([&] { return db.ReadAcl(&acl); }, acl) && acl != NULLHANDLE) {
      DWORD size = 0;
      bench.done(db.GetObjectSize(acl, &size));
      if (const void* const bytes = db.LockObject(acl); bench.holds(bytes != nullptr, "lock")) {
        std::vector<char> stored(static_cast<const char*>(bytes),
                                 static_cast<const char*>(bytes) + size);
        bench.done(db.StoreACL(size, 0, 1, size == 0 ? entries : stored.data()));
        bench.holds(db.UnlockObject(acl), "unlock");
      }
      bench.holds(db.MemFreeObject(acl) == 0, "free");
    }
    bench.done(db.Close());
  }
  std::error_code ignored;
  std::filesystem::copy(file, file + ".backup", ignored);
  if (bench.done(bench.instance.TakeDBOffline(path))) {
    std::filesystem::rename(file + ".backup", file, ignored);
    bench.done(bench.instance.BringDBOnline(path));
  }
  std::filesystem::remove(file, ignored);
  std::filesystem::remove(file + ".backup", ignored);
}

}  // namespace

std::vector<Scenario> databaseScenarios() {
  return {{"readDatabase", readDatabase},
          {"describeDatabase", describeDatabase},
          {"listNotes", listNotes},
          {"walkTable", walkTable},
          {"openView", openView},
          {"indexView", indexView},
          {"listSubFolders", listSubFolders},
          {"keepWhatIsInFolders", filterByFolders<1>},
          {"dropWhatIsInFolders", filterByFolders<2>},
          {"changeDatabase", changeDatabase},
          {"putInFolders", putInFolders},
          {"restoreDatabase", restoreDatabase}};
}

}  // namespace sweep
