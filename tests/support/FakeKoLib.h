// The host's support library, kept in memory: the test executable defines the classes of KoLib.h
// itself, in front of libKoLib.so. One `FakeKoLib` at a time; without one nothing is found and
// lines are dropped.
#ifndef KOLN_TESTS_FAKE_KOLIB_H
#define KOLN_TESTS_FAKE_KOLIB_H

#include <map>
#include <string>
#include <utility>
#include <vector>

struct FakeKoLib {
  FakeKoLib();
  ~FakeKoLib();
  FakeKoLib(const FakeKoLib&) = delete;
  FakeKoLib& operator=(const FakeKoLib&) = delete;

  static constexpr const char* noKey = "(null)";

  // The store, by key and value name. A value of 1,024 bytes or more fills the reader's buffer to
  // the last byte, without a terminator.
  std::map<std::pair<std::string, std::string>, std::string> values;
  std::string lastError = "no such value";
  std::string leftBehind;  // What a read that finds nothing leaves in the buffer all the same.
  bool throwsOnRead = false;

  std::map<std::string, std::pair<unsigned, unsigned>> users;  // uid and gid
  int lookUpError = 0;                                         // `errno` for a user who is missing.

  std::vector<std::string> reads;   // "key/name", in order.
  std::vector<std::string> debug;   // The texts of EvDebug::debug.
  std::vector<std::string> errors;  // "function: text" of EvDebug::Error.
  std::vector<std::string> events;  // "code first second" in hexadecimal.
};

#endif
