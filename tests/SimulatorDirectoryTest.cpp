// The directory of the simulated Notes runtime: look-ups and the walk through what they find, names,
// mail addresses. Linked with the runtime's own objects.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Clock.h"
#include "Control.h"
#include "Export.h"
#include "Store.h"
#include "Text.h"
#include "support/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace simulator;
using Texts = std::vector<std::string>;

NoteItem item(const std::string& name, WORD type, const std::string& bytes) {
  return {name, ITEM_SUMMARY, type, {bytes.begin(), bytes.end()}};
}

NoteItem text(const std::string& name, const std::string& utf8) {
  return item(name, TYPE_TEXT, utf8ToLmbcs(utf8));
}

std::string word(std::size_t value) {
  return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8)};
}

NoteItem list(const std::string& name, const Texts& members) {
  std::string head = word(members.size());
  std::string tail;
  for (const std::string& member : members) {
    head += word(utf8ToLmbcs(member).size());
    tail += utf8ToLmbcs(member);
  }
  return item(name, TYPE_TEXT_LIST, head + tail);
}

using Note = std::vector<NoteItem>;

// "Ann Adams" of a department, with a short name.
Note person(const std::string& name, const std::string& department, const std::string& shortName) {
  return {text("Type", "Person"),
          list("FullName", {"CN=" + name + "/OU=" + department + "/O=Example", name}),
          text("FirstName", name.substr(0, name.find(' '))),
          text("LastName", name.substr(name.find(' ') + 1)),
          text("ShortName", shortName),
          text("MailDomain", "EXAMPLE"),
          text("MailFile", "mail/" + shortName)};
}

std::string packed(const Texts& texts) {
  std::string all;
  for (const std::string& one : texts) all += utf8ToLmbcs(one) + '\0';
  return all;
}

// What was found, locked.
class Found {
 public:
  explicit Found(DHANDLE handle) : handle_(handle), start_(OSLockObject(handle)) {}
  Found(const Found&) = delete;
  Found& operator=(const Found&) = delete;
  ~Found() {
    OSUnlockObject(handle_);
    OSMemFree(handle_);
  }

  void* start() const { return start_; }
  void* record(void* last = nullptr) const { return NAMELocateNextName2(start_, last, nullptr); }
  void* match(void* record, void* last = nullptr) const {
    return NAMELocateNextMatch2(start_, record, last);
  }

  // For each record the first text of the first item of each match.
  Texts lines() const {
    Texts lines;
    DWORD count = 0;
    void* record = nullptr;
    while ((record = NAMELocateNextName2(start_, record, &count)) != nullptr) {
      std::string& line = lines.emplace_back();
      void* found = nullptr;
      for (DWORD i = 0; i < count; ++i) {
        found = match(record, found);
        line += (line.empty() ? "" : " ") + member(found, 0);
      }
    }
    return lines;
  }

  static std::string member(void* match, WORD item, WORD number = 0) {
    char buffer[1024];
    const STATUS status = NAMEGetTextItem2(match, item, number, buffer, sizeof buffer);
    return status == NOERROR ? lmbcsToUtf8(buffer) : "status " + std::to_string(status);
  }

 private:
  DHANDLE handle_;
  void* start_;
};

struct Query {
  Texts names;
  DWORD flags = 0;
  Texts items = {"ShortName"};
  Texts spaces = {"$PEOPLE"};
  const char* server = nullptr;
};
const Texts everybody = {""};

STATUS tryLookUp(const Query& query, DHANDLE* handle) {
  const auto count = [](const Texts& texts) { return static_cast<WORD>(texts.size()); };
  return NAMELookup2(query.server, query.flags, count(query.spaces), packed(query.spaces).c_str(),
                     count(query.names), packed(query.names).c_str(), count(query.items),
                     packed(query.items).c_str(), handle);
}

