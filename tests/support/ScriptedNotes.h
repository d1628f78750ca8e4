// What the tests of members that call Notes share: a Notes API whose texts can be asked for, a log,
// an instance, and the words in which results are told.
#ifndef KOLN_TESTS_SCRIPTED_NOTES_H
#define KOLN_TESTS_SCRIPTED_NOTES_H

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "DominoInstance.h"
#include "FakeNotes.h"
#include "LogCapture.h"

using Lines = std::vector<LogCapture::Line>;
using Texts = std::vector<std::string>;

// Flag bits as Notes sets them on what a server reports: kept in codes, dropped for the text.
constexpr STATUS refused = 0xC000 | ERR_NOEXIST;
constexpr const char* refusedText = "49411: text of 259";

inline std::string told(const KoLNError& error) {
  if (error.IsErrorSet()) {
    return std::to_string(error.GetErrorCode()) + ": " + error.GetMessage();
  }
  return error.GetErrorCode() == 0 ? "clean" : "code " + std::to_string(error.GetErrorCode());
}

inline std::string threw(const std::string& function) {
  return "Error: caught an exception of unknown type thrown by Domino API function: [" + function +
         "(...)].";
}

// The three ways in which a call of Notes can fail.
enum class Failure { Refused, Throws, Unbound };
constexpr Failure everyFailure[] = {Failure::Refused, Failure::Throws, Failure::Unbound};

template <typename Function>
void fail(Function& function, Failure how) {
  how == Failure::Refused  ? function.answer(refused)
  : how == Failure::Throws ? function.answer(Throwing{})
                           : function.unbind();
}

// What is recorded then, and put into log lines.
inline std::string statusOf(Failure how) {
  return how == Failure::Refused ? "49411" : "65535";
}
inline std::string messageOf(Failure how, const std::string& function) {
  return how == Failure::Refused  ? "text of 259"
         : how == Failure::Throws ? threw(function)
                                  : "Error: Domino API function [" + function + "] is not bound.";
}

// The arguments of the last call, from the first on.
template <typename Function, typename... Expected>
void expectCall(const Function& function, Expected... expected) {
  ASSERT_GT(function.count(), 0u);
  [&]<std::size_t... Index>(std::index_sequence<Index...>) {
    const std::tuple made(function.template argument<Index>()...);
    EXPECT_EQ(made, std::remove_const_t<decltype(made)>(expected...));
  }
  (std::index_sequence_for<Expected...>());
}

// Copies what is translated as it is; nothing is terminated.
inline WORD copyText(WORD, const char* in, WORD length, char* out, WORD capacity) {
  const WORD copied = std::min(length, capacity);
  std::memcpy(out, in, copied);
  return copied;
}

// Hands out a value through the parameter that points to its type, and answers; 0xFFFF throws.
template <typename Value>
auto gives(Value value, STATUS status = NOERROR) {
  return [=](auto... arguments) -> STATUS {
    *std::get<Value*>(std::tuple(arguments...)) = value;
    return status == 0xFFFF ? throw Throwing{} : status;
  };
}

// Opens everything as database 11 and lets it be closed.
struct ScriptedNotes {
  ScriptedNotes() { allow(); }

  // Sets what every test begins with, again.
  void allow() {
    notes.OSLoadString.answer([](HMODULE, STATUS code, char* out, WORD capacity) {
      return static_cast<WORD>(std::snprintf(out, capacity, "text of %d", code));
    });
    notes.OSTranslate.answer(&copyText);
    notes.NSFDbOpen.answer(gives(DBHANDLE{11}));
    notes.OSPathNetConstruct.answer([](const char*, const char*, const char* file, char* out) {
      std::strcpy(out, file);
      return NOERROR;
    });
    notes.NSFDbClose.answer(NOERROR);
  }

  // Lends this address for whatever is locked, and keeps the steps.
  void lend(void* address) {
    notes.OSLockObject.answer([=, this](DHANDLE handle) {
      steps.push_back("lock " + std::to_string(handle));
      return address;
    });
    notes.OSUnlockObject.answer([this](DHANDLE handle) {
      steps.push_back("unlock " + std::to_string(handle));
      return TRUE;
    });
    notes.OSMemFree.answer([this](DHANDLE handle) {
      steps.push_back("free " + std::to_string(handle));
      return refused;  // Nobody looks.
    });
  }

  // Every database is titled "T" and can be reported.
  void describeDatabases() {
    notes.NSFDbInfoGet.answer();
    notes.NSFDbInfoParse.answer([](char*, WORD, char* out, WORD) { std::strcpy(out, "T"); });
    notes.NSFDbReplicaInfoGet.answer();
  }

  // The lines of one function, taken out with all others, as in "0 text".
  Texts linesOf(const std::string& function, const std::string& file) {
    Texts texts;
    for (const LogCapture::Line& line : log.take()) {
      EXPECT_EQ(line.file, file);
      if (line.function == function) {
        texts.push_back(std::to_string(line.level) + " " + line.text);
      }
    }
    return texts;
  }

  KoLNInstance instance{"Domino", "koln\x12/data", "CN=Mail/O=Org", false};
  FakeNotes notes;
  LogCapture log;
  Texts steps;
};

#endif
