// A process that works for long: once it is warm neither its memory nor its open files grow. A
// short run; KOLN_SOAK_THOUSANDS asks for a longer one, as scripts/soak does.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <set>

#include "support/ChildProcess.h"
#include "support/SimulatedPartition.h"

namespace {

class SoakTest : public SimulatedPartition {
 protected:
  // Without the pages of files, which come and go as the machine likes.
  static long residentBytes() {
    long total = 0, resident = 0, shared = 0;
    std::ifstream("/proc/self/statm") >> total >> resident >> shared;
    return (resident - shared) * sysconf(_SC_PAGESIZE);
  }
  static long openFiles() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return std::distance(begin(files), end(files));
  }

  // After a quarter of the rounds memory may grow by a kibibyte in 10,000 rounds, and in short runs
  // by the few pages that the allocator takes now and then.
  static void soak(const char* name, long rounds, const std::function<void(long)>& round) {
    const auto open = openHandles();
    long memory = 0, files = 0, done = 0;
    for (; done < rounds && !testing::Test::HasFailure(); ++done) {
      if (done == rounds / 4) memory = residentBytes(), files = openFiles();
      round(done);
    }
    const long grown = residentBytes() - memory;
    std::printf("%s: %ld rounds, %ld KiB resident, %ld files; grown by %ld bytes in %ld rounds\n",
                name, done, residentBytes() / 1024, openFiles(), grown, rounds - rounds / 4);
    EXPECT_EQ(openFiles(), files) << name;
    EXPECT_EQ(openHandles(), open) << name;
    // A sanitizer keeps what was freed.
    EXPECT_TRUE(KOLN_SANITIZED || grown <= std::max(32768L, rounds * 3 / 4 * 1024 / 10000)) << name;
  }

  static void readView(KoLNDatabase& db) {
    KoLNView view(db, "($All)");
    unsigned int id = 0;
    HCOLLECTION collection = 0;
    COLLECTIONPOSITION position = {};
    WORD length = 0, signals = SIGNAL_MORE_TO_DO;
    DWORD entries = 0;
    expectClean(view.FindID(id));
    expectClean(view.OpenCollection(0, 0, &collection, nullptr, nullptr, nullptr, nullptr));
    while (!testing::Test::HasFailure() && (signals & SIGNAL_MORE_TO_DO) != 0) {
      DHANDLE buffer = NULLHANDLE;
      DWORD returned = 0;
      expectClean(view.ReadColection(&collection, &position, NAVIGATE_NEXT, 1, NAVIGATE_NEXT, 500,
                                     READ_MASK_NOTEID | READ_MASK_SUMMARY, &buffer, &length,
                                     nullptr, &returned, &signals));
      entries += returned;
      EXPECT_EQ(buffer != NULLHANDLE ? db.MemFreeObject(buffer) : NOERROR, NOERROR);
    }
    EXPECT_GE(entries, 20u);
    expectClean(view.CloseCollection(collection));
  }
};

TEST_F(SoakTest, NothingGrowsWithTheRounds) {
  create(KOLN_SANITIZED ? " --mailboxes 9 --notes 20" : " --mailboxes 89 --notes 20");
  const char* const wanted = std::getenv("KOLN_SOAK_THOUSANDS");
  const long thousands = wanted != nullptr ? std::atol(wanted) : KOLN_SANITIZED ? 2 : 20;
  inChild([&] {
    if (wanted != nullptr) alarm(0);
    const auto instance = start();
    const std::size_t databases = discover(*instance);
    EXPECT_GE(databases, mailboxes.size() + 11);  // A hundred.
    {
      KoLNDatabase db(mailboxes.at(0), *instance);
      KoLNUtilities utilities;
      expectClean(db.Open());
      expectClean(utilities.InitializeFormulaComputation());
      const std::vector<NOTEID> ids = notesOf(db);
      soak("notes", thousands * 1000, [&](long round) {
        KoLNDataDocument note(db.GetHandle(), ids.at(round % ids.size()));
        inspect(note, utilities.GetSizeFormulaHandle());
        expectClean(note.Close());
      });
      soak("view reads", thousands * 10, [&](long) { readView(db); });
      soak("discoveries", thousands, [&](long) { EXPECT_EQ(discover(*instance), databases); });
      expectClean(utilities.ShutdownFormulaComputation());
    }
    // A database that is reported stays open for the host, once more with each report.
    SetSendMsgCallback([](char*) { return false; });
    for (std::size_t reports = 1; reports <= 3; ++reports) {
      std::set<std::string> reported;
      for (const std::string& file : mailboxes) {
        expectClean(KoLNUtilities().ProcessDatabase(file.c_str(), "", &reported, true));
      }
      EXPECT_EQ(openHandles()["databases"], static_cast<long>(reports * mailboxes.size()));
    }
  });
}

}  // namespace
