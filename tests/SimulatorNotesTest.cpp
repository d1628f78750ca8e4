// The open notes of the simulated Notes runtime. Linked with the runtime's own objects.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <functional>

#include "Clock.h"
#include "Control.h"
#include "Export.h"
#include "Notes.h"
#include "Status.h"
#include "Text.h"
#include "support/TemporaryDirectory.h"

namespace {

using namespace std::string_literals;
using namespace simulator;

// A runtime started on a data directory with one empty database.
class SimulatorNotes : public testing::Test {
 protected:
  SimulatorNotes() {
    writeFile(root_ + "/notes.ini", "[Notes]\n");
    std::string ini = "=" + root_ + "/notes.ini";
    char* arguments[] = {ini.data(), ini.data(), nullptr};
    EXPECT_EQ(NotesInitExtended(3, arguments), NOERROR);
    EXPECT_EQ(NSFDbCreate("a.nsf", DBCLASS_NOTEFILE, TRUE), NOERROR);
    EXPECT_EQ(NSFDbOpen("a.nsf", &db_), NOERROR);
  }
  ~SimulatorNotes() override {
    NSFDbClose(db_);
    for (const char* kind : {"notes", "memory", "locks", "mime", "computations"})
      EXPECT_EQ(SimOpenHandles(kind), 0) << kind;
    NotesTerm();
  }
  NOTEHANDLE open(NOTEID id, WORD flags = 0) const {  // a new note for ID 0
    NOTEHANDLE note = NULLHANDLE;
    EXPECT_EQ(id == 0 ? NSFNoteCreate(db_, &note) : NSFNoteOpen(db_, id, flags, &note), NOERROR);
    return note;
  }
  static NOTEID saved(NOTEHANDLE note) {
    EXPECT_EQ(NSFNoteUpdate(note, 0), NOERROR);
    const NOTEID id = contentOf(note, "test").header.id;
    return NSFNoteClose(note) == NOERROR ? id : 0;
  }
  STATUS attach(NOTEHANDLE note, const std::string& content, const std::string& name) const {
    writeFile(root_ + "/\u6771.txt", content);
    const std::string path = utf8ToLmbcs(root_ + "/\u6771.txt");
    return NSFNoteAttachFile(note, "$FILE", 5, path.c_str(), name.c_str(), 0);
  }
  static STATUS append(NOTEHANDLE note, const std::string& name, WORD type,
                       const std::string& value, WORD flags = 0) {
    return NSFItemAppend(note, flags, name.data(), static_cast<WORD>(name.size()), type,
                         value.data(), static_cast<DWORD>(value.size()));
  }
  Store store() const { return Store::open(root_ + "/a.nsf"); }  // a second connection

