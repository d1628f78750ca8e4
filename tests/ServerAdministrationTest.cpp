// The console and the operations on whole database files against a scripted Notes API: what the
// server is asked, how an answer is measured and cut, what is released, what is recorded.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "DominoInstance.h"
#include "support/ScriptedNotes.h"

namespace {

class RemoteCommandTest : public testing::Test, protected ScriptedNotes {
 protected:
  RemoteCommandTest() { succeed(); }

  void succeed() {
    notes.DNCanonicalize.answer([](DWORD, const char*, const char*, char* out, WORD, WORD*) {
      std::memset(out, 'c', 256);  // To the last byte, without a terminator.
      return NOERROR;
    });
    console(9, NOERROR);
    notes.OSMemGetSize.answer([this](DHANDLE, DWORD* size) {
      *size = static_cast<DWORD>(memory.size());
      return NOERROR;
    });
    lend(memory.data());
  }

  // What the server answers; a status of 0xFFFF throws.
  void console(DHANDLE handle, STATUS status) {
    notes.NSFRemoteConsole.answer([=, this](char* server, char* command, DHANDLE* out) {
      steps.push_back(std::string(server).substr(250) + " " + command);
      *out = handle;
      return status == 0xFFFF ? throw Throwing{} : status;
    });
  }

  // Sends "show tasks" with room for so many bytes; the buffer has one more, and a guard.
  STATUS send(unsigned short room) {
    steps.clear();
    response = std::string(room + 1, '#') + "G";
    length = room;
    char command[] = "show tasks";
    const STATUS status = instance.RemoteCommand(command, response.data(), &length);
    EXPECT_EQ(response.back(), 'G');
    return status;
  }

