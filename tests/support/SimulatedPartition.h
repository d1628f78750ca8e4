// A partition of the simulated runtime, a process prepared for it, and what hosts do in it all day.
#ifndef KOLN_TESTS_SIMULATED_PARTITION_H
#define KOLN_TESTS_SIMULATED_PARTITION_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "koln.h"
#include "simulator/Control.h"
#include "support/TemporaryDirectory.h"

class SimulatedPartition : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "needs root: starting a partition sets its groups";
  }

  void create(const std::string& options) {
    const std::string command = std::string(KOLN_SIMULATE_TOOL) + " create " + path + options +
                                " --seed 7 --home " KOLN_SIMULATOR_HOME " --user " +
                                getpwuid(geteuid())->pw_name + " > /dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    for (const auto& entry : std::filesystem::directory_iterator(path + "/data/mail")) {
      mailboxes.push_back("mail/" + entry.path().filename().string());
    }
  }

  // In a child process.
  std::unique_ptr<KoLNInstance> start() const {
    setenv("KOLN_CONFIG", (path + "/registry.conf").c_str(), 1);
    setenv("KOLN_DEBUG_LOG", "none", 1);
    setenv("LD_LIBRARY_PATH", "/usr/lib", 1);
    const std::string name = "koln\x12" + path + "/data/";
    auto instance = std::make_unique<KoLNInstance>("Domino", name, "", false);
    EXPECT_TRUE(instance->Initialize());
    expectClean(instance->InitializeNotesEnv());
    return instance;
  }

  static void expectClean(const KoLNError& error) {
    EXPECT_TRUE(!error.IsErrorSet() && error.GetErrorCode() == NOERROR) << error.GetMessage();
  }

  // What the runtime holds open for the process.
  static std::map<std::string, long> openHandles() {
    void* const runtime =
        dlopen(KOLN_SIMULATOR_HOME "/notes/latest/linux/libnotes.so", RTLD_LAZY | RTLD_NOLOAD);
    const auto count =
        reinterpret_cast<decltype(&SimOpenHandles)>(dlsym(runtime, "SimOpenHandles"));
    std::map<std::string, long> open;
    for (const char* const kind : {"memory", "locks", "tables", "databases", "notes", "threads",
                                   "computations", "exporters", "collections"}) {
      open[kind] = count(kind);
    }
    dlclose(runtime);
    return open;
  }

  // How many databases a walk through the directory finds.
  static std::size_t discover(KoLNInstance& instance) {
    std::size_t found = 0;
    KoLNInstance* pointer = &instance;
    expectClean(KoLNUtilities().DiscoverDatabases(
        &pointer, reinterpret_cast<DocSummary_type*>(&found),
        [](void* count, SEARCH_MATCH*, ITEM_TABLE* summary) -> STATUS {
          std::string file;
          *static_cast<std::size_t*>(count) +=
              KoLNUtilities().GetSummaryValue(summary, "$Path", file) ? 1 : 0;
          return NOERROR;
        }));
    return found;
  }

  static std::vector<NOTEID> notesOf(KoLNDatabase& db) {
    std::vector<NOTEID> ids;
    NSFSEARCHPROC keep = [](void* kept, SEARCH_MATCH* match, ITEM_TABLE*) -> STATUS {
      static_cast<std::vector<NOTEID>*>(kept)->push_back(match->ID.NoteID);
      return NOERROR;
    };
    expectClean(
        db.Search(NULLHANDLE, nullptr, 0, NOTE_CLASS_DOCUMENT, nullptr, &keep, &ids, nullptr));
    return ids;
  }

  // Opens a note and reads what an archiving run wants to know; returns its size.
  static unsigned int inspect(KoLNDataDocument& note, HCOMPUTE sizeFormula) {
    std::string subject;
    unsigned int size = 0;
    DbMigrateCriteria facts;
    expectClean(note.Open(0));
    expectClean(note.GetSubject(subject));
    expectClean(note.GetSize(size, sizeFormula));
    expectClean(note.GetMigrationDetails(facts));
    EXPECT_TRUE(size > 0 && !subject.empty());
    return size;
  }

  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/partition";
  std::vector<std::string> mailboxes;
};

#endif
