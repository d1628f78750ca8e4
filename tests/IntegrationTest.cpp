// The whole road as a host travels it: configuration file, runtime found and loaded, process
// prepared, databases discovered, opened and closed - against the simulated Notes runtime. Every
// scenario runs in a child process, because starting a partition changes the process for good.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "DominoInstance.h"
#include "NotesDatabase.h"
#include "NotesUtilities.h"
#include "findDataPartition.h"
#include "simulator/Control.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* runtimePath = KOLN_SIMULATOR_HOME "/notes/latest/linux/libnotes.so";

// What the runtime itself counts as open.
long openHandles(const char* kind) {
  void* const runtime = dlopen(runtimePath, RTLD_LAZY | RTLD_NOLOAD);
  if (runtime == nullptr) {
    return -1;
  }
  const auto count = reinterpret_cast<decltype(&SimOpenHandles)>(dlsym(runtime, "SimOpenHandles"));
  const long result = count != nullptr ? count(kind) : -1;
  dlclose(runtime);
  return result;
}

std::set<std::string> sent;

// What a host does with every database of the walk.
struct Walk {
  std::set<std::string> reported;
  std::vector<std::string> failed;
  STATUS answer = NOERROR;
};

STATUS processMatch(void* context, SEARCH_MATCH* match, ITEM_TABLE* summary) {
  Walk& walk = *static_cast<Walk*>(context);
  EXPECT_TRUE(match->SERetFlags & SE_FMATCH);
  KoLNUtilities utilities;
  std::string path;
  EXPECT_TRUE(utilities.GetSummaryValue(summary, "$Path", path));
  if (utilities.ProcessDatabase(path.c_str(), "extra", &walk.reported, false).IsErrorSet()) {
    walk.failed.push_back(path);
  }
  return walk.answer;
}

class IntegrationTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const passwd* const user = getpwuid(geteuid());
    ASSERT_NE(user, nullptr);
    directory = std::make_unique<TemporaryDirectory>();
    partition = directory->path() + "/partition";
    const std::string command = std::string(KOLN_SIMULATE_TOOL) + " create " + partition +
                                " --mailboxes 3 --notes 2 --seed 7 --home " KOLN_SIMULATOR_HOME
                                " --user " +
                                user->pw_name + " > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    writeFile(data() + "/mail/damaged.nsf", "no database");
  }
  static void TearDownTestSuite() { directory.reset(); }

  void SetUp() override {
    if (geteuid() != 0) {
      GTEST_SKIP() << "needs root: starting a partition sets the groups of the process";
    }
  }

  static std::string data() { return partition + "/data"; }

  // The databases as they lie on disk, by their paths below the data directory.
  static std::set<std::string> databaseFiles() {
    std::set<std::string> paths;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(data())) {
      if (entry.path().extension() == ".nsf" || entry.path().extension() == ".ntf") {
        paths.insert(entry.path().lexically_relative(data()));
      }
    }
    return paths;
  }

  // In a child: the environment of a host, and an instance for the partition.
  static std::unique_ptr<KoLNInstance> makeInstance() {
    setenv("KOLN_CONFIG", (partition + "/registry.conf").c_str(), 1);
    setenv("KOLN_DEBUG_LOG", (partition + "/debug.log").c_str(), 1);
    setenv("LD_LIBRARY_PATH", "/usr/lib", 1);
    return std::make_unique<KoLNInstance>("Domino", "koln\x12" + data() + "/", "", false);
  }

  static std::unique_ptr<KoLNInstance> startInstance() {
    auto instance = makeInstance();
    EXPECT_TRUE(instance->Initialize());
    EXPECT_FALSE(instance->InitializeNotesEnv().IsErrorSet());
    return instance;
  }

  static inline std::unique_ptr<TemporaryDirectory> directory;
  static inline std::string partition;
};

