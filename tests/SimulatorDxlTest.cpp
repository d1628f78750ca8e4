// DXL of the simulated Notes runtime: what is exported is well-formed and imports to the same note;
// what is no DXL changes nothing.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <map>
#include <pugixml.hpp>
#include <random>

#include "Clock.h"
#include "Control.h"
#include "Export.h"
#include "Status.h"
#include "Store.h"
#include "support/TemporaryDirectory.h"

namespace {

using namespace std::string_literals;
using namespace simulator;

template <typename... Values>
std::string raw(const Values&... values) {
  return (std::string(reinterpret_cast<const char*>(&values), sizeof values) + ... + "");
}
NoteItem item(const std::string& name, WORD type, const std::string& value, WORD flags = 0) {
  return {name, flags, type, {value.begin(), value.end()}};
}
std::string replaced(std::string text, const std::string& from, const std::string& to) {
  EXPECT_NE(text.find(from), std::string::npos) << from;
  return text.replace(text.find(from), from.size(), to);
}

// The routines of a host and what they work on.
struct Host {
  std::string text;
  std::size_t at = 0;
  DWORD piece = 1000;  // what the reader gives at once
  bool throws = false;

  static void write(const BYTE* bytes, DWORD size, void* host) {
    auto& self = *static_cast<Host*>(host);
    if (self.throws) throw std::bad_alloc();
    EXPECT_TRUE(size > 0 && size <= 32768) << size;
    self.text.append(reinterpret_cast<const char*>(bytes), size);
  }
  static DWORD read(BYTE* buffer, DWORD room, void* host) {
    auto& self = *static_cast<Host*>(host);
    if (self.throws) throw std::bad_alloc();
    if (self.piece > room) return self.piece;
    const auto size = self.text.copy(reinterpret_cast<char*>(buffer), self.piece, self.at);
    self.at += size;
    return static_cast<DWORD>(size);
  }
};

class SimulatorDxl : public testing::Test {
 protected:
  SimulatorDxl() {
    writeFile(root_ + "/notes.ini", "[Notes]\n");
    std::string ini = "=" + root_ + "/notes.ini";
    char* arguments[] = {ini.data(), ini.data(), nullptr};
    EXPECT_EQ(NotesInitExtended(3, arguments), NOERROR);
    EXPECT_EQ(NSFDbCreate("a.nsf", DBCLASS_NOTEFILE, TRUE), NOERROR);
    EXPECT_EQ(NSFDbOpen("a.nsf", &db_), NOERROR);
    EXPECT_EQ(DXLCreateExporter(&exporter_), NOERROR);
    EXPECT_EQ(DXLCreateImporter(&importer_), NOERROR);
  }
  ~SimulatorDxl() override {
    NSFDbClose(db_);
    DXLDeleteExporter(exporter_);
    DXLDeleteImporter(importer_);
    for (const char* kind : {"exporters", "importers", "notes"})
      EXPECT_EQ(SimOpenHandles(kind), 0) << kind;
    NotesTerm();
  }
  Store store() const { return Store::open(root_ + "/a.nsf"); }

