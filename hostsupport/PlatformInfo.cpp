// The exported reader of the configuration store and the configuration context.
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <optional>
#include <string>

#include "ConfigurationStore.h"
#include "EscapedText.h"
#include "KoLib.h"

namespace hostsupport = koln::hostsupport;
using hostsupport::ConfigurationError;

namespace {

constexpr const char* kOutOfMemory = "out of memory while reading the configuration";

// What a KOPlatformInfo keeps: the error is held as it was thrown, since a copy of its text might
// find no memory.
struct LastError {
  std::optional<ConfigurationError> error;
  const char* message = "";
};

std::string quoted(const char* text) {
  return '"' + hostsupport::escaped(text) + '"';
}

std::string described(const char* key, const char* name, const std::string& path) {
  return "value " + quoted(name) + " under " +
         (*key == '\0' ? std::string("the default key") : "key " + quoted(key)) + " in " +
         hostsupport::escaped(path);
}

void copyValue(const char* key, const char* name, char* buffer, unsigned int& length) {
  if (name == nullptr) {
    throw ConfigurationError("no value name was given");
  }
  if (key == nullptr) {
    key = "";
  }
  const std::string path = hostsupport::ConfigurationStore::configuredPath();
  const auto content = hostsupport::ConfigurationStore::ofProcess().read(path);
  const auto section = content->find(key);
  const hostsupport::ConfigurationValue* value = nullptr;
  if (section != content->end()) {
    const auto found = section->second.find(name);
    value = found != section->second.end() ? &found->second : nullptr;
  }
  if (value == nullptr) {
    throw ConfigurationError("no " + described(key, name, path));
  }
  const std::string& text = value->text;
  if (buffer == nullptr || length <= text.size()) {
    throw ConfigurationError(described(key, name, path) + " needs a buffer of " +
                             std::to_string(text.size() + 1) + " bytes");
  }
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  length = static_cast<unsigned int>(text.size());
}

}  // namespace

KOPI_Focus::~KOPI_Focus() = default;

const char* KOPI_Focus::getFocus() {
  // Fixed at the first call, since callers keep the pointer; later changes of the environment would
  // move the text.
  static const char* const focus = [] {
    const char* configured = secure_getenv("KOLN_FOCUS");
    const char* kept = configured != nullptr && *configured != '\0' ? strdup(configured) : nullptr;
    return kept != nullptr ? kept : "default";
  }();
  return focus;
}

// There is one kind and one version of this store.
KOPlatformInfo::KOPlatformInfo(int /*kind*/, int /*version*/)
    : state_(new (std::nothrow) LastError) {}

KOPlatformInfo::~KOPlatformInfo() {
  delete static_cast<LastError*>(state_);
}

// One file holds one context, whatever its name.
void KOPlatformInfo::setFocus(const char* /*focus*/) {}

int KOPlatformInfo::getString(const char* key, const char* name, char* buffer,
                              unsigned int& length) {
  auto* last = static_cast<LastError*>(state_);
  if (last == nullptr) {
    return 0;
  }
  try {
    copyValue(key, name, buffer, length);
    last->message = "";
    return 1;
  } catch (const ConfigurationError& error) {
    last->error = error;
    last->message = last->error->what();
  } catch (const std::exception&) {
    last->message = kOutOfMemory;
  }
  return 0;
}

const char* KOPlatformInfo::getLastErrorMsg() {
  return state_ != nullptr ? static_cast<LastError*>(state_)->message : kOutOfMemory;
}
