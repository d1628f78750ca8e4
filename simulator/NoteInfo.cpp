// What a note says of itself: the members of its header, open or stored.
#include <cstring>
#include <string>

#include "Export.h"
#include "Notes.h"
#include "Panic.h"

using namespace simulator;

namespace {

// Where a member is, and its size. Those that are not kept here are read-only.
struct Member {
  const void* value;
  std::size_t size;
  void* target = nullptr;
};

template <typename Value>
Member kept(Value& value) {
  return {&value, sizeof value, &value};
}

// No note has responses that were asked for when it was opened, an object store, or privileges.
template <typename Value>
Member absent() {
  static constexpr Value none = 0;
  return {&none, sizeof none};
}

Member memberOf(OpenNote& note, const DBHANDLE& database, WORD number, const char* function) {
  NoteHeader& header = note.header;
  switch (number) {
    case _NOTE_DB:
      return {&database, sizeof database};
    case _NOTE_ID:
      return {&header.id, sizeof header.id};
    case _NOTE_OID:
      return kept(header.originator);
    case _NOTE_CLASS:
      return kept(header.noteClass);
    case _NOTE_MODIFIED:
      return kept(header.modified);
    case _NOTE_PRIVILEGES:
      return absent<WORD>();
    case _NOTE_FLAGS:
      return kept(header.flags);
    case _NOTE_ACCESSED:
      return kept(header.accessed);
    case _NOTE_PARENT_NOTEID:
      return kept(header.parent);
    case _NOTE_RESPONSE_COUNT:
      return absent<DWORD>();
    case _NOTE_RESPONSES:
      return absent<DHANDLE>();
    case _NOTE_ADDED_TO_FILE:
      return kept(header.addedToFile);
    case _NOTE_OBJSTORE_DB:
      return absent<DBHANDLE>();
    default:
      panic(function, "no member " + std::to_string(number));
  }
}

}  // namespace

SIM_EXPORT void NSFNoteGetInfo(NOTEHANDLE note_handle, WORD note_member, void* value_ptr) {
  const auto note = existingNote(note_handle, "NSFNoteGetInfo");
  if (!value_ptr) panic("NSFNoteGetInfo", "no place for the value");
  const DBHANDLE database = note->database();
  const Member member = memberOf(*note, database, note_member, "NSFNoteGetInfo");
  std::memcpy(value_ptr, member.value, member.size);
}

SIM_EXPORT void NSFNoteSetInfo(NOTEHANDLE note_handle, WORD note_member, void* value_ptr) {
  const auto note = existingNote(note_handle, "NSFNoteSetInfo");
  const DBHANDLE database = note->database();
  const Member member = memberOf(*note, database, note_member, "NSFNoteSetInfo");
  if (!member.target)
    panic("NSFNoteSetInfo", "member " + std::to_string(note_member) + " cannot be set");
  if (value_ptr)
    std::memcpy(member.target, value_ptr, member.size);
  else
    std::memset(member.target, 0, member.size);
  if (note_member == _NOTE_ACCESSED) note->accessedSet = true;
}

SIM_EXPORT STATUS NSFDbGetNoteInfo(DBHANDLE hDb, NOTEID NoteID, ORIGINATORID* retNoteOID,
                                   TIMEDATE* retModified, WORD* retNoteClass) {
  return statusOf([&] {
    const NoteHeader header = storedNote(requireStore(hDb), NoteID);
    if (retNoteOID) *retNoteOID = header.originator;
    if (retModified) *retModified = header.modified;
    if (retNoteClass) *retNoteClass = header.noteClass;
  });
}

SIM_EXPORT STATUS NSFDbGetNoteInfoByUNID(DBHANDLE hDB, UNIVERSALNOTEID* pUNID, NOTEID* retNoteID,
                                         ORIGINATORID* retOID, TIMEDATE* retModTime,
                                         WORD* retClass) {
  if (!pUNID) return ERR_BAD_PARAM;
  return statusOf([&] {
    const NoteHeader header = storedNote(requireStore(hDB), *pUNID);
    if (retNoteID) *retNoteID = header.id;
    if (retOID) *retOID = header.originator;
    if (retModTime) *retModTime = header.modified;
    if (retClass) *retClass = header.noteClass;
  });
}
