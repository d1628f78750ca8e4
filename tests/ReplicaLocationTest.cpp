// A replica found by its ID against a scripted Notes API: how the text is read, what is asked of
// the data directory, and that the directory is closed once on every way out.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "NotesDatabase.h"
#include "support/ScriptedNotes.h"

namespace {

class ReplicaLocationTest : public testing::Test, protected ScriptedNotes {
 protected:
  ReplicaLocationTest() { instance.SetDataDirectory("/data"); }

  // Locates as the runtime does when it knows the replica, or answers `status` (0xFFFF throws).
  void answer(const std::string& found, STATUS status = NOERROR) {
    notes.NSFDbLocateByReplicaID.answer([=, this](DBHANDLE, TIMEDATE* asked, char* out, WORD) {
      id = *asked;
      std::memcpy(out, found.data(), found.size());  // Without a terminator.
      return status == 0xFFFF ? throw Throwing{} : status;
    });
  }
  std::string locate(const std::string& replicaId) {
    return told(KoLNDatabase("own.nsf", instance).LocateByReplicaID(replicaId, path));
  }

  TIMEDATE id = {};
  std::string path = "old";
};

TEST_F(ReplicaLocationTest, BothHalvesAreReadAsFarAsTheyAreHexadecimal) {
  // clang-format off
  const struct { std::string text, high, low; DWORD highValue, lowValue; } cases[] = {
      {"0000000A:00000001", "0000000A", "00000001", 10, 1},
      {"0000000a:0000beef", "0000000a", "0000beef", 10, 0xBEEF},
      {"FFFFFFFF:80000000", "FFFFFFFF", "80000000", 0xFFFFFFFF, 0x80000000},
      {"123456789:ABCDEF012", "12345678", "ABCDEF01", 0x12345678, 0xABCDEF01},
      {"A:1", "A", "1", 10, 1},
      {":", "", "", 0, 0},
      {"xyz:12g4", "xyz", "12g4", 0, 0x12},
      {"1:2:3", "1", "2:3", 1, 2},
      {"-1:0x10", "-1", "0x10", 0xFFFFFFFF, 16},
      {"%s:%n", "%s", "%n", 0, 0},
  };
  // clang-format on
  std::size_t calls = 0;
  for (const auto& test : cases) {
    SCOPED_TRACE(test.text);
    answer(std::string(255, 'p'));
    EXPECT_EQ(locate(test.text), "clean");
    EXPECT_EQ(id.Innards[0], test.lowValue);
    EXPECT_EQ(id.Innards[1], test.highValue);
    EXPECT_EQ(path, std::string(255, 'p'));
    EXPECT_EQ(linesOf("LocateByReplicaID", "NotesDatabase"),
              (Texts{"0 str time = " + test.high + ", str date = " + test.low,
                     "0 time = " + std::to_string(test.highValue) +
                         ", date = " + std::to_string(test.lowValue)}));
    EXPECT_EQ(notes.NSFDbClose.count(), ++calls);
    expectCall(notes.NSFDbClose, 11u);
  }
  expectCall(notes.OSTranslate, OS_TRANSLATE_UTF8_TO_LMBCS, "/data", 5);
  EXPECT_EQ(notes.OSTranslate.argument<4>(), 1024);
  EXPECT_EQ(notes.NSFDbOpen.argument<0>(), "/data");
  EXPECT_EQ(notes.NSFDbLocateByReplicaID.argument<0>(), 11u);
  EXPECT_EQ(notes.NSFDbLocateByReplicaID.argument<3>(), 255);
}

TEST_F(ReplicaLocationTest, WhatFailsIsToldAndLeavesThePathAlone) {
  const std::string noColon =
      "Invalid replica ID: it must have the form XXXXXXXX:XXXXXXXX (hexadecimal).";
  const std::string noDirectory = "The data directory of the instance is not known.";
  const auto notOpened = [](const std::string& message) {
    return "0 Unable to open data directory : [/data]. NSFDbOpen(...) returned: [0]. Resulting "
           "error string: [" +
           message + "].";
  };
  const auto notLocated = [](const std::string& status, const std::string& message) {
    return "0 Skipping database: unable to locate db using ReplicaId [0000000a:000000bc]. "
           "NSFDbLocateByReplicaID(...) returned: [" +
           status + "]. Resulting error string: [" + message + "].";
  };
  // clang-format off
  const struct {
    std::string text; std::function<void()> arrange; std::string answer, line; std::size_t closed;
  } cases[] = {
      {"0000000A000000BC", [] {}, "65535: " + noColon, "0 " + noColon, 0},
      {std::string(1023, '0') + ":1", [] {}, "65535: " + noColon, "0 " + noColon, 0},
      {"", [] {}, "65535: " + noColon, "0 " + noColon, 0},
      {"A:BC", [&] { answer("garbage", refused); }, refusedText,
        notLocated("49411", "text of 259"), 1},
      {"A:BC", [&] { answer("garbage", 0xFFFF); }, "65535: " + threw("NSFDbLocateByReplicaID"),
        notLocated("65535", threw("NSFDbLocateByReplicaID")), 1},
      {"A:BC", [&] { notes.NSFDbOpen.answer(Throwing{}); }, "65535: " + threw("NSFDbOpen"),
        notOpened(threw("NSFDbOpen")), 0},
      {"A:BC", [&] { notes.NSFDbOpen.answer(refused); }, refusedText, notOpened("text of 259"), 0},
      {"A:BC", [&] { instance.SetDataDirectory(""); }, "65535: " + noDirectory,
        "0 " + noDirectory, 0},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(test.answer);
    answer("found.nsf");
    test.arrange();
    const std::size_t closed = notes.NSFDbClose.count();
    EXPECT_EQ(locate(test.text), test.answer);
    const Texts lines = linesOf("LocateByReplicaID", "NotesDatabase");
    EXPECT_EQ(lines.size(), test.text == "A:BC" ? 3u : 1u);  // No diagnostic lines without ":".
    EXPECT_EQ(lines.back(), test.line);
    EXPECT_EQ(notes.NSFDbClose.count() - closed, test.closed);
    EXPECT_EQ(path, "old");
  }
}

TEST_F(ReplicaLocationTest, NeitherTranslationNorClosingStandsInTheWay) {
  instance.SetDataDirectory("/d\xC3\xA4ta");
  notes.OSTranslate.answer(0);
  answer("found.nsf");
  for (const STATUS closing : {refused, STATUS{0xFFFF}}) {
    notes.NSFDbClose.answer(
        [=](DBHANDLE) { return closing == 0xFFFF ? throw Throwing{} : closing; });
    path = "old";
    EXPECT_EQ(locate("A:B"), "clean");
    EXPECT_EQ(path, "found.nsf");
    EXPECT_EQ(notes.NSFDbOpen.argument<0>(), "/d\xC3\xA4ta");
    EXPECT_EQ(linesOf("LocateByReplicaID", "NotesDatabase").back(),
              "0 OSTranslate failed on db name: /d\xC3\xA4ta");
  }
}

}  // namespace
