// Moves a note into a file and leaves a stub with a link to it.
//   archive_note DATA-DIRECTORY DATABASE NOTE-ID DIRECTORY BASE-URL
// The order is what matters: the copy is whole and on the disk before the note loses anything, and
// all that it loses goes with one update. So it may be killed at any moment.
#include <cstdlib>

#include "staged_note.h"

static void leaveStub(KoLNDataDocument& note, const std::string& url, const std::string& copy) {
  // The names of the attachments stay in an item whose length is kept in 16 bits; where they are
  // too many, the library would store only a part of them.
  std::vector<ATTACHMENT> attachments;
  check(note.GetAttachmentList(attachments), "its attachments");
  std::size_t bytes = 0;
  for (const ATTACHMENT& attachment : attachments) bytes += attachment.name.size() + 1;
  if (bytes >= MAXWORD) throw Failure("the names of its attachments are too many; it stays");
  if (!attachments.empty()) {
    bool removed = false;
    check(note.RemoveAttachments(removed), "its attachments cannot be removed");
    if (!removed) throw Failure("its attachments were not removed");
  }
  check(note.RemoveMessageBody(), "its body cannot be removed");
  check(note.RemoveSealedFields(), "its sealed items cannot be removed");
  check(note.InsertURL(url.c_str()), "the link cannot be inserted");
  // This item makes it a stub: what stands in it is the host's.
  check(note.SetItemText("StubData", copy), "it cannot be marked");
  const KoLNError error = note.Update(0);  // Without force: no change of somebody else is lost.
  if ((error.GetErrorCode() & ERR_MASK) == ERR_CONFLICT)
    throw Failure("somebody has changed the note meanwhile; nothing was done to it");
  check(error, "it cannot be written");
}

static int run(char** words) {
  Partition partition(words[0]);
  KoLNDatabase database(words[1], partition.instance);
  check(database.Open(words[1], false), words[1]);
  const NOTEID id = static_cast<NOTEID>(std::strtoul(words[2], nullptr, 16));
  if (id == 0) throw Failure(std::string(words[2]) + " is no note ID");
  KoLNDataDocument note(database.GetHandle(), id);
  check(note.OpenExt(OPEN_RAW_MIME), "the note cannot be opened");  // MIME as it is stored.
  bool migrated = false;
  check(note.IsMigratedMessage(migrated), "whether it is a stub");
  if (migrated) {
    std::puts("The note is a stub already.");
    return 0;
  }
  Exporter exporter;
  const std::string copy = stageNote(note, exporter, words[3]);
  leaveStub(note, words[4] + ("/" + copy), copy);
  std::printf("%s/%s\n", words[3], copy.c_str());
  return 0;
}

int main(int argc, char** argv) {
  return runExample(argc, argv, 5, "DATA-DIRECTORY DATABASE NOTE-ID DIRECTORY BASE-URL", run);
}
