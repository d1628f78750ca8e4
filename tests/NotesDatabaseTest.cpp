// The database object against a scripted Notes API: which calls are made and with what, what is
// recorded and logged, and which handles are closed and which are left alone.
#include "NotesDatabase.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "DominoInstance.h"
#include "support/ScriptedNotes.h"

namespace {

using Handles = std::vector<DBHANDLE>;

LogCapture::Line line(const std::string& text) {
  return {"Open", 0, "NotesDatabase", text};
}

class NotesDatabaseTest : public testing::Test, protected ScriptedNotes {
 protected:
  NotesDatabaseTest() {
    notes.NSFDbOpen.answer([this](const char*, DBHANDLE* out) {
      *out = ++lastHandle;
      return NOERROR;
    });
    notes.NSFDbClose.answer([this](DBHANDLE handle) {
      closed.push_back(handle);
      return NOERROR;
    });
    notes.OSPathNetConstruct.answer([](const char*, const char*, const char* file, char* out) {
      std::strcpy(out, (std::string("net!!") + file).c_str());
      return NOERROR;
    });
  }

  DBHANDLE lastHandle = 10;
  Handles closed;
};

TEST_F(NotesDatabaseTest, BeginsClosedAndIsLaidOutForItsHosts) {
  static_assert(sizeof(KoLNDatabase) == 344);
  KoLNDatabase db("mail/own.nsf", instance);
  EXPECT_EQ(reinterpret_cast<char*>(&db.title) - reinterpret_cast<char*>(&db), 80);
  EXPECT_EQ(db.GetName(), "mail/own.nsf");
  EXPECT_EQ(db.GetHandle(), NULLHANDLE);
  EXPECT_EQ(db.title, "");

  DWORD acl = 7;
  db.SetMigrationCriteria(DbMigrateCriteria());
  for (const KoLNError& error :
       {db.CheckDXLErrorLog(1), db.ExportACL(), db.ExportACL(acl), db.ImportAllDataDocuments()}) {
    EXPECT_EQ(told(error), "clean");
  }
}

TEST_F(NotesDatabaseTest, CreateForcesANoteFileUnderItsName) {
  for (const char* name : {"new.nsf", ""}) {
    KoLNDatabase db(name, instance);
    notes.NSFDbCreate.answer(NOERROR);
    EXPECT_EQ(told(db.Create()), "clean");
    expectCall(notes.NSFDbCreate, name, 0xFF01, TRUE);
    EXPECT_EQ(db.GetHandle(), NULLHANDLE);
    notes.NSFDbCreate.answer(refused);
    EXPECT_EQ(told(db.Create()), refusedText);
  }
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(NotesDatabaseTest, EachWayOfOpeningHandsNotesItsOwnPath) {
  const std::string longPath(70000, 'x');
  // clang-format off
  const std::pair<std::function<KoLNError(KoLNDatabase&)>, std::string> cases[] = {
      {[](KoLNDatabase& db) { return db.Open("a/b.nsf", false); }, "a/b.nsf"},
      {[](KoLNDatabase& db) { return db.Open("b.nsf", true); }, "net!!b.nsf"},
      {[&](KoLNDatabase& db) { return db.Open(longPath, false); }, std::string(1024, 'x')},
      {[](KoLNDatabase& db) { return db.Open(); }, "mail/own.nsf"},
  };
  // clang-format on
  for (const auto& [open, path] : cases) {
    KoLNDatabase db("mail/own.nsf", instance);
    EXPECT_EQ(told(open(db)), "clean");
    EXPECT_EQ(notes.NSFDbOpen.argument<0>(), path);
    EXPECT_EQ(db.GetHandle(), lastHandle);
    EXPECT_EQ(db.GetName(), "mail/own.nsf");
  }
  EXPECT_EQ(closed, (Handles{11, 12, 13, 14}));
  EXPECT_EQ(notes.OSPathNetConstruct.count(), 1u);
  expectCall(notes.OSPathNetConstruct, "(null)", "CN=Mail/O=Org");
  ASSERT_EQ(notes.OSTranslate.count(), 3u);  // The own name goes as it stands.
  EXPECT_EQ(notes.OSTranslate.argument<0>(), OS_TRANSLATE_UTF8_TO_LMBCS);
  EXPECT_EQ(notes.OSTranslate.argument<2>(0), 7);
  EXPECT_EQ(notes.OSTranslate.argument<2>(2), 0xFFFF);  // Longer than a WORD: up to its end.
  EXPECT_EQ(notes.OSTranslate.argument<4>(2), 1024);
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(NotesDatabaseTest, AFailedOpenLeavesNoHandleBehind) {
  for (const Failure how : everyFailure) {
    how == Failure::Unbound
        ? notes.NSFDbOpen.unbind()
        : notes.NSFDbOpen.answer(
              gives(DBHANDLE{0xBAD}, how == Failure::Throws ? STATUS{0xFFFF} : refused));
    const std::string text = messageOf(how, "NSFDbOpen");
    for (const bool ownName : {true, false}) {
      KoLNDatabase db("own.nsf", instance);
      EXPECT_EQ(told(ownName ? db.Open() : db.Open("b.nsf", true)), statusOf(how) + ": " + text);
      EXPECT_EQ(db.GetHandle(), NULLHANDLE);
      EXPECT_EQ(log.take(), Lines{line(std::string("Error: Failed to open db ") +
                                       (ownName ? "own.nsf, " : "net!!b.nsf, ") + statusOf(how) +
                                       " - " + text)});
    }
  }
  EXPECT_EQ(closed, Handles{});
}

TEST_F(NotesDatabaseTest, AnEmptyNameIsRefusedAndKeepsTheOldClosedHandle) {
  const std::string record = "65535: Database name empty\\invalid";
  KoLNDatabase nameless("", instance);
  EXPECT_EQ(told(nameless.Open()), record);
  EXPECT_EQ(nameless.GetHandle(), NULLHANDLE);
  {
    KoLNDatabase db("own.nsf", instance);
    db.Open();
    EXPECT_EQ(told(db.Open("", true)), record);
    EXPECT_EQ(db.GetHandle(), 11u);
  }
  EXPECT_EQ(closed, (Handles{11, 11}));  // The object knows no better than to close it again.
  EXPECT_EQ(log.take(), Lines(2, line("Error: invalid database name.")));
  EXPECT_EQ(notes.OSPathNetConstruct.count(), 0u);
}

TEST_F(NotesDatabaseTest, WithoutANetworkPathNothingIsOpened) {
  KoLNDatabase db("own.nsf", instance);
  notes.OSPathNetConstruct.answer(refused);
  EXPECT_EQ(told(db.Open("b.nsf", true)), refusedText);
  EXPECT_EQ(notes.NSFDbOpen.count(), 0u);
  EXPECT_EQ(
      log.take(),
      (Lines{{"MakeNetworkPath", 0, "NotesUtilities", "database b.nsf, error (49411) text of 259"},
             line("Failed to fetch netwrok path of database b.nsf, from server "
                  "CN=Mail/O=Org")}));
  notes.OSPathNetConstruct.answer(NOERROR);  // An empty path: nothing to translate, no complaint.
  EXPECT_EQ(told(db.Open("b.nsf", true)), "clean");
  EXPECT_EQ(notes.NSFDbOpen.argument<0>(), "");
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(NotesDatabaseTest, AnUntranslatablePathIsTriedAllTheSame) {
  KoLNDatabase db("own.nsf", instance);
  notes.OSTranslate.answer([](WORD, const char*, WORD, char* out, WORD capacity) {
    std::memset(out, 'p', capacity);  // Gave up with the buffer full and nothing terminated.
    return WORD{0};
  });
  EXPECT_EQ(told(db.Open("b.nsf", true)), "clean");
  EXPECT_EQ(notes.NSFDbOpen.argument<0>(), std::string(1024, 'p'));
  notes.OSTranslate.answer(Throwing{});
  EXPECT_EQ(told(db.Open("c.nsf", false)), "clean");
  EXPECT_EQ(notes.NSFDbOpen.argument<0>(), "");
  EXPECT_EQ(log.take(), (Lines{line("NotesTranslate failed on db name: b.nsf"),
                               line("NotesTranslate failed on db name: c.nsf")}));
}

TEST_F(NotesDatabaseTest, OpeningAgainClosesFirstWhateverTheCloseAnswers) {
  KoLNDatabase db("own.nsf", instance);
  for (const bool throws : {false, true}) {
    db.Open();
    const DBHANDLE first = db.GetHandle();
    const auto closing = notes.NSFDbClose.during([&](DBHANDLE handle) -> STATUS {
      EXPECT_EQ(handle, first);
      EXPECT_EQ(lastHandle, first);  // Nothing newer is open yet.
      return throws ? throw Throwing{} : refused;
    });
    EXPECT_EQ(told(db.Open("b.nsf", false)), "clean");
    EXPECT_EQ(db.GetHandle(), first + 1);
  }
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(NotesDatabaseTest, CloseKeepsWhatItCouldNotClose) {
  KoLNDatabase db("own.nsf", instance);
  EXPECT_EQ(told(db.Close()), "clean");
  EXPECT_EQ(notes.NSFDbClose.count(), 0u);
  db.Open();
  {
    const auto failing = notes.NSFDbClose.during(refused);
    EXPECT_EQ(told(db.Close()), refusedText);
  }
  {
    const auto failing = notes.NSFDbClose.during(Throwing{});
    EXPECT_EQ(told(db.Close()), "65535: " + threw("NSFDbClose"));
    KoLNDatabase other("other.nsf", instance);
    other.Open();  // Its destructor must swallow the exception.
  }
  EXPECT_EQ(db.GetHandle(), 11u);
  EXPECT_EQ(told(db.Close()), "clean");
  EXPECT_EQ(db.GetHandle(), NULLHANDLE);
  EXPECT_EQ(told(db.Close()), "clean");
  EXPECT_EQ(closed, Handles{11});
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(NotesDatabaseTest, ACopyKnowsTheSameDatabaseButHoldsNothing) {
  {
    KoLNDatabase original("own.nsf", instance);
    original.title = "CN=User One/O=Org";
    original.SetQuotaUsage();
    original.Open();
    KoLNDatabase copy(original);
    EXPECT_EQ(copy.GetName(), "own.nsf");
    EXPECT_EQ(copy.title, "CN=User One/O=Org");
    EXPECT_EQ(copy.GetHandle(), NULLHANDLE);
    EXPECT_FALSE(copy.GetQuotaUsage());
    copy.Open("b.nsf", true);
    EXPECT_EQ(notes.OSPathNetConstruct.argument<1>(), "CN=Mail/O=Org");
  }
  EXPECT_EQ(closed, (Handles{12, 11}));
}

TEST_F(NotesDatabaseTest, MemoryMembersAnswerWhatNotesAnswers) {
  KoLNDatabase db("own.nsf", instance);
  DHANDLE handle = 5;
  DWORD size = 0;
  notes.OSLockObject.answer(static_cast<void*>(&size));
  notes.OSUnlockObject.answer(TRUE);
  notes.OSMemFree.answer(refused);
  notes.OSMemAlloc.answer(refused);
  EXPECT_EQ(db.LockObject(handle), &size);
  EXPECT_EQ(db.UnlockObject(handle), TRUE);
  EXPECT_EQ(db.MemFreeObject(handle), refused);
  EXPECT_EQ(handle, 5u);
  EXPECT_EQ(told(db.MemAllocObject(3, 70000, &handle)), "code 49411");
  expectCall(notes.OSMemAlloc, 3, 70000u);

  notes.OSLockObject.answer(Throwing{});
  notes.OSUnlockObject.answer(Throwing{});
  notes.OSMemFree.answer(Throwing{});
  notes.OSMemAlloc.answer(Throwing{});
  EXPECT_EQ(db.LockObject(handle), nullptr);
  EXPECT_EQ(db.UnlockObject(handle), FALSE);
  EXPECT_NE(db.MemFreeObject(handle), NOERROR);
  EXPECT_EQ(told(db.MemAllocObject(0, 1, &handle)), "65535: " + threw("OSMemAlloc"));

  EXPECT_EQ(told(db.GetObjectSize(handle, &size)), "4996: text of 4996");  // Closed: not asked.
  db.Open();
  notes.OSMemGetSize.answer(gives(DWORD{4096}, refused));  // Nobody looks at the status.
  EXPECT_EQ(told(db.GetObjectSize(handle, &size)), "clean");
  EXPECT_EQ(size, 4096u);
  notes.OSMemGetSize.answer(Throwing{});
  EXPECT_EQ(told(db.GetObjectSize(handle, &size)), "65535: " + threw("OSMemGetSize"));
  EXPECT_EQ(log.take(), Lines{});
}

}  // namespace
