// The plain-function start: user switch and environment, look-up of a partition, start of the
// runtime.
#include "findDataPartition.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <utility>

#include "support/StartSetting.h"

namespace {

bool prepare(std::string user, std::string home = "/opt/d", std::string data = "/local/data") {
  return prepareUnixExecEnv(user.data(), home.data(), data.data());
}

Texts environment() {
  Texts values;
  for (const char* const name :
       {"LOTUS", "Notes_ExecDirectory", "NOTES_DATA_DIR", "LD_LIBRARY_PATH", "PATH"}) {
    const char* const value = getenv(name);
    values.push_back(value != nullptr ? value : "(unset)");
  }
  return values;
}

const std::string exec = "/opt/d/notes/latest/linux";
const std::string addedPath = ":/opt/d/bin:/local/data:" + exec + ":" + exec + "/res/C";

TEST(UnixExecEnv, SwitchesTheUserAndExtendsTheEnvironmentAgainOnEachCall) {
  inChild([] {
    StartSetting s;
    EXPECT_TRUE(prepare("notes"));
    EXPECT_EQ(s.identity.take(), switchCalls) << "the group before the user";
    EXPECT_EQ(environment(),
              (Texts{"/opt/d", exec, "/local/data", "/lib:" + exec, "/bin" + addedPath}));
    const std::string line = "prepareUnixExecEnv: ";
    EXPECT_EQ(s.host.debug,
              (Texts{line + "successfully changed user to notes with egid=70 and euid=700",
                     line + "LD_LIBRARY_PATH set to /lib:" + exec,
                     line + "PATH set to /bin" + addedPath}));
    EXPECT_TRUE(prepare("notes"));
    EXPECT_EQ(environment()[3], "/lib:" + exec + ":" + exec);
    EXPECT_EQ(environment()[4], "/bin" + addedPath + addedPath);
  });
}

TEST(UnixExecEnv, StopsAtTheFirstFailureAndTakesNothingBack) {
  struct Failure {
    std::function<void(StartSetting&)> arrange;
    std::size_t calls;      // made of the three that switch the user
    std::size_t variables;  // set in the order of `environment`
    std::string line;
  };
  const std::string noLength = "failed to get length of ";
  const Failure failures[] = {
      {[](auto& s) { s.host.users.clear(), errno = EBADF; }, 0, 0, "getpwnam failed with error=0"},
      {[](auto& s) { s.host.users.clear(), s.host.lookUpError = EIO; }, 0, 0,
       "getpwnam failed with error=5"},
      {[](auto& s) { s.identity.fail("initgroups", EPERM); }, 1, 0,
       "initgroups failed with error=1"},
      {[](auto& s) { s.identity.fail("setresgid", EINVAL); }, 2, 0,
       "CHANGE_GROUP failed with error=22"},
      {[](auto& s) { s.identity.fail("setresuid", EAGAIN); }, 3, 0,
       "CHANGE_USER failed with error=11"},
      {[](auto&) { unsetenv("LD_LIBRARY_PATH"); }, 3, 3, noLength + "LD_LIBRARY_PATH env variable"},
      {[](auto&) { setenv("LD_LIBRARY_PATH", "", 1); }, 3, 3,
       noLength + "LD_LIBRARY_PATH env variable"},
      {[](auto&) { unsetenv("PATH"); }, 3, 4, noLength + "PATH env variable"},
      {[](auto&) { setenv("PATH", "", 1); }, 3, 4, noLength + "PATH env variable"},
  };
  inChild([&] {
    for (const Failure& failure : failures) {
      SCOPED_TRACE(failure.line);
      StartSetting s;
      failure.arrange(s);
      Texts expected = environment();
      const Texts set = {"/opt/d", exec, "/local/data", "/lib:" + exec};
      std::copy_n(set.begin(), failure.variables, expected.begin());
      EXPECT_FALSE(prepare("notes"));
      EXPECT_EQ(s.identity.take(), Texts(switchCalls.begin(), switchCalls.begin() + failure.calls));
      EXPECT_EQ(environment(), expected);
      ASSERT_FALSE(s.host.debug.empty());
      EXPECT_EQ(s.host.debug.back(), "prepareUnixExecEnv: " + failure.line);
    }
    StartSetting s;
    char text[] = "notes";
    EXPECT_FALSE(prepareUnixExecEnv(text, nullptr, text));
    EXPECT_FALSE(prepareUnixExecEnv(text, text, nullptr));
    EXPECT_EQ(s.host.debug[1], "prepareUnixExecEnv: failed to set LOTUS env variable with (null)");
    EXPECT_EQ(s.host.debug[3],
              "prepareUnixExecEnv: failed to set NOTES_DATA_DIR env variable with (null)");
  });
}

TEST(UnixExecEnv, TakesPathsOfAnyLength) {
  inChild([] {
    StartSetting s;
    const std::string before(60000, 'p');
    setenv("PATH", before.c_str(), 1);
    setenv("LD_LIBRARY_PATH", before.c_str(), 1);
    const std::string home(1023, 'h');
    const std::string data(1023, 'd');
    EXPECT_TRUE(prepare("notes", home, data));
    const std::string bin = home + "/notes/latest/linux";
    EXPECT_EQ(environment()[3], before + ":" + bin);
    EXPECT_EQ(environment()[4],
              before + ":" + home + "/bin:" + data + ":" + bin + ":" + bin + "/res/C");
  });
}

TEST(UnixExecEnv, ReallySwitchesAndKeepsTheSavedUser) {
  const passwd* const nobody = getpwnam("nobody");
  if (geteuid() != 0 || nobody == nullptr) {
    GTEST_SKIP() << "needs root and a user nobody";
  }
  inChild([uid = nobody->pw_uid, gid = nobody->pw_gid] {
    FakeKoLib host;
    host.users["nobody"] = {uid, gid};
    setenv("LD_LIBRARY_PATH", "/lib", 1);
    EXPECT_TRUE(prepare("nobody"));
    std::vector<uid_t> users(3);
    std::vector<gid_t> groups(3);
    EXPECT_EQ(getresuid(&users[0], &users[1], &users[2]), 0);
    EXPECT_EQ(getresgid(&groups[0], &groups[1], &groups[2]), 0);
    EXPECT_EQ(users, (std::vector<uid_t>{uid, uid, 0}));
    EXPECT_EQ(groups, (std::vector<gid_t>{gid, gid, 0}));
  });
}

// ---- look-up ----------------------------------------------------------------------------------

// The three outputs, exactly as large as the rules ask.
struct Outputs {
  bool find(std::string name) {
    return findDataPartition(name.data(), data.data(), home.data(), ini.data());
  }
  Texts texts() const { return {data.data(), home.data(), ini.data()}; }
  std::vector<char> data = std::vector<char>(1024, '~');
  std::vector<char> home = data;
  std::vector<char> ini = data;
};

TEST(DataPartition, IsFoundThroughItsDataDirectory) {
  inChild([] {
    StartSetting s;
    // A number of any length; a path of notes.ini that just fits behind a "="; a "/" at the end
    // that the registered directory does not have.
    s.registerPartition("12345", s.directory.pathOfLength(1012));
    for (const char* const end : {"", "/"}) {
      const std::string registered = s.name;
      s.name += end;
      Outputs out;
      EXPECT_TRUE(out.find(s.name));
      EXPECT_EQ(out.texts(), (Texts{s.data, s.home, s.notesIni}));
      EXPECT_EQ(std::exchange(s.host.reads, {}),
                (Texts{"(null)/" + s.data, "(null)/_sDominoHomeDir", "12345/sDominoDataDir",
                       "12345/sDominoUser"}));
      EXPECT_EQ(s.host.debug.back(), s.found());
      EXPECT_EQ(s.identity.take(), switchCalls);
      EXPECT_EQ(environment()[2], s.data);
      s.name = registered;
    }
    s.registerPartition("0", s.data);
    s.host.values.erase({FakeKoLib::noKey, s.data});
    s.host.debug.clear();
    EXPECT_TRUE(Outputs().find(s.name)) << "what is not registered is partition 0";
    EXPECT_EQ(s.host.debug.at(0),
              "Could not get partition number for instance " + s.name + " from registry");
    EXPECT_EQ(s.host.debug.at(1),
              "This is a cross-machine restore. Use partition number 0 as restore destination");
    EXPECT_EQ(s.host.debug.back(), s.found());
  });
}

TEST(DataPartition, IsNotFoundWithoutAnyOfItsPartsAndThenNothingIsChanged) {
  const std::string tooLong = "D\x12/" + std::string(1023, 'd');
  const std::string ofSeven = " from registry(Partition=7)";
  const std::string longData = "/" + std::string(1012, 'd');
  // clang-format off
  const std::pair<std::function<void(StartSetting&)>, std::string> cases[] = {
      {[](auto& s) { s.name = "Domino"; }, "No delimiter found in instance name Domino."},
      {[&](auto& s) { s.name = tooLong; },
       "Data directory of instance name " + tooLong + " is too long."},
      {[](auto& s) { s.host.values.erase({FakeKoLib::noKey, "_sDominoHomeDir"}); },
       "Could not get Domino Home Directory from registry"},
      {[](auto& s) { s.host.values.erase({"7", "sDominoDataDir"}); },
       "Could not get Domino Data Directory" + ofSeven},
      {[](auto& s) { s.host.values.erase({"7", "sDominoUser"}); },
       "Could not get Domino User" + ofSeven},
      {[&](auto& s) { s.host.values[{"7", "sDominoDataDir"}] = longData; },
       "Path of notes.ini in data directory " + longData + " is too long."},
      {[](auto& s) { unlink(s.notesIni.c_str()); },
       "Notes.ini file not found.  Notes initialization will fail."},
      // clang-format on
  };
  inChild([&] {
    for (const auto& [arrange, line] : cases) {
      StartSetting s;
      arrange(s);
      EXPECT_FALSE(Outputs().find(s.name));
      EXPECT_EQ(s.host.debug, Texts{line});
      EXPECT_EQ(s.host.events, line.starts_with("Notes.ini") ? Texts{"2a000001 0 0"} : Texts{});
      EXPECT_EQ(s.identity.take(), Texts{});
      EXPECT_EQ(environment()[0], "(unset)");
    }
    StartSetting s;
    EXPECT_FALSE(findDataPartition(nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(s.host.debug, Texts{"No delimiter found in instance name (null)."});
    EXPECT_FALSE(findDataPartition(s.name.data(), nullptr, nullptr, nullptr));
    s.identity.fail("setresuid", EPERM);
    EXPECT_FALSE(Outputs().find(s.name));
    EXPECT_EQ(s.host.debug.back(), s.notPrepared());
  });
}

// ---- start ------------------------------------------------------------------------------------

struct Initialization {
  bool of(std::string name) { return initializeWithPartition(name.data(), data.data()); }
  std::vector<char> data = std::vector<char>(1024, '~');
};

TEST(PartitionStart, StartsTheRuntimeAndReportsItsDataDirectory) {
  inChild([] {
    StartSetting s;
    Initialization start;
    HoldFile hold(3);
    EXPECT_FALSE(notesAPIInitialized);
    EXPECT_TRUE(start.of(s.name));
    EXPECT_EQ(hold.sleeps(), std::vector<unsigned>(3, 1)) << "while the hold file is there";
    EXPECT_EQ(s.passed, (Texts{s.home, "=" + s.notesIni}));
    EXPECT_EQ((Texts{noteInitArgv[0], noteInitArgv[1]}), s.passed);
    EXPECT_TRUE(notesAPIInitialized);
    EXPECT_STREQ(g_lnInstanceName, "Domino");
    EXPECT_STREQ(start.data.data(), "/as/reported");
    ASSERT_GE(s.host.debug.size(), 3u);
    EXPECT_EQ((Texts{s.host.debug.end() - 3, s.host.debug.end()}),
              (Texts{"Calling NotesInitExtended.", "Called NotesInitExtended (0).",
                     "confirmed data directory /as/reported."}));
    EXPECT_EQ(s.log.takeTexts(), Texts{}) << "only the host's debug log is told";

    s.reported.assign(300, 'r');  // Fills the buffer and leaves no terminator.
    EXPECT_TRUE(start.of(s.name));
    EXPECT_EQ(start.data.data(), std::string(256, 'r'));
    // The first token of the name, cut at the size of its buffer.
    EXPECT_TRUE(start.of("\x12" + s.data));
    EXPECT_EQ(g_lnInstanceName, s.data);
    EXPECT_TRUE(start.of(std::string(2000, 'p') + "\x12" + s.data));
    EXPECT_EQ(g_lnInstanceName, std::string(1023, 'p'));
    // Without any token the runtime runs by the time that is noticed.
    s.host.values[{FakeKoLib::noKey, ""}] = "7";
    EXPECT_FALSE(start.of("\x12"));
    EXPECT_EQ(s.host.debug.back(), "No delimiter found in instance name \x12.");
    // Where the runtime reports nothing the registered directory stays, whole.
    s.registerPartition("7", s.directory.pathOfLength(1012));
    s.notes.OSGetEnvironmentString.answer(FALSE);
    EXPECT_TRUE(start.of(s.name));
    EXPECT_EQ(start.data.data(), s.data);
  });
}

TEST(PartitionStart, FailsWithTheRuntime) {
  const std::pair<std::function<void(StartSetting&)>, std::string> cases[] = {
      {[](auto& s) { s.name = "Domino"; }, "Cannot get notes directory"},
      {[](auto& s) { s.status = 0xC103; }, "Called NotesInitExtended (49411)."},
      {[](auto& s) { s.notes.NotesInitExtended.answer(Throwing{}); },
       "Called NotesInitExtended (65535)."},
      {[](auto& s) { s.notes.NotesInitExtended.unbind(); }, "The Notes API is not bound."},
  };
  inChild([&] {
    for (const auto& [arrange, line] : cases) {
      StartSetting s;
      arrange(s);
      EXPECT_FALSE(Initialization().of(s.name));
      EXPECT_EQ(s.host.debug.back(), line);
      EXPECT_FALSE(notesAPIInitialized);
      EXPECT_STREQ(g_lnInstanceName, "");
    }
    FakeKoLib host;
    EXPECT_FALSE(initializePartitionForProxy(nullptr));
    EXPECT_EQ(host.debug, Texts{});
  });
}

TEST(PartitionStart, SurvivesWhereMemoryRunsOut) {
  inChild([] {
    StartSetting s;
    Initialization start;
    EXPECT_GT(failuresForWantOfMemory(
                  [&] { return initializeWithPartition(s.name.data(), start.data.data()); }),
              10);
    for (const std::string name : {"LD_LIBRARY_PATH", "PATH"}) {
      const std::string line =
          "prepareUnixExecEnv: failed to allocate mem for " + name + " env variable";
      EXPECT_EQ(std::count(s.host.debug.begin(), s.host.debug.end(), line), 1);
    }
  });
}

}  // namespace
