// Formulas, as far as hosts need them: the size of a note can be computed, a button's command can
// be compiled, and any other text becomes a formula that nobody here can compute.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "Export.h"
#include "HandleCounters.h"
#include "Handles.h"
#include "Memory.h"
#include "Notes.h"
#include "Panic.h"
#include "Status.h"
#include "Text.h"

namespace simulator {
namespace {

// ---- compiling ----------------------------------------------------------------------------------

// A compiled formula: this, then its text.
struct FormulaHeader {
  DWORD mark;
  DWORD textLength;
};
constexpr DWORD FormulaMark = 0x4D52464B;
constexpr std::size_t LongestText = MAXWORD - sizeof(FormulaHeader);

constexpr std::string_view Blanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = std::min(text.find_first_not_of(Blanks), text.size());
  const std::size_t end = text.find_last_not_of(Blanks);
  return text.substr(begin, end == std::string_view::npos ? 0 : end + 1 - begin);
}

// The first byte that does not fit; nothing if the text compiles. Of a command "@URLOpen" the first
// statement is looked at, which has one text as its argument; every other text is taken as it is.
std::optional<std::size_t> errorIn(std::string_view text) {
  if (trimmed(text).empty()) return text.size();
  constexpr std::string_view command = "@URLOpen";
  std::size_t at = 0;
  const auto skipBlanks = [&] { at = std::min(text.find_first_not_of(Blanks, at), text.size()); };
  const auto take = [&](char character) {
    const bool there = at < text.size() && text[at] == character;
    if (there) ++at;
    return there;
  };
  skipBlanks();
  if (!sameName(text.substr(at, command.size()), command)) return std::nullopt;
  at += command.size();
  skipBlanks();
  if (!take('(')) return std::nullopt;
  skipBlanks();
  if (!take('"')) return at;
  while (!take('"')) {
    if (at == text.size()) return at;
    if (!take('\\'))
      ++at;
    else if (!take('"') && !take('\\'))
      return at - 1;
  }
  skipBlanks();
  if (!take(')')) return at;
  skipBlanks();
  if (at < text.size() && text[at] != ';') return at;
  return std::nullopt;
}

std::vector<BYTE> compiled(std::string_view text) {
  const FormulaHeader header{FormulaMark, static_cast<DWORD>(text.size())};
  std::vector<BYTE> formula(sizeof header + text.size());
  std::memcpy(formula.data(), &header, sizeof header);
  std::copy(text.begin(), text.end(), formula.begin() + sizeof header);
  return formula;
}

// ---- computing ----------------------------------------------------------------------------------

struct Computation {
  const void* formula;  // the host's memory, locked while it is evaluated
};

HandleTable<Computation>& computations() {
  static HandleTable<Computation> table(HandleKind::Computation);
  return table;
}
const bool counted = registerHandleCounter("computations", [] { return computations().size(); });

DWORD handleOf(HCOMPUTE compute) {
  const auto number = reinterpret_cast<std::uintptr_t>(compute);
  return number > std::numeric_limits<DWORD>::max() ? 0 : static_cast<DWORD>(number);
}

// The text of a compiled formula. Ends the process if the host does not hold it locked; nothing if
// it is locked memory of another kind.
std::optional<std::string> textOf(const void* formula, const char* function) {
  const auto bytes = lockedBytesFrom(formula);
  if (!bytes) panic(function, "the formula is not in locked memory");
  FormulaHeader header{};
  if (bytes->size() < sizeof header) return std::nullopt;
  std::memcpy(&header, bytes->data(), sizeof header);
  const auto text = bytes->subspan(sizeof header);
  if (header.mark != FormulaMark || header.textLength > text.size()) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(text.data()), header.textLength);
}

// What the note takes in the file, its attached files included; 0 for one that is not stored. A
// note that is open with some of its items only is as large as any other.
double storedSize(const OpenNote& note) {
  if (note.header.id == 0) return 0;
  const StoreLease store = requireStore(note.database());
  const std::vector<NoteItem> items = store->items(note.header.id);
  std::uint64_t size = 0;
  for (const NoteItem& item : items)
    size += item.name.size() + sizeof item.type + item.value.size();
  for (const DWORD id : objectsOf(items)) {
    if (const std::optional<ObjectHeader> object = store->object(id)) size += object->size;
  }
  return static_cast<double>(size);
}

}  // namespace
}  // namespace simulator

using namespace simulator;

