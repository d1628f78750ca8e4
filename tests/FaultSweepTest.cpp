// Every call of Notes fails once, at every position of a scenario and in every way: the library must
// not crash, let nothing thrown out, give back all it held, say that something is wrong, and do the
// same work again afterwards. Against the simulated runtime, which ends the process over any handle
// that is used wrongly.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "koln.h"
#include "simulator/Control.h"
#include "support/ChildProcess.h"
#include "support/FaultyNotes.h"
#include "support/LogCapture.h"
#include "support/TemporaryDirectory.h"

namespace {

using faulty::Extent;
using faulty::FaultyNotes;
using faulty::Plan;

constexpr const char* runtimePath = KOLN_SIMULATOR_HOME "/notes/latest/linux/libnotes.so";
constexpr const char* kinds[] = {"memory",       "locks", "tables",    "databases", "notes",
                                 "computations", "mime",  "importers", "exporters", "collections"};

// What a scenario works on, and what it has seen fail.
struct Bench {
  KoLNInstance& instance;
  std::string mailbox;
  NOTEID note = 0;  // A new note with a body, an attachment and seals.
  std::vector<std::string> told;

  // Keeps what a record tells. True to go on.
  bool done(const KoLNError& error) {
    if (error.IsErrorSet() || error.GetErrorCode() != NOERROR) {
      told.push_back(std::to_string(error.GetErrorCode()) + ": " + error.GetMessage());
      return false;
    }
    return true;
  }
  // The same for a result that is no record.
  bool holds(bool result, const char* what) {
    if (!result) {
      told.emplace_back(what);
    }
    return result;
  }
};

struct Scenario {
  const char* name;
  void (*run)(Bench&);

  friend void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }
};

// Calls whose failure nobody needs to hear of: they have no status, and what they answer then is
// ordinary news; an item that is not there; or they give back what is not needed any more.
const std::set<std::string> mayFailSilently = {"IDScan",
                                               "MailGetMessageAttachmentInfo",
                                               "NSFItemGetTime",
                                               "NSFNoteGetInfo",
                                               "ODSReadMemory",
                                               "ODSWriteMemory",
                                               "OSCurrentTIMEDATE",
                                               "TimeDateDifference",
                                               "NSFItemInfo",
                                               "OSMemGetSize",
                                               "DXLDeleteExporter",
                                               "DXLDeleteImporter",
                                               "IDDestroyTable",
                                               "NSFDbClose",
                                               "NSFNoteClose",
                                               "OSMemFree",
                                               "OSUnlockObject"};

STATUS countItem(WORD, WORD, char*, WORD, void*, DWORD, void* count) {
  ++*static_cast<int*>(count);
  return NOERROR;
}

STATUS collectNote(void* context, SEARCH_MATCH* match, ITEM_TABLE*) {
  static_cast<std::vector<NOTEID>*>(context)->push_back(match->ID.NoteID);
  return NOERROR;
}

STATUS countProfile(DBHANDLE, void* count, char*, WORD, char*, WORD, NOTEID) {
  ++*static_cast<int*>(count);
  return NOERROR;
}

// ---- documents ----------------------------------------------------------------------------------

void readNote(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  KoLNUtilities utilities;
  if (!bench.done(db.Open())) return;
  bench.done(utilities.InitializeFormulaComputation());
  KoLNDataDocument note(db.GetHandle(), bench.note);
  if (bench.done(note.Open(0))) {
    TIMEDATE time = {};
    unsigned long age = 0;
    unsigned int size = 0;
    std::string text;
    DbMigrateCriteria facts;
    std::vector<std::string> extensions;
    bool flag = false;
    int count = 0;
    bench.done(note.GetSentRecievedTime(time));
    bench.done(note.GetAgeInSeconds(age, 0));
    bench.done(note.GetSize(size, utilities.GetSizeFormulaHandle()));
    bench.done(note.GetSubject(text));
    bench.holds(note.GetItem("Form", text) != 0, "no form");
    bench.done(note.GetMigrationDetails(facts));
    bench.holds(facts.AttachmentNumbers == 1, "attachments");
    bench.done(note.GetAttachmentInfoList(extensions));
    bench.done(note.HasItem("Body", flag));
    bench.holds(flag, "no body");
    bench.done(note.ScanItems(countItem, &count));
    bench.done(note.Close());
  }
  if (utilities.GetSizeFormulaHandle() != nullptr)
    bench.done(utilities.ShutdownFormulaComputation());
}

