// KoLNInstance: its details, the start and end of the runtime, threads.
#include "DominoInstance.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <optional>
#include <utility>

#include "support/StartSetting.h"

namespace {

// The texts of one member's lines, all lines taken out.
Texts taken(LogCapture& log, const std::string& member) {
  Texts texts;
  for (const LogCapture::Line& line : log.take()) {
    if (line.function == member) {
      EXPECT_EQ(line, (LogCapture::Line{member, 0, "DominoInstance", line.text}));
      texts.push_back(line.text);
    }
  }
  return texts;
}

TEST(InstanceObject, KeepsItsTextsAndDropsOneSlashAtTheEndOfItsName) {
  EXPECT_EQ(KoLNInstance().GetServerName() + KoLNInstance().GetDataDirectory(), "");
  KoLNInstance instance("LN", "Domino\x12/data", "CN=Mail/O=Org", true);
  EXPECT_EQ(instance.GetServerName(), "CN=Mail/O=Org");
  EXPECT_EQ(instance.GetDataDirectory(), "");
  instance.SetDataDirectory("/other");
  EXPECT_EQ(instance.GetDataDirectory(), "/other");

  LogCapture log;
  for (const auto& [given, kept] :
       {std::pair{"abc/", "abc"}, {"abc//", "abc/"}, {"/", ""}, {"a/c", "a/c"}, {"", ""}}) {
    EXPECT_FALSE(KoLNInstance("LN", given, "", false).GetDetails());
    EXPECT_EQ(taken(log, "GetDetails"),
              Texts{"No delimiter found in instance name " + std::string(kept) + "."});
  }
}

// ---- details ----------------------------------------------------------------------------------

TEST(InstanceDetails, AreReadUnderTheInstancesKeyAndPrepareTheProcess) {
  inChild([] {
    StartSetting s;
    s.registerPartition("12345", s.directory.pathOfLength(1012));
    const std::string user(1023, 'u');
    s.host.users[user] = {700, 70};
    s.host.values[{"LN", "sDominoUser_12345"}] = user;
    // A "/" at the end, or two of which the constructor takes one, changes nothing.
    for (const char* const end : {"//", "/", ""}) {
      KoLNInstance instance("LN", s.name + end, "", false);
      EXPECT_TRUE(instance.GetDetails());
      EXPECT_EQ(std::exchange(s.host.reads, {}),
                (Texts{"LN/" + s.data, "LN/sDominoDataDir_12345",
                       "LN/" + s.data + "_sDominoHomeDir", "LN/sDominoUser_12345"}));
      EXPECT_EQ(instance.GetDataDirectory(), s.data);
      EXPECT_EQ(s.identity.take().at(0), "initgroups(" + user + ", 70)");
      EXPECT_EQ(getenv("LOTUS"), s.home);
      EXPECT_EQ(getenv("NOTES_DATA_DIR"), s.data);
      EXPECT_EQ(s.log.take().size(), 1u);
    }
    s.registerPartition("0", s.data);
    s.host.values.erase({"LN", s.data});
    EXPECT_TRUE(KoLNInstance("LN", s.name, "", false).GetDetails());
    EXPECT_EQ(taken(s.log, "GetDetails"),
              (Texts{"Could not get partition number for instance " + s.name + " from registry",
                     "This is a cross-machine restore. Use partition number 0 as restore "
                     "destination",
                     s.found()}));
  });
}

TEST(InstanceDetails, FailWithALineBeforeAnythingIsChanged) {
  const std::string tooLong = "D\x12/" + std::string(1023, 'd');
  const std::string longData = "/" + std::string(1012, 'd');
  // clang-format off
  const std::pair<std::function<void(StartSetting&)>, std::string> cases[] = {
      {[](auto& s) { s.name = "Domino"; }, "No delimiter found in instance name Domino."},
      {[&](auto& s) { s.name = tooLong; },
       "Data directory of instance name " + tooLong + " is too long."},
      {[](auto& s) { s.host.values.erase({"LN", "sDominoDataDir_7"}); },
       "Could not get Domino Data Directory from registry(Partition=7)"},
      {[](auto& s) { s.host.values.erase({"LN", s.data + "_sDominoHomeDir"}); },
       "Could not get Domino Home Directory from registry _sDominoHomeDir"},
      {[](auto& s) { s.host.values.erase({"LN", "sDominoUser_7"}); },
       "Could not get Domino User from registry(Partition=7)"},
      {[&](auto& s) { s.host.values[{"LN", "sDominoDataDir_7"}] = longData;
                      s.host.values[{"LN", longData + "_sDominoHomeDir"}] = s.home; },
       "Path of notes.ini in data directory " + longData + " is too long."},
      {[](auto& s) { unlink(s.notesIni.c_str()); },
       "Notes.ini file not found.  Notes initialization will fail."},
      // clang-format on
  };
  inChild([&] {
    for (const auto& [arrange, line] : cases) {
      StartSetting s;
      arrange(s);
      KoLNInstance instance("LN", s.name, "", false);
      EXPECT_FALSE(instance.GetDetails());
      EXPECT_EQ(taken(s.log, "GetDetails"), Texts{line});
      EXPECT_EQ(s.identity.take(), Texts{});
      EXPECT_EQ(s.host.events, Texts{}) << "only the plain functions raise one";
      EXPECT_EQ(instance.GetDataDirectory(), "");
    }
    StartSetting s;
    s.identity.fail("initgroups", EPERM);
    KoLNInstance instance("LN", s.name, "", false);
    EXPECT_FALSE(instance.GetDetails());
    EXPECT_EQ(taken(s.log, "GetDetails"), Texts{s.notPrepared()});
    EXPECT_EQ(instance.GetDataDirectory(), "");
  });
}

TEST(InstanceDetails, SurviveWhereMemoryRunsOut) {
  inChild([] {
    StartSetting s;
    SetLogCallback(nullptr);
    KoLNInstance instance("LN", s.name, "", false);
    EXPECT_GT(failuresForWantOfMemory([&] { return instance.GetDetails(); }), 10);
  });
}

TEST(InstanceInitialization, BindsTheApiAndThenReadsTheDetails) {
  const std::pair<std::function<void(StartSetting&)>, std::string> cases[] = {
      {[](auto&) {}, ""},
      {[](auto& s) { std::filesystem::remove_all(s.home); }, "dynamic loading failed"},
      {[](auto& s) { s.name.clear(); }, "dynamic loading failed"},
      {[](auto& s) {
         s.host.values.erase({"LN", "sDominoUser_7"});
       },
       "Failed to initialize Domino Instance."},
  };
  inChild([&] {
    for (const auto& [arrange, failure] : cases) {
      StartSetting s;
      const std::filesystem::path folder = s.home + "/notes/latest/linux";
      std::filesystem::create_directories(folder);
      std::filesystem::copy_file(KOLN_STUB_NOTES, folder / "libnotes.so");
      s.notes.TimeLocalToGM.unbind();
      arrange(s);
      KoLNInstance instance("LN", s.name, "", false);
      EXPECT_EQ(instance.Initialize(), failure.empty());
      EXPECT_EQ(KO_TimeLocalToGM == nullptr, failure == "dynamic loading failed");
      EXPECT_EQ(instance.GetDataDirectory(), failure.empty() ? s.data : "");
      Texts texts = {"starting dynamic loading"};
      if (!failure.empty()) {
        texts.push_back(failure);
      }
      EXPECT_EQ(taken(s.log, "Initialize"), texts);
    }
  });
}

// ---- runtime ----------------------------------------------------------------------------------

constexpr const char* member = "InitializeNotesEnv";

TEST(NotesRuntime, IsStartedOnceDetailsAreKnownAndEndedWithTheInstance) {
  inChild([] {
    StartSetting s;
    for (const bool detailsFirst : {true, false}) {
      const std::size_t endedBefore = s.notes.NotesTerm.count();
      {
        KoLNInstance instance("LN", s.name, "", false);
        EXPECT_TRUE(!detailsFirst || instance.GetDetails());
        s.host.reads.clear();
        const KoLNError error = instance.InitializeNotesEnv();
        EXPECT_FALSE(error.IsErrorSet());
        EXPECT_EQ(error.GetErrorCode(), 0);
        EXPECT_EQ(s.host.reads.empty(), detailsFirst) << "details are read once";
        EXPECT_EQ(s.passed, (Texts{s.home, "=" + s.notesIni}));
        EXPECT_EQ(
            taken(s.log, member),
            (Texts{"Calling NotesInitExtended. exepath " + s.home + " inipath = =" + s.notesIni,
                   "Called NotesInitExtended (0).", "confirmed data directory /as/reported."}));
        EXPECT_EQ(instance.GetDataDirectory(), "/as/reported");
        EXPECT_EQ(s.notes.NotesTerm.count(), endedBefore);
      }
      EXPECT_EQ(s.notes.NotesTerm.count(), endedBefore + 1);
    }
    KoLNInstance instance("LN", s.name, "", false);
    s.reported.assign(300, 'r');  // Fills the buffer and leaves no terminator.
    EXPECT_FALSE(instance.InitializeNotesEnv().IsErrorSet());
    EXPECT_EQ(instance.GetDataDirectory(), std::string(256, 'r'));
    s.notes.OSGetEnvironmentString.answer(Throwing{});
    EXPECT_FALSE(instance.InitializeNotesEnv().IsErrorSet());
    EXPECT_EQ(instance.GetDataDirectory(), "");
  });
}

TEST(NotesRuntime, IsGivenTheDirectoriesThatTheHostSetAndNeverACutOne) {
  inChild([] {
    StartSetting s;
    KoLNInstance instance("LN", s.name, "", false);
    EXPECT_TRUE(instance.GetDetails());
    for (const auto& [homeLength, iniLength, fits] :
         {std::tuple{1023, 1022, true}, {1024, 1022, false}, {1023, 1023, false}, {0, 0, true}}) {
      const std::string home(homeLength, 'h');
      const std::string notesIni(iniLength, 'i');
      instance.SetExePath(home);
      instance.SetNotesIniPath(notesIni);
      s.passed.clear();
      EXPECT_EQ(instance.InitializeNotesEnv().IsErrorSet(), !fits);
      EXPECT_EQ(s.passed, fits ? (Texts{home, "=" + notesIni}) : Texts{});
    }
  });
}

TEST(NotesRuntime, IsNotStartedWithoutDetailsAndTheRecordIsClean) {
  inChild([] {
    StartSetting s;
    {
      KoLNInstance instance("LN", "Domino", "", false);
      for (const KoLNError& error :
           {instance.InitializeNotesEnv(), instance.InitializeNotesEnvForProxy()}) {
        EXPECT_FALSE(error.IsErrorSet());
        EXPECT_EQ(error.GetErrorCode(), 0);
      }
    }
    EXPECT_EQ(taken(s.log, member), Texts{"Cannot get notes directory"});
    EXPECT_EQ(s.notes.NotesInitExtended.count(), 0u);
    EXPECT_EQ(s.notes.NotesTerm.count(), 0u);
  });
}

TEST(NotesRuntime, ThatDoesNotStartGivesACustomMessageAndIsNotEnded) {
  const std::pair<std::function<void(StartSetting&)>, std::string> cases[] = {
      {[](auto& s) { s.status = 0xC103; }, "49411"},
      {[](auto& s) { s.notes.NotesInitExtended.answer(Throwing{}); }, "65535"},
      {[](auto& s) { s.notes.NotesInitExtended.unbind(); }, "65535"},
  };
  inChild([&] {
    for (const auto& [arrange, status] : cases) {
      StartSetting s;
      arrange(s);
      {
        KoLNInstance instance("LN", s.name, "", false);
        const KoLNError error = instance.InitializeNotesEnv();
        EXPECT_TRUE(error.IsErrorSet());
        EXPECT_EQ(error.GetErrorCode(), 65535);
        EXPECT_EQ(error.GetMessage(), "NotesInitExtended failed");
        EXPECT_EQ(instance.GetDataDirectory(), s.data);
      }
      EXPECT_EQ(s.notes.NotesTerm.count(), 0u);
      const Texts lines = taken(s.log, member);
      ASSERT_GE(lines.size(), 3u);
      EXPECT_EQ(lines[1], "Called NotesInitExtended (" + status + ").");
      EXPECT_EQ(lines.back(), "Notes Initialization for domino instance " + s.name +
                                  ", failed with error (" + status + ")");
    }
  });
}

TEST(NotesRuntime, WaitsWhileTheHoldFileIsThere) {
  inChild([] {
    StartSetting s;
    HoldFile hold(2);
    testing::internal::CaptureStdout();
    KoLNInstance instance("LN", s.name, "", false);
    EXPECT_FALSE(instance.InitializeNotesEnv().IsErrorSet());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "sleeping: Please remove the file /tmp/lndb_debug to proceed\n");
    EXPECT_EQ(hold.sleeps(), std::vector<unsigned>(2, 1));
    EXPECT_EQ(s.notes.NotesInitExtended.count(), 1u);
  });
}

