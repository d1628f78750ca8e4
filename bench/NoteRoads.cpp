// One note: opened, asked and closed; its attachments, listed and recorded; the links of its stub.
#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "NotesDatabase.h"
#include "NotesUtilities.h"
#include "bench/Roads.h"

namespace bench {
namespace {

constexpr std::size_t blockSize = 65406;  // Of rich text.

// ---- hollow ground ----------------------------------------------------------------------------

constexpr NOTEHANDLE hollowNote = 9;
constexpr NOTEID hollowId = 0x8FA;
constexpr DHANDLE sizeMemory = 21, blockMemory = 22, formulaMemory = 23;
constexpr WORD formulaLength = 46;  // No more than `names` has.

std::size_t attachments = 0;
std::array<std::array<char, 24>, 1000> names;
char* written = nullptr;  // Where the side that runs wants what it writes to be.
DWORD writtenLength = 0;

void* lockHollow(DHANDLE memory) {
  static struct [[gnu::packed]] {
    WORD type = TYPE_NUMBER;
    NUMBER bytes = 48213;
  } size;
  if (memory == sizeMemory) return &size;
  return memory == blockMemory ? written : names.front().data();  // Any bytes are a formula.
}

void tellHollow(NOTEHANDLE /*note*/, WORD member, void* out) {
  constexpr ORIGINATORID oid = {{1, 0x257CED}, {3870000, 0x257CEC}, 3, {5, 0x257CEE}};
  if (member == _NOTE_OID) {
    std::memcpy(out, &oid, sizeof oid);
  } else if (member == _NOTE_ID) {
    std::memcpy(out, &hollowId, sizeof hollowId);
  } else {
    std::memcpy(out, &oid.SequenceTime, sizeof oid.SequenceTime);
  }
}

BOOL tellAttachment(DHANDLE /*note*/, WORD number, BLOCKID* item, char* name, DWORD* size,
                    WORD* /*attributes*/, WORD* /*host*/, TIMEDATE* created, TIMEDATE* modified) {
  if (number >= attachments) return FALSE;
  *item = {number, 0};
  std::memcpy(name, names[number].data(), names[number].size());
  if (size != nullptr) *size = 1000U + number;
  if (created != nullptr) *created = *modified = {number, 0x257CED};
  return TRUE;
}

WORD lengthOnHollow(WORD type) {
  return type == ODS_CDHOTSPOTBEGIN ? 12 : type == ODS_CDBUTTON ? 16 : type == ODS_CDTEXT ? 8 : 2;
}

void writeHollow(void* to, WORD type, const void* record, WORD /*iterations*/) {
  char*& place = *static_cast<char**>(to);
  std::memcpy(place, record, lengthOnHollow(type));
  if (type == ODS_CDHOTSPOTBEGIN) {  // The only one with padding in memory.
    std::memcpy(place + 6, &static_cast<const CDHOTSPOTBEGIN*>(record)->Flags, 6);
  }
  place += lengthOnHollow(type);
}

void bindHollowNote(std::size_t attachmentCount) {
  attachments = attachmentCount;
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::snprintf(names[i].data(), names[i].size(), "attachment-%04zu.pdf", i);
  }
  KO_NSFNoteOpen = [](DBHANDLE, NOTEID, WORD, NOTEHANDLE* note) -> STATUS {
    return *note = hollowNote, NOERROR;
  };
  KO_NSFNoteGetInfo = tellHollow;
  KO_NSFComputeEvaluate = [](auto, auto, DHANDLE* result, WORD* length, auto...) -> STATUS {
    return *result = sizeMemory, *length = sizeof(WORD) + sizeof(NUMBER), NOERROR;
  };
  KO_MailGetMessageItem = [](auto, auto, char* text, WORD, WORD* length) -> STATUS {
    constexpr std::string_view subject = "Minutes of the meeting of the second quarter";
    std::memcpy(text, subject.data(), *length = subject.size());
    return NOERROR;
  };
  KO_MailGetMessageAttachmentInfo = tellAttachment;
  KO_NSFItemSetText = [](auto, auto, const char* text, WORD length) -> STATUS {
    std::memcpy(written, text, writtenLength = length);
    return NOERROR;
  };
  KO_NSFItemAppend = [](auto, auto, auto, auto, auto, auto, DWORD length) -> STATUS {
    return writtenLength = length, NOERROR;
  };
  KO_NSFFormulaCompile = [](auto, auto, auto, auto, FORMULAHANDLE* formula, WORD* length,
                            auto...) -> STATUS {
    return *formula = formulaMemory, *length = formulaLength, NOERROR;
  };
  KO_OSMemAlloc = [](auto, auto, DHANDLE* memory) -> STATUS {
    return *memory = blockMemory, NOERROR;
  };
  KO_OSLockObject = lockHollow;
  KO_ODSLength = lengthOnHollow;
  KO_ODSWriteMemory = writeHollow;
}

// ---- what the roads have in common ------------------------------------------------------------

// A note of a database of these roads' own, in memory until it is saved.
struct NoteRoad {
  explicit NoteRoad(const Site& site, std::size_t attachmentCount = 0)
      : count(attachmentCount),
        ground(site.ground),
        database(site.partition + "/notes.nsf", site.instance) {
    if (ground == Ground::Simulated) {
      if (database.Open().IsErrorSet()) {
        database.Create();
        database.Open();
      }
      db = database.GetHandle();
      KO_NSFNoteCreate(db, &note);
    }
    document.SetNoteHandle(note);
  }