  const TemporaryDirectory directory_;
  const std::string root_ = directory_.path();
  DBHANDLE db_ = NULLHANDLE;
};

TEST_F(SimulatorNotes, LiveFromCreationToDeletionAndKeepTheChangesOfOthers) {
  NOTEHANDLE note = open(0);
  NSFItemSetText(note, "Subject", "one", MAXWORD);
  const NOTEID id = saved(note);
  const NoteHeader first = *store().note(id);
  UNIVERSALNOTEID unid = {first.originator.File, first.originator.Note};
  ASSERT_EQ(NSFNoteOpenByUNID(db_, &unid, 0, &note), NOERROR);
  EXPECT_EQ(NSFItemDelete(note, "subject", 7), NOERROR);
  NSFNoteClose(note);
  EXPECT_EQ(storedTime(store().note(id)->accessed), storedTime(first.accessed));
  EXPECT_EQ(store().items(id).size(), 1u) << "closed without update";
  note = open(id);
  const NOTEHANDLE late = open(id), partial = open(id, OPEN_SUMMARY);
  append(note, "Body", TYPE_COMPOSITE, "body");
  EXPECT_EQ(NSFNoteUpdate(note, UPDATE_NOREVISION), NOERROR);
  EXPECT_EQ(NSFNoteUpdate(partial, UPDATE_FORCE), PartialNote) << "would lose the body";
  EXPECT_EQ(NSFNoteUpdate(late, 0), ERR_CONFLICT);
  ORIGINATORID oid = {};
  ASSERT_EQ(NSFDbGetNoteInfo(db_, id, &oid, nullptr, nullptr), NOERROR);
  EXPECT_EQ(oid.Sequence, 1u);
  for (int i = 0; i < 1000; ++i) nextUpdateTime();
  EXPECT_LE(storedTime(nextUpdateTime()), storedTime(currentTime())) << "ahead of the clock";
  EXPECT_EQ(NSFNoteUpdate(late, UPDATE_FORCE), NOERROR);
  EXPECT_EQ(NSFNoteDelete(db_, id, 0), NOERROR);
  EXPECT_EQ(NSFNoteUpdate(late, 0), ERR_CONFLICT) << "deleted meanwhile";
  for (const NOTEHANDLE any : {note, late, partial}) NSFNoteClose(any);
  const std::pair<NOTEID, STATUS> refused[] = {
      {id, ERR_NOTE_DELETED}, {4 | RRV_DELETED, ERR_NOTE_DELETED}, {4, ERR_INVALID_NOTE}};
  for (const auto& [refusedId, status] : refused) {
    EXPECT_EQ(NSFNoteOpenExt(db_, refusedId, 0, &note), status) << refusedId;
    EXPECT_EQ(NSFDbGetNoteInfo(db_, refusedId, nullptr, nullptr, nullptr), status) << refusedId;
    EXPECT_EQ(NSFNoteDelete(db_, refusedId, 0), status) << refusedId;
  }
  // A note that comes back under its universal ID takes the place of its stub.
  note = open(0);
  NSFNoteSetInfo(note, _NOTE_OID, &oid);
  saved(note);
  EXPECT_FALSE(store().note(id).has_value());
}

TEST_F(SimulatorNotes, AttachmentsComeAndGoWithTheUpdateOfTheirNote) {
  enum Removal { Item, Note, NoteWithoutStub };
  for (const Removal removal : {Item, Note, NoteWithoutStub}) {
    NOTEHANDLE note = open(0);
    // Passed over: a description cut short, or with a name that is longer than the value.
    append(note, "$FILE", TYPE_OBJECT,
           std::string(removal == Item ? 15 : 36, '\0').replace(6, 1, "a"));
    ASSERT_EQ(attach(note, "a file", std::string(MAXPATH, 'n')), NOERROR);
    char name[MAXPATH + 1];
    const auto list = [&](WORD index) {
      return MailGetMessageAttachmentInfo(note, index, nullptr, name, nullptr, nullptr, nullptr,
                                          nullptr, nullptr);
    };
    EXPECT_TRUE(list(0) && !list(1) && name == std::string(MAXPATH, 'n'));
    const DWORD object = *objectsOf(contentOf(note, "test").items).rbegin();
    const NOTEID id = saved(note);
    note = open(id);
    attach(note, "x", "y");
    EXPECT_EQ(NSFItemDelete(note, "$file", 5), NOERROR);
    EXPECT_EQ(NSFItemDelete(note, "$FILE", 5), ERR_ITEM_NOT_FOUND) << "not all of the name";
    EXPECT_TRUE(store().object(object)) << "before the update";
    if (removal == Item) NSFNoteUpdate(note, 0);
    NSFNoteClose(note);
    EXPECT_FALSE(store().object(object + 1)) << "not in the updated note";
    if (removal == Note) NSFNoteDelete(db_, id, 0);
    if (removal == NoteWithoutStub) NSFNoteHardDelete(db_, id, 0);
    EXPECT_EQ(store().note(id).has_value(), removal != NoteWithoutStub);
    EXPECT_FALSE(store().object(object));
  }
}

TEST_F(SimulatorNotes, AProcessKilledInAnUpdateLeavesTheNoteWhole) {
  NSFDbClose(std::exchange(db_, NULLHANDLE));
  NoteHeader header;
  store().writeNote(header, {});
  for (int round = 0; round < 12; ++round) {
    const pid_t child = ::fork();
    for (int i = 0; child == 0 && i < 100'000; ++i) {
      if (db_ == NULLHANDLE) NSFDbOpen("a.nsf", &db_);
      const NOTEHANDLE note = open(header.id);
      const std::string content = std::to_string(i % 10);
      NSFItemDelete(note, "$FILE", 5);
      NSFItemSetText(note, "Content", content.c_str(), MAXWORD);
      if (attach(note, content, "a") != NOERROR || saved(note) == 0 || round == 0) ::_exit(0);
    }
    ::usleep(30'000 + 3'000 * static_cast<useconds_t>(round));
    if (round != 0) ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    const std::vector<NoteItem> items = store().items(header.id);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(store().readObject(*objectsOf(items).begin(), 0, 1), items[0].value);
  }
}

TEST_F(SimulatorNotes, ItemsAreCheckedAndReadAndMadeOfMimeStreams) {
  const std::string list = "\3\0\1\0\0\0\2\0abc"s, large(65537, 'x');
  const std::tuple<std::string, WORD, std::string, WORD, STATUS, std::string> cases[] = {
      {"Text", TYPE_TEXT, "two\0long lines"s, 0, NOERROR, "two\0lon"s},
      {"List", TYPE_TEXT_LIST, list, 0, NOERROR, "a;;bc"},
      {"Time", TYPE_TIME, "12345678", 0, NOERROR, ""},
      {"Large", TYPE_TEXT, large, 0, ERR_SEGMENT_TOO_BIG, ""},
      {"Wide", TYPE_TEXT, large.substr(32768), ITEM_SUMMARY, ERR_SUMMARY_TOO_BIG, ""},
      {"Broken", TYPE_TEXT_LIST, list + "x", 0, ERR_BAD_PARAM, ""}};
  const NOTEHANDLE note = open(0);
  for (const auto& [name, type, value, flags, status, text] : cases) {
    EXPECT_EQ(append(note, name, type, value, flags), status) << name;
    char buffer[8];
    const WORD length = NSFItemGetText(note, name.c_str(), buffer, sizeof buffer);
    EXPECT_EQ(std::string(buffer, length), text) << name;
    EXPECT_EQ(NSFItemGetTime(note, name.c_str(), nullptr), name == "Time") << name;
  }
  const auto routine = [](WORD, WORD, char* name, WORD, void* value, DWORD, void*) -> STATUS {
    return *name == 'L' ? *static_cast<WORD*>(value) : 0;
  };
  EXPECT_EQ(NSFItemScan(note, routine, nullptr), TYPE_TEXT_LIST);
  for (const BOOL update : {FALSE, TRUE}) {
    DHANDLE stream = NULLHANDLE;
    char name[] = "Body", data[] = "--b\r\nA: b\r\n\r\ntexts";
    ASSERT_EQ(NSFMimePartCreateStream(note, name, 5, MIME_PART_BODY, 3, &stream), NOERROR);
    for (char* at : {data, data + 9}) EXPECT_EQ(NSFMimePartAppendStream(stream, at, 9), NOERROR);
    EXPECT_EQ(NSFMimePartCloseStream(stream, update), NOERROR);
  }
  const NoteItem part = contentOf(note, "test").items.back();
  EXPECT_EQ(part.name + std::string(part.value.begin(), part.value.end()),
            "Body\2\0\3\0\0\0\2\0\x12\0\5\0\x8\0\0\0\0\0\0\0--b\r\nA: b\r\n\r\ntexts"s);
  NSFNoteClose(note);
}

TEST_F(SimulatorNotes, BlocksAndHandlesAreUsedAsTheyMay) {
  NOTEHANDLE note = open(0);
  BLOCKID block = {NULLHANDLE, 0};
  OSMemAlloc(0, 8, &block.pool);
  std::memcpy(OSLockObject(block.pool), "\3\0\1\0\0\0\0\0", 8);
  EXPECT_EQ(NSFItemAppendObject(note, 0, "A", 1, block, 8, TRUE), ERR_BAD_PARAM) << "locked";
  OSUnlockObject(block.pool);
  EXPECT_EQ(NSFItemAppendObject(note, 0, "A", 1, block, 8, TRUE), NOERROR);
  EXPECT_EQ(SimOpenHandles("memory"), 0) << "the note's";
  ASSERT_EQ(NSFItemInfo(note, nullptr, 0, nullptr, nullptr, &block, nullptr), NOERROR);
  const auto* const value = static_cast<BYTE*>(OSLockObject(block.pool)) + block.block;
  EXPECT_TRUE(block.block != 0 && std::memcmp(value, "\3\0\1\0\0\0\0\0", 8) == 0);
  EXPECT_DEATH(NSFItemDelete(note, "A", 1), "NSFItemDelete.*locked");
  EXPECT_DEATH(NSFNoteClose(note), "NSFNoteClose.*locked");
  ASSERT_EQ(NSFItemInfo(note, "a", 1, nullptr, nullptr, &block, nullptr), NOERROR);
  OSUnlockObject(block.pool);  // ends the process if it is another block than before
  EXPECT_DEATH(OSMemFree(block.pool), "belongs to an open note");
  EXPECT_DEATH((NSFDbClose(db_), NSFNoteUpdate(note, 0)), "database that is closed");
  NSFNoteClose(note);
  EXPECT_DEATH(OSLockObject(block.pool), "freed");
  EXPECT_DEATH(NSFNoteClose(note), "PANIC: NSFNoteClose");
  EXPECT_DEATH(NSFItemGetText(NULLHANDLE, "A", nullptr, 0), "null");
  EXPECT_DEATH(NSFComputeStop(nullptr), "PANIC: NSFComputeStop");
  EXPECT_DEATH(NSFMimePartCloseStream(block.pool, FALSE), "no open MIME stream");
}

// Every function that takes a handle, with handles of all other kinds, and its own when that is
// closed. What a note or a collection is of must be open too.
TEST_F(SimulatorNotes, AHandleIsUsedAsWhatItIsAndWhileItIsOpen) {
  enum { Database, Memory, Table, Stream, Note, View, Exporter, Importer, Computing, Kinds };
  DWORD handles[Kinds] = {db_};
  char name[] = "Body";
  BYTE text[8] = {};
  HCOLLECTION view = 0;
  HCOMPUTE computing = nullptr;
  DHANDLE formula = NULLHANDLE;
  handles[Note] = open(0);
  ASSERT_EQ(OSMemAlloc(0, 8, &handles[Memory]) + IDCreateTable(0, &handles[Table]), NOERROR);
  ASSERT_EQ(NSFMimePartCreateStream(handles[Note], name, 4, MIME_PART_BODY, 0, &handles[Stream]),
            NOERROR);
  ASSERT_EQ(NIFOpenCollection(db_, db_, NOTE_ID_SPECIAL | NOTE_CLASS_DESIGN, 0, NULLHANDLE, &view,
                              nullptr, nullptr, nullptr, nullptr),
            NOERROR);
  ASSERT_EQ(DXLCreateExporter(&handles[Exporter]) + DXLCreateImporter(&handles[Importer]), NOERROR);
  ASSERT_EQ(NSFFormulaCompile(nullptr, 0, "@DocLength", 10, &formula, nullptr, nullptr, nullptr,
                              nullptr, nullptr, nullptr),
            NOERROR);
  ASSERT_EQ(NSFComputeStart(0, OSLockObject(formula), &computing), NOERROR);
  handles[View] = view;
  handles[Computing] = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(computing));

