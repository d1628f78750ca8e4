// Roads over ID tables: walking one, the modified notes, notes by folders, folders put together
// again.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "NotesDatabase.h"
#include "NotesUtilities.h"
#include "bench/Roads.h"
#include "findDataPartition.h"

namespace bench {
namespace {

// ---- hollow tables and collections: they hold the IDs 4, 8, 12 ... -----------------------------

DWORD tableEnd = 0;      // The last ID.
DWORD entriesLeft = 0;   // In the folder that is read.
DWORD touched = 0;       // IDs inserted or deleted, all sizes together: proves the work.
std::vector<BYTE> page;  // What a locked buffer shows: note ID and class, entry by entry.

constexpr DWORD pageEntries = 10000;  // What fits a buffer of Notes, about.
constexpr std::size_t entrySize = sizeof(NOTEID) + sizeof(WORD);

BOOL scanHollow(DHANDLE /*table*/, BOOL first, DWORD* id) {
  *id = first ? 4 : *id + 4;
  return *id <= tableEnd;
}

STATUS readHollow(HCOLLECTION collection, COLLECTIONPOSITION* position, WORD, DWORD, WORD, DWORD,
                  DWORD, DHANDLE* buffer, WORD* /*length*/, DWORD* /*skipped*/, DWORD* returned,
                  WORD* signals) {
  DWORD& left = entriesLeft;
  ++position->Tumbler[0];
  *buffer = 9;
  *returned = collection == 1 ? 1 : std::min(left, pageEntries);  // The design has one entry.
  left -= collection == 1 ? 0 : *returned;
  *signals = collection != 1 && left != 0 ? SIGNAL_MORE_TO_DO : 0;
  return NOERROR;
}

void bindHollowTables(std::size_t size) {
  tableEnd = static_cast<DWORD>(size * 4);
  KO_IDScan = scanHollow;
  KO_IDCreateTable = [](DWORD, DHANDLE* table) -> STATUS { return *table = 5, NOERROR; };
  KO_IDTableCopy = [](DHANDLE, DHANDLE* table) -> STATUS { return *table = 6, NOERROR; };
  KO_IDInsert = [](DHANDLE, DWORD id, BOOL*) -> STATUS { return touched += id, NOERROR; };
  KO_IDDelete = [](DHANDLE, DWORD id, BOOL*) -> STATUS { return touched += id, NOERROR; };
  KO_IDIsPresent = [](DHANDLE, DWORD id) -> BOOL { return (id & 4) != 0; };
  KO_NSFDbOpen = [](const char*, DBHANDLE* handle) -> STATUS { return *handle = 7, NOERROR; };
  KO_NSFDbGetModifiedNoteTable = [](DBHANDLE, WORD, TIMEDATE, TIMEDATE*, DHANDLE* table) -> STATUS {
    return *table = 5, NOERROR;
  };
  KO_NIFFindDesignNoteExt = [](DBHANDLE, const char*, WORD, const char*, NOTEID* id,
                               DWORD) -> STATUS { return *id = 12, NOERROR; };
  KO_NIFOpenCollection = [](DBHANDLE, DBHANDLE, NOTEID view, WORD, DHANDLE, HCOLLECTION* collection,
                            NOTEHANDLE*, UNIVERSALNOTEID*, DHANDLE*, DHANDLE*) -> STATUS {
    *collection = view == 12 ? 2 : 1;
    return NOERROR;
  };
  KO_NIFReadEntries = readHollow;
  KO_OSLockObject = [](DHANDLE) -> void* { return page.data(); };
  KO_OSMemGetSize = [](DHANDLE, DWORD* bytes) -> STATUS {
    return *bytes = static_cast<DWORD>(page.size()), NOERROR;
  };
  KO_NSFDbGetNoteInfoByUNID = [](DBHANDLE, UNIVERSALNOTEID* unid, NOTEID* id, ORIGINATORID*,
                                 TIMEDATE*,
                                 WORD*) -> STATUS { return *id = unid->Note.Innards[0], NOERROR; };
  KO_FolderDocAdd = [](DBHANDLE, DBHANDLE, NOTEID folder, DHANDLE, DWORD) -> STATUS {
    return touched += folder, NOERROR;
  };
  KO_ODSLength = [](WORD) -> WORD { return 28; };
}

// One database, and the count of what the host was asked, as all these roads need them.
struct Road {
  Road(const Site& site, std::size_t size)
      : site(site), size(size), db(site.mailbox, site.instance) {}
  void prepare() {
    SetJobQuitCallback([] { return false; });
    if (site.ground == Ground::Hollow) bindHollowTables(size);
    if (db.GetHandle() == NULLHANDLE) db.Open();
  }