  void prepare() {
    if (ground == Ground::Hollow) bindHollowNote(count);
  }

  // What the last round has written: the value of the item.
  std::string item(std::string_view name) const {
    std::string bytes(hollow.data(), length);
    if (ground == Ground::Simulated) {
      WORD type = 0;
      BLOCKID value = {};
      DWORD size = 0;
      if (KO_NSFItemInfo(note, name.data(), static_cast<WORD>(name.size()), nullptr, &type, &value,
                         &size) != NOERROR) {
        return {};
      }
      bytes.assign(static_cast<const char*>(KO_OSLockObject(value.pool)) + value.block, size);
      KO_OSUnlockObject(value.pool);
    }
    std::uint64_t sum = 1;
    for (const char byte : bytes) sum = sum * 31 + static_cast<unsigned char>(byte);
    return done ? fmt::format("{} bytes, {:x}", bytes.size(), sum) : "";
  }

  const std::size_t count;
  const Ground ground;
  KoLNDatabase database;
  DBHANDLE db = 7;
  NOTEHANDLE note = hollowNote;
  KoLNDataDocument document;
  std::vector<char> hollow = std::vector<char>(MAXWORD);
  DWORD length = 0;
  bool done = false;
};

// The same note for all, as no two have the same times.
struct StoredNote : NoteRoad {
  explicit StoredNote(const Site& site) : NoteRoad(site) {
    static NOTEID stored = 0;
    if (ground == Ground::Hollow) return;
    if (stored == 0) {
      document.SetItemText("Subject", "Minutes of the meeting of the second quarter");
      document.Update(0);
      document.GetInfo(_NOTE_ID, &stored);
    }
    id = stored;
  }
  NOTEID id = hollowId;
};

// ---- a note that is read ----------------------------------------------------------------------

// What a host looks at before it decides on a note.
struct Note : StoredNote {
  explicit Note(const Site& site) : StoredNote(site) {
    if (ground == Ground::Hollow) return;
    utilities.InitializeFormulaComputation();
    formula = utilities.GetSizeFormulaHandle();
  }
  ~Note() {
    if (ground == Ground::Simulated) utilities.ShutdownFormulaComputation();
  }
  Note(const Note&) = delete;
  Note& operator=(const Note&) = delete;

  void library() {
    KoLNDataDocument stored(db, id);
    done = !stored.Open(0).IsErrorSet() && !stored.GetCreationTime(created).IsErrorSet() &&
           !stored.GetModifiedTime(modified).IsErrorSet() &&
           !stored.GetLastAccessedTime(accessed).IsErrorSet() &&
           !stored.GetSize(size, formula).IsErrorSet() &&
           !stored.GetSubject(subject).IsErrorSet() && !stored.Close().IsErrorSet();
  }