  const Texts allSteps = {"cccccc show tasks", "lock 9", "unlock 9", "free 9"};
  std::vector<char> memory = {'o', 'k', '\0'};  // On the heap: reading on is seen.
  std::string response;
  unsigned short length = 0;
};

TEST_F(RemoteCommandTest, AnAnswerIsCopiedAsFarAsItFitsAndMeasuredInFull) {
  using namespace std::string_literals;
  const std::string huge(70000, 'x');
  const struct {
    std::string memory;
    unsigned short room;
    std::string copied;
    unsigned length;
  } cases[] = {
      {"Server started\r\n\0"s, 100, "Server started\r\n", 16},
      {"abcdef\0"s, 6, "abcdef", 6},
      {"abcdef\0"s, 5, "abcde", 6},
      {"abcdef\0"s, 0, "", 6},
      {"\0"s, 10, "", 0},
      {"", 10, "", 0},
      {"abc"s, 10, "abc", 3},  // No terminator: the memory ends the answer.
      {"abc\0def\0"s, 10, "abc", 3},
      {huge, 10, huge.substr(0, 10), 65535},
      {huge, 65535, huge.substr(0, 65535), 65535},
      {huge.substr(0, 65535) + '\0', 65534, huge.substr(0, 65534), 65535},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.memory.substr(0, 20) + " into " + std::to_string(test.room));
    memory.assign(test.memory.begin(), test.memory.end());
    memory.reserve(1);  // Empty memory has an address all the same.
    lend(memory.data());
    EXPECT_EQ(send(test.room), NOERROR);
    EXPECT_EQ(response.c_str(), test.copied);
    EXPECT_EQ(length, test.length);
    EXPECT_EQ(steps, allSteps);
  }
  expectCall(notes.DNCanonicalize, 0u, "(null)", "CN=Mail/O=Org");
  EXPECT_EQ(notes.DNCanonicalize.argument<4>(), 256);
  notes.OSMemGetSize.answer(refused);  // Then the terminator counts.
  memory = {'l', 'o', 's', 't', '\0', 'x'};
  lend(memory.data());
  EXPECT_EQ(send(3), NOERROR);
  EXPECT_STREQ(response.c_str(), "los");
  EXPECT_EQ(length, 4);
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(RemoteCommandTest, WhatFailsLeavesTheAnswerAloneAndNothingBehind) {
  const std::string sent = allSteps[0];
  // clang-format off
  const struct { std::string title; std::function<void()> arrange; STATUS status; Texts steps; }
      cases[] = {
      {"no name", [&] { notes.DNCanonicalize.answer(refused); }, refused, {}},
      {"name throws", [&] { notes.DNCanonicalize.answer(Throwing{}); }, 0xFFFF, {}},
      {"not sent", [&] { console(NULLHANDLE, refused); }, refused, {sent}},
      {"refused with an answer", [&] { console(9, refused); }, refused, {sent, "free 9"}},
      {"throws with an answer", [&] { console(9, 0xFFFF); }, 0xFFFF, {sent, "free 9"}},
      {"no lock", [&] { notes.OSLockObject.answer(nullptr); }, ERR_MEMORY, {sent, "free 9"}},
      {"lock throws", [&] { notes.OSLockObject.answer(Throwing{}); }, ERR_MEMORY, {sent, "free 9"}},
      {"free throws", [&] { notes.OSMemFree.answer(Throwing{}); }, NOERROR,
        {sent, "lock 9", "unlock 9"}},
      {"unlock throws", [&] { notes.OSUnlockObject.answer(Throwing{}); }, NOERROR,
        {sent, "lock 9", "free 9"}},
      {"no answer", [&] { console(NULLHANDLE, NOERROR); memory = {'\0'}; }, NOERROR, {sent}},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(test.title);
    succeed();
    test.arrange();
    EXPECT_EQ(send(5), test.status);
    EXPECT_EQ(steps, test.steps);
    const std::string answer = test.title == "no answer" ? "" : "ok";
    EXPECT_EQ(response.c_str(), test.status == NOERROR ? answer : "######G");
    EXPECT_EQ(length, test.status == NOERROR ? answer.size() : 5);
  }
  char command[] = "quit";
  EXPECT_EQ(instance.RemoteCommand(nullptr, command, &length), ERR_BAD_PARAM);
  EXPECT_EQ(instance.RemoteCommand(command, nullptr, &length), ERR_BAD_PARAM);
  EXPECT_EQ(instance.RemoteCommand(command, command, nullptr), ERR_BAD_PARAM);
  EXPECT_EQ(log.take(), Lines{});
}

STATUS openExtended(const char*, WORD, DHANDLE, TIMEDATE*, DBHANDLE* out, TIMEDATE* data,
                    TIMEDATE* nonData) {
  EXPECT_TRUE(data != nullptr && nonData != nullptr);
  *out = 33;
  return NOERROR;
}

TEST(WholeDatabaseTest, SuccessIsSilentAndPassesThePathAsItStands) {
  ScriptedNotes set;
  set.notes.NSFTakeDatabaseOffline.answer(NOERROR);
  set.notes.NSFBringDatabaseOnline.answer(NOERROR);
  set.notes.NSFDbOpenExtended.answer(&openExtended);
  for (std::string path : {"mail/\xC3\xA4 %s.nsf", ""}) {
    EXPECT_EQ(told(set.instance.TakeDBOffline(path)), "clean");
    expectCall(set.notes.NSFTakeDatabaseOffline, path, 60u, 0u);
    EXPECT_EQ(told(set.instance.BringDBOnline(path)), "clean");
    expectCall(set.notes.NSFBringDatabaseOnline, path, 0u);
    EXPECT_EQ(told(set.instance.RepairDB(path)), "clean");
    expectCall(set.notes.NSFDbOpenExtended, path, 24, NULLHANDLE, nullptr);
    expectCall(set.notes.NSFDbClose, 33u);
  }
  EXPECT_EQ(set.notes.NSFDbClose.count(), 2u);
  EXPECT_EQ(set.log.take(), Lines{});
}

TEST(WholeDatabaseTest, FailuresAreCodesAloneUnlessTheCallDidNotReturn) {
  using Call = KoLNError (KoLNInstance::*)(std::string&);
  // clang-format off
  const struct {
    Call call; std::string function, notesFunction, blanks; void (*arrange)(FakeNotes&, Failure);
  } cases[] = {
      {&KoLNInstance::TakeDBOffline, "TakeDBOffline", "NSFTakeDatabaseOffline", " ",
       [](FakeNotes& notes, Failure how) { fail(notes.NSFTakeDatabaseOffline, how); }},
      {&KoLNInstance::BringDBOnline, "BringDBOnline", "NSFBringDatabaseOnline", " ",
       [](FakeNotes& notes, Failure how) { fail(notes.NSFBringDatabaseOnline, how); }},
      {&KoLNInstance::RepairDB, "RepairDB", "NSFDbOpenExtended", "  ",
       [](FakeNotes& notes, Failure how) { fail(notes.NSFDbOpenExtended, how); }},
      {&KoLNInstance::RepairDB, "RepairDB", "NSFDbClose", "  ",
       [](FakeNotes& notes, Failure how) { fail(notes.NSFDbClose, how); }},
  };
  // clang-format on
  for (const auto& test : cases) {
    for (const Failure how : everyFailure) {
      SCOPED_TRACE(test.notesFunction);
      ScriptedNotes set;
      set.notes.NSFDbOpenExtended.answer(&openExtended);
      test.arrange(set.notes, how);
      const std::string status = statusOf(how);
      const std::string cause = how == Failure::Refused ? "" : messageOf(how, test.notesFunction);
      std::string path = "mail/a.nsf";
      EXPECT_EQ(told((set.instance.*test.call)(path)),
                how == Failure::Refused ? "code 49411" : status + ": " + cause);
      EXPECT_EQ(set.log.take(), (Lines{{test.function, 0, "DominoInstance",
                                        test.notesFunction + " failed with error" + test.blanks +
                                            "(" + status + "): error string (" + cause + ")"}}));
      EXPECT_EQ(set.notes.NSFDbClose.count(),
                test.notesFunction == "NSFDbClose" && how != Failure::Unbound ? 1u : 0u);
    }
  }
}

}  // namespace
