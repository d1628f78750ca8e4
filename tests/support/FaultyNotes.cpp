#include "FaultyNotes.h"

#include <algorithm>
#include <cstring>
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
  void (*watcher)() = nullptr;
  Plan plan;
  std::size_t calls = 0;
  std::size_t faults = 0;
  std::string firstFault;
  std::vector<std::string> opened;
  // Open handles: what of, and whether somebody has tried to close them.
  struct Database {
    std::string path;
    bool tried;
  };
  std::map<DBHANDLE, Database> databases;
  std::map<NOTEHANDLE, bool> notes;
};
State state;

enum class Release {
  No,
  Carried,  // Carried out all the same: what failed to be released must not look like a leak.
  Kept      // Not carried out; the books tell whether it was tried.
};

constexpr Release releases(std::string_view name) {
  for (const std::string_view release :
       {"OSMemFree", "OSUnlockObject", "IDDestroyTable", "NIFCloseCollection", "NSFComputeStop",
        "NSFMimePartCloseStream", "DXLDeleteImporter", "DXLDeleteExporter"}) {
    if (name == release) {
      return Release::Carried;
    }
  }
  return name == "NSFDbClose" || name == "NSFNoteClose" ? Release::Kept : Release::No;
}

bool failsNow(Release release) {
  ++state.calls;
  if (state.plan.first == 0 || state.calls < state.plan.first) {
    return false;
  }
  switch (state.calls == state.plan.first ? Extent::FromThenOn : state.plan.extent) {
    case Extent::One:
      return false;
    case Extent::FromThenOn:
      return true;
    default:
      return release != Release::No;
  }
}

Kind kindNow() {
  const bool first = state.calls == state.plan.first;
  if (!first && state.plan.extent == Extent::WithReleases) {
    return Kind::Status;
  }
  return !first && state.plan.extent == Extent::WithThrowingReleases ? Kind::Throw
                                                                     : state.plan.kind;
}

void countFault(const char* name) {
  if (state.faults++ == 0) {
    state.firstFault = name;
  }
}

// Runs while no fault is planned for what it calls.
template <typename Result, typename Call>
Result fail(const char* name, Kind kind, bool isStatus, bool isCarried, Call real) {
  countFault(name);
  if (isCarried) {
    real();
  }
  if (kind == Kind::Throw) {
    throw Injected();
  }
  if constexpr (std::is_same_v<Result, STATUS>) {
    if (isStatus && kind != Kind::Nothing) {
      const STATUS flags = kind == Kind::Flagged ? 0xC000 : 0;
      return static_cast<STATUS>(ERR_MEMORY | flags);
    }
  }
  return Result();
}

// What a close call that fails tells of the handle: somebody has tried.
template <auto Pointer, typename First>
void noteTry(First first) {
  if constexpr (same<Pointer, &KO_NSFDbClose>) {
    if (const auto database = state.databases.find(first); database != state.databases.end()) {
      database->second.tried = true;
    }
  } else if constexpr (same<Pointer, &KO_NSFNoteClose>) {
    state.notes[first] = true;
  }
}