  NOTEID write(std::vector<NoteItem> items, WORD noteClass = NOTE_CLASS_DOCUMENT) {
    NoteHeader header;
    header.noteClass = noteClass;
    header.originator = {{{noteClass, 0x87654321}}, {{4953025, 0x85258AD2}}, 7, {{1, 0x65258AD3}}};
    header.modified = {{8639999, 0x00258AD4}};
    header.accessed = {{ALLDAY, 0x00258AD5}};
    header.flags = NOTE_FLAG_READONLY;
    header.parent = parent_;
    store().writeNote(header, items);
    return header.id;
  }
  std::string exported(NOTEID id, STATUS status = NOERROR, WORD flags = 0) {
    NOTEHANDLE note = NULLHANDLE;
    Host host;
    EXPECT_EQ(NSFNoteOpen(db_, id, flags, &note), NOERROR);
    EXPECT_EQ(DXLExportNote(exporter_, Host::write, note, &host), status);
    EXPECT_EQ(NSFNoteClose(note), NOERROR);
    return host.text;
  }
  STATUS import(const std::string& text) {
    Host host{text};
    return DXLImport(importer_, Host::read, db_, &host);
  }
  STATUS setImport(int key, DWORD value) {
    return DXLSetImporterProperty(importer_, static_cast<DXL_IMPORT_PROPERTY>(key), &value);
  }
  STATUS setExport(int key, DWORD value) {
    return DXLSetExporterProperty(exporter_, static_cast<DXL_EXPORT_PROPERTY>(key), &value);
  }
  // Everything of the notes but the numbers and times that are new after an import.
  std::string dump() const {
    Store all = store();
    std::string text;
    std::vector<NoteHeader> notes = all.notes(NOTE_CLASS_DOCUMENT);
    for (const NoteHeader& note : all.notes(NOTE_CLASS_VIEW)) notes.push_back(note);
    for (const NoteHeader& note : notes) {
      text += raw(note.noteClass, note.originator, note.accessed, note.flags);
      for (NoteItem& one : all.items(note.id)) {
        DWORD id = 0;
        if (one.type == TYPE_OBJECT) std::memcpy(&id, one.value.data() + 2, sizeof id);
        if (id != 0) std::memset(one.value.data() + 2, 1, sizeof id);
        const auto bytes = id ? all.readObject(id, 0, all.object(id)->size) : std::vector<BYTE>();
        text += one.name + raw(one.type, one.flags, one.value.size(), bytes.size());
        text += std::string(one.value.begin(), one.value.end());
        text += std::string(bytes.begin(), bytes.end());
      }
    }
    return text;
  }
  std::string file(const std::string& name, std::size_t size, WORD type = OBJECT_FILE) const {
    std::vector<BYTE> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<BYTE>(i * i >> 3);
    const DWORD id = store().addObject({NOTE_CLASS_DOCUMENT, 3, static_cast<DWORD>(size)});
    store().writeObject(id, 0, bytes);
    return raw(type, id, static_cast<WORD>(name.size()), WORD{1}, WORD{2}, WORD{3}, WORD{4}) +
           raw(DWORD{7}, TIMEDATE{{5, 6}}, currentTime()) + name;
  }

