// What the sweeps do with a server and the toolbox, discovery included.
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "koln.h"
#include "support/Sweep.h"

namespace sweep {
namespace {

void discover(Bench& bench) {
  KoLNInstance* instance = &bench.instance;
  bench.done(KoLNUtilities().DiscoverDatabases(
      &instance, nullptr, [](void*, SEARCH_MATCH*, ITEM_TABLE* summary) -> STATUS {
        std::string path;
        KoLNUtilities utilities;
        const char* place = nullptr;
        WORD length = 0;
        WORD type = 0;
        return utilities.GetSummaryValue(summary, "$Path", path) &&
                       utilities.LocateSummaryValue(summary, "$Path", &place, &length, &type)
                   ? NOERROR
                   : ERR_ITEM_NOT_FOUND;
      }));
  MailboxLookupStruct lookup;
  std::set<std::string> found;
  bench.done(KoLNUtilities().DiscoverMailboxes(
      "", &found, KoLNUtilities().InitializeMBLookup(lookup, false, true, false), 0));
  unsigned long count = 0;
  bench.done(KoLNUtilities().CountAdditionalDatabases("", "apps", &count, false));
}

void administer(Bench& bench) {
  char command[] = "show server";
  std::array<char, 1001> response = {};
  unsigned short length = 1000;
  const auto ask = [&] {
    return bench.instance.RemoteCommand(command, response.data(), &length) == NOERROR;
  };
  bench.keeps("console", ask, response, length);
  std::string path = bench.mailbox;
  bench.done(bench.instance.RepairDB(path));
}

void useHelpers(Bench& bench) {
  KoLNUtilities utilities;
  TIMEDATE now = {};
  std::string text = "unchanged";
  DHANDLE memory = NULLHANDLE;
  DBHANDLE directory = NULLHANDLE;
  DHANDLE table = NULLHANDLE;
  utilities.GetCurrentTimeDate(&now);
  if (bench.keeps([&] { return utilities.GetTimeString(now, text); }, text) && !text.empty()) {
    bench.keeps([&] { return utilities.GetTimeDate(text, now); }, now);
  }
  if (bench.keeps([&] { return utilities.AllocMem(0, 64, memory); }, memory) &&
      memory != NULLHANDLE) {
    OBJECT_DESCRIPTOR descriptor = {0, 7};
    BLOCKID block = {memory, 1};
    utilities.CopyBlock<WORD>(nullptr, "copied", 6, block);
    KoLNDatabase reader("", bench.instance);
    const void* const copied = reader.LockObject(memory);
    bench.holds(copied != nullptr && std::memcmp(copied, "copied", 6) == 0, "block");
    if (copied != nullptr) bench.holds(reader.UnlockObject(memory), "unlock");
    bench.holds(utilities.CopyObject(memory, nullptr, &descriptor, 6, 1) == 1, "copy");
    bench.done(utilities.FreeMem(memory));
  }
  if (bench.keeps([&] { return utilities.OpenDirectory("apps", directory); }, directory) &&
      directory != NULLHANDLE) {
    bench.done(utilities.CloseDirectory(directory));
  }
  bench.keeps([&] { return utilities.MakeNetworkPath("CN=Mail/O=Org", "names.nsf", text, true); },
              text);
  if (bench.keeps(
          "table", [&] { return utilities.CreateTable(4, &table) == 0; }, table) &&
      bench.holds(table != NULLHANDLE, "no table")) {
    auto changed = marked<BOOL>();
    bench.keeps(
        "insert", [&] { return utilities.InsertIntoTable(table, 4, &changed) == 0; }, changed);
    bench.keeps([&] { return utilities.DeleteID(table, 4, &changed); }, changed);
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

// Nothing here has a status: what a failed call gives instead is what must show.
void convertTimes(Bench& bench) {
  KoLNUtilities utilities;
  TIMEDATE first = {};
  TIMEDATE last = {};
  TIME parts = {};
  INTLFORMAT format = {};
  int zone = 99;
  int summer = 99;
  utilities.GetTimeDate(TIMEDATE_MINIMUM, &first);
  utilities.GetTimeDate(TIMEDATE_MAXIMUM, &last);
  bench.holds(first.Innards[0] != last.Innards[0] || first.Innards[1] != last.Innards[1], "same");
  utilities.GetCurrentTimeDate(&last);
  bench.holds(utilities.CompareTimeDate(&first, &last) != 0, "equal");
  bench.holds(utilities.ExtractJulianDate(&last) != 0, "day");
  utilities.GetTimeDateDifference(&first, &last);
  parts.year = 2020;
  parts.month = parts.day = 1;
  bench.holds(!utilities.GetTimeLocalToGM(&parts), "local");
  utilities.GetDominoTimeZone(&zone, &summer);
  bench.holds(zone != 99 && summer != 99, "zone");
  utilities.GetIntlDateTimeFormat(&format);
  bench.holds(!same(format, INTLFORMAT()), "format");
  static constexpr TIMEDATE day = {{ALLDAY, 2459000}};
  struct {
    RANGE counts = {1, 1};
    TIMEDATE times[3] = {day, day, day};
  } range;
  char text[218] = {};
  convertTimeRange(reinterpret_cast<unsigned char*>(&range), text);
  bench.holds(text[0] != ' ', "range");
}

void convertTexts(Bench& bench) {
  KoLNUtilities utilities;
  std::array<char, 257> text = {};
  OBJECT_DESCRIPTOR descriptor = {};
  unsigned char stored[8] = {1, 0, 7, 0, 0, 0};
  void* item = stored;
  const auto translate = [&] {
    return utilities.NotesTranslate(OS_TRANSLATE_UTF8_TO_LMBCS, "text", 4, text.data(), 256) == 4;
  };
  bench.keeps("translate", translate, text);
  bench.holds(utilities.ConvertUtf8ToNative("text", text.data(), 256), "native");
  bench.keeps(
      "variable", [&] { return bool(utilities.GetNotesINIvarString("Directory", text.data())); },
      text);
  utilities.GetNotesINIvarLong("Directory");
  bench.holds(utilities.GetDSLength(ODS_TIMEDATE) != 0, "length");
  bench.holds(!KoLNUtilities::GetNotesErrorMsg(ERR_MEMORY).empty(), "message");
  KoLNError record;
  record.SetError(ERR_MEMORY);
  bench.holds(record.IsErrorSet() && !record.GetMessage().empty(), "record");
  utilities.ReadMemory(stored, &descriptor);
  bench.holds(utilities.ConvertODToCanonical(&item, 7) == NOERROR, "descriptor");
  char* end = text.data();
  WORD total = 0;
  bench.holds(PutHotSpotEnd(&end, 100, &total) == NOERROR && total != 0, "end");
  total = 0;
  bench.holds(PutV4HotSpotEnd(&end, 100, &total) == NOERROR && total != 0, "other end");
}

// Each start lengthens the path variables.
void startAgain(Bench& bench) {
  setenv("PATH", "/bin", 1);
  setenv("LD_LIBRARY_PATH", "/usr/lib", 1);
  std::string name = "koln\x12" + bench.instance.GetDataDirectory();
  KoLNInstance other("Domino", name, "", false);
  bench.holds(other.GetDetails(), "details");
  bench.done(other.InitializeNotesEnv());
  char directory[1024] = {};
  if (bench.holds(initializeWithPartition(name.data(), directory), "start")) {
    bench.instance.TerminateNotes();
  }
}

void useThreads(Bench& bench) {
  bench.done(bench.instance.InitializeNotesEnv());
  std::thread([&] {
    if (bench.holds(bench.instance.InitializeNotesThread() == NOERROR, "thread")) {
      bench.instance.TerminateNotesThread();
    }
  }).join();
  bench.instance.TerminateNotes();
}

void reportDatabases(Bench& bench) {
  KoLNUtilities utilities;
  std::set<std::string> reported;
  bench.done(utilities.ProcessDatabase(bench.mailbox.c_str(), "owner", &reported, false));
  MailboxLookupStruct lookup;
  reported.clear();
  bench.done(utilities.DiscoverMailboxes(
      "", &reported, utilities.InitializeMBLookup(lookup, true, false, false), false, 0));
  std::string directories = "apps/hr";
  bench.holds(utilities.GetAdditionalDatabases(&reported, &directories, true, true), "walk");
}

void findArchive(Bench& bench) {
  std::vector<DBNAME> entries(3);
  entries[0].mailboxPath = bench.mailbox;
  ArchiveMailBoxInfoStruct archive = {"mail", "", "", bench.instance.GetDataDirectory()};
  std::string name = std::filesystem::path(bench.mailbox).filename().string();
  int count = 0;
  bench.holds(KoLNUtilities().AssociateArchiveMBs("", name, archive, entries.data(), &count) == 0 &&
                  count == 1 && !entries[1].associatedPath.empty(),
              "archive");
}

}  // namespace

std::vector<Scenario> toolScenarios() {
  return {{"administer", administer},
          {"useHelpers", useHelpers},
          {"convertTimes", convertTimes},
          {"convertTexts", convertTexts},
          {"useThreads", useThreads},
          {"startAgain", startAgain},
          {"lookAside", lookAside},
          {"findArchive", findArchive},
          {"discover", discover},
          // ProcessDatabase closes nothing on any way out; the directory that is walked is closed.
          {"reportDatabases", reportDatabases, "apps/hr"}};
}

}  // namespace sweep
