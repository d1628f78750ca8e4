#include "NoteArgument.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <optional>

#include "Failure.h"
#include "NoteFacts.h"
#include "NotesFailure.h"
#include "StagedFile.h"

namespace host {
namespace {

constexpr std::size_t unidDigits = 32;
constexpr std::size_t idDigits = 8;

Failure noSuchNote(const std::string& note, const std::string& path) {
  return {ExitCode::Failed, fmt::format("there is no note {0} in {1}; 'koln show {1}' lists those "
                                        "that are there",
                                        note, path)};
}

}  // namespace

NoteArgument::NoteArgument(const std::string& text) {
  const bool hexadecimal =
      std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
  if (hexadecimal && text.size() == unidDigits) {
    unid_ = textFromUnid(unidFromText(text));
  } else if (hexadecimal && !text.empty() && text.size() <= idDigits) {
    id_ = static_cast<NOTEID>(std::stoul(text, nullptr, 16));
  }
  if (unid_.empty() && id_ == 0) {
    throw Failure(ExitCode::WrongUsage,
                  fmt::format("'{}' is no note; write its ID, as in 000008F6, or its universal ID "
                              "of 32 hexadecimal digits",
                              text));
  }
}

NOTEID NoteArgument::in(KoLNDatabase& database) const {
  if (unid_.empty()) {
    return id_;
  }
  const std::optional<NOTEID> id = idOf(database, unid_);
  if (!id) {
    throw noSuchNote(unid_, database.GetName());
  }
  return *id;
}

std::string textFromNoteId(NOTEID id) {
  return fmt::format("{:08X}", id);
}

void openDatabase(KoLNDatabase& database, const std::string& path) {
  const KoLNError error = database.Open(path, false);
  if (isError(error)) {
    throw failureOf(path + " could not be opened", error);
  }
}

void openNote(KoLNDocument& note, NOTEID id, const std::string& path) {
  const KoLNError error = note.OpenExt(OPEN_RAW_MIME);
  const STATUS code = error.GetErrorCode() & ERR_MASK;
  if (code == ERR_INVALID_NOTE || code == ERR_NOTE_DELETED) {
    throw noSuchNote(textFromNoteId(id), path);
  }
  if (isError(error)) {
    throw failureOf(fmt::format("note {} of {} could not be opened", textFromNoteId(id), path),
                    error);
  }
}

}  // namespace host
