// The host support library through its public header: configuration file, debug log, user look-up.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <string>
#include <thread>

#include "KoLib.h"
#include "support/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;

// The value behind "= ", or the error.
std::string lookUp(const char* key, const char* name, unsigned int room = 1024) {
  KOPlatformInfo info(0, 1);
  info.setFocus(nullptr);
  std::string buffer(room, '?');
  unsigned int length = room;
  EXPECT_EQ(info.getString(key, nullptr, buffer.data(), length), 0);  // Leaves an error behind.
  if (info.getString(key, name, buffer.data(), length) == 0) {
    EXPECT_EQ(buffer, std::string(room, '?'));
    EXPECT_EQ(length, room);
    return info.getLastErrorMsg();
  }
  EXPECT_STREQ(info.getLastErrorMsg(), "");
  EXPECT_EQ(length, buffer.find('\0'));
  return "= " + buffer.substr(0, length);
}

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class HostSupport : public testing::Test {
 protected:
  void SetUp() override { setenv("KOLN_CONFIG", path_.c_str(), 1); }
  void TearDown() override { unsetenv("KOLN_CONFIG"); }

  void store(const std::string& text) const {
    writeFile(path_, text);
    ASSERT_EQ(chmod(path_.c_str(), 0600), 0);
  }
  // Makes the file old enough for its time stamp to tell any later change.
  void age() const {
    fs::last_write_time(path_, fs::file_time_type::clock::now() - std::chrono::hours(1));
  }

  // Runs a step in a child whose debug log is `destination`; returns the child's stderr.
  std::string logged(const std::string& destination, const std::function<void()>& step) const {
    const std::string errors = folder_ + "/stderr";
    const pid_t child = fork();
    if (child == 0) {
      setenv("KOLN_DEBUG_LOG", destination.c_str(), 1);
      dup2(open(errors.c_str(), O_CREAT | O_TRUNC | O_APPEND | O_WRONLY, 0600), STDERR_FILENO);
      step();
      _exit(HasFailure() ? 1 : 0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    return contentOf(errors);
  }

  const TemporaryDirectory directory_;
  const std::string folder_ = directory_.path();
  const std::string path_ = folder_ + "/registry.conf";
};

TEST_F(HostSupport, ReadsWhatTheFileSays) {
  store(
      "\xEF\xBB\xBF; comment\r\n  before = any key\r\n[ Domino ]\r\n\t# comment = 1\r\n"
      "sUser_1 =notes\r\n spaced name\t= \t a = b # c \t\r\n\"a=b \" = \"  kept \"\nempty =\n"
      "quoted = \"\"\nn\xC3\xA4me = \xC3\xA9\xFF\n[1]\nsUser_1 = other\n[]\n/local/data = 1\n"
      "[Domino]\nlater = yes\n[x]y]\nz = last");
  const char* const rows[][3] = {{nullptr, "before", "= any key"},
                                 {"", "/local/data", "= 1"},
                                 {"Domino", "sUser_1", "= notes"},
                                 {"1", "sUser_1", "= other"},
                                 {"Domino", "spaced name", "= a = b # c"},
                                 {"Domino", "a=b ", "=   kept "},
                                 {"Domino", "empty", "= "},
                                 {"Domino", "quoted", "= "},
                                 {"Domino", "n\xC3\xA4me", "= \xC3\xA9\xFF"},
                                 {"Domino", "later", "= yes"},
                                 {"x]y", "z", "= last"},
                                 {"Domino", nullptr, "no value name was given"}};
  for (const auto& [key, name, answer] : rows) EXPECT_EQ(lookUp(key, name), answer);
  EXPECT_EQ(lookUp("domino", "later"), "no value \"later\" under key \"domino\" in " + path_);
  EXPECT_EQ(lookUp(nullptr, "a\nb"), "no value \"a\\nb\" under the default key in " + path_);
  EXPECT_EQ(lookUp("1", "sUser_1", 6), "= other");
  for (const unsigned int room : {0U, 1U, 5U})
    EXPECT_EQ(lookUp("1", "sUser_1", room),
              "value \"sUser_1\" under key \"1\" in " + path_ + " needs a buffer of 6 bytes");
}

TEST_F(HostSupport, RefusesAFileWithAnUnreadableLine) {
  const std::string longest(64 * 1024 - 4, 'v');
  store("a = " + longest + "\r\n");
  EXPECT_EQ(lookUp(nullptr, "a", 70000), "= " + longest);
  const std::string rows[][2] = {
      {"\nno equals\n", "3: line has no \"=\""},
      {"[open\n", "2: line begins with \"[\" but does not end with \"]\""},
      {"[a] # b\n", "2: line begins with \"[\" but does not end with \"]\""},
      {" = x", "2: name is empty"},
      {"\"\" = x", "2: name is empty"},
      {"\"a = x", "2: closing quote of the name is missing"},
      {"\"a\" b = x", "2: no \"=\" behind the quoted name"},
      {"\"a\"", "2: no \"=\" behind the quoted name"},
      {"a = \"", "2: closing quote of the value is missing"},
      {"a = \"b\" c", "2: text behind the closing quote of the value"},
      {"[k]\na = 1\n[]\na = 2\n[k]\na=", "7: name \"a\" is given a second time, first in line 3"},
      {std::string("#\0\n", 3), "2: line holds a NUL byte"},
      {"a = " + longest + "v", "2: line is longer than 65536 bytes"}};
  for (const auto& [text, error] : rows) {
    store("good = 1\n" + text);
    EXPECT_EQ(lookUp(nullptr, "good"), path_ + ":" + error);
  }
}

TEST_F(HostSupport, RefusesAFileThatCannotBeTrusted) {
  EXPECT_EQ(lookUp(nullptr, "a"),
            path_ + ": cannot find the configuration: No such file or directory");
  store("a = 1\n");
  age();
  EXPECT_EQ(lookUp(nullptr, "a"), "= 1");
  chmod(path_.c_str(), 0602);
  EXPECT_EQ(lookUp(nullptr, "a"),
            path_ + ": the configuration is writable by every user and is not used");
  chmod(path_.c_str(), 0660);
  fs::resize_file(path_, 16 * 1024 * 1024 + 1);
  EXPECT_EQ(lookUp(nullptr, "a"), path_ + ": file is larger than 16777216 bytes");
  fs::remove(path_);
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_EQ(lookUp(nullptr, "a"), path_ + ": the configuration is not a regular file");
}

TEST_F(HostSupport, SeesEveryChangeAndKeepsWhatItMayNoLongerOpen) {
  const auto moment = fs::file_time_type::clock::now();
  for (const char* text : {"a = 1", "a = 2", "a = 3"}) {  // Nothing but the content tells.
    store(text);
    fs::last_write_time(path_, moment);
    EXPECT_EQ("a " + lookUp(nullptr, "a"), text);
  }
  const std::string other = folder_ + "/other.conf";
  fs::copy_file(path_, other);
  age();
  EXPECT_EQ(lookUp(nullptr, "a"), "= 3");
  store("a = 4");
  EXPECT_EQ(lookUp(nullptr, "a"), "= 4");
  setenv("KOLN_CONFIG", other.c_str(), 1);
  EXPECT_EQ(lookUp(nullptr, "a"), "= 3");
  if (geteuid() != 0) GTEST_SKIP() << "only root can give up the right to read";
  chmod(folder_.c_str(), 0711);
  logged("none", [&] {
    ASSERT_EQ(setresuid(65534, 65534, -1), 0);
    EXPECT_EQ(lookUp(nullptr, "a"), "= 3");
    setenv("KOLN_CONFIG", path_.c_str(), 1);
    EXPECT_EQ(lookUp(nullptr, "a"), path_ + ": cannot open the configuration: Permission denied");
  });
}

TEST_F(HostSupport, ReadsFromTwoThreadsWhileTheFileIsReplaced) {
  store("a = 0\n");
  std::atomic<bool> done{false};
  std::thread reader([&] {
    while (!done) EXPECT_EQ(lookUp(nullptr, "a").substr(0, 2), "= ");
  });
  for (int version = 1; version <= 200; ++version) {
    const std::string next = folder_ + "/next";
    std::ofstream(next) << "a = " << version << "\n";
    chmod(next.c_str(), 0600);
    fs::rename(next, path_);
    EXPECT_EQ(lookUp(nullptr, "a"), "= " + std::to_string(version));
  }
  done = true;
  reader.join();
}

TEST_F(HostSupport, WritesDebugLines) {
  const std::string all = logged("stderr", [] {
    const char* volatile none = nullptr;  // Hides from the compiler what it would warn about.
    EvEvent event;
    event.debug("plain %d 100%%", 5);
    event.debug("a\tb\r\x12\x7F\\ \xC3\xA9%cend\n", 0);
    event.debug("two\n\n");
    event.debug("%s", none);
    event.debug(none, 0);
    event.Error("Reader\n", "bad %s", "value");
    event.Error(none, "x");
    event.CriticalEvent(0x2A000001, 0, 0);
  });
  const std::regex head(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z \d+ )");
  EXPECT_EQ(std::regex_replace(all, head, "@ "),
            "@ debug plain 5 100%\n@ debug a\\tb\\r\\x12\\x7F\\ \xC3\xA9\\x00"
            "end\n@ debug two\\n\n@ debug (null)\n@ debug (null)\n@ error Reader\\n: bad value\n"
            "@ error (null): x\n@ error critical event 0x2A000001 (0, 0)\n");
}

TEST_F(HostSupport, WritesLongLinesOfTwoThreadsWhole) {
  const auto writeMany = [](char mark) {
    for (int size = 1500; size < 20000; size += 37)
      EvDebug().debug("%d %s.", size, std::string(static_cast<std::size_t>(size), mark).c_str());
  };
  const std::string log = folder_ + "/debug.log";
  logged(log, [&] {
    std::thread other(writeMany, 'a');
    writeMany('b');
    other.join();
  });
  std::ifstream file(log);
  int lines = 0;
  for (std::string line; std::getline(file, line); ++lines) {
    const std::string text = line.substr(line.find("debug ") + 6);
    const std::string marks = text.substr(text.find(' ') + 1);
    ASSERT_EQ(marks, std::string(std::stoul(text), marks.at(0)) + ".");
  }
  EXPECT_EQ(lines, 2 * 500);
}

TEST_F(HostSupport, WritesWhereItIsTold) {
  const auto twoLines = [] {
    EvDebug().debug("one");
    EvDebug().debug("two");
  };
  EXPECT_EQ(logged("none", twoLines) + logged("", twoLines), "");

  const std::string log = folder_ + "/debug.log";
  EXPECT_EQ(logged(log, twoLines) + logged(log, twoLines), "");
  const std::string content = contentOf(log);
  EXPECT_EQ(std::count(content.begin(), content.end(), '\n'), 4);
  EXPECT_EQ(fs::status(log).permissions(), fs::perms(0600));

  const std::string link = folder_ + "/link";
  const std::string pipe = folder_ + "/pipe";
  fs::create_symlink(log, link);
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& refused : {link, pipe, folder_, folder_ + "/none/log"}) {
    const std::string errors = logged(refused, twoLines);
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 3) << errors;
    EXPECT_NE(errors.find(": " + refused + "\n"), std::string::npos) << errors;
  }
  EXPECT_EQ(contentOf(log), content);

  logged("stderr", [&] {  // Ends with the signal if it is not held back.
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    close(ends[0]);
    dup2(ends[1], STDERR_FILENO);
    signal(SIGPIPE, SIG_DFL);
    errno = E2BIG;
    twoLines();
    EvDebug().Error("f", "x");
    EvEvent().CriticalEvent(1, 2, 3);
    EXPECT_EQ(errno, E2BIG);
  });
}

TEST_F(HostSupport, LooksUsersUp) {
  const struct passwd* const root = KO_getpwnam("root");
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->pw_uid, 0U);
  std::thread([] { EXPECT_STREQ(KO_getpwnam("nobody")->pw_name, "nobody"); }).join();
  EXPECT_STREQ(root->pw_name, "root");
  const std::pair<const char*, int> rows[] = {{"no such user", 0}, {"", 0}, {nullptr, EINVAL}};
  for (const auto& [user, error] : rows) {
    errno = E2BIG;
    EXPECT_EQ(KO_getpwnam(user), nullptr);
    EXPECT_EQ(errno, error);
  }
}

TEST_F(HostSupport, KeepsTheFirstFocus) {
  logged("none", [] {
    setenv("KOLN_FOCUS", "second", 1);
    const char* const focus = KOPI_Focus::getFocus();
    setenv("KOLN_FOCUS", "third", 1);
    EXPECT_STREQ(focus, "second");
    EXPECT_EQ(KOPI_Focus::getFocus(), focus);
  });
  EXPECT_STREQ(KOPI_Focus::getFocus(), "default");
}

}  // namespace
