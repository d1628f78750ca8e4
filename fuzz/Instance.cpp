// Names of instances, and what a configuration store says about them. The name is the first line;
// each further one is the store's next answer: "+" and a value, or "-" and what a look-up that finds
// nothing leaves in the buffer. There are no users, so that the process stays what it is.
#include <cstdarg>
#include <deque>

#include "Fuzz.h"
#include "KoLib.h"

namespace {

std::deque<std::string> answers;

}  // namespace

// These stand in front of the support library's own.
int KOPlatformInfo::getString(const char*, const char*, char* buffer, unsigned int& length) {
  const std::string answer = answers.empty() ? "" : answers.front();
  if (answer.empty()) {
    return 0;
  }
  answers.pop_front();
  // What does not fit comes without its terminator.
  std::memcpy(buffer, answer.c_str() + 1, std::min<std::size_t>(answer.size(), length));
  length = static_cast<unsigned int>(answer.size() - 1);
  return answer.front() == '+' ? 1 : 0;
}

// What a log would do with a line: all of its texts are read.
#define KOLN_FORMAT(text)                                                                     \
  va_list arguments;                                                                          \
  va_start(arguments, text);                                                                  \
  fuzz::require(std::vsnprintf(nullptr, 0, text, arguments) >= 0, "a line can be formatted"); \
  va_end(arguments)

void EvDebug::debug(const char* text, ...) {
  KOLN_FORMAT(text);
}
void EvDebug::Error(const char*, const char* text, ...) {
  KOLN_FORMAT(text);
}
void EvEvent::CriticalEvent(unsigned int, unsigned long, unsigned long) {}

passwd* KO_getpwnam(const char* user) {
  fuzz::require(std::strlen(user) < 1024, "the user's name is terminated");
  return nullptr;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::begin();
  fuzz::Input input(data, size);
  std::string name = input.line();
  std::deque<std::string> lines;
  while (!input.rest().empty()) {
    lines.push_back(input.line());
  }
  answers = lines;
  KoLNInstance instance("Domino", name, "", false);
  fuzz::require(!instance.GetDetails(), "there is no such user");
  fuzz::require(instance.GetDataDirectory().empty(), "half of the details is none");

  answers = lines;
  fuzz::Block dataDirectory(1024);
  fuzz::Block home(1024);
  fuzz::Block ini(1024);
  findDataPartition(name.data(), dataDirectory.data(), home.data(), ini.data());
  for (fuzz::Block* const text : {&dataDirectory, &home, &ini}) {
    fuzz::require(std::strlen(text->data()) < 1024, "each path is terminated");
  }
  return 0;
}