Found lookUp(const Query& query) {
  DHANDLE handle = NULLHANDLE;
  const STATUS status = tryLookUp(query, &handle);
  if (status != NOERROR) throw std::runtime_error("status " + std::to_string(status));
  return Found(handle);
}

std::string namesOfAll(DWORD flags = 0) {
  return lookUp({everybody, NAME_LOOKUP_ALL | flags}).lines().at(0);
}

class SimulatorDirectory : public testing::Test {
 protected:
  void SetUp() override {
    writeFile(data_ / "notes.ini",
              "[Notes]\nServerName=CN=sim01/O=Example\nDomain=DEFAULT\nNAMES=names.nsf\n");
    std::string program = "/nowhere";
    std::string ini = "=" + (data_ / "notes.ini").string();
    char* arguments[] = {program.data(), ini.data(), nullptr};
    ASSERT_EQ(NotesInitExtended(3, arguments), NOERROR);
  }
  void TearDown() override {
    EXPECT_EQ(SimOpenHandles("memory"), 0);
    EXPECT_EQ(SimOpenHandles("locks"), 0);
    NotesTerm();
  }

  void makeBook(const std::string& file, const std::vector<Note>& notes) {
    DatabaseProperties properties;
    properties.id = timeFromUnix(1'600'000'000 + ++made_);
    Store store = Store::create(properties);
    for (const Note& note : notes) add(store, note);
    store.saveAs((data_ / file).string(), Store::Existing::Replace, Store::Flush::Later);
  }

  static void add(Store& store, const Note& note, WORD noteClass = NOTE_CLASS_DOCUMENT) {
    NoteHeader header;
    header.noteClass = noteClass;
    store.writeNote(header, note);
  }

  const TemporaryDirectory directory_;
  const fs::path data_ = directory_.path();
  int made_ = 0;
};
using SimulatorDirectoryDeathTest = SimulatorDirectory;

TEST_F(SimulatorDirectory, HasARecordForEachNameInEachNameSpace) {
  makeBook("names.nsf", {person("Ann Adams", "Sales", "aadams"),
                         person("Jürgen Groß", "Köln Büro", "jgross"),
                         {text("Type", "Group"), text("FullName", "aadams")},
                         person("太郎 山田", "東京", "tyamada")});
  const std::pair<Texts, Texts> cases[] = {
      {{"AADAMS", "nobody", "Jürgen Groß"}, {"aadams", "", "jgross"}},
      {{"CN=Ann Adams/OU=Sales/O=Example", "ann adams/sales/EXAMPLE"}, {"aadams", "aadams"}},
      {{"太郎 山田/東京/Example"}, {"tyamada"}},
      {{"Ann", "Adams", ""}, {"", "", ""}},  // neither full names nor short ones
  };
  for (const auto& [names, expected] : cases) {
    EXPECT_EQ(lookUp({names}).lines(), expected);
    Texts twice = expected;
    twice.insert(twice.end(), expected.begin(), expected.end());
    EXPECT_EQ(lookUp({names, 0, {"shortname"}, {"$Users", "$people"}}).lines(), twice);
  }
  EXPECT_EQ(namesOfAll(), "aadams jgross tyamada");
}

TEST_F(SimulatorDirectory, GivesItemsAsTheyAreStored) {
  const double number = 4711;
  const std::string numberBytes(reinterpret_cast<const char*>(&number), sizeof number);
  const std::string damaged = word(2) + word(2) + word(50) + "abc";
  const std::string longest(0xFFFF - sizeof(WORD), 'x');  // sizes are words
  makeBook("names.nsf",
           {{text("Type", "Person"), text("Text", "Köln 東京"), text("Text", "second"),
             list("List", {"", "one"}), item("Number", TYPE_NUMBER, numberBytes), text("Empty", ""),
             list("EmptyList", {}), item("Damaged", TYPE_TEXT_LIST, damaged),
             item("Long", TYPE_TEXT, longest), item("TooLong", TYPE_TEXT, longest + 'x')}});
  const struct {
    const char* name;
    WORD type;
    std::string value;
    Texts members;  // and then ERR_NO_MORE_MEMBERS
  } present[] = {{"Text", TYPE_TEXT, utf8ToLmbcs("Köln 東京"), {"Köln 東京"}},
                 {"List", TYPE_TEXT_LIST, word(2) + word(0) + word(3) + "one", {"", "one"}},
                 {"Empty", TYPE_TEXT, "", {""}},
                 {"EmptyList", TYPE_TEXT_LIST, word(0), {}},
                 {"Damaged", TYPE_TEXT_LIST, damaged, {"ab"}},
                 {"Long", TYPE_TEXT, longest, {longest.substr(0, 1023)}},
                 {"Number", TYPE_NUMBER, numberBytes, {}}};
  for (const auto& p : present) {
    // Behind an item of 13 bytes, so at an odd address.
    const Found found = lookUp({everybody, NAME_LOOKUP_ALL, {"TooLong", "tEXT", p.name}});
    void* const match = found.match(found.record());
    WORD type = 0;
    WORD size = 0;
    auto* const value = static_cast<char*>(NAMELocateItem2(match, 2, &type, &size));
    EXPECT_EQ(type, p.type) << p.name;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(value) % 2, 1U);
    EXPECT_EQ(std::string(value, size), word(p.type) + p.value) << p.name;
    WORD member = 0;
    for (const std::string& expected : p.members)
      EXPECT_EQ(Found::member(match, 2, member++), expected) << p.name;
    char buffer[16];
    EXPECT_EQ(NAMEGetTextItem2(match, 2, member, buffer, sizeof buffer),
              p.type == TYPE_NUMBER ? ERR_UNSUPPORTED_DATATYPE : ERR_NO_MORE_MEMBERS)
        << p.name;
    for (const WORD absent : {0, 3}) {
      EXPECT_EQ(NAMELocateItem2(match, absent, &type, &size), nullptr);
      EXPECT_EQ(NAMEGetTextItem2(match, absent, 0, buffer, sizeof buffer), ERR_NO_SUCH_ITEM);
    }
  }