// What a call that was carried out has opened or closed.
template <auto Pointer, typename Arguments>
void keepBooks(const Arguments& arguments) {
  if constexpr (same<Pointer, &KO_NSFDbOpen>) {
    state.databases[*std::get<1>(arguments)] = {std::get<0>(arguments), false};
    if (state.active) {
      state.opened.emplace_back(std::get<0>(arguments));
    }
  } else if constexpr (same<Pointer, &KO_NSFDbOpenExtended>) {
    state.databases[*std::get<4>(arguments)] = {std::get<0>(arguments), false};
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

// An output that comes out as 0, and what gives back what the runtime had put there.
struct Output {
  std::string_view function;
  int at;
  void (*giveBack)(const void* handle) = nullptr;
};
const Output* findOutput(Kind kind, std::string_view function);

template <typename Type>
void blank(Type /*in*/, const Output* /*output*/) {}
template <typename Type>
void blank(Type* out, const Output* output) {
  if constexpr (!std::is_const_v<Type> && !std::is_void_v<Type> && !std::is_function_v<Type>) {
    const Type none = {};
    if (output == nullptr || out == nullptr || std::memcmp(out, &none, sizeof none) == 0) {
      return;
    }
    if (output->giveBack != nullptr) {
      output->giveBack(out);
    }
    *out = none;
  }
}

template <auto Pointer>
struct Wrapped;

template <typename Result, typename... Parameters, Result (**Pointer)(Parameters...)>
struct Wrapped<Pointer> {
  static inline Result (*real)(Parameters...) = nullptr;
  static inline const char* name = "";
  static inline bool isStatus = false;
  static inline Release release = Release::No;

  static Result enter(Parameters... parameters) {
    const std::tuple<Parameters...> arguments(parameters...);
    const Output* output = nullptr;
    if (state.active && state.watcher != nullptr) {
      state.watcher();
    }
    if (state.active && failsNow(release)) {
      const Kind kind = kindNow();
      if (kind == Kind::NoHandle || kind == Kind::NoLength) {
        output = findOutput(kind, name);
      } else {
        if constexpr (sizeof...(Parameters) != 0) {
          noteTry<Pointer>(std::get<0>(arguments));
        }
        // Nobody can see that such a success is none: it is one.
        const bool silent = kind == Kind::Nothing && (same<Pointer, &KO_NSFItemAppendObject> ||
                                                      same<Pointer, &KO_NotesInitThread> ||
                                                      same<Pointer, &KO_NotesInitExtended>);
        return fail<Result>(name, kind, isStatus, silent || release == Release::Carried,
                            [&] { real(parameters...); });
      }
    }
    if constexpr (same<Pointer, &KO_NSFDbClose>) {
      closeTriedNotes();
    }
    if constexpr (std::is_void_v<Result>) {
      real(parameters...);
    } else {
      const Result result = real(parameters...);
      if (output != nullptr && (!isStatus || result == Result())) {
        countFault(name);
        int at = 0;
        (blank(parameters, at++ == output->at ? output : nullptr), ...);
      }
      if (isStatus && result == Result() && (output == nullptr || output->giveBack == nullptr)) {
        keepBooks<Pointer>(arguments);
      }
      return result;
    }
  }

  static void install(const char* itsName, bool hasStatus) {
    name = itsName;
    isStatus = hasStatus;
    release = releases(itsName);
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

template <auto Pointer, typename Handle>
void giveBack(const void* handle) {
  Wrapped<Pointer>::real(*static_cast<const Handle*>(handle));
}
constexpr auto freeMemory = &giveBack<&KO_OSMemFree, DHANDLE>;
constexpr auto destroyTable = &giveBack<&KO_IDDestroyTable, DHANDLE>;
constexpr auto closeDatabase = &giveBack<&KO_NSFDbClose, DBHANDLE>;
constexpr auto closeNote = &giveBack<&KO_NSFNoteClose, NOTEHANDLE>;

void closeStream(const void* handle) {
  Wrapped<&KO_NSFMimePartCloseStream>::real(*static_cast<const DHANDLE*>(handle), FALSE);
}

constexpr Output handles[] = {
    {"DXLCreateExporter", 0, &giveBack<&KO_DXLDeleteExporter, DXLEXPORTHANDLE>},
    {"DXLCreateImporter", 0, &giveBack<&KO_DXLDeleteImporter, DXLIMPORTHANDLE>},
    {"IDCreateTable", 1, destroyTable},
    {"IDTableCopy", 1, destroyTable},
    {"NAMELookup2", 8, freeMemory},
    {"NIFFindDesignNoteExt", 4},
    {"NIFOpenCollection", 5, &giveBack<&KO_NIFCloseCollection, HCOLLECTION>},
    {"NIFReadEntries", 7, freeMemory},
    {"NSFComputeEvaluate", 2, freeMemory},
    {"NSFComputeStart", 2, &giveBack<&KO_NSFComputeStop, HCOMPUTE>},
    {"NSFDbGetModifiedNoteTable", 4, destroyTable},
    {"NSFDbGetNoteInfoByUNID", 2},
    {"NSFDbGetUnreadNoteTable", 4, destroyTable},
    {"NSFDbOpen", 1, closeDatabase},
    {"NSFDbOpenExtended", 4, closeDatabase},
    {"NSFDbReadACL", 1, freeMemory},
    {"NSFDbReadObject", 4, freeMemory},
    {"NSFFormulaCompile", 4, freeMemory},
    {"NSFItemInfo", 5},
    {"NSFLocateSummaryValue", 2},
    {"NSFMimePartCreateStream", 5, &closeStream},
    {"NSFNoteCreate", 1, closeNote},
    {"NSFNoteOpen", 3, closeNote},
    {"NSFNoteOpenByUNID", 3, closeNote},
    {"NSFNoteOpenExt", 3, closeNote},
    {"NSFRemoteConsole", 2, freeMemory},
    {"OSMemAlloc", 2, freeMemory}};

constexpr Output lengths[] = {
    {"ConvertTIMEDATEToText", 5}, {"DNCanonicalize", 5},     {"MailGetMessageAttachmentInfo", 4},
    {"MailGetMessageItem", 4},    {"NAMELocateItem2", 3},    {"NAMELocateNextName2", 2},
    {"NIFReadEntries", 8},        {"NSFComputeEvaluate", 3}, {"NSFDbGetObjectSize", 3},
    {"NSFFormulaCompile", 5},     {"NSFItemInfo", 6},        {"NSFLocateSummaryValue", 3},
    {"NSFTranslateSpecial", 11},  {"OSMemGetSize", 1}};

const Output* findOutput(Kind kind, std::string_view function) {
  const auto find = [&](const auto& table) -> const Output* {
    const auto found = std::ranges::find(table, function, &Output::function);
    return found != std::end(table) ? found : nullptr;
  };
  return kind == Kind::NoHandle ? find(handles) : find(lengths);
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
  state.opened.clear();
  state.active = true;
}

void FaultyNotes::end() {
  state.active = false;
}

void FaultyNotes::watch(void (*watcher)()) {
  state.watcher = watcher;
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

const std::vector<std::string>& FaultyNotes::opened() const {
  return state.opened;
}

std::vector<std::string> FaultyNotes::closeWhatFailedToClose() {
  std::vector<std::string> forgotten;
  for (const auto& [note, tried] : std::exchange(state.notes, {})) {
    if (!tried) {
      forgotten.emplace_back("note");
    }
    Wrapped<&KO_NSFNoteClose>::real(note);
  }
  for (const auto& [handle, database] : std::exchange(state.databases, {})) {
    if (!database.tried) {
      forgotten.push_back(database.path);
    }
    Wrapped<&KO_NSFDbClose>::real(handle);
  }
  std::sort(forgotten.begin(), forgotten.end());
  return forgotten;
}

}  // namespace faulty
