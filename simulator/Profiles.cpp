// Profile notes: documents that hold settings, of a user or of all, and that are found by their
// names alone.
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "Databases.h"
#include "Export.h"
#include "Text.h"

namespace simulator {

namespace {

// The value of "$Name": "$profile_", the length of the profile's name in three digits, the name,
// "_", the user. Both texts are parts of the value.
struct Profile {
  NOTEID note = 0;
  std::vector<BYTE> value;
  std::size_t nameLength = 0;

  static constexpr std::string_view Mark = "$profile_";
  static constexpr std::size_t NameStart = Mark.size() + 3;

  char* at(std::size_t offset) { return reinterpret_cast<char*>(value.data()) + offset; }
  std::size_t userStart() const { return NameStart + nameLength + 1; }
};

// Nothing if the value is not of that form.
std::optional<Profile> profileOf(NOTEID note, std::vector<BYTE> value) {
  const std::string_view text(reinterpret_cast<const char*>(value.data()), value.size());
  if (text.size() <= Profile::NameStart || text.size() > MAXWORD ||
      !sameName(text.substr(0, Profile::Mark.size()), Profile::Mark))
    return std::nullopt;
  const char* const end = text.data() + Profile::NameStart;
  std::size_t length = 0;
  const auto read = std::from_chars(text.data() + Profile::Mark.size(), end, length);
  if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
  if (length >= text.size() - Profile::NameStart || end[length] != '_') return std::nullopt;
  return Profile{note, std::move(value), length};
}

std::vector<Profile> profilesNamed(DBHANDLE database, std::optional<std::string_view> name) {
  const StoreLease store = requireStore(database);
  std::vector<Profile> found;
  for (const NoteHeader& note : store->profiles()) {
    for (NoteItem& item : store->items(note.id)) {
      if (!sameName(item.name, "$Name") || item.type != TYPE_TEXT) continue;
      std::optional<Profile> profile = profileOf(note.id, std::move(item.value));
      if (profile &&
          (!name || sameName({profile->at(Profile::NameStart), profile->nameLength}, *name)))
        found.push_back(std::move(*profile));
      break;
    }
  }
  return found;
}

}  // namespace

}  // namespace simulator

using namespace simulator;

// As in searches, nothing is held while the routine runs.
SIM_EXPORT STATUS NSFProfileEnum(DBHANDLE hDB, const char* ProfileName, WORD ProfileNameLength,
                                 NSFPROFILEENUMPROC Callback, void* CallbackCtx, DWORD Flags) {
  std::vector<Profile> profiles;
  const STATUS status = statusOf([&] {
    if (!Callback || Flags != 0) throw StatusError(ERR_BAD_PARAM, "no routine, or flags");
    std::optional<std::string_view> name;
    if (ProfileName) name.emplace(ProfileName, ProfileNameLength);
    profiles = profilesNamed(hDB, name);
  });
  if (status != NOERROR) return status;

  for (Profile& profile : profiles) {
    const std::size_t user = profile.userStart();
    const STATUS answer = Callback(hDB, CallbackCtx, profile.at(Profile::NameStart),
                                   static_cast<WORD>(profile.nameLength), profile.at(user),
                                   static_cast<WORD>(profile.value.size() - user), profile.note);
    if (answer != NOERROR) return answer;
  }
  return NOERROR;
}
