#include "NoteFacts.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <string_view>
#include <utility>

#include "NotesFailure.h"
#include "StagedFile.h"
#include "Translation.h"

namespace host {
namespace {

void require(const KoLNError& error, const char* what) {
  if (isError(error)) {
    throw failureOf(what, error);
  }
}

struct WantedItem {
  std::string_view name;
  std::optional<std::string> text;
};

// Called by the runtime, which knows no exceptions. The value begins with its type.
STATUS onItem(WORD /*unused*/, WORD /*flags*/, char* name, WORD nameLength, void* value,
              DWORD length, void* context) {
  auto& wanted = *static_cast<WantedItem*>(context);
  WORD type = 0;
  if (wanted.text || nameLength != wanted.name.size() || length < sizeof type ||
      strncasecmp(name, wanted.name.data(), nameLength) != 0) {
    return NOERROR;
  }
  std::memcpy(&type, value, sizeof type);
  if (type == TYPE_TEXT) {
    try {
      wanted.text.emplace(static_cast<const char*>(value) + sizeof type, length - sizeof type);
    } catch (...) {
      return ERR_MEMORY;
    }
  }
  return NOERROR;
}

struct FoundNotes {
  std::vector<NOTEID> ids;
  std::exception_ptr broken;
};

STATUS onNote(void* context, SEARCH_MATCH* match, ITEM_TABLE* /*summary*/) {
  auto& found = *static_cast<FoundNotes*>(context);
  SEARCH_MATCH note;  // The runtime's own may lie at any address.
  std::memcpy(&note, match, sizeof note);
  if ((note.SERetFlags & SE_FMATCH) == 0) {
    return NOERROR;
  }
  try {
    found.ids.push_back(note.ID.NoteID);
    return NOERROR;
  } catch (...) {
    found.broken = std::current_exception();
    return ERR_CANCEL;
  }
}

}  // namespace

bool openAsStored(KoLNDocument& note) {
  const KoLNError error = note.OpenExt(OPEN_RAW_MIME);
  if ((error.GetErrorCode() & ERR_MASK) == ERR_NOTE_DELETED) {
    return false;
  }
  require(error, "it cannot be opened");
  return true;
}

SizeFormula::SizeFormula() {
  require(utilities_.InitializeFormulaComputation(), "notes cannot be measured");
}

SizeFormula::~SizeFormula() {
  static_cast<void>(utilities_.ShutdownFormulaComputation());  // Nothing depends on it any more.
}

unsigned int SizeFormula::sizeOf(KoLNDocument& note) {
  unsigned int size = 0;
  require(note.GetSize(size, utilities_.GetSizeFormulaHandle()), "its size cannot be told");
  return size;
}

NoteFacts factsOf(KoLNDataDocument& note, SizeFormula& formula) {
  NoteFacts facts;
  require(note.GetInfo(_NOTE_OID, &facts.identity), "its identity cannot be told");
  facts.unid = textFromUnid({facts.identity.File, facts.identity.Note});
  std::string subject;
  require(note.GetSubject(subject), "its subject cannot be read");
  facts.subject = utf8FromLmbcs(subject);
  require(note.GetAgeInSeconds(facts.age, 1), "its age cannot be told");
  facts.size = formula.sizeOf(note);
  DbMigrateCriteria details;
  require(note.GetMigrationDetails(details), "its attachments cannot be told");
  facts.attachments = std::move(details.Attachments);
  bool migrated = false;
  require(note.IsMigratedMessage(migrated), "whether it is a stub cannot be told");
  if (migrated) {
    facts.stub = storedText(note, stubItem).value_or(std::string());
  }
  return facts;
}

std::optional<std::string> storedText(KoLNDocument& note, const char* item) {
  WantedItem wanted{item, std::nullopt};
  require(note.ScanItems(onItem, &wanted), "its items cannot be read");
  return std::move(wanted.text);
}

std::vector<NOTEID> documentsOf(KoLNDatabase& database) {
  FoundNotes found;
  NSFSEARCHPROC routine = onNote;
  TIMEDATE until = {};
  const KoLNError error = database.Search(NULLHANDLE, nullptr, 0, NOTE_CLASS_DOCUMENT, nullptr,
                                          &routine, &found, &until);
  if (found.broken) {
    std::rethrow_exception(found.broken);
  }
  require(error, "the notes cannot be listed");
  if (until.Innards[0] == 0 &&
      until.Innards[1] == 0) {  // A search that broke down records nothing.
    throw Failure(ExitCode::Failed,
                  "the search for notes did not come to its end; --debug-log stderr shows why");
  }
  std::sort(found.ids.begin(), found.ids.end());
  return std::move(found.ids);
}

std::optional<NOTEID> idOf(KoLNDatabase& database, const std::string& unid) {
  KoLNDocument note(database.GetHandle(), 0, unidFromText(unid));
  const KoLNError error = note.OpenByUNID(0);
  const STATUS code = error.GetErrorCode() & ERR_MASK;
  if (code == ERR_NOTE_DELETED || code == ERR_NOT_FOUND) {
    return std::nullopt;
  }
  require(error, "it cannot be opened");
  NOTEID id = 0;
  require(note.GetInfo(_NOTE_ID, &id), "its ID cannot be told");
  return id;
}

}  // namespace host