  const auto toCompute = [](DWORD handle) {
    return reinterpret_cast<HCOMPUTE>(std::uintptr_t{handle});
  };
  const struct {
    int kind;
    const char* function;
    std::function<void(DWORD)> call;
  } uses[] = {
      {Memory, "OSLockObject", [](DWORD h) { OSLockObject(h); }},
      {Memory, "OSMemFree", OSMemFree},
      {Table, "IDEntries", IDEntries},
      {Stream, "NSFMimePartAppendStream", [&](DWORD h) { NSFMimePartAppendStream(h, name, 4); }},
      {Stream, "NSFMimePartCloseStream", [](DWORD h) { NSFMimePartCloseStream(h, FALSE); }},
      {Note, "NSFItemSetText", [](DWORD h) { NSFItemSetText(h, "A", "a", 1); }},
      {Note, "NSFItemGetText", [](DWORD h) { NSFItemGetText(h, "A", nullptr, 0); }},
      {Note, "NSFNoteGetInfo", [&](DWORD h) { NSFNoteGetInfo(h, _NOTE_ID, text); }},
      {Note, "NSFNoteUpdate", [](DWORD h) { NSFNoteUpdate(h, 0); }},
      {Note, "NSFNoteClose", NSFNoteClose},
      {View, "NIFReadEntries",
       [](DWORD h) {
         NIFReadEntries(static_cast<HCOLLECTION>(h), nullptr, 0, 0, 0, 0, 0, nullptr, nullptr,
                        nullptr, nullptr, nullptr);
       }},
      {View, "NIFCloseCollection",
       [](DWORD h) { NIFCloseCollection(static_cast<HCOLLECTION>(h)); }},
      {Exporter, "DXLSetExporterProperty",
       [&](DWORD h) { DXLSetExporterProperty(h, eDxlExportCharset, text); }},
      {Exporter, "DXLDeleteExporter", DXLDeleteExporter},
      {Importer, "DXLSetImporterProperty",
       [&](DWORD h) { DXLSetImporterProperty(h, iACLImportOption, text); }},
      {Importer, "DXLDeleteImporter", DXLDeleteImporter},
      {Computing, "NSFComputeEvaluate",
       [&](DWORD h) { NSFComputeEvaluate(toCompute(h), 0, 0, 0, 0, 0, 0); }},
      {Computing, "NSFComputeStop", [&](DWORD h) { NSFComputeStop(toCompute(h)); }}};
  for (const auto& use : uses) {
    for (int kind = 0; kind < Kinds; ++kind) {
      if (kind == use.kind) continue;
      EXPECT_DEATH(use.call(handles[kind]), "PANIC: "s + use.function) << kind;
    }
    if (use.kind == Note || use.kind == View) {
      EXPECT_DEATH((NSFDbClose(db_), use.call(handles[use.kind])),
                   "PANIC: "s + use.function + ": .*database that is closed");
    }
  }
  for (int kind = Memory; kind < Kinds; ++kind) {
    EXPECT_EQ(NSFDbClose(handles[kind]), ERR_BAD_PARAM) << kind;
  }