SIM_EXPORT STATUS NSFFormulaCompile(char* /*FormulaName*/, WORD FormulaNameLength,
                                    const char* FormulaText, WORD FormulaTextLength,
                                    FORMULAHANDLE* rethFormula, WORD* retFormulaLength,
                                    STATUS* retCompileError, WORD* retCompileErrorLine,
                                    WORD* retCompileErrorColumn, WORD* retCompileErrorOffset,
                                    WORD* retCompileErrorLength) {
  if (!rethFormula) return ERR_BAD_PARAM;
  *rethFormula = NULLHANDLE;
  const auto give = [](WORD* place, std::size_t value) {
    if (place) *place = static_cast<WORD>(value);
  };
  give(retFormulaLength, 0);
  give(retCompileError, NOERROR);
  for (WORD* const place :
       {retCompileErrorLine, retCompileErrorColumn, retCompileErrorOffset, retCompileErrorLength})
    give(place, 0);
  return statusOf([&] {
    if (FormulaNameLength != 0) throw StatusError(NotSupportedYet, "formula with a name");
    if (!FormulaText && FormulaTextLength != 0) throw StatusError(ERR_BAD_PARAM, "no text");
    const std::string_view text =
        FormulaText ? std::string_view(FormulaText, FormulaTextLength) : std::string_view();
    if (text.size() > LongestText) throw StatusError(ERR_SEGMENT_TOO_BIG, "formula too long");
    if (const std::optional<std::size_t> offset = errorIn(text)) {
      const std::string_view before = text.substr(0, *offset);
      const std::size_t newline = before.rfind('\n');
      const std::size_t lineStart = newline == std::string_view::npos ? 0 : newline + 1;
      give(retCompileError, ERR_FORMULA_COMPILATION);
      give(retCompileErrorLine,
           1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')));
      give(retCompileErrorColumn, 1 + *offset - lineStart);
      give(retCompileErrorOffset, *offset);
      give(retCompileErrorLength, text.size() - *offset);
      throw StatusError(ERR_FORMULA_COMPILATION, "does not compile");
    }
    const std::vector<BYTE> formula = compiled(text);
    *rethFormula = allocateBytes(formula.data(), formula.size());
    if (*rethFormula == NULLHANDLE) throw std::bad_alloc();
    give(retFormulaLength, formula.size());
  });
}

SIM_EXPORT STATUS NSFComputeStart(WORD Flags, void* lpCompiledFormula, HCOMPUTE* rethCompute) {
  if (!rethCompute || Flags != 0) return ERR_BAD_PARAM;
  *rethCompute = nullptr;
  return statusOf([&] {
    if (!lpCompiledFormula || !textOf(lpCompiledFormula, "NSFComputeStart"))
      throw StatusError(ERR_BAD_PARAM, "not a compiled formula");
    const DWORD handle =
        computations().add(std::make_shared<Computation>(Computation{lpCompiledFormula}));
    if (handle == 0) throw std::bad_alloc();
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an opaque handle, of pointer type for the caller.
    *rethCompute = reinterpret_cast<HCOMPUTE>(std::uintptr_t{handle});
  });
}

// Hosts free the formula first, so it is not looked at any more.
SIM_EXPORT STATUS NSFComputeStop(HCOMPUTE hCompute) {
  if (!computations().remove(handleOf(hCompute)))
    panic("NSFComputeStop", "no computation, or one that is stopped");
  return NOERROR;
}

SIM_EXPORT STATUS NSFComputeEvaluate(HCOMPUTE hCompute, NOTEHANDLE hNote, DHANDLE* rethResult,
                                     WORD* retResultLength, BOOL* retNoteMatchesFormula,
                                     BOOL* retNoteShouldBeDeleted, BOOL* retNoteModified) {
  constexpr const char* function = "NSFComputeEvaluate";
  if (rethResult) *rethResult = NULLHANDLE;
  if (retResultLength) *retResultLength = 0;
  for (BOOL* const place : {retNoteMatchesFormula, retNoteShouldBeDeleted, retNoteModified}) {
    if (place) *place = FALSE;
  }
  return statusOf([&] {
    const std::shared_ptr<Computation> computation = computations().find(handleOf(hCompute));
    if (!computation) panic(function, "no computation, or one that is stopped");
    const std::optional<std::string> formula = textOf(computation->formula, function);
    if (!formula) panic(function, "the formula was overwritten");
    if (!sameName(trimmed(*formula), "@DocLength"))
      throw StatusError(NotSupportedYet, "formula other than @DocLength");
    const double size = hNote == NULLHANDLE ? 0 : storedSize(*requireNote(hNote, function));
    BYTE result[sizeof(WORD) + sizeof size];
    const WORD type = TYPE_NUMBER;
    std::memcpy(result, &type, sizeof type);
    std::memcpy(result + sizeof type, &size, sizeof size);
    if (rethResult) {
      *rethResult = allocateBytes(result, sizeof result);
      if (*rethResult == NULLHANDLE) throw std::bad_alloc();
    }
    if (retResultLength) *retResultLength = sizeof result;
    if (retNoteMatchesFormula) *retNoteMatchesFormula = size != 0 ? TRUE : FALSE;
  });
}
