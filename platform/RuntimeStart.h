// What the two ways to start the Notes runtime share: the plain functions and `KoLNInstance`.
#ifndef KOLN_PLATFORM_RUNTIME_START_H
#define KOLN_PLATFORM_RUNTIME_START_H

#include <cstddef>
#include <cstdio>
#include <string_view>

#include "NotesApi.h"
#include "platform/NotesCall.h"

namespace koln {

// Size of every text that travels to the runtime: paths, the partition, the user.
constexpr std::size_t startTextSize = 1024;
using StartText = char[startTextSize];

constexpr char instanceDelimiter = '\x12';

// Copies a text whole. False, and an empty text, if it does not fit: a path that is cut would name
// something else.
inline bool copyWhole(std::string_view from, char* to, std::size_t size) noexcept {
  to[0] = '\0';
  if (from.size() >= size) {
    return false;
  }
  from.copy(to, from.size());
  to[from.size()] = '\0';
  return true;
}

// "<data directory>/notes.ini". False if it does not fit, or would not fit behind the "=" with
// which it is passed to the runtime.
inline bool formNotesIniPath(const char* dataDirectory, StartText& out) noexcept {
  const int length = std::snprintf(out, sizeof out, "%s%snotes.ini", dataDirectory, "/");
  return length >= 0 && static_cast<std::size_t>(length) + 1 < sizeof out;
}

// The data directory without one trailing "/", as partitions are registered.
inline std::string_view withoutTrailingSlash(std::string_view directory) noexcept {
  if (!directory.empty() && directory.back() == '/') {
    directory.remove_suffix(1);
  }
  return directory;
}

// Holds the process while /tmp/lndb_debug exists, so that a debugger can be attached before the
// runtime starts; says so once on standard output.
void waitWhileHeld() noexcept;

// Starts the runtime with its program directory and "=" with the path of notes.ini.
CallResult startRuntime(char* programDirectory, char* notesIniArgument) noexcept;

// The data directory as the runtime reports it; `out` holds MAXENVVALUE + 1 bytes at least and
// keeps its text if the runtime has none.
void readRuntimeDirectory(char* out) noexcept;

// A debug line from where an exception ended a step; swallows what the host's log throws.
void debugLastWords(const char* text) noexcept;

}  // namespace koln

#endif