  const Found found = lookUp({everybody, NAME_LOOKUP_ALL, {"Text"}});
  void* const match = found.match(found.record());
  // "Köln 東京" has 4 bytes, a blank and twice 3 bytes in LMBCS: never a part of a character, never
  // a byte behind the buffer.
  const std::pair<WORD, const char*> cuts[] = {
      {12, "Köln 東京"}, {11, "Köln 東"}, {9, "Köln 東"}, {8, "Köln "}, {1, ""}};
  for (const auto& [capacity, expected] : cuts) {
    std::string buffer(capacity + 1U, '#');
    EXPECT_EQ(NAMEGetTextItem2(match, 0, 0, buffer.data(), capacity), NOERROR);
    EXPECT_EQ(lmbcsToUtf8(buffer.c_str()), expected);
    EXPECT_EQ(buffer.back(), '#');
  }
}

TEST_F(SimulatorDirectory, SearchesTheBooksThatTheFlagsAskFor) {
  SimSetVariable("NAMES", " names, none.nsf ,, books/Zweites Büro.nsf,names.nsf");
  fs::create_directory(data_ / "books");
  makeBook("names.nsf",
           {person("Ann Adams", "Sales", "aadams"), person("Bob Both", "Sales", "b1")});
  makeBook("books/Zweites Büro.nsf",
           {person("Bob Both", "Legal", "b2"), person("Carl Cole", "Legal", "ccole")});
  const struct {
    DWORD flags;
    Texts named;
    const char* all;
  } cases[] = {
      {0, {"aadams", "b1", "ccole"}, "aadams b1"},
      {NAME_LOOKUP_EXHAUSTIVE | 0x0100, {"aadams", "b1 b2", "ccole"}, "aadams b1 b2 ccole"},
      {NAME_LOOKUP_NOSEARCHING, {"aadams", "b1", ""}, "aadams b1"},
      {NAME_LOOKUP_NOSEARCHING | NAME_LOOKUP_EXHAUSTIVE, {"aadams", "b1", ""}, "aadams b1"}};
  for (const auto& c : cases) {
    EXPECT_EQ(lookUp({{"Ann Adams", "Bob Both", "Carl Cole"}, c.flags}).lines(), c.named);
    EXPECT_EQ(namesOfAll(c.flags), c.all);
  }
}