TEST_F(IntegrationTest, StartsAndEndsTheRuntimeOfItsPartition) {
  inChild([] {
    LogCapture log;
    auto instance = startInstance();
    EXPECT_EQ(instance->GetDataDirectory(), data());
    EXPECT_EQ(std::string(std::getenv("NOTES_DATA_DIR")), data());
    EXPECT_EQ(openHandles("runtime"), 1);
    char value[257] = {};
    EXPECT_TRUE(KoLNUtilities().GetNotesINIvarString("NAMES", value));
    EXPECT_STREQ(value, "names.nsf");
    EXPECT_NE(KoLNUtilities::GetNotesErrorMsg(0x8000 | ERR_NOEXIST), "");
    instance.reset();
    EXPECT_EQ(openHandles("runtime"), 0);
    for (const LogCapture::Line& line : log.take()) {
      EXPECT_EQ(line.text.find("ailed"), std::string::npos) << line;
    }
  });
}

TEST_F(IntegrationTest, WithoutItsConfigurationNothingIsLoaded) {
  inChild([] {
    const auto instance = makeInstance();
    setenv("KOLN_CONFIG", "/nonexistent/registry.conf", 1);
    LogCapture log;
    EXPECT_FALSE(instance->Initialize());
    EXPECT_EQ(log.takeTexts(),
              (std::vector<std::string>{"starting dynamic loading", "dynamic loading failed"}));
    EXPECT_EQ(openHandles("runtime"), -1);
    EXPECT_EQ(instance->InitializeNotesThread(), 0xFFFF);
    KoLNDatabase database("names.nsf", *instance);
    EXPECT_EQ(database.Open().GetMessage(), "Error: Domino API function [NSFDbOpen] is not bound.");
  });
}

TEST_F(IntegrationTest, EveryDatabaseOfThePartitionIsReported) {
  inChild([] {
    auto instance = startInstance();
    SetSendMsgCallback([](char* message) { return !sent.insert(message).second; });
    KoLNInstance* pointer = instance.get();
    Walk walk;
    EXPECT_EQ(
        KoLNUtilities()
            .DiscoverDatabases(&pointer, reinterpret_cast<DocSummary_type*>(&walk), &processMatch)
            .GetMessage(),
        "");
    EXPECT_EQ(walk.failed, std::vector<std::string>{"mail/damaged.nsf"});

    std::set<std::string> expected = databaseFiles();
    EXPECT_GE(expected.size(), 8u);  // directory, mailboxes, archives, applications, the damaged
    expected.erase("mail/damaged.nsf");
    const std::regex form(
        "[^\x12]+\x12[^\x12]+\x12\\(\\$All\\)\x15[0-9A-F]{8}:[0-9A-F]{8}\x15"
        "extra");
    std::set<std::string> paths;
    for (const std::string& record : sent) {
      paths.insert(record.substr(0, record.find('\x12')));
      EXPECT_TRUE(std::regex_match(record, form)) << record;
    }
    EXPECT_EQ(paths, expected);
    EXPECT_EQ(sent.size(), expected.size());
    // What was reported stays open; the directory that was walked does not.
    EXPECT_EQ(openHandles("databases"), static_cast<long>(expected.size()));
    EXPECT_EQ(openHandles("memory"), 0);
  });
}

TEST_F(IntegrationTest, TheHostsAnswerEndsTheWalk) {
  inChild([] {
    auto instance = startInstance();
    SetSendMsgCallback([](char*) { return false; });
    KoLNInstance* pointer = instance.get();
    Walk walk;
    walk.answer = ERR_CANCEL;
    const KoLNError error = KoLNUtilities().DiscoverDatabases(
        &pointer, reinterpret_cast<DocSummary_type*>(&walk), &processMatch);
    EXPECT_EQ(error.GetErrorCode(), ERR_CANCEL);
    EXPECT_NE(error.GetMessage(), "");
    EXPECT_EQ(walk.reported.size(), 1u);
    EXPECT_EQ(openHandles("databases"), 1);
  });
}