enum class Link { Url, Button, Mime };

template <Link link>
void makeStub(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  KoLNDataDocument note(db.GetHandle(), bench.note);
  if (!bench.done(note.OpenExt(0))) return;
  bool removed = false;
  char part[] = "Content-Type: text/plain\r\n\r\narchived\r\n";
  bench.done(note.RemoveAttachments(removed));
  bench.holds(removed, "attachments stay");
  bench.done(note.RemoveMessageBody());
  bench.done(note.RemoveSealedFields());
  bench.done(link == Link::Url      ? note.InsertURL("https://example.org/a?b=\"c\"")
             : link == Link::Button ? note.InsertButton("https://example.org/a?b=\"c\"")
                                    : note.InsertLink(part));
  bench.done(note.SetItemText("StubData", "yes"));
  bench.done(note.Close());  // Without an update: the next run begins with the same note.
}

void createNote(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  KoLNDataDocument note(db.GetHandle(), 0);
  if (!bench.done(note.Create())) return;
  char name[] = "Value";
  NUMBER number = 4711;
  NOTEID id = 0;
  bench.done(note.AppendItem(ITEM_SUMMARY, name, 5, TYPE_NUMBER, &number, sizeof number));
  if (!bench.done(note.Update(0)) || !bench.done(note.GetInfo(_NOTE_ID, &id))) return;
  bench.done(note.Close());
  KoLNDocument stored(db.GetHandle(), id);
  bench.done(stored.HardDelete());
}

void moveAsDxl(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  KoLNUtilities utilities;
  if (!bench.done(db.Open())) return;
  KoLNDocument note(db.GetHandle(), bench.note);
  if (!bench.done(note.Open(0))) return;
  DWORD off = 0;
  DXLEXPORTHANDLE exporter = NULLHANDLE;
  if (!bench.done(utilities.CreateDXLExporter(exporter, {{eOutputDOCTYPE, &off}}))) return;
  BYTE* buffer = nullptr;
  DWORD capacity = 0;
  NoteExportRecord out = {nullptr, &buffer, 0, &capacity, 0, 0, 1};
  bench.done(note.Export(exporter, &out));
  bench.holds(out.ok == 1 && out.written > 0, "nothing exported");
  bench.done(utilities.DeleteDXLExporter(exporter));
  DWORD replace = DXLIMPORTOPTION_IGNORE_ELSE_CREATE;
  DXLIMPORTHANDLE importer = NULLHANDLE;
  if (bench.done(utilities.CreateDXLImporter(importer, {{iDocumentsImportOption, &replace}}))) {
    NoteImportRecord in = {nullptr, buffer, out.written, 0};
    bench.done(note.Import(importer, &in));
    bench.done(utilities.DeleteDXLImporter(importer));
  }
  bench.done(note.KoLNDocument::Export("x"));
  std::free(buffer);
}

// ---- databases ----------------------------------------------------------------------------------

void readDatabase(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open(bench.mailbox, false))) return;
  DWORD number = 0;
  TIMEDATE time = {};
  std::string text;
  DBREPLICAINFO replica = {};
  DBQUOTAINFOEXT quota = {};
  DHANDLE acl = NULLHANDLE;
  bench.done(db.GetSize(number));
  bench.done(db.GetCreationTime(time));
  bench.done(db.GetModifiedTime(time));
  bench.done(db.GetReplicaInfo(&replica));
  bench.done(db.GetTitle(text));
  bench.done(db.GetQuota(&quota));
  if (bench.done(db.ReadAcl(&acl)) && acl != NULLHANDLE)
    bench.holds(db.MemFreeObject(acl) == 0, "free");
  bench.done(db.GetReplicaID(text));
  bench.done(db.LocateByReplicaID(text, text));
  bench.done(db.GetViews());
  bench.done(db.Close());
}