  void twin() {
    NOTEHANDLE stored = NULLHANDLE;
    done = false;
    if (KO_NSFNoteOpen(db, id, 0, &stored) != NOERROR) return;
    ORIGINATORID oid;
    KO_NSFNoteGetInfo(stored, _NOTE_OID, &oid);
    created = oid.Note;
    KO_NSFNoteGetInfo(stored, _NOTE_MODIFIED, &modified);
    KO_NSFNoteGetInfo(stored, _NOTE_ACCESSED, &accessed);
    char text[257];
    WORD textLength = 0;
    const bool asked = readSize(stored) && KO_MailGetMessageItem(stored, MAIL_SUBJECT_ITEM_NUM,
                                                                 text, 256, &textLength) == NOERROR;
    if (asked) subject.assign(text, textLength);
    done = KO_NSFNoteClose(stored) == NOERROR && asked;
  }

  std::string result() const {
    return done ? fmt::format("{} {} {} {} {}", created.Innards[0], modified.Innards[0],
                              accessed.Innards[0], size, subject)
                : "";
  }

  bool readSize(NOTEHANDLE stored) {
    DHANDLE memory = NULLHANDLE;
    WORD valueLength = 0;
    BOOL matches = FALSE;
    BOOL shouldDelete = FALSE;
    if (KO_NSFComputeEvaluate(formula, stored, &memory, &valueLength, nullptr, &matches,
                              &shouldDelete) != NOERROR ||
        memory == NULLHANDLE) {
      return false;
    }
    bool found = false;
    if (const auto* value = static_cast<const char*>(KO_OSLockObject(memory)); value != nullptr) {
      WORD type = 0;
      NUMBER number = 0;
      std::memcpy(&type, value, sizeof type);
      value += sizeof type + (type == TYPE_NUMBER_RANGE ? sizeof(RANGE) : 0);
      found = type == TYPE_NUMBER || type == TYPE_NUMBER_RANGE;
      if (found) std::memcpy(&number, value, sizeof number);
      size = static_cast<unsigned int>(number);
      KO_OSUnlockObject(memory);
    }
    KO_OSMemFree(memory);
    return found;
  }

  KoLNUtilities utilities;
  HCOMPUTE formula = this;  // Any will do on hollow ground.
  TIMEDATE created = {}, modified = {}, accessed = {};
  unsigned int size = 0;
  std::string subject;
};

struct OpenInfoClose : StoredNote {
  using StoredNote::StoredNote;
  void library() {
    KoLNDataDocument stored(db, id);
    done = !stored.Open(0).IsErrorSet() && !stored.GetInfo(_NOTE_ID, &told).IsErrorSet() &&
           !stored.Close().IsErrorSet();
  }
  void twin() {
    NOTEHANDLE stored = NULLHANDLE;
    done = KO_NSFNoteOpen(db, id, 0, &stored) == NOERROR;
    if (!done) return;
    KO_NSFNoteGetInfo(stored, _NOTE_ID, &told);
    done = KO_NSFNoteClose(stored) == NOERROR;
  }
  std::string result() const { return done ? std::to_string(told) : ""; }
  NOTEID told = 0;
};

// ---- attachments ------------------------------------------------------------------------------

struct Attached : NoteRoad {
  Attached(const Site& site, std::size_t attachmentCount) : NoteRoad(site, attachmentCount) {
    for (std::size_t i = 0; ground == Ground::Simulated && i < count; ++i) {
      document.SetAttachment("$FILE", site.partition + "/registry.conf",
                             fmt::format("attachment-{}.pdf", i), 0);
    }
  }
};

struct AttachmentList : Attached {
  using Attached::Attached;
  struct Plain {
    TIMEDATE created = {}, modified = {};
    DWORD size = 0;
    std::string name;
  };

