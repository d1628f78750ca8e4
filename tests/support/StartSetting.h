// What both ways to start the runtime are tested in: a registered partition on disk, a runtime that
// starts, a clean environment and no need for rights. For child processes only.
#ifndef KOLN_TESTS_START_SETTING_H
#define KOLN_TESTS_START_SETTING_H

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "FakeKoLib.h"
#include "FakeNotes.h"
#include "Identity.h"
#include "LogCapture.h"
#include "ScarceMemory.h"
#include "TemporaryDirectory.h"

using Texts = std::vector<std::string>;

struct StartSetting {
  StartSetting() {
    for (const char* const name : {"LOTUS", "Notes_ExecDirectory", "NOTES_DATA_DIR"}) {
      unsetenv(name);
    }
    setenv("LD_LIBRARY_PATH", "/lib", 1);
    setenv("PATH", "/bin", 1);
    host.users["notes"] = {700, 70};
    registerPartition("7", directory.path() + "/data");
    notes.NotesInitExtended.answer([this](int count, char** arguments) {
      EXPECT_EQ(count, 3);
      EXPECT_EQ(arguments[2], nullptr);
      passed = {arguments[0], arguments[1]};
      return status;
    });
    notes.OSGetEnvironmentString.answer([this](const char* variable, char* out, WORD capacity) {
      EXPECT_STREQ(variable, "Directory");
      EXPECT_EQ(capacity, 256);
      std::memcpy(out, reported.c_str(), std::min<std::size_t>(reported.size() + 1, capacity));
      return TRUE;
    });
    notes.NotesTerm.answer();
  }

  // Makes a data directory with its notes.ini and registers it for both ways to start: the
  // instance's under the key "LN", the plain functions' under none.
  void registerPartition(const std::string& number, const std::string& dataDirectory) {
    data = dataDirectory;
    notesIni = data + "/notes.ini";
    writeFile(notesIni, "");
    name = "Domino\x12" + data;
    const std::string none = FakeKoLib::noKey;
    for (const auto& [key, partition, suffix] :
         {std::tuple{std::string("LN"), std::string("LN"), "_" + number}, {none, number, ""}}) {
      host.values[{key, data}] = number;
      host.values[{partition, "sDominoDataDir" + suffix}] = data;
      host.values[{partition, "sDominoUser" + suffix}] = "notes";
    }
    host.values[{"LN", data + "_sDominoHomeDir"}] = home;
    host.values[{none, "_sDominoHomeDir"}] = home;
  }

  std::string found() const {
    return "found data directory " + data + ", exe directory " + home + " and notes.ini path " +
           notesIni + " (" + name + ")";
  }
  std::string notPrepared() const {
    return "Failed setting unix env for instance " + name + "(user=notes;home=" + home +
           ";data=" + data + ")";
  }

  TemporaryDirectory directory;
  std::string home = directory.path() + "/opt";
  std::string data;
  std::string notesIni;
  std::string name;  // Of the instance.

  FakeKoLib host;
  FakeIdentity identity;
  FakeNotes notes;
  LogCapture log;
  STATUS status = NOERROR;                // What the runtime's start answers,
  Texts passed;                           // what it was given,
  std::string reported = "/as/reported";  // and its data directory.
};

const Texts switchCalls = {"initgroups(notes, 70)", "setresgid(70, 70, -1)",
                           "setresuid(700, 700, -1)"};

#endif
