// What the fuzzers share: bytes that end where their block ends, and the few calls of Notes that the
// product makes on its way to them. A fuzzer is one file; its corpus lies under its name.
#ifndef KOLN_FUZZ_FUZZ_H
#define KOLN_FUZZ_FUZZ_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "DominoInstance.h"
#include "NotesApi.h"
#include "NotesDatabase.h"
#include "findDataPartition.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

// Ends the run as AddressSanitizer does, so that the input is kept.
inline void require(bool held, const char* what) {
  if (!held) {
    std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
  }
}

// An input, taken apart from its front; behind its end everything is 0 or empty.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : rest_(reinterpret_cast<const char*>(data), size) {}

  template <typename Value = std::uint8_t>
  Value take() {
    Value value = {};
    const std::size_t taken = std::min(rest_.size(), sizeof value);
    std::memcpy(&value, rest_.data(), taken);
    rest_.remove_prefix(taken);
    return value;
  }

  // Up to the next line feed.
  std::string line() {
    const std::string text(rest_.substr(0, rest_.find('\n')));
    rest_.remove_prefix(std::min(rest_.size(), text.size() + 1));
    return text;
  }

  std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
};

// A block of its own for exactly these bytes: AddressSanitizer sees any byte too far. With an
// offset of 1 they stand at an odd address.
class Block {
 public:
  explicit Block(std::string_view bytes, std::size_t offset = 0) : Block(bytes.size(), offset) {
    std::copy(bytes.begin(), bytes.end(), data());
  }
  explicit Block(std::size_t size, std::size_t offset = 0)
      : offset_(offset), bytes_(new char[offset + size]()) {}

  char* data() const { return bytes_.get() + offset_; }
  unsigned char* bytes() const { return reinterpret_cast<unsigned char*>(data()); }

 private:
  std::size_t offset_;
  std::unique_ptr<char[]> bytes_;
};

// What the scripted calls work with; each fuzzer sets it anew for every input.
struct Script {
  char* item = nullptr;    // What NSFItemInfo gives and OSLockObject lends,
  DWORD itemSize = 0;      // and its length.
  WORD diskSize = 0;       // What ODSLength says, of whatever it is asked about.
  int held = 0;            // Databases, notes, tables and locks that were not given back.
  bool translates = true;  // OSTranslate copies, or refuses.
};
inline Script script;

inline STATUS release(unsigned) {
  --script.held;
  return NOERROR;
}

template <typename Handle>
STATUS handOut(Handle* out) {
  ++script.held;
  *out = 11;
  return NOERROR;
}

inline void readLine(const char*, int, const char*, int, const char* text, ...) {
  require(std::strlen(text) < 4096, "a log line is terminated");
}

// Begins an input: the calls answer as they do for everybody, nothing is held.
inline void begin() {
  script = {};
  SetJobQuitCallback([] { return false; });
  SetLogCallback(readLine);
  KO_OSLoadString = [](HMODULE, STATUS, char* out, WORD room) -> WORD {
    return static_cast<WORD>(std::string_view("an error").copy(out, room));
  };
  KO_OSTranslate = [](WORD, const char* in, WORD length, char* out, WORD room) -> WORD {
    std::memcpy(out, in, std::min(length, room));
    return script.translates ? std::min(length, room) : WORD{0};
  };
  KO_NSFDbOpen = [](const char*, DBHANDLE* out) { return handOut(out); };
  KO_NSFDbClose = [](DBHANDLE) { return release(0); };
  KO_NSFNoteOpen = [](DBHANDLE, NOTEID, WORD, NOTEHANDLE* out) { return handOut(out); };
  KO_NSFNoteClose = [](NOTEHANDLE) { return release(0); };
  KO_IDCreateTable = [](DWORD, DHANDLE* out) { return handOut(out); };
  KO_IDDestroyTable = [](DHANDLE) { return release(0); };
  KO_OSLockObject = [](DHANDLE) -> void* { return ++script.held, script.item; };
  KO_OSUnlockObject = [](DHANDLE) -> BOOL { return release(0) == NOERROR; };
  KO_NSFItemInfo = [](NOTEHANDLE, const char*, WORD, BLOCKID*, WORD* type, BLOCKID* block,
                      DWORD* size) -> STATUS {
    return *type = TYPE_VIEW_FORMAT, *block = {21, 0}, *size = script.itemSize, NOERROR;
  };
  KO_ODSLength = [](WORD) { return script.diskSize; };
  // The parts of a view format, as long as they are on disk; a column's font is aligned in memory.
  KO_ODSReadMemory = [](void* from, WORD type, void* to, WORD) {
    const char* const disk = *static_cast<char**>(from);
    std::memcpy(to, disk,
                type == ODS_VIEW_FORMAT_HEADER  ? 2
                : type == ODS_VIEW_TABLE_FORMAT ? 10
                                                : 14);
    std::memcpy(static_cast<char*>(to) + 16, disk + 14, type == ODS_VIEW_COLUMN_FORMAT ? 18 : 0);
  };
  // A time is text of its first word's letter, with its second word as length, which may be too
  // much; none at all is a failure.
  KO_ConvertTIMEDATEToText = [](const void*, const TFMT*, const TIMEDATE* time, char* out,
                                WORD room, WORD* length) -> STATUS {
    *length = static_cast<WORD>(time->Innards[1]);
    std::memset(out, static_cast<int>(time->Innards[0] & 0xFF), std::min(room, *length));
    return *length == 0 ? ERR_NOEXIST : NOERROR;
  };
}

// Where the product's objects of an input live.
struct Stage {
  KoLNInstance instance{"Domino", "koln\x12/data", "", false};
  KoLNDatabase db{"own.nsf", instance};
};

}  // namespace fuzz

#endif
