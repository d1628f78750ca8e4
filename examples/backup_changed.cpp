// Saves the documents of a database that have changed since the last run, each into a file.
//   backup_changed DATA-DIRECTORY DATABASE DIRECTORY
// The directory belongs to the partition's user and to one database. The file "until" in it holds
// the time for the next run; it is written last, and only if every note was saved. So whatever goes
// wrong, the next run takes all that is missing.
#include "staged_note.h"

static TIMEDATE lastTime(const std::string& directory) {
  const File file(std::fopen((directory + "/until").c_str(), "r"), std::fclose);
  TIMEDATE time = {};
  if (!file) return beginning();
  if (std::fscanf(file.get(), "%8X %8X", &time.Innards[1], &time.Innards[0]) != 2)
    throw Failure(directory + "/until is damaged; without it all notes are saved");
  return time;
}

static void keepTime(const std::string& directory, const TIMEDATE& time) {
  File file = createPart(directory, "until");
  std::fprintf(file.get(), "%08X %08X\n", time.Innards[1], time.Innards[0]);
  publish(std::move(file), directory, "until");
}

// @return Whether it was there: notes are deleted while others are saved.
static bool save(KoLNDatabase& database, NOTEID id, Exporter& exporter, const char* directory) {
  KoLNDocument note(database.GetHandle(), id);
  const KoLNError error = note.OpenExt(OPEN_RAW_MIME);
  if ((error.GetErrorCode() & ERR_MASK) == ERR_NOTE_DELETED) return false;
  check(error, "it cannot be opened");
  stageNote(note, exporter, directory);
  return true;
}

static int run(char** words) {
  Partition partition(words[0]);
  KoLNDatabase database(words[1], partition.instance);
  check(database.Open(words[1], false), words[1]);
  Exporter exporter;
  TIMEDATE until = {};
  int saved = 0, deleted = 0, failed = 0;
  for (NOTEID id : changedNotes(database, lastTime(words[2]), NOTE_CLASS_DOCUMENT, until)) {
    if (interrupted()) throw Failure("interrupted");
    try {
      const bool there = (id & RRV_DELETED) == 0 && save(database, id, exporter, words[2]);
      ++(there ? saved : deleted);
    } catch (const Failure& failure) {  // One note must not keep the others from being saved.
      std::fprintf(stderr, "note %08X: %s\n", static_cast<unsigned>(id), failure.what());
      ++failed;
    }
  }
  std::printf("%d saved, %d deleted, %d failed\n", saved, deleted, failed);
  if (failed != 0) return 1;
  keepTime(words[2], until);
  return 0;
}

int main(int argc, char** argv) {
  return runExample(argc, argv, 3, "DATA-DIRECTORY DATABASE DIRECTORY", run);
}
