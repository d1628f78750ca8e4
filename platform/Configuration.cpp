// Values of the host's configuration store, environment variables, and the text cleaning that makes
// a title a file name.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "KoLib.h"
#include "findDataPartition.h"

namespace {

constexpr const char* functionName = "GetLndbUnixRegValue";

enum class ValueKind { Number, LongNumber, Text };

// The first letters of a value's name tell its type.
ValueKind kindOf(const char* valueName) noexcept {
  if (valueName[0] == 'n') {
    return ValueKind::Number;
  }
  return std::strncmp(valueName, "ll", 2) == 0 ? ValueKind::LongNumber : ValueKind::Text;
}

// How many bytes of the caller's buffer may be read.
constexpr int readableBytes(ValueKind kind) noexcept {
  switch (kind) {
    case ValueKind::Number:
      return sizeof(std::int32_t);
    case ValueKind::LongNumber:
      return sizeof(std::int64_t);
    case ValueKind::Text:
      break;
  }
  return 1023;
}

void store(unsigned char* out, ValueKind kind, const char* text) noexcept {
  switch (kind) {
    case ValueKind::Number: {
      const auto number = static_cast<std::int32_t>(std::strtol(text, nullptr, 10));
      std::memcpy(out, &number, sizeof number);
      return;
    }
    case ValueKind::LongNumber: {
      const std::int64_t number = std::strtoll(text, nullptr, 10);
      std::memcpy(out, &number, sizeof number);
      return;
    }
    case ValueKind::Text:
      std::memcpy(out, text, std::strlen(text) + 1);
      return;
  }
}

bool readValue(unsigned char* out, ValueKind kind, const char* valueName, const char* key,
               const char* suffix) {
  constexpr unsigned int capacity = 1024;
  char value[capacity + 1] = {};  // A store may fill all 1,024 bytes and leave no terminator.
  std::string fullName = valueName;
  if (suffix != nullptr) {
    fullName.append("_").append(suffix);
  }

  EvEvent log;
  KOPlatformInfo platform(0, 1);
  const char* const focus = KOPI_Focus::getFocus();
  platform.setFocus(focus);
  log.Error(functionName, "key = %s, valName = %s", key != nullptr ? key : "(null)",
            fullName.c_str());
  log.Error(functionName, "focus = %s", focus != nullptr ? focus : "(null)");

  unsigned int length = capacity;
  bool found = platform.getString(key, fullName.c_str(), value, length) != 0;
  const bool fits = kind != ValueKind::Text || value[capacity - 1] == '\0';
  // Shows what the caller's buffer held before, on purpose, and never reads past it.
  log.Error(functionName, "ret = %s, buffer = %.*s", found ? "true" : "false", readableBytes(kind),
            reinterpret_cast<const char*>(out));
  if (!found) {
    const char* const reason = platform.getLastErrorMsg();
    log.Error(functionName, "Last Error = %s", reason != nullptr ? reason : "(null)");
  } else if (!fits) {
    // A path that is cut names something else; it counts as missing.
    log.Error(functionName, "Last Error = value of %s exceeds 1023 bytes", fullName.c_str());
    found = false;
  }
  if (!found) {
    value[0] = '\0';
  }
  store(out, kind, value);
  return found;
}

}  // namespace

bool GetLndbUnixRegValue(unsigned char* out, const char* valueName, const char* key,
                         const char* suffix) {
  if (out == nullptr || valueName == nullptr) {
    return false;
  }
  const ValueKind kind = kindOf(valueName);
  try {
    return readValue(out, kind, valueName, key, suffix);
  } catch (...) {
    store(out, kind, "");
    return false;
  }
}

bool GetRegistryValue(const char* key, const char* valueName, unsigned char* out,
                      unsigned int /*size*/) {
  return GetLndbUnixRegValue(out, valueName, key, nullptr);
}

bool GetVMRegistryValue(const char* key, const char* valueName, unsigned int& out) {
  // A name without the number prefix delivers text: it goes here, not behind the caller's 4 bytes.
  unsigned char value[1024] = {};
  std::memcpy(value, &out, sizeof out);
  const bool found = GetRegistryValue(key, valueName, value, sizeof out);
  std::memcpy(&out, value, sizeof out);
  return found;
}

unsigned int GetEnvironmentVariable(const char* name, char* dst, unsigned int size) {
  const char* const value = name != nullptr ? std::getenv(name) : nullptr;
  if (value == nullptr) {
    return 0;
  }
  const std::size_t length = std::strlen(value);
  if (length >= size || dst == nullptr) {
    return static_cast<unsigned int>(length + 1);
  }
  std::memcpy(dst, value, length + 1);
  return static_cast<unsigned int>(length);
}

bool SetEnvironmentVariable(const char* name, const char* value) {
  if (name == nullptr || value == nullptr) {
    return false;
  }
  const std::size_t nameLength = std::strlen(name);
  const std::size_t valueLength = std::strlen(value);
  const std::unique_ptr<char[]> text(new (std::nothrow) char[nameLength + valueLength + 2]);
  if (text == nullptr) {
    return false;
  }
  std::memcpy(text.get(), name, nameLength);
  text[nameLength] = '=';
  std::memcpy(text.get() + nameLength + 1, value, valueLength + 1);

  char* const kept = strdup(text.get());
  if (kept == nullptr) {
    return false;
  }
  if (putenv(kept) != 0) {
    std::free(kept);
    return false;
  }
  // The environment refers to `kept` from now on; it is never freed.
  return true;  // NOLINT(clang-analyzer-unix.Malloc)
}

void KONormalizeText(char* text) {
  if (text == nullptr) {
    return;
  }
  for (; *text != '\0'; ++text) {
    const auto byte = static_cast<unsigned char>(*text);
    if (byte < 0x20 || byte == 0xFF || std::strchr("\\/:*?\"<>|%", *text) != nullptr) {
      *text = ' ';
    }
  }
}