  void library() {
    std::vector<ATTACHMENT> found;
    done = !document.GetAttachmentList(found).IsErrorSet();
    mine = std::move(found);
  }
  void twin() {
    std::vector<Plain> found;
    for (WORD i = 0;; ++i) {
      char name[1025] = {};
      BLOCKID block = {};
      Plain one;
      if (!KO_MailGetMessageAttachmentInfo(note, i, &block, name, &one.size, nullptr, nullptr,
                                           &one.created, &one.modified)) {
        break;
      }
      one.name = name;
      found.push_back(std::move(one));
    }
    twins = std::move(found);
    done = true;
  }

  std::string result() const {
    std::string text;
    const auto tell = [&](const auto& list) {
      for (const auto& one : list) {
        text += fmt::format("{} {} {} ", one.name, one.size, one.modified.Innards[0]);
        // On simulated ground a file is created when it is attached.
        if (ground == Ground::Hollow) text += std::to_string(one.created.Innards[0]);
      }
    };
    tell(mine);
    tell(twins);
    return done && mine.size() + twins.size() == count ? text : "";
  }
  std::vector<ATTACHMENT> mine;
  std::vector<Plain> twins;
};

struct AttachmentData : Attached {
  using Attached::Attached;
  void library() {
    written = hollow.data();
    done = !document.AddAttachmentInfo().IsErrorSet();
    length = writtenLength;
  }
  void twin() {
    written = hollow.data();
    std::string list;
    for (WORD i = 0;; ++i) {
      char name[1025] = {};
      BLOCKID block = {};
      if (!KO_MailGetMessageAttachmentInfo(note, i, &block, name, nullptr, nullptr, nullptr,
                                           nullptr, nullptr)) {
        break;
      }
      list += name;
      list += '\0';
    }
    done = KO_NSFItemSetText(note, "AttachmentData", list.data(), static_cast<WORD>(list.size())) ==
           NOERROR;
    length = writtenLength;
  }
  std::string result() const { return item("AttachmentData"); }
};

// ---- the links of a stub ----------------------------------------------------------------------

constexpr const char* url =
    "https://archive.example.com/restore?note=4F2A&replica=8525712E:0061FD30&user=a%20b";

// Rich text that grows record by record, each at an even place.
struct RichText {
  char* start;
  std::size_t used = 0;

  template <typename Record>
  bool put(WORD type, WORD size, const Record& record, const void* data, std::size_t dataLength) {
    if (KO_ODSLength(type) != size || used + size + dataLength > blockSize) return false;
    void* cursor = start + used;
    KO_ODSWriteMemory(&cursor, type, &record, 1);
    if (dataLength != 0) std::memcpy(start + used + size, data, dataLength);
    used += size + dataLength;
    used += used % 2;
    return true;
  }

  bool putBegin(WORD signature, WORD type, DWORD flags, const void* data, WORD dataLength) {
    const CDHOTSPOTBEGIN record = {
        {signature, static_cast<WORD>(12 + dataLength)}, type, flags, dataLength};
    return put(ODS_CDHOTSPOTBEGIN, 12, record, data, dataLength);
  }