  const TemporaryDirectory directory_;
  const std::string root_ = directory_.path();
  DBHANDLE db_ = NULLHANDLE;
  DXLEXPORTHANDLE exporter_ = NULLHANDLE;
  DXLIMPORTHANDLE importer_ = NULLHANDLE;
  NOTEID parent_ = 0;
};
using SimulatorDxlDeathTest = SimulatorDxl;

TEST_F(SimulatorDxl, ComesBackByteForByte) {
  constexpr WORD one = 1;
  std::vector<NoteItem> items;
  for (WORD type = 0; type <= TYPE_USERID;
       type = (type & 0xFF) == 25 ? (type | 0xFF) + 1 : type + 1)
    if (type < 26 || (type & 0xFF) <= (type >> 8 == 5 ? 2 : type >> 8 == 3 || type >> 8 == 4))
      items.push_back(item("Type", type, "\x05\0\0\0\0\0\xFF"s, type));  // fits few of them
  for (const std::string& text :
       {""s, " "s, "\t\r\n \r"s, "a\0b\0\0"s, "<&>\"']]>--"s, "Gr\x81\xE1"s, "\x0F\x21"s,
        "\x01\x82"s, "\x14\xFF\xFE"s, "\x14\xD8\x3D\x14\xF6\xDE"s, "\x14\xD8\x3D"s, "\x10\x81"s,
        "\x14"s, "\x1F"s, "\x14\0A"s, std::string(65535, 'x')}) {
    items.push_back(item("Text", TYPE_TEXT, text, ITEM_SIGN | ITEM_READERS | 0x1000));
    if (text.empty() || text.size() > 9 || text.find('\0') != text.npos) continue;
    items.push_back(item(text, TYPE_TEXT_LIST, raw(WORD{2}, WORD{0}, WORD(text.size())) + text));
  }
  using Limits = std::numeric_limits<double>;
  for (const double number : {0.0, -0.0, 0.1, -1e300, 5e-324, Limits::min(), Limits::max(), 1.0 / 3,
                              Limits::infinity(), Limits::quiet_NaN()}) {
    items.push_back(item("Number", TYPE_NUMBER, raw(number), ITEM_SUMMARY));
    items.push_back(item("Numbers", TYPE_NUMBER_RANGE, raw(one, one, 1.5, number, 2.5)));
  }
  for (const DWORD clock : {0U, 8639999U, 8640000U, ALLDAY})
    for (const DWORD date : {0U, 0x258AD2U, 0xFF258AD2U, 0x40258AD2U, 1721425U, 1721426U, 5373484U,
                             5373485U, 0xFFFFFFU, ANYDAY}) {
      const TIMEDATE time = {{clock, date}};
      items.push_back(item("Time", TYPE_TIME, raw(time)));
      items.push_back(item("Times", TYPE_TIME_RANGE, raw(one, one, time, time, time)));
    }
  for (const WORD type : {TYPE_TEXT_LIST, TYPE_NUMBER_RANGE, TYPE_TIME_RANGE})  // damaged or empty
    for (const std::string& list : {""s, raw(WORD{0}), raw(WORD{0}, WORD{0}), raw(one, one, one)})
      items.push_back(item("List", type, list));
  for (const std::size_t size : {0, 1, 24576, 24577, 40000})
    for (const char* name : {"same.txt", "\x14\xD8\x3D", "o'\x81.txt"})
      items.push_back(item("$FILE", TYPE_OBJECT, file(name, size), ITEM_SUMMARY));
  items.push_back(item("$FILE", TYPE_OBJECT, file("big", 3'200'000)));
  items.push_back(item("Agent", TYPE_OBJECT, file("", 100, OBJECT_ASSIST_RUNDATA)));
  items.push_back(item("$FILE", TYPE_OBJECT, file("cut", 9).substr(0, 20)));
  items.push_back(item("$FILE", TYPE_OBJECT, file("longer", 9) + "!"));

  parent_ = write(items);
  const NOTEID view = write({item("V", TYPE_TEXT, "V")}, NOTE_CLASS_VIEW | NOTE_CLASS_DEFAULT);
  std::string all = "<?xml version=\"1.0\"?><!-- two --><any>";
  setExport(eOutputXmlDecl, 0);
  setExport(eOutputDOCTYPE, 0);
  for (const NOTEID id : {view, parent_}) {
    pugi::xml_document tree;
    all += exported(id);
    EXPECT_TRUE(tree.load_string(exported(id).c_str()));
    EXPECT_STREQ(tree.first_child().name(), id == view ? "note" : "document");
  }
  const std::string before = dump();
  for (const NOTEID id : {view, parent_}) store().removeNote(id);
  setImport(iDesignImportOption, DXLIMPORTOPTION_CREATE);
  ASSERT_EQ(import(all + "</any>"), NOERROR);
  EXPECT_EQ(store().notes(NOTE_CLASS_VIEW).at(0).parent,
            store().notes(NOTE_CLASS_DOCUMENT).at(0).id);
  EXPECT_TRUE(dump() == before);
}

TEST_F(SimulatorDxl, WritesWhatThePropertiesSay) {
  const NOTEID note = write({item("Subject", TYPE_TEXT, "Gr\x81n", ITEM_SUMMARY),
                             item("When", TYPE_TIME, raw(TIMEDATE{{4953025, 0x65258AD2}}))});
  const std::string text = exported(note);
  EXPECT_TRUE(text.starts_with("<?xml version='1.0' encoding='utf-8'?>\n<!DOCTYPE document"));
  for (const char* part : {"<item name='Subject' summary='true'><text>Gr\u00FCn</text></item>",
                           ">20240229T134530,25Z</datetime>", " zone='+0530'", " replicaid='0"})
    EXPECT_NE(text.find(part), text.npos) << part;
  for (const int key : {int{eOutputXmlDecl}, int{eOutputDOCTYPE}, int{eOutputRootAttrs}})
    EXPECT_EQ(setExport(key, 0), NOERROR);
  EXPECT_EQ(setExport(eForceNoteFormat, 0x10000), NOERROR);
  EXPECT_TRUE(exported(note).starts_with("<note class='document' flags='1'>\n<noteinfo"));
  char system[] = "my.dtd";
  EXPECT_EQ(DXLSetExporterProperty(exporter_, eDoctypeSYSTEM, system), NOERROR);
  EXPECT_EQ(setExport(eOutputDOCTYPE, 1), NOERROR);
  EXPECT_TRUE(exported(note).starts_with("<!DOCTYPE note SYSTEM 'my.dtd'>\n<note"));
  system[2] = '\'';
  EXPECT_EQ(DXLSetExporterProperty(exporter_, eDoctypeSYSTEM, system), 0x1B55);

  for (const int key : {0, 17, 29, 41}) EXPECT_EQ(setExport(key, 1), 0x1B56);
  for (const int key : {0, 13, 99}) EXPECT_EQ(setImport(key, 1), 0x1B56);
  for (const int key : {1, 2, 5, 9, 36}) EXPECT_EQ(setExport(key, 1), 0x1B55) << key;
  for (const int key : {4, 6, 9, 11, 12}) EXPECT_EQ(setImport(key, 1), 0x1B55) << key;
  for (const int option : {0, 4, 7, 8, 11, 12}) EXPECT_EQ(setImport(3, option), 0x1B55) << option;
  EXPECT_EQ(DXLSetExporterProperty(exporter_, eOutputDOCTYPE, nullptr), 0x1B55);
  EXPECT_EQ(DXLSetImporterProperty(importer_, iACLImportOption, nullptr), 0x1B55);
}

TEST_F(SimulatorDxl, CreatesReplacesAndUpdatesAsToldTo) {
  // The option; whether nothing, a stub or a note is there; whether the DXL is from a replica. Then
  // the items and the sequence of each note afterwards, and whether its old object is there.
  const char* const cases[] = {"1nr",          "2n- BC7",  "2s- BC8", "2N- ABb7 BC7 old",
                               "3N- ABb7 old", "5sr stub", "5Nr BC8", "6n- BC7",
                               "6N- ABb7 old", "9nr",      "ANr ABC8"};
  for (const std::string expected : cases) {
    SCOPED_TRACE(expected);
    const bool stub = expected[1] == 's';
    const NOTEID first = write({item("B", TYPE_OBJECT, file("", 3)), item("C", TYPE_TEXT, "")});
    std::string dxl = exported(first);
    if (expected[2] == '-') dxl = replaced(dxl, "replicaid='0", "replicaid='1");
    Store all = store();
    NoteHeader old = *all.note(first);
    all.removeNote(first);
    const std::string attached = file("old", 5);
    DWORD object = 0;
    std::memcpy(&object, attached.data() + 2, sizeof object);
    old.id = 0;
    old.deleted = stub;
    const NoteItem items[] = {item("A", 1, ""), item("B", TYPE_OBJECT, attached), item("b", 1, "")};
    if (expected[1] != 'n') all.writeNote(old, std::span(items).first(stub ? 0 : 3));
    setImport(iDocumentsImportOption, expected[0] == 'A' ? 10U : expected[0] - '0');
    EXPECT_EQ(import(dxl), expected.starts_with("6N-") ? DxlNotAReplica : NOERROR);
    std::string found = expected.substr(0, 3);
    for (const NoteHeader& note : all.notes(NOTE_CLASS_ALL)) {
      found += " ";
      for (const NoteItem& one : all.items(note.id)) found += one.name;
      found += note.deleted ? "stub" : std::to_string(note.originator.Sequence);
      all.removeNote(note.id);
    }
    if (expected[1] == 'N' && all.object(object)) found += " old";
    EXPECT_EQ(found, expected);
  }
}

TEST_F(SimulatorDxl, RefusesWhatIsNoDxlAndChangesNothing) {
  const NOTEID id =
      write({item("T", TYPE_TEXT, "tea"), item("N", TYPE_NUMBER, raw(2.5)),
             item("L", TYPE_TIME_RANGE, raw(WORD{1}, WORD{0}, currentTime())),
             item("R", TYPE_COMPOSITE, "abcd"), item("$FILE", TYPE_OBJECT, file("f", 7))});
  const std::string good = exported(id);
  const std::string before = dump();
  const std::map<std::string, std::vector<std::string>> spoilt = {
      {"tea", {"te<b/>a", "&tea;", "&#0;", "&#xD800;", "\x01", "\xC0\x80", "&#1"}},
      {"name='T'",
       {"", "name='T' name='U'", "name='T' other='1'", "name='T' sign='yes'", "name=''",
        "rawname='AA=='"}},
      {"2.5<", {"2.5x<", "inf<", "1e999<", "<"}},
      {"JjZA==", {"JjZA=", "JjZB==", "*jZA==", "JjZA==YWJj"}},
      {"type='1'>", {"type='99'>", "type='rich'>"}},
      {"type='1'>YWJjZA==", {"type='3'>AAABAAAA"}},
      {"<datetimelist>", {"<datetimelist><number>1</number>"}},
      {"<filedata>", {"<filedata>A", "<filedata><b/>"}},
      {"size='7'", {"size='-7'", "size='4294967296'"}},
      {"unid='", {"unid='0"}},
      {"unid='8765", {"unid='x765"}},
      {"sequence='7'", {"sequence=''"}},
      {"<noteinfo", {"<info"}},
      {"20240229T", {"20230229T"}},
      {"134530", {"136030"}},
      {"dst='true'", {"dst='true' raw='0'"}},
      {"-0500", {"-0501"}},
      {"<document ", {"<documents "}},
      {"</document>", {"", "</document>x", "</document><document/>"}},
      {"flags='1'", {"flags='10000'"}},
      {"'utf-8'", {"'latin1'"}},
      {"replicaid='", {"replicaid='g"}}};
  for (const auto& [from, all] : spoilt)
    for (const std::string& to : all)
      EXPECT_EQ(import(replaced(good, from, to)), DxlUnreadable) << from << " -> " << to;
  const std::string note = good.substr(good.find("<document "));
  EXPECT_EQ(import("<all>" + note + replaced(note, "tea", "&tea;") + "</all>"), DxlUnreadable);
  EXPECT_TRUE(dump() == before);

  // Damaged at random, it is refused or another note, but nothing worse.
  setImport(iDocumentsImportOption, DXLIMPORTOPTION_IGNORE);
  for (std::size_t size = 0; size + 12 < good.size(); size += 7)
    EXPECT_EQ(import(good.substr(0, size)), DxlUnreadable) << size;
  std::mt19937 random(1);
  for (int round = 0; round < 2000; ++round) {
    std::string text = good;
    for (auto changes = random() % 4; changes < 4; ++changes) {
      const auto at = random() % text.size();
      text.replace(at, random() % 3, text.substr(random() % text.size(), random() % 9));
      if (at % 16 == 0) text[at / 2] = static_cast<char>(random());
    }
    const STATUS status = import(text);
    EXPECT_TRUE(status == NOERROR || status == DxlUnreadable) << status;
  }
}

TEST_F(SimulatorDxlDeathTest, SurvivesHostsOrEndsThem) {
  const NOTEID id = write({item("$FILE", TYPE_OBJECT, file("big", 500'000))});
  const std::string before = dump();
  NOTEHANDLE note = NULLHANDLE;
  ASSERT_EQ(NSFNoteOpen(db_, id, 0, &note), NOERROR);
  Host host;
  host.throws = true;
  EXPECT_THROW(DXLExportNote(exporter_, Host::write, note, &host), std::bad_alloc);
  EXPECT_THROW(DXLImport(importer_, Host::read, db_, &host), std::bad_alloc);
  host = {};
  EXPECT_EQ(DXLExportNote(exporter_, Host::write, note, &host), NOERROR);
  host.piece = 40000;
  EXPECT_EQ(DXLImport(importer_, Host::read, db_, &host), DxlUnreadable);
  EXPECT_EQ(DXLImport(importer_, Host::read, NULLHANDLE, &host), ERR_NULL_DBHANDLE);
  EXPECT_EQ(DXLImport(NULLHANDLE, Host::read, db_, &host), ERR_OS_NULL_HANDLE);
  EXPECT_EQ(DXLExportNote(exporter_, Host::write, NULLHANDLE, &host), ERR_NULL_NOTEHANDLE);
  EXPECT_EQ(DXLExportNote(exporter_, nullptr, note, &host), ERR_BAD_PARAM);
  EXPECT_EQ(NSFNoteClose(note), NOERROR);
  EXPECT_TRUE(dump() == before);
  exported(id, PartialNote, OPEN_SUMMARY);
  store().removeObject(1);
  exported(id, ERR_INVALID_NOTE);  // the attachment is lost, and the host is told so
  DXLDeleteExporter(NULLHANDLE);
  EXPECT_DEATH(DXLExportNote(exporter_, Host::write, note, &host), "DXLExportNote");
}

}  // namespace
