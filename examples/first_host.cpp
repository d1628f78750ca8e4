// The smallest host: its callbacks, one partition, the databases in it, and a note of one of them.
//   first_host DATA-DIRECTORY DATABASE
// Run it as root: the library makes the process the Unix user of the partition, for good.
#include <koln.h>

#include <cstdio>
#include <cstring>

// The text is finished and is never used as a format.
static void onLog(const char*, int level, const char* file, int line, const char* text, ...) {
  if (level < 0) std::fprintf(stderr, "%s:%d: %s\n", file, line, text);
}

// Called for every database; an answer that is not 0 would end the walk.
static STATUS onDatabase(void*, SEARCH_MATCH*, ITEM_TABLE* summary) {
  std::string path;
  std::set<std::string> reported;
  if (KoLNUtilities().GetSummaryValue(summary, "$Path", path) && !path.empty())
    KoLNUtilities().ProcessDatabase(&path[0], "", &reported, false);
  return NOERROR;
}

static bool failed(const char* what, const KoLNError& error) {
  if (!error.IsErrorSet() && error.GetErrorCode() == 0) return false;
  std::fprintf(stderr, "%s: %s (%04X)\n", what, error.GetMessage().c_str(), error.GetErrorCode());
  return true;
}

int main(int argc, char** argv) {
  if (argc != 3) return std::fputs("usage: first_host DATA-DIRECTORY DATABASE\n", stderr), 2;
  SetLogCallback(onLog);
  SetJobQuitCallback([] { return false; });
  SetCheckConnectionCallback([] { return false; });  // True would say that it is lost.
  SetSendMsgCallback([](char* record) {              // The path, 0x12, the title and so on.
    return std::printf("%.*s\n", static_cast<int>(std::strcspn(record, "\x12")), record) < 0;
  });

  KoLNInstance instance("Domino", std::string("Domino\x12") + argv[1], "", false);
  if (!instance.Initialize()) return std::fputs("there is no Notes runtime\n", stderr), 1;
  if (failed("start", instance.InitializeNotesEnv())) return 1;
  KoLNInstance* address = &instance;
  if (failed("walk", KoLNUtilities().DiscoverDatabases(&address, nullptr, onDatabase))) return 1;

  KoLNDatabase database(argv[2], instance);  // Closed before the instance ends the runtime.
  if (failed(argv[2], database.Open(argv[2], false))) return 1;
  TIMEDATE since = {}, until = {};
  DHANDLE table = NULLHANDLE;  // Stays 0 where there are no notes.
  NOTEID id = 0;
  KoLNUtilities().GetTimeDate(TIMEDATE_MINIMUM, &since);
  if (failed("notes",
             database.DiscoverModifiedDocuments(since, &until, NOTE_CLASS_DOCUMENT, &table)))
    return 1;
  if (table == NULLHANDLE || !database.NoteIDScan(table, TRUE, &id)) return 0;
  KoLNUtilities().MemFreeTable(table);
  KoLNDocument note(database.GetHandle(), id);
  std::string subject;  // In LMBCS, as all texts of notes are.
  if (failed("note", note.Open(0)) || failed("note", note.GetSubject(subject))) return 1;
  return std::printf("first note: %08X %s\n", id, subject.c_str()) < 0;
}