  Site site;
  std::size_t size;
  KoLNDatabase db;
  bool failed = true;
};

// ---- walking ----------------------------------------------------------------------------------

// The library's own walk: is a note, which is not there, in the table of those not read?
struct UnreadWalk : Road {
  using Road::Road;
  static constexpr NOTEID absent = 3;
  void prepare() {
    Road::prepare();
    KO_NSFDbGetUnreadNoteTable = [](DBHANDLE, char*, WORD, BOOL, DHANDLE* out) -> STATUS {
      return *out = 5, NOERROR;
    };
    db.title = "Nobody";
    failed = db.DiscoverUnReadDocuments().IsErrorSet();
    KO_NSFDbGetUnreadNoteTable(db.GetHandle(), db.title.data(), 6, TRUE, &table);
  }
  void library() { failed = db.GetNoteUnreadStatus(absent, found).IsErrorSet(); }
  void twin() {
    NOTEID id = 0;
    for (BOOL more = KO_IDScan(table, TRUE, &id); more && !found;
         more = KO_IDScan(table, FALSE, &id)) {
      found = (id & RRV_DELETED) == 0 && id == absent;
    }
    failed = false;
  }
  std::string result() const { return failed ? "failed" : found ? "found" : "not there"; }

  DHANDLE table = NULLHANDLE;
  bool found = false;
};

// The same by the host, ID by ID.
struct ScanByHost : Road {
  using Road::Road;
  ~ScanByHost() {
    if (table != NULLHANDLE) KO_IDDestroyTable(table);
  }
  void prepare() {
    Road::prepare();
    if (table != NULLHANDLE) return;
    KO_IDCreateTable(4, &table);
    for (std::size_t i = 1; i <= size; ++i) KO_IDInsert(table, static_cast<NOTEID>(i * 4), nullptr);
  }
  void library() {
    sum = 0;
    NOTEID id = 0;
    for (BOOL more = db.NoteIDScan(table, TRUE, &id); more; more = db.NoteIDScan(table, FALSE, &id))
      sum += id;
  }
  void twin() {
    sum = 0;
    NOTEID id = 0;
    for (BOOL more = KO_IDScan(table, TRUE, &id); more; more = KO_IDScan(table, FALSE, &id))
      sum += id;
  }
  std::string result() const { return std::to_string(sum); }

  DHANDLE table = NULLHANDLE;
  std::size_t sum = 0;
};

struct ModifiedNotes : Road {
  using Road::Road;
  void library() {
    TIMEDATE since = {};
    TIMEDATE until = {};
    DHANDLE table = NULLHANDLE;
    KoLNUtilities utilities;
    utilities.GetTimeDate(TIMEDATE_MINIMUM, &since);
    failed = db.DiscoverModifiedDocuments(since, &until, NOTE_CLASS_DOCUMENT, &table).IsErrorSet();
    count = 0;
    NOTEID id = 0;
    for (BOOL more = db.NoteIDScan(table, TRUE, &id); more; more = db.NoteIDScan(table, FALSE, &id))
      ++count;
    failed = utilities.MemFreeTable(table).IsErrorSet() || failed;
  }
  void twin() {
    TIMEDATE since = {};
    TIMEDATE until = {};
    DHANDLE table = NULLHANDLE;
    KO_TimeConstant(TIMEDATE_MINIMUM, &since);
    const STATUS status =
        KO_NSFDbGetModifiedNoteTable(db.GetHandle(), NOTE_CLASS_DOCUMENT, since, &until, &table);
    failed = status != NOERROR && (status & ERR_MASK) != ERR_NO_MODIFIED_NOTES;
    count = 0;
    NOTEID id = 0;
    for (BOOL more = KO_IDScan(table, TRUE, &id); more; more = KO_IDScan(table, FALSE, &id))
      ++count;
    failed = KO_IDDestroyTable(table) != NOERROR || failed;
  }
  std::string result() const { return failed ? "failed" : std::to_string(count); }

