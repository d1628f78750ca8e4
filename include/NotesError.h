/// @file NotesError.h
/// `KoLNError`, the one error type of the library.
#ifndef KOLN_NOTES_ERROR_H
#define KOLN_NOTES_ERROR_H

#include <string>

#include "NotesApi.h"

/// What went wrong last: a Notes status with its text, or a message of the library's own.
///
/// Every object of the library keeps or returns one of these instead of throwing. A fresh record
/// means success. Some members record the code alone and leave `IsErrorSet()` false; their
/// documentation says so, and there `GetErrorCode()` is what to test.
///
/// A plain value: copy it freely. No operation throws or fails: where memory runs out the message
/// is lost, never the code. One record belongs to one thread at a time.
class KOLN_API KoLNError {
 public:
  /// Code of a record that holds a custom message instead of a Notes status.
  enum : unsigned short { CustomMessageCode = 0xFFFF };

  /// No error: code 0, empty message, not set.
  KoLNError() noexcept : code_(0), isSet_(false), isNotesError_(true) {}

  /// A Notes error with a text that the caller knows already; the record is set.
  KoLNError(unsigned short code, std::string message);

  ~KoLNError() = default;
  /// Copies the record; where memory is short, without its message.
  KoLNError(const KoLNError& other);
  /// Takes the message over.
  KoLNError(KoLNError&& other) noexcept = default;
  /// Copies the record; where memory is short, without its message.
  KoLNError& operator=(const KoLNError& other);
  /// Takes the message over.
  KoLNError& operator=(KoLNError&& other) noexcept = default;

  /// Records a Notes status. 0 stores the code and nothing else: an earlier error is not cleared.
  /// Any other status sets the record and fetches the status's text from Notes, which is empty when
  /// Notes has none (`KoLNUtilities::GetNotesErrorMsg`).
  /// @param status As Notes returned it, flag bits included; `GetErrorCode` returns it unmasked.
  void SetError(unsigned short status);

  /// Stores the code only. `IsErrorSet()` and the message stay as they are.
  void SetErrorCode(unsigned short code);

  /// Marks the record as set, and nothing else.
  void SetStatus();

  /// Stores the message and marks the record as set; the code stays as it is.
  void SetMessage(std::string message);

  /// Stores a message of the library's own: code 0xFFFF, set, no Notes error.
  void SetCustomMessage(std::string message);

  /// The same with a printf format; the text is cut at 4,095 bytes. A plain text literal picks this
  /// form: never pass a path, a title or a text from Notes as the format.
  void SetCustomMessage(const char* format, ...) __attribute__((format(printf, 2, 3)));

  /// A copy of the message; for a Notes status the text that Notes has for it.
  std::string GetMessage() const;

  /// The code: a Notes status with its flag bits, 0xFFFF for a custom message, 0 for none.
  unsigned short GetErrorCode() const noexcept { return code_; }

  /// Whether an error has been recorded.
  bool IsErrorSet() const noexcept { return isSet_; }

 private:
  unsigned short code_;
  std::string message_;
  bool isSet_;
  bool isNotesError_;
};

#endif