  OSUnlockObject(formula);
  IDDestroyTable(handles[Table]);
  for (const char* last :
       {"OSMemFree", "NSFMimePartCloseStream", "NSFNoteClose", "NIFCloseCollection",
        "DXLDeleteExporter", "DXLDeleteImporter", "NSFComputeStop"}) {
    for (const auto& use : uses) {
      if (use.function == last) use.call(handles[use.kind]);
    }
  }
  OSMemFree(formula);
  for (const auto& use : uses) {
    EXPECT_DEATH(use.call(handles[use.kind]), "PANIC: "s + use.function);
  }
}

TEST_F(SimulatorNotes, FormulasCompileAndCompute) {
  DHANDLE formula = NULLHANDLE, result = NULLHANDLE;
  using Case = std::pair<std::string, WORD>;  // a text, and where it does not fit
  for (const auto& [text, error] :
       {Case{R"(@URLOpen("a\"b\\"))", 0}, Case{"\n@urlopen(\"a)", 13},
        Case{R"(@URLOpen("a"b"))", 12}, Case{R"(@URLOpen("\x"))", 10}, Case{"@DocLength", 0}}) {
    if (formula != NULLHANDLE) OSMemFree(formula);
    WORD length = 0, line = 9, offset = 9;
    const STATUS status =
        NSFFormulaCompile(nullptr, 0, text.data(), text.size() & MAXWORD, &formula, &length,
                          nullptr, &line, nullptr, &offset, nullptr);
    EXPECT_EQ(status, error == 0 ? NOERROR : ERR_FORMULA_COMPILATION);
    EXPECT_TRUE(offset == error && line == (error == 0 ? 0 : error == 13 ? 2 : 1)) << text;
  }
  NOTEHANDLE note = open(0);
  attach(note, std::string(1000, 'x'), "a");
  note = open(saved(note), OPEN_SUMMARY);
  HCOMPUTE compute = nullptr;
  ASSERT_EQ(NSFComputeStart(0, OSLockObject(formula), &compute), NOERROR);
  const auto evaluate = [&](DHANDLE* to) {
    return NSFComputeEvaluate(compute, note, to, nullptr, nullptr, nullptr, nullptr);
  };
  ASSERT_EQ(evaluate(&result), NOERROR);
  NUMBER size = 0;
  std::memcpy(&size, static_cast<BYTE*>(OSLockObject(result)) + sizeof(WORD), sizeof size);
  EXPECT_TRUE(size > 1000 && size < 1200) << size;
  for (const DHANDLE any : {result, formula}) OSUnlockObject(any), OSMemFree(any);
  EXPECT_DEATH(evaluate(nullptr), "not in locked memory");
  EXPECT_EQ(NSFComputeStop(compute), NOERROR);
  NSFNoteClose(note);
}

}  // namespace