  std::size_t count = 0;
};

// ---- by folders -------------------------------------------------------------------------------

constexpr const char* folderName = "($Inbox)";

// What a host does that reads folders itself; false: a call failed.
class HandFilter {
 public:
  HandFilter(DBHANDLE db, DHANDLE notes) : db_(db), notes_(notes) {}

  bool run(std::string& folders, bool include) {
    if (KO_IDCreateTable(0, &members_) != NOERROR) return false;
    bool done = addNested(folders) && addFolder(folders);
    DHANDLE copy = NULLHANDLE;
    if (done && KO_IDTableCopy(notes_, &copy) == NOERROR) {
      done = narrow(copy, include);
      KO_IDDestroyTable(copy);
    }
    KO_IDDestroyTable(members_);
    return done;
  }

 private:
  template <typename Visit>
  bool readAll(NOTEID view, WORD flags, WORD navigator, DWORD most, Visit visit) const {
    HCOLLECTION collection = 0;
    if (KO_NIFOpenCollection(db_, db_, view, flags, NULLHANDLE, &collection, nullptr, nullptr,
                             nullptr, nullptr) != NOERROR)
      return false;
    COLLECTIONPOSITION position = {};
    position.Tumbler[0] = navigator == NAVIGATE_CURRENT ? 1 : 0;
    WORD signals = 0;
    bool done = true;
    do {
      DHANDLE buffer = NULLHANDLE;
      DWORD count = 0;
      if (KO_NIFReadEntries(collection, &position, navigator, 1, NAVIGATE_NEXT, most,
                            READ_MASK_NOTEID | READ_MASK_NOTECLASS, &buffer, nullptr, nullptr,
                            &count, &signals) != NOERROR) {
        done = false;
        break;
      }
      if (buffer == NULLHANDLE) break;
      if (count != 0) {
        const auto* bytes = static_cast<const BYTE*>(KO_OSLockObject(buffer));
        DWORD bufferSize = 0;
        done = KO_OSMemGetSize(buffer, &bufferSize) == NOERROR && bufferSize >= count * entrySize;
        for (DWORD i = 0; done && i < count && !QuitJob(); ++i, bytes += entrySize) {
          NOTEID id;
          WORD noteClass;
          std::memcpy(&id, bytes, sizeof id);
          std::memcpy(&noteClass, bytes + sizeof id, sizeof noteClass);
          done = visit(id, noteClass);
        }
        KO_OSUnlockObject(buffer);
      }
      KO_OSMemFree(buffer);
    } while (done && (signals & SIGNAL_MORE_TO_DO) != 0 && !QuitJob());
    return KO_NIFCloseCollection(collection) == NOERROR && done;
  }

  bool addNested(std::string& folders) const {
    const std::string prefix = folders + '\\';
    std::string nested;
    const bool done = readAll(NOTE_ID_SPECIAL | NOTE_CLASS_DESIGN, 0, NAVIGATE_CURRENT, MAXDWORD,
                              [&](NOTEID id, WORD noteClass) {
                                if (noteClass != NOTE_CLASS_VIEW) return true;
                                NOTEHANDLE note = NULLHANDLE;
                                if (KO_NSFNoteOpen(db_, id, 0, &note) != NOERROR) return false;
                                char title[1025] = {};
                                KO_NSFItemGetText(note, "$TITLE", title, 1024);
                                if (std::strncmp(title, prefix.c_str(), prefix.size()) == 0)
                                  nested.append(";") += title;
                                return KO_NSFNoteClose(note) == NOERROR;
                              });
    folders += nested;
    return done;
  }

