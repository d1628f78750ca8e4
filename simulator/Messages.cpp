// The texts of the status codes.
#include <algorithm>
#include <array>
#include <string_view>

#include "Export.h"
#include "Status.h"
#include "Text.h"

namespace simulator {
namespace {

struct Message {
  STATUS code;
  std::string_view text;
};

constexpr std::array messages = {
    Message{NOERROR, "No error"},
    Message{ERR_UNKNOWN, "The operating system reported an error that has no code of its own"},
    Message{ERR_PROTECTED, "The file or disk is write protected"},
    Message{ERR_NOEXIST, "There is no such file"},
    Message{ERR_EXISTS, "The file is there already"},
    Message{ERR_MEMORY, "Not enough memory"},
    Message{ERR_CREATE, "The file could not be created"},
    Message{ERR_OS_NULL_HANDLE, "A memory handle is null"},
    Message{ERR_OS_HANDLE_RANGE, "A memory handle is out of range"},
    Message{ERR_OS_FREE_HANDLE, "A memory handle belongs to no allocated memory"},
    Message{ERR_SEGMENT_TOO_BIG, "More memory was asked for than one block can hold"},
    Message{ERR_CANCEL, "The operation was stopped on request"},
    Message{ERR_BAD_PATH, "The path is not valid"},
    Message{ERR_NOT_NSF, "The file is not a database"},
    Message{ERR_CONFLICT, "The note was changed by somebody else in the meantime"},
    Message{ERR_NSF_VERSION, "The database has a format that this release does not know"},
    Message{ERR_DIRECTORY, "The function cannot be used on a directory"},
    Message{ERR_NOT_DIRECTORY, "The function can only be used on a directory"},
    Message{ERR_ITEM_NOT_FOUND, "The note has no such item"},
    Message{ERR_NOTE_DELETED, "The note has been deleted"},
    Message{ERR_INVALID_NOTE, "The note does not exist or is damaged"},
    Message{ERR_NSF_INFO_SIZE, "The database information is too long"},
    Message{ERR_SUMMARY_TOO_BIG, "The summary items of the note are larger than 32 KB"},
    Message{ERR_DBCLASS, "The database class is not valid"},
    Message{ERR_NO_MODIFIED_NOTES, "No note was modified since the time given"},
    Message{ERR_BAD_PARAM, "An argument of the call is not valid"},
    Message{ERR_SPECIAL_ID, "The database does not have the special object"},
    Message{ERR_NOACCESS, "You are not authorised to do that"},
    Message{ERR_OPEN_FILE, "You are not authorised to open the database"},
    Message{ERR_NOT_AUTHOR, "You are not an author of the note"},
    Message{ERR_OBJECT_TRUNCATED, "The object ends before the position given"},
    Message{ERR_ALREADY_LOCKED, "The database is locked by a replication or a copy"},
    Message{ERR_INVALID_ITEMUNK, "The note has an item of an unknown kind"},
    Message{ERR_NSF_CORRUPT2, "The database is damaged and cannot be repaired"},
    Message{ERR_OBJECT_CANNOT_BE_ZERO, "An object cannot be read with a length of zero"},
    Message{ERR_COLLECTION_HANDLE, "The collection is not open"},
    Message{ERR_UNSUPPORTED_FLAGS, "The read mask holds bits that are not known"},
    Message{ERR_NO_SUCH_NAMESPACE, "The directory has no such view"},
    Message{ERR_NO_NAMES_FILE, "The directory cannot be opened"},
    Message{ERR_COLLECTION_NOT_CREATED, "The view has no index yet"},
    Message{ERR_NAVIGATE_FAILED, "There is no entry in that direction"},
    Message{ERR_VIEW_NOACCESS, "You are not authorised to use the view"},
    Message{ERR_NO_SUCH_NAMES_BOOK, "There is no further directory"},
    Message{ERR_NO_SUCH_ITEM, "The looked-up entry has no such item"},
    Message{ERR_NO_MORE_MEMBERS, "The list has no more members"},
    Message{ERR_UNSUPPORTED_DATATYPE, "The looked-up item is not a text"},
    Message{ERR_NOT_FOUND, "The entry was not found"},
    Message{ERR_IFMT, "The international format is not valid"},
    Message{ERR_TFMT, "The time format is not valid"},
    Message{ERR_TDI_CONV, "The text is not a date or time"},
    Message{ERR_TDO_CONV, "The date or time cannot be shown as text"},
    Message{ERR_INVALID_BLOCK, "The block handle is not valid"},
    Message{ERR_IDTABLE_INVALID, "The handle is not an ID table"},
    Message{ERR_FORMULA_COMPILATION, "The formula does not compile"},
    Message{ERR_NONAMES, "The view lacks its list of fields"},
    Message{ERR_CL_NO_REMOTE_CONSOLE_ACCESS, "You may not use the remote console of the server"},
    Message{ERR_NO_SERVER_ACCESS, "You may not access the server"},
    Message{ERR_ROUTER_NOTUNIQUE, "The name fits several users"},
    Message{ERR_ROUTER_NOSUCHUSER, "The name fits no user"},
    Message{ERR_NULL_DBHANDLE, "The database handle is null"},
    Message{ERR_NULL_NOTEHANDLE, "The note handle is null"},
    Message{ERR_DBINUSE, "The database is in use and cannot be taken offline"},
    Message{ERR_DBOFFLINE, "The database is offline"},
    Message{ERR_NOTE_LOCKED, "The note is locked"},
    Message{ERR_DXL_INVALID_PROPERTY_VALUE, "The value does not fit the DXL property"},
    Message{ERR_DXL_INVALID_PROPERTY, "There is no such DXL property"},
    Message{NotSupportedYet, "The simulated Notes runtime does not support this function"},
    Message{NotInitialised, "The Notes runtime has not been started in this process"},
    Message{IniUnreadable, "notes.ini is missing or cannot be read"},
    Message{PartialNote, "The note was opened with its summary items only and cannot be written"},
    Message{DxlUnreadable, "What was given to import is no DXL of notes"},
    Message{DxlNotAReplica, "The DXL is not from a replica of the database that it would change"},
};

}  // namespace
}  // namespace simulator

// BufferLength leaves out the terminator. An unknown code, or one with flag bits, has no text.
SIM_EXPORT WORD OSLoadString(HMODULE, STATUS StringCode, char* retBuffer, WORD BufferLength) {
  const auto* const message =
      std::find_if(simulator::messages.begin(), simulator::messages.end(),
                   [StringCode](const simulator::Message& m) { return m.code == StringCode; });
  const std::string_view text = message == simulator::messages.end()
                                    ? std::string_view()
                                    : simulator::cutLmbcs(message->text, BufferLength);
  std::copy(text.begin(), text.end(), retBuffer);
  retBuffer[text.size()] = '\0';
  return static_cast<WORD>(text.size());
}
