// A note as a user names it, and its way to an open one.
#ifndef KOLN_HOST_NOTE_ARGUMENT_H
#define KOLN_HOST_NOTE_ARGUMENT_H

#include <koln.h>

#include <string>

namespace host {

/// A note ID or a universal ID.
class NoteArgument {
 public:
  /// @throws Failure for a text that is neither.
  explicit NoteArgument(const std::string& text);

  /// The note's ID in an open database. @throws Failure if there is no such note.
  NOTEID in(KoLNDatabase& database) const;

 private:
  NOTEID id_ = 0;
  std::string unid_;  // Empty: the ID.
};

/// A note ID as koln shows it.
std::string textFromNoteId(NOTEID id);

/// @throws Failure
void openDatabase(KoLNDatabase& database, const std::string& path);

/// Opens the note that the object stands for, as it is stored. @throws Failure
void openNote(KoLNDocument& note, NOTEID id, const std::string& path);

}  // namespace host

#endif