TEST_F(IntegrationTest, DatabasesOpenByEveryKindOfPathAndAreGivenBack) {
  inChild([] {
    auto instance = startInstance();
    for (const std::string& path : databaseFiles()) {
      SCOPED_TRACE(path);
      const bool damaged = path == "mail/damaged.nsf";
      KoLNDatabase database(path, *instance);
      for (const KoLNError& error : {database.Open(path, false), database.Open(path, true),
                                     database.Open(data() + "/" + path, false)}) {
        EXPECT_EQ(error.GetErrorCode() & ERR_MASK, damaged ? ERR_NOT_NSF : NOERROR);
        EXPECT_EQ(error.GetMessage().empty(), !damaged);
      }
      EXPECT_EQ(openHandles("databases"), damaged ? 0 : 1);
      EXPECT_EQ(database.Close().GetErrorCode(), NOERROR);
      EXPECT_EQ(database.GetHandle(), NULLHANDLE);
      EXPECT_EQ(openHandles("databases"), 0);
    }
    KoLNDatabase fresh("made/by/test.nsf", *instance);
    EXPECT_EQ(fresh.Open().GetErrorCode() & ERR_MASK, ERR_NOEXIST);
    KoLNDatabase created("made.nsf", *instance);
    EXPECT_EQ(created.Create().GetErrorCode(), NOERROR);
    EXPECT_EQ(openHandles("databases"), 0);
    EXPECT_EQ(created.Open().GetErrorCode(), NOERROR);
  });
  fs::remove(data() + "/made.nsf");
}

TEST_F(IntegrationTest, MailboxesAreChosenByDepartmentAndFoundAgainByTheirReplicaIds) {
  inChild([] {
    auto instance = startInstance();
    KoLNUtilities utilities;
    MailboxLookupStruct lookup;
    std::set<std::string> everybody, legal, others;
    utilities.InitializeMBLookup(lookup, false, true, true);
    EXPECT_FALSE(utilities.DiscoverMailboxes("", &everybody, lookup, 0).IsErrorSet());
    lookup.filteredDepartments = {"Legal"};
    EXPECT_FALSE(utilities.DiscoverMailboxes("", &others, lookup, 0).IsErrorSet());
    lookup.selectedDepartments = {"Legal"};
    EXPECT_FALSE(utilities.DiscoverMailboxes("", &legal, lookup, 0).IsErrorSet());
    EXPECT_FALSE(legal.empty());
    EXPECT_EQ(legal.size() + others.size(), everybody.size());
    legal.merge(others);
    EXPECT_EQ(legal, everybody);
    EXPECT_EQ(everybody.size(), 3u);
    for (const std::string& file : everybody) {
      SCOPED_TRACE(file);
      KoLNDatabase mailbox(file, *instance);
      EXPECT_EQ(mailbox.Open().GetErrorCode(), NOERROR);
      std::string replica, title, path;
      EXPECT_EQ(mailbox.GetTitle(title).GetErrorCode(), NOERROR);
      EXPECT_NE(title, "");
      EXPECT_EQ(mailbox.GetReplicaID(replica).GetErrorCode(), NOERROR);
      EXPECT_EQ(mailbox.LocateByReplicaID(replica, path).GetErrorCode(), NOERROR);
      EXPECT_EQ(path, fs::path(file).replace_extension(".nsf"));
      EXPECT_EQ(instance->TakeDBOffline(path).GetErrorCode() & ERR_MASK, ERR_DBINUSE);
      EXPECT_TRUE(fs::exists(data() + "/" + path));
    }
    for (const char* kind : {"databases", "memory", "locks"}) {
      EXPECT_EQ(openHandles(kind), 0) << kind;
    }
  });
}

TEST_F(IntegrationTest, AWorkerThreadBracketsItsOwnWork) {
  inChild([] {
    auto instance = startInstance();
    std::thread worker([&] {
      EXPECT_EQ(instance->InitializeNotesThread(), NOERROR);
      EXPECT_EQ(openHandles("threads"), 1);
      {
        KoLNDatabase database("names.nsf", *instance);
        EXPECT_EQ(database.Open().GetErrorCode(), NOERROR);
        DHANDLE block = NULLHANDLE;
        EXPECT_EQ(database.MemAllocObject(0, 100, &block).GetErrorCode(), NOERROR);
        EXPECT_NE(database.LockObject(block), nullptr);
        EXPECT_EQ(openHandles("locks"), 1);
        EXPECT_TRUE(database.UnlockObject(block));
        EXPECT_EQ(database.MemFreeObject(block), NOERROR);
      }
      instance->TerminateNotesThread();
    });
    worker.join();
    for (const char* kind : {"threads", "databases", "memory", "locks"}) {
      EXPECT_EQ(openHandles(kind), 0) << kind;
    }
  });
}

}  // namespace