TEST_F(SimulatorDirectory, SeesEveryChangeOfABook) {
  makeBook("names.nsf", {person("Ann Adams", "Sales", "aadams")});
  EXPECT_EQ(namesOfAll(), "aadams");
  {
    Store store = Store::open((data_ / "names.nsf").string());
    add(store, person("Bob Baker", "Sales", "bbaker"));
    add(store, person("No Document", "Sales", "form"), NOTE_CLASS_FORM);
    // Another item is read now, with what is known of the first ones out of date.
    EXPECT_EQ(lookUp({{"Bob Baker"}, 0, {"ShortName", "MailFile"}}).lines().at(0), "bbaker");
    EXPECT_EQ(namesOfAll(), "aadams bbaker");
    store.removeNote(store.notes(NOTE_CLASS_DOCUMENT).front().id);
  }
  EXPECT_EQ(namesOfAll(), "bbaker");
  makeBook("names.nsf", {person("Carl Cole", "Legal", "ccole")});  // another file takes its place
  EXPECT_EQ(namesOfAll(), "ccole");
}

TEST_F(SimulatorDirectory, AnswersWhatItCannotLookUp) {
  makeBook("names.nsf", {person("Ann Adams", "Sales", "aadams")});
  writeFile(data_ / "damaged.nsf", std::string(4096, 'x'));
  makeBook("offline.nsf", {});
  ASSERT_EQ(NSFTakeDatabaseOffline(const_cast<char*>("offline.nsf"), 0, 0), NOERROR);
  const struct {
    STATUS expected;
    Query query;
    const char* books = "names";
  } cases[] = {{NOERROR, {{"x"}, 0, {}, {"$People"}, ""}},
               {NOERROR, {{"x"}, 0, {}, {"$People"}, "sim01/EXAMPLE"}, "names,none"},
               {NOERROR, {{"x"}, 0, {}, {"$People"}, "CN=sim01/O=Example"}},
               {ERR_NO_SERVER_ACCESS, {{"x"}, 0, {}, {"$People"}, "sim02/Example"}},
               {ERR_NO_SUCH_NAMESPACE, {{"x"}, 0, {}, {"$People", "$Nothing"}}},
               {ERR_BAD_PARAM, {{"x"}, 0, {}, {}}},
               {ERR_BAD_PARAM, {{}}},
               {ERR_BAD_PARAM, {{"Ann"}, NAME_LOOKUP_ALL}},
               {ERR_BAD_PARAM, {{"", ""}, NAME_LOOKUP_ALL}},
               {ERR_NO_NAMES_FILE, {{"x"}}, "none"},
               {ERR_NO_NAMES_FILE, {{"x"}}, ""},
               {ERR_NO_NAMES_FILE, {{"x"}}, "names,damaged"},
               {NOERROR, {{"x"}, NAME_LOOKUP_NOSEARCHING}, "names,damaged"},
               {ERR_NO_NAMES_FILE, {{"x"}}, "offline.nsf"}};
  for (const auto& c : cases) {
    SimSetVariable("NAMES", c.books);
    DHANDLE handle = 0xFFFF;
    EXPECT_EQ(tryLookUp(c.query, &handle), c.expected) << &c - cases;
    if (c.expected == NOERROR)
      OSMemFree(handle);
    else
      EXPECT_EQ(handle, NULLHANDLE);
  }
  DHANDLE handle = NULLHANDLE;
  EXPECT_EQ(NAMELookup2(nullptr, 0, 1, nullptr, 1, "", 0, nullptr, &handle), ERR_BAD_PARAM);
}

