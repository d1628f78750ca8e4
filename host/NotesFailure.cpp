#include "NotesFailure.h"

#include <fmt/format.h>

#include "Translation.h"

namespace host {

bool isError(const KoLNError& error) {
  return error.IsErrorSet() || error.GetErrorCode() != NOERROR;
}

std::string described(const KoLNError& error) {
  std::string message = error.GetMessage();
  if (error.GetErrorCode() == KoLNError::CustomMessageCode) {
    return message.empty() ? "the library could not call Notes" : message;
  }
  if (message.empty()) {
    message = KoLNUtilities::GetNotesErrorMsg(error.GetErrorCode());
  }
  return fmt::format("{} (0x{:04X})",
                     message.empty() ? "error without text" : utf8FromLmbcs(message),
                     error.GetErrorCode() & ERR_MASK);
}

const char* remedy(const KoLNError& error) noexcept {
  switch (error.GetErrorCode() & ERR_MASK) {
    case ERR_NOEXIST:
    case ERR_BAD_PATH:
    case ERR_DIRECTORY:
    case ERR_NOT_DIRECTORY:
      return "check the path; 'koln discover databases' lists those that are there";
    case ERR_NOT_NSF:
    case ERR_NSF_CORRUPT2:
      return "repair it or restore it from a backup";
    case ERR_NOACCESS:
    case ERR_OPEN_FILE:
    case ERR_PROTECTED:
      return "give the partition's user access to it";
    case ERR_DBINUSE:
      return "everybody who has it open must close it, users and programs ('koln console show "
             "users' names them)";
    case ERR_DBOFFLINE:
      return "it is offline: put its file back from a backup, then run 'koln online'";
    case ERR_NO_NAMES_FILE:
    case ERR_NO_SUCH_NAMES_BOOK:
      return "check that the address books named by NAMES in notes.ini are there and can be read";
    case ERR_NO_SERVER_ACCESS:
      return "check the name given with --server, and that the server runs and lets this one in";
    case ERR_CL_NO_REMOTE_CONSOLE_ACCESS:
      return "have the server's administrator allow it";
    default:
      return "--debug-log stderr shows the detail";
  }
}

bool isAccessError(const KoLNError& error) noexcept {
  const STATUS code = error.GetErrorCode() & ERR_MASK;
  return error.GetErrorCode() != KoLNError::CustomMessageCode &&
         (code == ERR_NOACCESS || code == ERR_PROTECTED || code == ERR_OPEN_FILE ||
          code == ERR_NO_SERVER_ACCESS || code == ERR_CL_NO_REMOTE_CONSOLE_ACCESS);
}

Failure failureOf(std::string_view what, const KoLNError& error) {
  return {isAccessError(error) ? ExitCode::AccessDenied : ExitCode::Failed,
          fmt::format("{}: {}; {}", what, described(error), remedy(error))};
}

}  // namespace host