void listNotes(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  bool unread = false;
  TIMEDATE minimum = {};
  TIMEDATE until = {};
  DHANDLE table = NULLHANDLE;
  std::vector<NOTEID> found;
  NSFSEARCHPROC collect = collectNote;
  int profiles = 0;
  bench.done(db.DiscoverUnReadDocuments());
  bench.done(db.GetNoteUnreadStatus(bench.note, unread));
  if (bench.done(db.DiscoverModifiedDocuments(minimum, &until, NOTE_CLASS_DOCUMENT, &table)) &&
      table != NULLHANDLE) {
    bench.done(KoLNUtilities().MemFreeTable(table));
  }
  bench.done(db.Search(NULLHANDLE, nullptr, SEARCH_SUMMARY, NOTE_CLASS_DOCUMENT, nullptr, &collect,
                       &found, nullptr));
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

void filterByFolders(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  KoLNUtilities utilities;
  if (!bench.done(db.Open())) return;
  for (const unsigned long mode : {1UL, 2UL}) {
    DHANDLE table = NULLHANDLE;
    if (!bench.holds(utilities.CreateTable(4, &table) == 0 && table != NULLHANDLE, "table")) return;
    bench.holds(utilities.InsertIntoTable(table, bench.note, nullptr) == 0, "insert");
    std::string folders = "Projects;$Inbox";
    bench.done(db.FilterDocumentsOfFolders(folders, table, mode));
    bench.done(utilities.MemFreeTable(table));
  }
}

void discover(Bench& bench) {
  KoLNInstance* instance = &bench.instance;
  bench.done(KoLNUtilities().DiscoverDatabases(
      &instance, nullptr, [](void*, SEARCH_MATCH*, ITEM_TABLE* summary) -> STATUS {
        std::string path;
        KoLNUtilities utilities;
        return utilities.GetSummaryValue(summary, "$Path", path) ? NOERROR : ERR_ITEM_NOT_FOUND;
      }));
  MailboxLookupStruct lookup;
  std::set<std::string> found;
  bench.done(KoLNUtilities().DiscoverMailboxes(
      "", &found, KoLNUtilities().InitializeMBLookup(lookup, false, true, false), 0));
  unsigned long count = 0;
  bench.done(KoLNUtilities().CountAdditionalDatabases("", "apps", &count, false));
}

void changeDatabase(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  char information[NSF_INFO_SIZE] = {};
  DBREPLICAINFO replica = {};
  DHANDLE buffer = NULLHANDLE;
  DWORD object = 0;
  if (bench.done(db.GetInfo(information))) bench.done(db.SetInfo(information));
  if (bench.done(db.GetReplicaInfo(&replica))) bench.done(db.SetReplicaInfo(&replica));
  if (bench.done(db.MemAllocObject(0, 100, &buffer)) && buffer != NULLHANDLE &&
      bench.done(db.AllocObject(100, NOTE_CLASS_DOCUMENT, 0, &object))) {
    bench.done(db.WriteObject(object, buffer, 0, 100));
    DHANDLE read = NULLHANDLE;
    if (bench.done(db.ReadObject(object, 0, MAXDWORD, &read)) && read != NULLHANDLE) {
      DWORD size = 0;
      bench.done(db.GetObjectSize(read, &size));
      void* const bytes = db.LockObject(read);
      if (bench.holds(bytes != nullptr, "lock")) {
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
  TIMEDATE modified = {};
  WORD noteClass = 0;
  KoLNDocument folder(db.GetHandle(), folderId);
  KoLNDocument note(db.GetHandle(), bench.note);
  if (bench.done(folder.GetInfoExtended(&record.folder, &modified, &noteClass)) &&
      bench.done(note.GetInfoExtended(&record.note, &modified, &noteClass))) {
    bench.done(db.PutNotesInFolders(reinterpret_cast<char*>(&record), sizeof record, nullptr));
  }
}

void administer(Bench& bench) {
  char command[] = "show server";
  char response[1001] = {};
  unsigned short length = 1000;
  bench.holds(bench.instance.RemoteCommand(command, response, &length) == NOERROR, "console");
  std::string path = bench.mailbox;
  bench.done(bench.instance.RepairDB(path));
}

void useHelpers(Bench& bench) {
  KoLNUtilities utilities;
  TIMEDATE now = {};
  std::string text;
  DHANDLE memory = NULLHANDLE;
  DBHANDLE directory = NULLHANDLE;
  DHANDLE table = NULLHANDLE;
  utilities.GetCurrentTimeDate(&now);
  bench.done(utilities.GetTimeString(now, text));
  if (!text.empty()) bench.done(utilities.GetTimeDate(text, now));
  if (bench.done(utilities.AllocMem(0, 64, memory)) && memory != NULLHANDLE) {
    OBJECT_DESCRIPTOR descriptor = {0, 7};
    bench.holds(utilities.CopyObject(memory, nullptr, &descriptor, 6, 1) == 1, "copy");
    bench.done(utilities.FreeMem(memory));
  }
  if (bench.done(utilities.OpenDirectory("apps", directory)) && directory != NULLHANDLE) {
    bench.done(utilities.CloseDirectory(directory));
  }
  bench.done(utilities.MakeNetworkPath("CN=Mail/O=Org", "names.nsf", text, true));
  if (bench.holds(utilities.CreateTable(4, &table) == 0 && table != NULLHANDLE, "table")) {
    BOOL changed = FALSE;
    bench.holds(utilities.InsertIntoTable(table, 4, &changed) == 0, "insert");
    bench.done(utilities.DeleteID(table, 4, &changed));
    bench.done(utilities.MemFreeTable(table));
  }
}

void lookAside(Bench& bench) {
  std::set<std::string> names;
  std::string directories = "apps?mail";
  bench.holds(KoLNUtilities().GetAdditionalDatabases(&names, &directories, false, false), "walk");
  std::string directory = "apps";
  std::vector<DBNAME> entries(50);
  entries[0].mailboxPath = "mail/sales.nsf";
  int count = 0;
  bench.holds(KoLNUtilities().AssociateAdditionalDBs("", &directory, entries.data(), &count) == 0,
              "aside");
  RestoreViewSearch search = {0, 0, {}, "BY CATEGORY"};
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  search.database = db.GetHandle();
  NSFSEARCHPROC find = &KoLNUtilities::FindAView;
  bench.done(db.Search(NULLHANDLE, nullptr, 0, NOTE_CLASS_VIEW, nullptr, &find, &search, nullptr));
  bench.holds(search.state == 0xFFFFFFFF, "no view");
}

constexpr Scenario scenarios[] = {{"readNote", readNote},
                                  {"stubWithUrl", makeStub<Link::Url>},
                                  {"stubWithButton", makeStub<Link::Button>},
                                  {"stubWithMime", makeStub<Link::Mime>},
                                  {"createNote", createNote},
                                  {"moveAsDxl", moveAsDxl},
                                  {"readDatabase", readDatabase},
                                  {"listNotes", listNotes},
                                  {"indexView", indexView},
                                  {"filterByFolders", filterByFolders},
                                  {"changeDatabase", changeDatabase},
                                  {"putInFolders", putInFolders},
                                  {"administer", administer},
                                  {"useHelpers", useHelpers},
                                  {"lookAside", lookAside},
                                  {"discover", discover}};

// ---- the sweep ----------------------------------------------------------------------------------

class FaultSweepTest : public testing::TestWithParam<Scenario> {
 protected:
  static void SetUpTestSuite() {
    directory = std::make_unique<TemporaryDirectory>();
    const std::string command =
        std::string(KOLN_SIMULATE_TOOL) + " create " + partition() +
        " --mailboxes 1 --notes 4 --folders 3 --seed 7 --home " KOLN_SIMULATOR_HOME " --user " +
        getpwuid(geteuid())->pw_name + " > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
  }
  static void TearDownTestSuite() { directory.reset(); }
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root: starting a partition sets its groups";
  }

  static std::string partition() { return directory->path() + "/partition"; }

  static std::map<std::string, long> openHandles() {
    void* const runtime = dlopen(runtimePath, RTLD_LAZY | RTLD_NOLOAD);
    const auto count =
        reinterpret_cast<decltype(&SimOpenHandles)>(dlsym(runtime, "SimOpenHandles"));
    std::map<std::string, long> open;
    for (const char* const kind : kinds) open[kind] = count(kind);
    dlclose(runtime);
    return open;
  }

  // A note that has everything an archiving run takes away.
  static NOTEID prepareNote(Bench& bench) {
    const std::string file = directory->path() + "/attached.bin";
    writeFile(file, std::string(3000, 'x'));
    KoLNDatabase db(bench.mailbox, bench.instance);
    EXPECT_TRUE(bench.done(db.Open()));
    KoLNDataDocument note(db.GetHandle(), 0);
    NOTEID id = 0;
    const bool made = bench.done(note.Create()) && bench.done(note.SetItemText("Form", "Memo")) &&
                      bench.done(note.SetItemText("Subject", "Sweep")) &&
                      bench.done(note.SetItemText("Body", "text")) &&
                      bench.done(note.SetItemText("$Seal", "s")) &&
                      bench.done(note.SetItemText("$SealData", "s")) &&
                      bench.done(note.SetAttachment("$FILE", file, "attached.bin", 0)) &&
                      bench.done(note.Update(0)) && bench.done(note.GetInfo(_NOTE_ID, &id));
    EXPECT_TRUE(made);
    return id;
  }

  static inline std::unique_ptr<TemporaryDirectory> directory;
};

TEST_P(FaultSweepTest, NothingBreaksIt) {
  inChild([] {
    setenv("KOLN_CONFIG", (partition() + "/registry.conf").c_str(), 1);
    setenv("KOLN_DEBUG_LOG", "none", 1);
    setenv("LD_LIBRARY_PATH", "/usr/lib", 1);
    KoLNInstance instance("Domino", "koln\x12" + partition() + "/data/", "", false);
    ASSERT_TRUE(instance.Initialize());
    ASSERT_FALSE(instance.InitializeNotesEnv().IsErrorSet());
    SetJobQuitCallback([] { return false; });
    SetSendMsgCallback([](char*) { return false; });

    std::string mailbox;
    for (const auto& entry : std::filesystem::directory_iterator(partition() + "/data/mail")) {
      mailbox = "mail/" + entry.path().filename().string();
    }
    Bench bench{instance, mailbox, 0, {}};
    FaultyNotes notes;
    LogCapture log;
    bench.note = prepareNote(bench);
    ASSERT_TRUE(bench.told.empty()) << testing::PrintToString(bench.told);
    const auto before = openHandles();

    const auto run = [&](const Plan& plan) {
      bench.told.clear();
      log.take();
      notes.begin(plan);
      GetParam().run(bench);
      notes.end();
    };
    run({});
    ASSERT_TRUE(bench.told.empty()) << testing::PrintToString(bench.told);
    ASSERT_EQ(openHandles(), before);
    const std::size_t calls = notes.calls();

    std::size_t faults = 0;
    for (const Extent extent : {Extent::One, Extent::FromThenOn}) {
      for (const faulty::Kind kind : faulty::everyKind) {
        for (std::size_t first = 1; first <= calls; ++first) {
          run({first, extent, kind});
          faults += notes.faults();
          const std::string where = notes.firstFault() + ", call " + std::to_string(first) +
                                    ", kind " + std::to_string(static_cast<int>(kind)) +
                                    (extent == Extent::One ? " alone" : " and all after");
          EXPECT_EQ(notes.closeWhatFailedToClose(), 0u) << where;
          EXPECT_EQ(openHandles(), before) << where;
          bool logged = false;
          for (const LogCapture::Line& line : log.take()) logged = logged || line.level <= 0;
          EXPECT_TRUE(!bench.told.empty() || logged || kind == faulty::Kind::Nothing ||
                      mayFailSilently.count(notes.firstFault()) != 0)
              << where << " is not told";
          if (testing::Test::HasFailure()) return;
        }
      }
    }
    run({});
    EXPECT_TRUE(bench.told.empty()) << testing::PrintToString(bench.told);
    std::printf("%s: %zu calls, %zu faults\n", GetParam().name, calls, faults);
  });
}

INSTANTIATE_TEST_SUITE_P(All, FaultSweepTest, testing::ValuesIn(scenarios),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