TEST_F(SimulatorDirectoryDeathTest, StopsWalksThatLeaveTheBuffer) {
  makeBook("names.nsf", {person("Ann Adams", "Sales", "aadams"), person("Bob", "Sales", "bob")});
  const Found found = lookUp({{"Ann Adams", "nobody", "Bob"}});
  void* const ann = found.record();
  void* const nobody = found.record(ann);
  void* const bob = found.record(nobody);
  void* const match = found.match(ann);
  void* const behind = found.match(ann, match);  // an address, but none to use
  ASSERT_NE(behind, nullptr);
  ASSERT_EQ(found.record(bob), nullptr);
  char buffer[16];
  EXPECT_DEATH(NAMELocateItem2(behind, 0, nullptr, nullptr), "NAMELocateItem2.*match");
  EXPECT_DEATH(found.match(ann, behind), "NAMELocateNextMatch2");
  EXPECT_DEATH(found.match(bob, match), "NAMELocateNextMatch2");  // of another record
  EXPECT_DEATH(found.record(match), "record");
  EXPECT_DEATH(NAMELocateNextName2(nobody, nullptr, nullptr), "start");
  EXPECT_DEATH(NAMEGetTextItem2(buffer, 0, 0, buffer, sizeof buffer), "NAMEGetTextItem2");
  // A host that has written over the buffer.
  EXPECT_DEATH((std::memset(static_cast<char*>(match) + 4, 0x7F, 4),
                NAMELocateItem2(match, 0, nullptr, nullptr)),
               "overwritten");
  EXPECT_DEATH((std::memset(found.start(), 0x7F, 8), found.match(ann)), "overwritten");
  void* const freed = lookUp({{"Bob"}}).start();
  EXPECT_DEATH(NAMELocateNextName2(freed, nullptr, nullptr), "in no look-up buffer");
}

TEST_F(SimulatorDirectory, MakesNamesCanonical) {
  const std::string user = "CN=Ann Adams/OU=Sales/OU=North/O=Example/C=US";
  const struct {
    const char* name;
    const char* pattern;  // null: the server
    const char* expected;
  } cases[] = {{"Ann Adams/Sales/Example", nullptr, "CN=Ann Adams/OU=Sales/O=Example"},
               {"Ann/A/B/C/Example/de", nullptr, "CN=Ann/OU=A/OU=B/OU=C/O=Example/C=de"},
               {"Ann/IT", nullptr, "CN=Ann/O=IT"},  // a country needs an organisation
               {"Jürgen/Köln Büro/東京", nullptr, "CN=Jürgen/OU=Köln Büro/O=東京"},
               {"Ann Adams", nullptr, "Ann Adams"},
               {"/", nullptr, "/"},
               {"Ann//Example", nullptr, "Ann//Example"},
               {"cn=Ann/o=Example", user.c_str(), "cn=Ann/o=Example"},
               // U+012F has the byte of a "/" in LMBCS.
               {"Vai\u012F/Example", nullptr, "CN=Vai\u012F/O=Example"},
               // Filled up.
               {"Bob/", nullptr, "CN=Bob/O=Example"},
               {"Bob/", user.c_str(), "CN=Bob/OU=Sales/OU=North/O=Example/C=US"},
               {"Bob/Legal/", user.c_str(), "CN=Bob/OU=Legal/OU=North/O=Example/C=US"},
               {"Bob/", "Ann/Sales/Other", "CN=Bob/OU=Sales/O=Other"},
               {"Bob/", "", "CN=Bob"},
               {"CN=Bob/", nullptr, "CN=Bob/O=Example"},
               {"CN=Bob/OU=Legal/O=Other/", user.c_str(), "CN=Bob/OU=Legal/O=Other"}};
  for (const auto& c : cases) {
    const std::string name = utf8ToLmbcs(c.name);
    const std::string pattern = utf8ToLmbcs(c.pattern ? c.pattern : "");
    const std::string expected = utf8ToLmbcs(c.expected);
    std::string out(MAXUSERNAME, '#');
    WORD length = 0xFFFF;
    EXPECT_EQ(DNCanonicalize(0, c.pattern ? pattern.c_str() : nullptr, name.c_str(), out.data(),
                             MAXUSERNAME, &length),
              NOERROR);
    EXPECT_EQ(out.c_str(), expected) << c.name;
    EXPECT_EQ(length, expected.size()) << c.name;
  }
}

