// NSFSearch over the notes of a database.
//
// Formulas are not evaluated: a search takes none at all or the constant that selects everything,
// any other one is refused.
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "Databases.h"
#include "Export.h"
#include "NoteTables.h"
#include "Search.h"
#include "Status.h"
#include "SummaryBuffer.h"

namespace simulator {

namespace {

// Beside these there are bits that would change what is found, in a way that is not known here. A
// session's user may read every note, and no note is abridged.
constexpr WORD KnownFlags = SEARCH_ALL_VERSIONS | SEARCH_SUMMARY | SEARCH_ALLPRIVS |
                            SEARCH_SESSION_USERNAME | SEARCH_NOABSTRACTS | SEARCH_DATAONLY_FORMULA;

std::vector<BYTE> bytesOf(FORMULAHANDLE formula) {
  DWORD size = 0;
  OSMemGetSize(formula, &size);
  std::vector<BYTE> bytes(size);
  std::memcpy(bytes.data(), OSLockObject(formula), size);
  OSUnlockObject(formula);
  return bytes;
}

struct CompiledFormula {
  explicit CompiledFormula(std::string_view text) {
    WORD unused = 0;
    STATUS error = NOERROR;
    const STATUS status =
        NSFFormulaCompile(nullptr, 0, text.data(), static_cast<WORD>(text.size()), &handle, &unused,
                          &error, &unused, &unused, &unused, &unused);
    if (status != NOERROR) throw StatusError(status, "formula");
  }
  CompiledFormula(const CompiledFormula&) = delete;
  CompiledFormula& operator=(const CompiledFormula&) = delete;
  ~CompiledFormula() { OSMemFree(handle); }

  FORMULAHANDLE handle = NULLHANDLE;
};

// The usual ways to write it are known by what they compile to.
bool selectsEverything(FORMULAHANDLE formula) {
  const std::vector<BYTE> bytes = bytesOf(formula);
  for (const char* text : {"SELECT @All", "@All", "SELECT 1", "1"}) {
    if (bytesOf(CompiledFormula(text).handle) == bytes) return true;
  }
  return false;
}

struct Found {
  DBID database = {};
  std::vector<NoteHeader> notes;
};

Found findNotes(const SearchCall& call) {
  if ((call.flags & ~KnownFlags) != 0) throw StatusError(NotSupportedYet, "kind of search");
  if (call.formula != NULLHANDLE && !selectsEverything(call.formula))
    throw StatusError(NotSupportedYet, "formula");
  StoreLease store = requireStore(call.handle);
  Found found{store.id(), {}};
  TIMEDATE until = {};
  found.notes = notesUntil(store, call.mask, call.since, until);
  if (!call.since && (call.flags & SEARCH_ALL_VERSIONS) == 0)
    std::erase_if(found.notes, [](const NoteHeader& note) { return note.deleted; });
  if (call.until) *call.until = until;
  return found;
}

// A stub matches no formula; the top bit of its ID tells it from a note that does not match.
SEARCH_MATCH matchOf(const DBID& database, const NoteHeader& note) {
  SEARCH_MATCH match = {};
  match.ID = {database, note.modified, note.deleted ? note.id | RRV_DELETED : note.id};
  match.OriginatorID = note.originator;
  match.NoteClass = note.noteClass;
  match.SERetFlags = note.deleted ? SE_FNOMATCH : SE_FMATCH;
  return match;
}

// Brings the header up to date and reads the summary. False if the note was removed, or deleted
// although stubs are not asked for, since the search has found it.
bool readSummary(const SearchCall& call, NoteHeader& note, SummaryBuilder& summary) {
  StoreLease store = requireStore(call.handle);
  std::optional<NoteHeader> now = store->note(note.id);
  if (!now || (now->deleted && !note.deleted)) return false;
  note = *now;
  for (const NoteItem& item : store->summaryItems(note.id))
    summary.add(item.name, item.type, item.value.data(), item.value.size());
  return true;
}

}  // namespace

STATUS searchNotes(const SearchCall& call) {
  Found found;
  const STATUS status = statusOf([&] { found = findNotes(call); });
  if (status != NOERROR) return status;

  for (NoteHeader& note : found.notes) {
    SEARCH_MATCH match = {};
    std::vector<BYTE> summary;
    bool there = true;
    const STATUS described = statusOf([&] {
      SummaryBuilder builder;
      if (call.withSummary()) there = readSummary(call, note, builder);
      match = matchOf(found.database, note);
      if (builder.truncated()) match.SERetFlags |= SE_FTRUNCATED;
      if (call.withSummary()) summary = builder.build();
    });
    if (described != NOERROR) return described;
    if (!there) continue;
    const STATUS answer = tell(call, match, summary);
    if (answer != NOERROR) return answer;
  }
  return NOERROR;
}

}  // namespace simulator
