#include "FakeKoLib.h"

#include <gtest/gtest.h>
#include <pwd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "KoLib.h"
#include "ScarceMemory.h"

namespace {

FakeKoLib* current = nullptr;

std::string formatted(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
  va_end(again);
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

}  // namespace

FakeKoLib::FakeKoLib() {
  current = this;
}
FakeKoLib::~FakeKoLib() {
  current = nullptr;
}

KOPI_Focus::~KOPI_Focus() = default;
const char* KOPI_Focus::getFocus() {
  return "tests";
}

KOPlatformInfo::KOPlatformInfo(int kind, int version) : state_(nullptr) {
  EXPECT_EQ(kind, 0);
  EXPECT_EQ(version, 1);
}
KOPlatformInfo::~KOPlatformInfo() = default;

void KOPlatformInfo::setFocus(const char* focus) {
  EXPECT_STREQ(focus, "tests");
  state_ = this;
}

int KOPlatformInfo::getString(const char* key, const char* name, char* buffer,
                              unsigned int& length) {
  const AmpleMemory ample;
  EXPECT_EQ(state_, this) << "read before the focus was set";
  if (current == nullptr) {
    return 0;
  }
  const std::pair<std::string, std::string> address(key != nullptr ? key : FakeKoLib::noKey, name);
  current->reads.push_back(address.first + "/" + address.second);
  if (current->throwsOnRead) {
    throw std::runtime_error("store");
  }
  const auto found = current->values.find(address);
  const std::string& text = found != current->values.end() ? found->second : current->leftBehind;
  // What does not fit comes without its terminator.
  std::memcpy(buffer, text.c_str(), std::min<std::size_t>(text.size() + 1, length));
  length = static_cast<unsigned int>(text.size());
  return found != current->values.end() ? 1 : 0;
}

const char* KOPlatformInfo::getLastErrorMsg() {
  return current != nullptr ? current->lastError.c_str() : "";
}

EvDebug::~EvDebug() = default;

void EvDebug::debug(const char* format, ...) {
  const AmpleMemory ample;
  va_list arguments;
  va_start(arguments, format);
  if (current != nullptr) {
    current->debug.push_back(formatted(format, arguments));
  }
  va_end(arguments);
}

void EvDebug::Error(const char* function, const char* format, ...) {
  const AmpleMemory ample;
  va_list arguments;
  va_start(arguments, format);
  if (current != nullptr) {
    current->errors.push_back(std::string(function) + ": " + formatted(format, arguments));
  }
  va_end(arguments);
}

EvEvent::EvEvent() = default;
EvEvent::~EvEvent() = default;

void EvEvent::CriticalEvent(unsigned int code, unsigned long first, unsigned long second) {
  const AmpleMemory ample;
  char text[64];
  std::snprintf(text, sizeof text, "%x %lx %lx", code, first, second);
  if (current != nullptr) {
    current->events.push_back(text);
  }
}

struct passwd* KO_getpwnam(const char* user) {
  static passwd entry;
  const AmpleMemory ample;
  const auto found = current->users.find(user);
  if (found == current->users.end()) {
    errno = current->lookUpError;
    return nullptr;
  }
  entry = {};
  entry.pw_uid = found->second.first;
  entry.pw_gid = found->second.second;
  return &entry;
}