TEST_F(SimulatorDirectory, NeverCutsACanonicalName) {
  char out[] = "#################";
  WORD length = 1;
  EXPECT_EQ(DNCanonicalize(0, nullptr, "Bob/", out, sizeof "CN=Bob/O=Example", nullptr), NOERROR);
  EXPECT_STREQ(out, "CN=Bob/O=Example");
  EXPECT_EQ(DNCanonicalize(0, nullptr, "Bob/", out, sizeof "CN=Bob/O=Exampl", &length),
            ERR_BAD_PARAM);
  EXPECT_EQ(length, 0);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(DNCanonicalize(0, nullptr, nullptr, out, sizeof out, nullptr), ERR_BAD_PARAM);
  // In place, and with a character of a code page that the runtime does not read.
  char name[] = "\x06\xC0nn";
  EXPECT_EQ(DNCanonicalize(0, nullptr, name, name, sizeof name, nullptr), NOERROR);
  EXPECT_STREQ(name, "\x06\xC0nn");
}

TEST_F(SimulatorDirectory, FindsMailAddresses) {
  SimSetVariable("NAMES", "names.nsf,second.nsf");
  makeBook("names.nsf", {person("Ann Adams", "Sales", "aadams"),
                         person("Ann Baker", "Köln Büro", "abaker"),
                         person("Jürgen Groß", "Sales", "jgroß"),
                         person("Baker Baker", "Sales", "baker"),
                         {text("Type", "Person"), list("FullName", {"CN=Only Name/O=X", "Only"})},
                         {text("Type", "Person"), text("ShortName", std::string(300, 'n'))}});
  makeBook("second.nsf", {person("Ann Adams", "Legal", "other"), person("Zoe Zed", "Legal", "zz")});
  const struct {
    const char* name;
    STATUS status;
    const char* address;
  } cases[] = {{"Ann Adams", NOERROR, "aadams @ EXAMPLE"},
               {"CN=Ann Baker/OU=Köln Büro/O=Example", NOERROR, "abaker @ EXAMPLE"},
               {"ADAMS", NOERROR, "aadams @ EXAMPLE"},
               {"Jürgen", NOERROR, "jgroß @ EXAMPLE"},
               {"Only", NOERROR, "CN=Only Name/O=X @ DEFAULT"},
               {"Zoe Zed", NOERROR, "zz @ EXAMPLE"},
               {"Ann", ERR_ROUTER_NOTUNIQUE, ""},
               {"Baker", ERR_ROUTER_NOTUNIQUE, ""},
               {"Nobody", ERR_ROUTER_NOSUCHUSER, ""},
               {"", ERR_ROUTER_NOSUCHUSER, ""}};
  for (const auto& c : cases) {
    std::string name = utf8ToLmbcs(c.name);
    char address[1024] = "unset";
    EXPECT_EQ(MailLookupAddress(name.data(), address), c.status) << c.name;
    EXPECT_EQ(lmbcsToUtf8(address), c.address) << c.name;
  }
  char address[1024];
  std::string longest(300, 'n');
  EXPECT_EQ(MailLookupAddress(longest.data(), address), NOERROR);
  EXPECT_EQ(std::strlen(address), MAXUSERNAME - 1U);
}

}  // namespace
