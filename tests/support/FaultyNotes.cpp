#include "FaultyNotes.h"

#include <map>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

namespace faulty {
namespace {

template <auto Pointer>
struct Tag {};
template <auto First, auto Second>
constexpr bool same = std::is_same_v<Tag<First>, Tag<Second>>;

struct Injected {};  // What a call throws.

struct State {
  bool active = false;
  Plan plan;
  std::size_t calls = 0;
  std::size_t faults = 0;
  std::string firstFault;
  // Open handles: whether somebody has tried to close them.
  std::map<DBHANDLE, bool> databases;
  std::map<NOTEHANDLE, bool> notes;
};
State state;

bool failsNow() {
  ++state.calls;
  return state.plan.first != 0 &&
         (state.plan.extent == Extent::One ? state.calls == state.plan.first
                                           : state.calls >= state.plan.first);
}

// These are carried out all the same: what failed to be released must not look like a leak.
constexpr bool releases(std::string_view name) {
  for (const std::string_view release :
       {"OSMemFree", "OSUnlockObject", "IDDestroyTable", "NIFCloseCollection", "NSFComputeStop",
        "NSFMimePartCloseStream", "DXLDeleteImporter", "DXLDeleteExporter"}) {
    if (name == release) {
      return true;
    }
  }
  return false;
}

// Runs while no fault is planned for what it calls.
template <typename Result, typename Call>
Result fail(const char* name, bool isStatus, bool isRelease, Call real) {
  if (state.faults++ == 0) {
    state.firstFault = name;
  }
  if (isRelease) {
    real();
  }
  if (state.plan.kind == Kind::Throw) {
    throw Injected();
  }
  if constexpr (std::is_same_v<Result, STATUS>) {
    if (isStatus && state.plan.kind != Kind::Nothing) {
      const STATUS flags = state.plan.kind == Kind::Flagged ? 0xC000 : 0;
      return static_cast<STATUS>(ERR_MEMORY | flags);
    }
  }
  return Result();
}

// What a close call that fails tells of the handle: somebody has tried.
template <auto Pointer, typename First>
void noteTry(First first) {
  if constexpr (same<Pointer, &KO_NSFDbClose>) {
    state.databases[first] = true;
  } else if constexpr (same<Pointer, &KO_NSFNoteClose>) {
    state.notes[first] = true;
  }
}

// What a call that was carried out has opened or closed.
template <auto Pointer, typename Arguments>
void keepBooks(const Arguments& arguments) {
  if constexpr (same<Pointer, &KO_NSFDbOpen>) {
    state.databases[*std::get<1>(arguments)] = false;
  } else if constexpr (same<Pointer, &KO_NSFDbOpenExtended>) {
    state.databases[*std::get<4>(arguments)] = false;
  } else if constexpr (same<Pointer, &KO_NSFDbClose>) {
    state.databases.erase(std::get<0>(arguments));
  } else if constexpr (same<Pointer, &KO_NSFNoteCreate>) {
    state.notes[*std::get<1>(arguments)] = false;
  } else if constexpr (same<Pointer, &KO_NSFNoteOpen> || same<Pointer, &KO_NSFNoteOpenExt> ||
                       same<Pointer, &KO_NSFNoteOpenByUNID>) {
    state.notes[*std::get<3>(arguments)] = false;
  } else if constexpr (same<Pointer, &KO_NSFNoteClose>) {
    state.notes.erase(std::get<0>(arguments));
  }
}

// Before their database is closed: afterwards nobody may.
void closeTriedNotes();

template <auto Pointer>
struct Wrapped;

template <typename Result, typename... Parameters, Result (**Pointer)(Parameters...)>
struct Wrapped<Pointer> {
  static inline Result (*real)(Parameters...) = nullptr;
  static inline const char* name = "";
  static inline bool isStatus = false;
  static inline bool isRelease = false;

  static Result enter(Parameters... parameters) {
    const std::tuple<Parameters...> arguments(parameters...);
    if (state.active && failsNow()) {
      if constexpr (sizeof...(Parameters) != 0) {
        noteTry<Pointer>(std::get<0>(arguments));
      }
      return fail<Result>(name, isStatus, isRelease, [&] { real(parameters...); });
    }
    if constexpr (same<Pointer, &KO_NSFDbClose>) {
      closeTriedNotes();
    }
    if constexpr (std::is_same_v<Result, STATUS>) {
      const Result result = real(parameters...);
      if (result == NOERROR) {
        keepBooks<Pointer>(arguments);
      }
      return result;
    } else {
      return real(parameters...);
    }
  }

  static void install(const char* itsName, bool hasStatus) {
    name = itsName;
    isStatus = hasStatus;
    isRelease = releases(itsName);
    real = *Pointer;
    *Pointer = &enter;
  }
  static void remove() { *Pointer = real; }
};

void closeTriedNotes() {
  for (auto note = state.notes.begin(); note != state.notes.end();) {
    if (note->second) {
      Wrapped<&KO_NSFNoteClose>::real(note->first);
      note = state.notes.erase(note);
    } else {
      ++note;
    }
  }
}

}  // namespace

FaultyNotes::FaultyNotes() {
  state = State();
#define KOLN_INSTALL(result, name, parameters) \
  Wrapped<&KO_##name>::install(#name, std::string_view(#result) == "STATUS");
  KOLN_NOTES_FUNCTIONS(KOLN_INSTALL)
#undef KOLN_INSTALL
}

FaultyNotes::~FaultyNotes() {
#define KOLN_REMOVE(result, name, parameters) Wrapped<&KO_##name>::remove();
  KOLN_NOTES_FUNCTIONS(KOLN_REMOVE)
#undef KOLN_REMOVE
}

void FaultyNotes::begin(const Plan& plan) {
  state.plan = plan;
  state.calls = state.faults = 0;
  state.firstFault.clear();
  state.active = true;
}

void FaultyNotes::end() {
  state.active = false;
}

std::size_t FaultyNotes::calls() const {
  return state.calls;
}

std::size_t FaultyNotes::faults() const {
  return state.faults;
}

std::string FaultyNotes::firstFault() const {
  return state.firstFault;
}

std::size_t FaultyNotes::closeWhatFailedToClose() {
  std::size_t forgotten = 0;
  for (const auto& [note, tried] : std::exchange(state.notes, {})) {
    forgotten += tried ? 0 : 1;
    Wrapped<&KO_NSFNoteClose>::real(note);
  }
  for (const auto& [database, tried] : std::exchange(state.databases, {})) {
    forgotten += tried ? 0 : 1;
    Wrapped<&KO_NSFDbClose>::real(database);
  }
  return forgotten;
}

}  // namespace faulty
