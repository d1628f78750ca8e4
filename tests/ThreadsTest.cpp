// Worker threads of one process, each prepared for Notes and working in a database of its own: what
// one finds does not depend on the others, and in the end nothing is left open.
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "support/ChildProcess.h"
#include "support/LogCapture.h"
#include "support/SimulatedPartition.h"

namespace {

class ThreadsTest : public SimulatedPartition {
 protected:
  static std::string exported(KoLNDocument& note) {
    DWORD off = 0, capacity = 0;
    DXLEXPORTHANDLE exporter = NULLHANDLE;
    BYTE* buffer = nullptr;
    NoteExportRecord out = {nullptr, &buffer, 0, &capacity, 0, 0, 1};
    expectClean(KoLNUtilities().CreateDXLExporter(exporter, {{eOutputDOCTYPE, &off}}));
    expectClean(note.Export(exporter, &out));
    expectClean(KoLNUtilities().DeleteDXLExporter(exporter));
    EXPECT_EQ(out.ok, 1);
    const std::string dxl(reinterpret_cast<char*>(buffer), out.written);
    std::free(buffer);
    EXPECT_NE(dxl.find("<document"), std::string::npos);
    return dxl;
  }

  // A worker's whole life: the databases there are, the notes of its own, their sizes and DXL.
  using Found = std::tuple<std::size_t, std::size_t, unsigned long, std::string>;
  static Found work(KoLNInstance& instance, const std::string& mailbox) {
    EXPECT_EQ(instance.InitializeNotesThread(), NOERROR);
    Found found(discover(instance), 0, 0, "");
    {
      KoLNDatabase db(mailbox, instance);
      KoLNUtilities utilities;
      expectClean(db.Open());
      expectClean(utilities.InitializeFormulaComputation());
      for (const NOTEID id : notesOf(db)) {
        KoLNDataDocument note(db.GetHandle(), id);
        std::get<1>(found) += 1;
        std::get<2>(found) += inspect(note, utilities.GetSizeFormulaHandle());
        std::get<3>(found) += exported(note);
        expectClean(note.Close());
      }
      expectClean(utilities.ShutdownFormulaComputation());
    }
    instance.TerminateNotesThread();
    return found;
  }
};

TEST_F(ThreadsTest, EachFindsWhatItWouldFindAlone) {
  constexpr std::size_t workers = 8;
  create(" --mailboxes 8 --notes 6");
  inChild([&] {
    const auto instance = start();
    const auto before = openHandles();
    LogCapture log;
    std::vector<Found> alone, together(workers);
    for (const std::string& mailbox : mailboxes) alone.push_back(work(*instance, mailbox));
    const std::size_t lines = log.take().size();
    std::atomic<std::size_t> ready = 0;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < workers; ++i) {
      threads.emplace_back([&, i] {
        for (++ready; ready < workers;) std::this_thread::yield();
        together[i] = work(*instance, mailboxes.at(i));
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(together == alone);
    EXPECT_GT(std::get<0>(together[0]), workers);
    EXPECT_GE(std::get<1>(together[0]), 6u);
    EXPECT_EQ(log.take().size(), lines);
    EXPECT_EQ(openHandles(), before);
  });
}

}  // namespace