TEST(NotesRuntime, EndsOnRequestAndThenNotAgainWithTheInstance) {
  inChild([] {
    StartSetting s;
    std::optional<KoLNInstance> instance(std::in_place, "LN", s.name, "", false);
    EXPECT_FALSE(instance->InitializeNotesEnv().IsErrorSet());
    instance->TerminateNotes();
    instance.reset();
    EXPECT_EQ(s.notes.NotesTerm.count(), 1u);

    instance.emplace("LN", s.name, "", false);
    EXPECT_FALSE(instance->InitializeNotesEnv().IsErrorSet());
    s.notes.NotesTerm.answer(Throwing{});
    instance.reset();
    EXPECT_EQ(s.notes.NotesTerm.count(), 2u);
    s.notes.NotesTerm.unbind();
    KoLNInstance().TerminateNotes();
  });
}

TEST(NotesRuntime, BracketsThreadsAndNeitherCrashesNorClaimsSuccessWithoutThem) {
  FakeNotes notes;
  KoLNInstance instance;
  for (const STATUS status : {STATUS{NOERROR}, STATUS{0xC107}}) {
    notes.NotesInitThread.answer(status);
    EXPECT_EQ(instance.InitializeNotesThread(), status);
  }
  notes.NotesTermThread.answer();
  instance.TerminateNotesThread();
  EXPECT_EQ(notes.NotesTermThread.count(), 1u);

  notes.NotesInitThread.answer(Throwing{});
  EXPECT_NE(instance.InitializeNotesThread(), NOERROR);
  notes.NotesInitThread.unbind();
  EXPECT_NE(instance.InitializeNotesThread(), NOERROR);
  notes.NotesTermThread.answer(Throwing{});
  EXPECT_NO_THROW(instance.TerminateNotesThread());
  notes.NotesTermThread.unbind();
  instance.TerminateNotesThread();
}

}  // namespace