  bool addFolder(const std::string& name) const {
    NOTEID view = 0;
    if (KO_NIFFindDesignNoteExt(db_, name.c_str(), NOTE_CLASS_VIEW, DFLAGPAT_VIEWS_AND_FOLDERS,
                                &view, 0) != NOERROR)
      return false;
    return readAll(view, OPEN_REBUILD_INDEX | 0x0008 | OPEN_REOPEN_COLLECTION, NAVIGATE_NEXT,
                   MAXWORD, [&](NOTEID id, WORD noteClass) {
                     return noteClass != NOTE_CLASS_DOCUMENT ||
                            KO_IDInsert(members_, id, nullptr) == NOERROR;
                   });
  }

  bool narrow(DHANDLE copy, bool include) const {
    NOTEID id = 0;
    for (BOOL first = TRUE; !QuitJob() && KO_IDScan(copy, first, &id); first = FALSE) {
      if ((KO_IDIsPresent(members_, id) != FALSE) != include &&
          KO_IDDelete(notes_, id, nullptr) != NOERROR)
        return false;
    }
    return true;
  }

  DBHANDLE db_;
  DHANDLE notes_;
  DHANDLE members_ = NULLHANDLE;
};

template <bool include>
struct FolderFilter : Road {
  using Road::Road;
  ~FolderFilter() {
    if (all != NULLHANDLE) KO_IDDestroyTable(all);
  }
  void prepare() {
    Road::prepare();
    if (page.empty() && site.ground == Ground::Hollow) {
      page.resize(pageEntries * entrySize);
      for (DWORD i = 0; i < pageEntries; ++i) {
        const NOTEID id = (i + 1) * 4;
        const WORD noteClass = NOTE_CLASS_DOCUMENT;
        std::memcpy(page.data() + i * entrySize, &id, sizeof id);
        std::memcpy(page.data() + i * entrySize + sizeof id, &noteClass, sizeof noteClass);
      }
    }
    if (all != NULLHANDLE) return;
    KO_IDCreateTable(4, &all);
    for (std::size_t i = 1; i <= size; ++i) KO_IDInsert(all, static_cast<NOTEID>(i * 2), nullptr);
  }
  void library() {
    round([&](std::string& folders, DHANDLE& table) {
      failed = db.FilterDocumentsOfFolders(folders, table, include ? 1 : 2).IsErrorSet();
    });
  }
  void twin() {
    round([&](std::string& folders, DHANDLE& table) {
      failed = !HandFilter(db.GetHandle(), table).run(folders, include);
    });
  }
  std::string result() const { return failed ? "failed" : std::to_string(left); }

 private:
  template <typename Filter>
  void round(Filter filter) {
    entriesLeft = static_cast<DWORD>(size);
    touched = 0;
    std::string folders = folderName;
    DHANDLE table = NULLHANDLE;
    KO_IDTableCopy(all, &table);
    filter(folders, table);
    left = site.ground == Ground::Hollow ? touched : KO_IDEntries(table);
    KO_IDDestroyTable(table);
  }

  DHANDLE all = NULLHANDLE;
  DWORD left = 0;
};

// ---- folders put together again ---------------------------------------------------------------

struct Reconstruction : Road {
  using Road::Road;
  void prepare() {
    Road::prepare();
    if (!record.empty()) return;
    ORIGINATORID folder = {};
    std::vector<ORIGINATORID> notes(1);
    notes[0].Note.Innards[0] = 4;
    if (site.ground == Ground::Simulated) find(folder, notes);
    const auto count = static_cast<DWORD>(size);
    record.assign(reinterpret_cast<const char*>(&folder), 28);
    record.append(reinterpret_cast<const char*>(&count), sizeof count);
    for (DWORD i = 0; i < count; ++i)
      record.append(reinterpret_cast<const char*>(&notes[i % notes.size()]), 28);
  }
  void library() {
    touched = 0;
    failed =
        db.PutNotesInFolders(record.data(), static_cast<DWORD>(record.size()), "").IsErrorSet();
    put = touched;
  }
  void twin() {
    touched = 0;
    failed = !putByHand();
    put = touched;
  }
  std::string result() const { return failed ? "failed" : "put " + std::to_string(put); }

