// The host's callbacks, the call-through functions and the log entry point.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "findDataPartition.h"
#include "support/LogCapture.h"

namespace {

char* lastMessage = nullptr;

void throwingSink(const char*, int, const char*, int, const char*, ...) {
  throw 1;
}

void install(KoLNJobQuitCallback quit, KoLNSendMsgCallback send,
             KoLNCheckConnectionCallback check) {
  SetJobQuitCallback(quit);
  SetSendMsgCallback(send);
  SetCheckConnectionCallback(check);
}

TEST(HostCallbacks, AnswerForTheHostUntilItTakesThemAwayOrTheyThrow) {
  char message[] = "record";
  const auto answers = [&] {
    return std::vector<bool>{QuitJob(), SendDBMessage(message), CheckConnection()};
  };
  const std::vector<bool> noHost = {true, true, false};  // Stop, not delivered, not lost.
  EXPECT_EQ(answers(), noHost);
  install([] { return false; }, [](char* text) { return (lastMessage = text) == nullptr; },
          [] { return true; });
  EXPECT_EQ(answers(), (std::vector<bool>{false, false, true}));
  EXPECT_EQ(lastMessage, message) << "the message is passed on as it is";
  install([]() -> bool { throw 1; }, [](char*) -> bool { throw std::runtime_error("lost"); },
          []() -> bool { throw 1; });
  EXPECT_EQ(answers(), noHost);
  install(nullptr, nullptr, nullptr);
  EXPECT_EQ(answers(), noHost);
}

TEST(LogLine, IsNeverFilteredByTheHostsGlobals) {
  EXPECT_EQ(loggingLevel, 1);
  EXPECT_EQ(showAllErrors, 0);
  EXPECT_EQ(reinitializeThres, 0);
  EXPECT_EQ(numOfDbBackedUp, 0);

  LogCapture log;
  std::vector<LogCapture::Line> expected;
  for (const int level : {-1, 0, 2, 3, 4}) {
    LogMessage("f", level, "source", 1, "line %d", level);
    expected.push_back({"f", level, "source", "line " + std::to_string(level)});
  }
  EXPECT_EQ(log.take(), expected);
}

TEST(LogLine, WithoutASinkDoesNotTouchItsArguments) {
  const char* const unreadable = reinterpret_cast<const char*>(1);
  LogMessage("f", 0, "source", 1, "%s", unreadable);
}

TEST(LogLine, ReachesTheSinkWholeAndIsCutAt4095Bytes) {
  LogCapture log;
  for (const std::size_t length : {0, 1, 4094, 4095, 4096, 100000}) {
    LogMessage("f", 0, "source", 1, "%s", std::string(length, 'x').c_str());
    EXPECT_EQ(log.takeTexts(), std::vector{std::string(std::min<std::size_t>(length, 4095), 'x')});
  }
}

TEST(LogLine, IsFinishedTextOrTheBareFormatWhereItCannotBeFinished) {
  LogCapture log;
  const wchar_t invalid[] = {static_cast<wchar_t>(0xD800), 0};
  const char* const missing = nullptr;
  LogMessage("f", 0, "source", 1, "%s 100%%", "%s%n");
  LogMessage("f", 0, "source", 1, "title %ls of %d", invalid, 5);
  LogMessage("f", 0, "source", 1, missing);
  EXPECT_EQ(log.takeTexts(), (std::vector<std::string>{"%s%n 100%", "title %ls of %d", ""}));
}

TEST(LogLine, OfWhichTheSinkThrowsIsLostAndNothingElse) {
  SetLogCallback(&throwingSink);
  EXPECT_NO_THROW(LogMessage("f", 0, "source", 1, "text"));
  SetLogCallback(nullptr);
}

TEST(LogFilename, IsTheProgramsNameWithoutFolderAndEnding) {
  const auto folder = [](std::size_t length) { return std::string(length, 'd'); };
  // clang-format off
  const std::pair<std::string, std::string> cases[] = {
      {"/opt/x/lndb.log", "lndb"}, {"/var/log/ab.c.d", "ab"}, {"lndb", "lndb"},
      {"/opt.d/ab", "ab"}, {"/opt/..hidden.log", "hidden"}, {"/var/log/a.txt", "none"},
      {"x.log", "none"}, {"/a/b/", "none"}, {"", "none"}, {"/", "none"}, {"/opt/....", "none"},
      {"/opt/.h.log", "none"},
            // Only the first 1,023 bytes count, also in the search for the "/".
      {folder(1019) + "/abcdef", "abc"},
      {folder(1021) + "/abcdef", "none"},
      {folder(1023) + "/abcdef", folder(1023)},
  };
  // clang-format on
  for (const auto& [path, expected] : cases) {
    const std::unique_ptr<char, decltype(&std::free)> name(GetLogFilename(path.c_str()),
                                                           &std::free);
    EXPECT_EQ(name != nullptr ? name.get() : "none", expected) << path;
  }
  EXPECT_EQ(GetLogFilename(nullptr), nullptr);
}

}  // namespace