  bool putEnd(BYTE signature) {
    return put(ODS_CDHOTSPOTEND, 2, CDHOTSPOTEND{{signature, 2}}, nullptr, 0);
  }
};

bool fillLink(RichText& text) {
  constexpr FONTID boldUnderlined = 0x0B000503;
  const std::size_t urlLength = std::strlen(url);
  char field[1024] = {};
  if (urlLength >= sizeof field) return false;
  std::memcpy(field, url, urlLength);
  const CDTEXT shown = {{SIG_CD_TEXT, static_cast<WORD>(8 + urlLength)}, boldUnderlined};
  constexpr DWORD flags =
      HOTSPOTREC_RUNFLAG_BEGIN | HOTSPOTREC_RUNFLAG_NOBORDER | HOTSPOTREC_RUNFLAG_INOTES;
  return text.putBegin(SIG_CD_V4HOTSPOTBEGIN, HOTSPOTREC_TYPE_HOTLINK, flags, field,
                       sizeof field) &&
         text.put(ODS_CDTEXT, 8, shown, url, urlLength) && text.putEnd(SIG_CD_V4HOTSPOTEND);
}

bool fillFormula(RichText& text) {
  std::string source = "@URLOpen(\"";
  for (const char* byte = url; *byte != '\0'; ++byte) {
    if (static_cast<unsigned char>(*byte) < ' ') return false;
    if (*byte == '"' || *byte == '\\') source += '\\';
    source += *byte;
  }
  source += "\")";
  FORMULAHANDLE formula = NULLHANDLE;
  STATUS error = NOERROR;
  WORD length = 0, line = 0, column = 0, offset = 0, errorLength = 0;
  if (KO_NSFFormulaCompile(nullptr, 0, source.data(), static_cast<WORD>(source.size()), &formula,
                           &length, &error, &line, &column, &offset, &errorLength) != NOERROR) {
    return false;
  }
  constexpr DWORD flags = HOTSPOTREC_RUNFLAG_BEGIN | HOTSPOTREC_RUNFLAG_NOBORDER;
  const void* const code = KO_OSLockObject(formula);
  const bool done = code != nullptr &&
                    text.putBegin(SIG_CD_HOTSPOTBEGIN, HOTSPOTREC_TYPE_BUTTON, flags, code, length);
  if (code != nullptr) KO_OSUnlockObject(formula);
  KO_OSMemFree(formula);
  return done;
}

bool fillButton(RichText& text) {
  constexpr std::string_view label = "Quick Look";
  const CDBUTTON button = {
      {SIG_CD_BUTTON, static_cast<WORD>(16 + label.size())}, 0x1000, 2880, 0, 1, 0x0B000003};
  return fillFormula(text) && text.put(ODS_CDBUTTON, 16, button, label.data(), label.size()) &&
         text.putEnd(SIG_CD_HOTSPOTEND);
}

// Appends one link, in place of that of the round before.
template <KoLNError (KoLNDataDocument::*Insert)(const char*), bool (*Fill)(RichText&)>
struct StubLink : NoteRoad {
  explicit StubLink(const Site& site) : NoteRoad(site) {}

  void library() {
    written = hollow.data();
    KO_NSFItemDelete(note, "Body", 4);
    done = !(document.*Insert)(url).IsErrorSet();
    length = writtenLength;
  }
  void twin() {
    written = hollow.data();
    KO_NSFItemDelete(note, "Body", 4);
    done = append();
    length = writtenLength;
  }
  std::string result() const { return item("Body"); }

  bool append() const {
    DHANDLE memory = NULLHANDLE;
    if (KO_OSMemAlloc(0, blockSize, &memory) != NOERROR) return false;
    RichText text = {static_cast<char*>(KO_OSLockObject(memory))};
    bool appended = false;
    if (text.start != nullptr) {
      std::memset(text.start, 0, blockSize);
      appended = Fill(text) && KO_NSFItemAppend(note, 0, "Body", 4, TYPE_COMPOSITE, text.start,
                                                static_cast<DWORD>(text.used)) == NOERROR;
      KO_OSUnlockObject(memory);
    }
    KO_OSMemFree(memory);
    return appended;
  }
};

}  // namespace

void addNoteRoads(Pairs& pairs, const Site& site) {
  const bool hollow = site.ground == Ground::Hollow;
  const unsigned rounds = hollow ? 100 : 20;
  const auto add = [&]<typename Road>(const char* name, Limits limits) {
    pairs.push_back(makePair<Road>(name, 0, site.ground, rounds, limits, site));
  };
  add.template operator()<Note>("note", {});
  add.template operator()<OpenInfoClose>("note-open-info-close", {0, 1.03, 150, true});
  using Url = StubLink<&KoLNDataDocument::InsertURL, fillLink>;
  add.template operator()<Url>("stub-url", {});
  using Button = StubLink<&KoLNDataDocument::InsertButton, fillButton>;
  add.template operator()<Button>("stub-button", {});
  for (const std::size_t n : {1, 10, 1000}) {
    if (n > 10 && !hollow) continue;
    const unsigned few = n > 10 ? 5 : rounds;
    pairs.push_back(makePair<AttachmentList>("attachment-list", n, site.ground, few, {}, site, n));
    pairs.push_back(makePair<AttachmentData>("attachment-data", n, site.ground, few,
                                             {1.00, 1.03, 0, false}, site, n));
  }
}

}  // namespace bench