 private:
  // The IDs of the inbox and of the mailbox's notes.
  void find(ORIGINATORID& folder, std::vector<ORIGINATORID>& notes) {
    NOTEID view = 0;
    KO_NIFFindDesignNoteExt(db.GetHandle(), folderName, NOTE_CLASS_VIEW, DFLAGPAT_VIEWS_AND_FOLDERS,
                            &view, 0);
    KO_NSFDbGetNoteInfo(db.GetHandle(), view, &folder, nullptr, nullptr);
    TIMEDATE since = {};
    TIMEDATE until = {};
    DHANDLE table = NULLHANDLE;
    KO_TimeConstant(TIMEDATE_MINIMUM, &since);
    KO_NSFDbGetModifiedNoteTable(db.GetHandle(), NOTE_CLASS_DOCUMENT, since, &until, &table);
    notes.clear();
    NOTEID id = 0;
    for (BOOL more = KO_IDScan(table, TRUE, &id); more; more = KO_IDScan(table, FALSE, &id))
      KO_NSFDbGetNoteInfo(db.GetHandle(), id, &notes.emplace_back(), nullptr, nullptr);
    KO_IDDestroyTable(table);
  }

  NOTEID look(const char* bytes) {
    UNIVERSALNOTEID unid;
    std::memcpy(&unid, bytes, sizeof unid);
    NOTEID id = 0;
    ORIGINATORID oid;
    TIMEDATE modified;
    WORD noteClass;
    const STATUS status =
        KO_NSFDbGetNoteInfoByUNID(db.GetHandle(), &unid, &id, &oid, &modified, &noteClass);
    return status == NOERROR ? id : 0;
  }

  bool putByHand() {
    const WORD itemSize = KO_ODSLength(ODS_UNIVERSALNOTEID);
    for (std::size_t at = 0; at + 32 <= record.size() && !QuitJob();) {
      const NOTEID folder = look(record.data() + at);
      DWORD count;
      std::memcpy(&count, record.data() + at + 28, sizeof count);
      at += 32;
      DHANDLE table = NULLHANDLE;
      if (KO_IDCreateTable(sizeof(NOTEID), &table) != NOERROR) return false;
      bool done = std::size_t{count} * itemSize <= record.size() - at;
      for (; done && count != 0 && !QuitJob(); --count, at += itemSize) {
        const NOTEID note = look(record.data() + at);
        done = note == 0 || KO_IDInsert(table, note, nullptr) == NOERROR;
      }
      if (done && folder != 0)
        done = KO_FolderDocAdd(db.GetHandle(), NULLHANDLE, folder, table, 0) == NOERROR;
      KO_IDDestroyTable(table);
      if (!done) return false;
    }
    return true;
  }

  std::string record;
  DWORD put = 0;
};

}  // namespace

void addTableRoads(Pairs& pairs, const Site& site) {
  for (const std::size_t size : {1000, 10000, 100000, 1000000}) {
    const auto add = [&]<typename Type>(const char* name, Limits limits) {
      pairs.push_back(makePair<Type>(name, size, site.ground, 1, limits, site, size));
      pairs.back().units = size;
    };
    if (site.ground == Ground::Hollow) {
      add.template operator()<UnreadWalk>("id-table-walk", {0, 0, 10, true});
    }
    // The exported member keeps what is thrown and tests its pointer, each time: that has a price.
    add.template operator()<ScanByHost>("note-id-scan", {0, 1.03, 14.5, true});
    if (site.ground == Ground::Hollow || size == site.notes) {
      add.template operator()<ModifiedNotes>("modified-notes", {0, 1.03, 14.5, true});
    }
    add.template operator()<FolderFilter<true>>("folder-filter-include", {});
    add.template operator()<FolderFilter<false>>("folder-filter-exclude", {});
    add.template operator()<Reconstruction>("folder-reconstruction", {});
  }
}

}  // namespace bench
