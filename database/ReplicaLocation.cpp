// Where the database with a given replica ID lies on the instance's server.
#include <cstdlib>
#include <string>
#include <string_view>

#include "DominoInstance.h"
#include "NotesDatabase.h"
#include "NotesUtilities.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesDatabase";
constexpr const char* functionName = "LocateByReplicaID";

// One half of a replica ID: at most eight characters, read as `strtoul` reads them.
std::string half(std::string_view text) {
  return std::string(text.substr(0, 8));
}

DWORD hexadecimal(const std::string& digits) noexcept {
  return static_cast<DWORD>(std::strtoul(digits.c_str(), nullptr, 16));
}

// "high:low" as `GetReplicaID` writes it.
bool parseReplicaId(const std::string& text, TIMEDATE& id, KoLNError& error) {
  const std::string_view whole = std::string_view(text.c_str()).substr(0, 1023);
  const std::size_t colon = whole.find(':');
  if (colon == std::string_view::npos) {
    error.SetCustomMessage(
        "Invalid replica ID: it must have the form XXXXXXXX:XXXXXXXX (hexadecimal).");
    KOLN_LOG(functionName, 0, "%s", error.GetMessage().c_str());
    return false;
  }
  const std::string high = half(whole.substr(0, colon));
  const std::string low = half(whole.substr(colon + 1));
  KOLN_LOG(functionName, 0, "str time = %s, str date = %s", high.c_str(), low.c_str());
  id.Innards[0] = hexadecimal(low);
  id.Innards[1] = hexadecimal(high);
  KOLN_LOG(functionName, 0, "time = %lu, date = %lu", static_cast<unsigned long>(id.Innards[1]),
           static_cast<unsigned long>(id.Innards[0]));
  return true;
}

}  // namespace

KoLNError KoLNDatabase::LocateByReplicaID(std::string replicaId, std::string& path) {
  return koln::recorded([&](KoLNError& error) {
    TIMEDATE id = {};
    if (!parseReplicaId(replicaId, id, error)) {
      return;
    }
    const std::string dataDirectory = instance_.GetDataDirectory();
    if (dataDirectory.empty()) {
      error.SetCustomMessage("The data directory of the instance is not known.");
      KOLN_LOG(functionName, 0, "%s", error.GetMessage().c_str());
      return;
    }
    koln::TextBuffer<1024> notesPath;
    if (!koln::translateOrKeep(OS_TRANSLATE_UTF8_TO_LMBCS, dataDirectory.c_str(), notesPath)) {
      KOLN_LOG(functionName, 0, "OSTranslate failed on db name: %s", dataDirectory.c_str());
    }

    KoLNUtilities utilities;
    DBHANDLE directory = NULLHANDLE;
    error = utilities.OpenDirectory(notesPath.text(), directory);
    if (error.IsErrorSet()) {
      // The number is always 0, on purpose: the status stands in the record alone.
      KOLN_LOG(functionName, 0,
               "Unable to open data directory : [%s]. NSFDbOpen(...) returned: [%d]. Resulting "
               "error string: [%s].",
               notesPath.text(), 0, error.GetMessage().c_str());
      return;
    }

    if (directory == NULLHANDLE) {
      error.SetCustomMessage("The data directory of the instance cannot be opened.");
      KOLN_LOG(functionName, 0, "%s", error.GetMessage().c_str());
      return;
    }

    koln::TextBuffer<MAXPATH> name;
    const koln::CallResult located =
        KOLN_STATUS(NSFDbLocateByReplicaID, directory, &id, name.data(), WORD{MAXPATH - 1});
    if (located.failed()) {
      located.record(error);
      KOLN_LOG(functionName, 0,
               "Skipping database: unable to locate db using ReplicaId [%08x:%08x]. "
               "NSFDbLocateByReplicaID(...) returned: [%d]. Resulting error string: [%s].",
               id.Innards[1], id.Innards[0], located.status(), error.GetMessage().c_str());
    }
    utilities.CloseDirectory(directory);  // Its result does not matter to what was found.
    if (!located.failed()) {
      path = name.text();
    }
  });
}
