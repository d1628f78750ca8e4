// The one way in which the library calls Notes: through a KO_ pointer, with nothing thrown getting
// out and without jumping through a pointer that was never bound.
#ifndef KOLN_PLATFORM_NOTES_CALL_H
#define KOLN_PLATFORM_NOTES_CALL_H

#include <stdexcept>
#include <utility>

#include "NotesApi.h"
#include "NotesError.h"

namespace koln {

// What came of one call: a Notes status, or that the call threw or could not be made.
class [[nodiscard]] CallResult {
 public:
  enum class Kind : unsigned char { Returned, Threw, Unbound, NoHandle };

  // Stands for the status of a call that has none.
  static constexpr STATUS NoStatus = KoLNError::CustomMessageCode;

  CallResult(const char* function, STATUS status) noexcept
      : function_(function), status_(status), kind_(Kind::Returned) {}
  CallResult(const char* function, Kind kind) noexcept
      : function_(function), status_(NoStatus), kind_(kind) {}

  bool failed() const noexcept { return status_ != NOERROR; }

  // Whether the call came back with a status that counts.
  bool returned() const noexcept { return kind_ == Kind::Returned; }

  // Whether the call was made and threw.
  bool threw() const noexcept { return kind_ == Kind::Threw; }

  // As Notes returned it, flag bits included; 0xFFFF when the call did not return.
  STATUS status() const noexcept { return status_; }

  // Records a failure with the text that Notes has for it.
  void record(KoLNError& error) const { recordAll(*this, error); }

  // Records a failure with its code alone. A call that did not return has no code to record, so it
  // gets its message all the same.
  void recordCode(KoLNError& error) const { recordCodeAlone(*this, error); }

 private:
  // Out of the way of what succeeds, and by value: a result then lives in two registers.
  [[gnu::cold, gnu::noinline]] static void recordAll(CallResult call, KoLNError& error) {
    if (call.kind_ == Kind::Returned) {
      error.SetError(call.status_);
    } else {
      call.recordCause(error);
    }
  }
  [[gnu::cold, gnu::noinline]] static void recordCodeAlone(CallResult call, KoLNError& error) {
    if (call.kind_ == Kind::Returned) {
      error.SetErrorCode(call.status_);
    } else {
      call.recordCause(error);
    }
  }

  void recordCause(KoLNError& error) const {
    if (kind_ == Kind::Threw) {
      error.SetCustomMessage(
          "Error: caught an exception of unknown type thrown by Domino API function: [%s(...)].",
          function_);
    } else if (kind_ == Kind::NoHandle) {
      error.SetCustomMessage("Error: Domino API function [%s] succeeded without a handle.",
                             function_);
    } else {
      error.SetCustomMessage("Error: Domino API function [%s] is not bound.", function_);
    }
  }

  template <typename Handle>
  friend CallResult requireHandle(const CallResult& call, const Handle& handle) noexcept;

  const char* function_;
  STATUS status_;
  Kind kind_;
};

// For a handle that is used at once: the call has failed too if it succeeded without one, as a
// runtime may stop the process over 0. `handle` is looked at here, after the call that is an
// argument too.
template <typename Handle>
CallResult requireHandle(const CallResult& call, const Handle& handle) noexcept {
  return call.failed() || handle != NULLHANDLE
             ? call
             : CallResult{call.function_, CallResult::Kind::NoHandle};
}

// The four ways to call. Always inlined: what is left is a test of the pointer and the call itself.

template <typename... Parameters, typename... Arguments>
[[gnu::always_inline]] inline CallResult callStatus(const char* name,
                                                    STATUS (*function)(Parameters...),
                                                    Arguments&&... arguments) noexcept {
  if (function == nullptr) {
    return {name, CallResult::Kind::Unbound};
  }
  try {
    return {name, function(std::forward<Arguments>(arguments)...)};
  } catch (...) {
    return {name, CallResult::Kind::Threw};
  }
}

template <typename... Parameters, typename... Arguments>
[[gnu::always_inline]] inline CallResult callVoid(const char* name, void (*function)(Parameters...),
                                                  Arguments&&... arguments) noexcept {
  if (function == nullptr) {
    return {name, CallResult::Kind::Unbound};
  }
  try {
    function(std::forward<Arguments>(arguments)...);
    return {name, NOERROR};
  } catch (...) {
    return {name, CallResult::Kind::Threw};
  }
}

// For a call whose value matters and whose failure must be told: `out` keeps its value then.
template <typename Result, typename... Parameters, typename... Arguments>
[[gnu::always_inline]] inline CallResult callInto(const char* name, Result& out,
                                                  Result (*function)(Parameters...),
                                                  Arguments&&... arguments) noexcept {
  if (function == nullptr) {
    return {name, CallResult::Kind::Unbound};
  }
  try {
    out = function(std::forward<Arguments>(arguments)...);
    return {name, NOERROR};
  } catch (...) {
    return {name, CallResult::Kind::Threw};
  }
}

template <typename Result, typename... Parameters, typename... Arguments>
[[gnu::always_inline]] inline Result callValue(Result otherwise, Result (*function)(Parameters...),
                                               Arguments&&... arguments) noexcept {
  if (function == nullptr) {
    return otherwise;
  }
  try {
    return function(std::forward<Arguments>(arguments)...);
  } catch (...) {
    return otherwise;
  }
}

// A function for a place that catches what the call throws itself; throws too if it is not bound.
template <typename Function>
Function* bound(Function* function) {
  if (function == nullptr) {
    throw std::logic_error("not bound");
  }
  return function;
}

// Records what is being caught.
[[gnu::cold, gnu::noinline]] inline void recordThrown(KoLNError& error) noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    error.SetCustomMessage("Out of memory.");
  } catch (...) {
    error.SetCustomMessage("Unexpected exception.");
  }
}

// Runs the body of a member that returns a record. Notes calls are caught where they are made; what
// is left to catch here is memory running out in between.
// Always inlined: the body then finds what it has captured in registers.
template <typename Body>
[[gnu::always_inline]] inline KoLNError recorded(Body&& body) noexcept {
  KoLNError error;
  try {
    body(error);
  } catch (...) {
    recordThrown(error);
  }
  return error;
}

}  // namespace koln

// A call that answers with a status: koln::CallResult.
#define KOLN_STATUS(name, ...) ::koln::callStatus(#name, KO_##name __VA_OPT__(, ) __VA_ARGS__)

// A call without a result: koln::CallResult, failed only if it threw or is not bound.
#define KOLN_VOID(name, ...) ::koln::callVoid(#name, KO_##name __VA_OPT__(, ) __VA_ARGS__)

// A call that answers with a value, stored in `out`: koln::CallResult, failed only if it threw or
// is not bound.
#define KOLN_INTO(out, name, ...) ::koln::callInto(#name, out, KO_##name __VA_OPT__(, ) __VA_ARGS__)

// A call that answers with a value; `otherwise` is the answer when it does not return.
#define KOLN_VALUE(otherwise, name, ...) \
  ::koln::callValue(otherwise, KO_##name __VA_OPT__(, ) __VA_ARGS__)

#endif
