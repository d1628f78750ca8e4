// The error record and the look-up of a status's text.
#include "NotesError.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

#include "platform/ErrorText.h"
#include "platform/Log.h"
#include "platform/Text.h"

KoLNError::KoLNError(unsigned short code, std::string message)
    : code_(code), message_(std::move(message)), isSet_(true), isNotesError_(true) {}

KoLNError::KoLNError(const KoLNError& other)
    : code_(other.code_),
      message_(koln::copyOf(other.message_)),
      isSet_(other.isSet_),
      isNotesError_(other.isNotesError_) {}

KoLNError& KoLNError::operator=(const KoLNError& other) {
  code_ = other.code_;
  isSet_ = other.isSet_;
  isNotesError_ = other.isNotesError_;
  if (!koln::assignText(message_, other.message_)) {
    message_.clear();  // Lost, and not taken for the new record's.
  }
  return *this;
}

void KoLNError::SetError(unsigned short status) {
  isNotesError_ = true;
  code_ = status;
  if (status == NOERROR) {
    return;  // An earlier error stays recorded.
  }
  isSet_ = true;
  message_ = koln::notesErrorText(status);
}

void KoLNError::SetErrorCode(unsigned short code) {
  code_ = code;
}

void KoLNError::SetStatus() {
  isSet_ = true;
}

void KoLNError::SetMessage(std::string message) {
  message_ = std::move(message);
  isSet_ = true;
}

void KoLNError::SetCustomMessage(std::string message) {
  message_ = std::move(message);
  isSet_ = true;
  isNotesError_ = false;
  code_ = CustomMessageCode;
}

void KoLNError::SetCustomMessage(const char* format, ...) {
  koln::FormattedText text;
  va_list arguments;
  va_start(arguments, format);
  koln::formatText(text, format, arguments);
  va_end(arguments);
  std::string message;
  koln::assignText(message, text);
  SetCustomMessage(std::move(message));
}

std::string KoLNError::GetMessage() const {
  return koln::copyOf(message_);
}

namespace koln {

namespace {
constexpr const char* sourceName = "NotesUtilities";
}

std::string notesErrorText(STATUS status) noexcept {
  TextBuffer<1023> text;
  const WORD length =
      KOLN_VALUE(WORD{0}, OSLoadString, HMODULE{NULLHANDLE}, static_cast<STATUS>(status & ERR_MASK),
                 text.data(), text.capacity());
  std::string result;
  if (length == 0) {
    KOLN_LOG("GetNotesErrorMsg", 0, "Failed to fetch Notes Error Message, errorCode %d", status);
  } else {
    assignText(result, text.text());
  }
  return result;
}

}  // namespace koln
