// The properties of a database against a scripted Notes API: one table over how each member guards
// the handle, records and logs; then what each hands out.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "DominoInstance.h"
#include "NotesDatabase.h"
#include "support/ScriptedNotes.h"

namespace {

enum class Guard { Code, Message, None };
enum class Record { Full, CodeAlone };

// How one member deals with failures. In `line` go the name, the status and the message.
struct Member {
  std::string name;
  KoLNError (*call)(KoLNDatabase&);
  std::string notesFunction;
  void (*fail)(FakeNotes&, std::optional<Failure>);
  void (*expectArguments)(FakeNotes&);
  std::size_t (*count)(FakeNotes&);
  Guard guard;
  Record record;
  int level = 0;
  std::string line = "";
  const char* noName = "";  // What stands there for a database without name.
};

#define KOLN_MEMBER(member, arguments, function, ...) \
#member, [](KoLNDatabase& db) { return db.member arguments; }, #function,                  \
      [](FakeNotes& notes, std::optional<Failure> how) {                                     \
        how ? fail(notes.function, *how) : notes.function.answer();                          \
      },                                                                                     \
      [](FakeNotes& notes) { expectCall(notes.function __VA_OPT__(, ) __VA_ARGS__); },       \
      [](FakeNotes& notes) { return notes.function.count(); }

char buffer[NSF_INFO_SIZE];
DBREPLICAINFO replica;
DBQUOTAINFOEXT quota;
DWORD first, second;
WORD word;
DHANDLE memory;
TIMEDATE time;
std::string text;
const std::string invalid = "Invalid database handle";
const std::string information =
    "Error: unable to get database information for Db: [%s]. NSFDbInfoGet(...) returned: [%s]. "
    "Resulting error string: [%s].";

// clang-format off
const Member members[] = {
  {KOLN_MEMBER(GetSize, (first), NSFDbSpaceUsage, 11u), Guard::None, Record::Full},
  {KOLN_MEMBER(GetCreationTime, (time), NSFDbIDGet, 11u), Guard::None, Record::Full},
  {KOLN_MEMBER(GetModifiedTime, (time), NSFDbModifiedTime, 11u), Guard::None, Record::Full},
  {KOLN_MEMBER(GetReplicaID, (text), NSFDbReplicaInfoGet, 11u), Guard::Code, Record::Full,
    -1, "Error: Failed to fetch replicaId information for DB %s, error (%s) %s",
    "(null)"},
  {KOLN_MEMBER(GetReplicaInfo, (&replica), NSFDbReplicaInfoGet, 11u, &replica), Guard::Code,
    Record::Full, -1, "Error: Failed to fetch replica information for DB %s, error (%s) %s"},
  {KOLN_MEMBER(GetTitle, (text), NSFDbInfoGet, 11u), Guard::Code, Record::Full, 0, information,
    "(null)"},
  {KOLN_MEMBER(GetDesignClass, (text), NSFDbInfoGet, 11u), Guard::Code, Record::Full,
    0, information, "(null)"},
  {KOLN_MEMBER(GetPaths, (nullptr, buffer), NSFDbPathGet, 11u, nullptr, buffer), Guard::Code,
    Record::Full, 0, "Error: Failed to get database paths for %s. %s - %s"},
  {KOLN_MEMBER(GetMode, (&word), NSFDbModeGet, 11u, &word), Guard::Code, Record::Full,
    0, "Error: Failed to get database mode for %s, %s - %s"},
  {KOLN_MEMBER(GetQuota, (&quota), NSFDbQuotaGethDB, 11u, &quota), Guard::Code, Record::Full,
    0, "Unable to determine quota for database %s. %s - %s"},
  {KOLN_MEMBER(GetSpaceUsage, (&first, &second), NSFDbSpaceUsage, 11u, &first, &second),
    Guard::Code, Record::Full, 0, "Unable to determine space usage for database %s. %s - %s"},
  {KOLN_MEMBER(GetInfo, (buffer), NSFDbInfoGet, 11u, buffer), Guard::Code, Record::Full, 0,
    "Failed to get database information for %s. NSFDbInfoGet(...) returned %s - %s"},
  {KOLN_MEMBER(SetInfo, (buffer), NSFDbInfoSet, 11u, buffer), Guard::Message, Record::CodeAlone},
  {KOLN_MEMBER(SetReplicaInfo, (&replica), NSFDbReplicaInfoSet, 11u, &replica), Guard::Message,
    Record::CodeAlone},
  {KOLN_MEMBER(GetOptions, (&first), NSFDbGetOptions, 11u, &first), Guard::Message,
    Record::CodeAlone},
  {KOLN_MEMBER(ReadAcl, (&memory), NSFDbReadACL, 11u, &memory), Guard::None, Record::Full, 0,
    "Failed to read ACL information for database %s. NSFDbReadACL(...) returned %s - %s"},
  {KOLN_MEMBER(ReadObject, (0xFFFFFFFE, 70000, 0xFFFFFFFF, &memory), NSFDbReadObject,
    11u, 0xFFFFFFFE, 70000u, 0xFFFFFFFF, &memory), Guard::Code, Record::Full, 0,
    "Error: Failed to read object. ObjectID - 4294967294, offset - 70000, size - 4294967295, Db - "
    "%s. NSFDbReadObject(...) returned %s - %s"},
  {KOLN_MEMBER(AllocObject, (70003, 2, 3, &first), NSFDbAllocObject, 11u, 70003u, 2, 3, &first),
    Guard::Message, Record::CodeAlone},
  {KOLN_MEMBER(FreeObject, (8), NSFDbFreeObject, 11u, 8u), Guard::Message, Record::CodeAlone},
  {KOLN_MEMBER(WriteObject, (8, 9, 70004, 70005), NSFDbWriteObject, 11u, 8u, 9u, 70004u, 70005u),
    Guard::Message, Record::CodeAlone},
};
// clang-format on

TEST(DatabasePropertiesTest, EveryMemberGuardsAsksRecordsAndLogsInItsOwnWay) {
  for (const Member& member : members) {
    for (const Failure how : everyFailure) {
      const std::string name = how == Failure::Throws ? "" : "own.nsf";
      SCOPED_TRACE(member.name + " " + statusOf(how));
      ScriptedNotes set;
      set.notes.TimeDateCompare.answer();
      set.notes.NSFDbInfoParse.answer();
      KoLNDatabase db(name, set.instance), closed(name, set.instance), other(name, set.instance);
      db.Open("b.nsf", false);
      other.Open("b.nsf", false);  // Has no quota of its own yet.
      member.fail(set.notes, std::nullopt);
      EXPECT_EQ(told(member.call(db)), "clean");
      member.expectArguments(set.notes);
      EXPECT_EQ(set.log.take().size(), member.name == "GetDesignClass" ? 1u : 0u);

      first = 7;
      text = "old";
      time = {{77, 78}};
      member.fail(set.notes, how);
      const bool codeAlone = member.record == Record::CodeAlone && how == Failure::Refused;
      const std::string message = messageOf(how, member.notesFunction);
      const std::string record = codeAlone ? "code 49411" : statusOf(how) + ": " + message;
      EXPECT_EQ(told(member.call(other)), record);
      EXPECT_EQ(std::tuple(first, text, time.Innards[0]), std::tuple(7, "old", 77));
      EXPECT_FALSE(other.GetQuotaUsage());
      char line[512];
      std::snprintf(line, sizeof line, member.line.c_str(),
                    name.empty() ? member.noName : name.c_str(), statusOf(how).c_str(),
                    message.c_str());
      EXPECT_EQ(set.log.take(), member.line.empty()
                                    ? Lines{}
                                    : (Lines{{member.name, member.level, "NotesDatabase", line}}));

      const std::size_t calls = member.count(set.notes);
      const bool asked = member.guard == Guard::None;
      EXPECT_EQ(told(member.call(closed)), asked                         ? record
                                           : member.guard == Guard::Code ? "4996: text of 4996"
                                                                         : "65535: " + invalid);
      EXPECT_EQ(member.count(set.notes) - calls, asked && how != Failure::Unbound ? 1u : 0u);
      EXPECT_EQ(set.log.take().empty(), !asked || member.line.empty());
    }
  }
}

class OpenPropertiesTest : public testing::Test, protected ScriptedNotes {
 protected:
  OpenPropertiesTest() { db.Open(); }

  KoLNDatabase db{"own.nsf", instance};
};

TEST_F(OpenPropertiesTest, SizesTimesAndReplicaIdsAreTheRightHalf) {
  notes.NSFDbSpaceUsage.answer([](DBHANDLE, DWORD* allocated, DWORD* free) {
    *allocated = 0xFFFFFFFF;
    *free = 5;
    return NOERROR;
  });
  db.GetSize(first);
  EXPECT_EQ(first, 0xFFFFFFFF);
  notes.NSFDbIDGet.answer(gives(TIMEDATE{{3, 4}}));
  db.GetCreationTime(time);
  EXPECT_EQ(std::pair(time.Innards[0], time.Innards[1]), std::pair(3u, 4u));

  notes.NSFDbModifiedTime.answer([](DBHANDLE, TIMEDATE* data, TIMEDATE* nonData) {
    *data = {{1, 10}};
    *nonData = {{2, 20}};  // The design changed later.
    return NOERROR;
  });
  notes.TimeDateCompare.answer([](const TIMEDATE* data, const TIMEDATE* nonData) {
    EXPECT_EQ(std::pair(data->Innards[1], nonData->Innards[1]), std::pair(10u, 20u));
    return -1;
  });
  EXPECT_EQ(told(db.GetModifiedTime(time)), "clean");
  EXPECT_EQ(std::pair(time.Innards[0], time.Innards[1]), std::pair(1u, 10u));
  notes.TimeDateCompare.answer(Throwing{});
  time = {};
  EXPECT_EQ(told(db.GetModifiedTime(time)), "65535: " + threw("TimeDateCompare"));
  EXPECT_EQ(time.Innards[1], 10u);

  const std::tuple<DWORD, DWORD, std::string> ids[] = {{1, 2, "00000002:00000001"},
                                                       {0xFFFFFFFF, 0xABCDEF, "00ABCDEF:FFFFFFFF"}};
  for (const auto& [low, high, id] : ids) {
    notes.NSFDbReplicaInfoGet.answer(gives(DBREPLICAINFO{{{low, high}}, 0xFFFF, 0xFFFF, {{9, 9}}}));
    db.GetReplicaID(text);
    EXPECT_EQ(text, id);
  }
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(OpenPropertiesTest, TitleAndDesignClassAreCutOutOfTheInformation) {
  std::string part;
  notes.NSFDbInfoGet.answer([](DBHANDLE, char* out) {
    std::memset(out, 'i', NSF_INFO_SIZE);  // The whole buffer, without a terminator.
    return NOERROR;
  });
  notes.NSFDbInfoParse.answer([&](char* info, WORD, char* out, WORD capacity) {
    EXPECT_EQ(std::string(info), std::string(128, 'i'));
    EXPECT_EQ(capacity, 127);
    EXPECT_EQ(std::string(out), "");
    std::memcpy(out, part.data(), std::min<std::size_t>(part.size(), capacity));
  });
  for (const std::string& wanted : {std::string(), std::string("%s"), std::string(127, '\x84')}) {
    part = wanted;
    std::string title = "old", designClass = "old";
    EXPECT_EQ(told(db.GetTitle(title)), "clean");
    EXPECT_EQ(notes.NSFDbInfoParse.argument<1>(), INFOPARSE_TITLE);
    EXPECT_EQ(title, wanted);  // As Notes has it: it would not fit as UTF-8.
    EXPECT_EQ(log.take(), Lines{});
    EXPECT_EQ(told(db.GetDesignClass(designClass)), "clean");
    EXPECT_EQ(notes.NSFDbInfoParse.argument<1>(), INFOPARSE_DESIGN_CLASS);
    EXPECT_EQ(designClass, wanted);
    EXPECT_EQ(log.take(),
              (Lines{{"GetDesignClass", 0, "NotesDatabase", "DBDesignClass [" + wanted + "]"}}));
  }
  EXPECT_EQ(notes.OSTranslate.count(), 0u);
  notes.NSFDbInfoParse.answer(Throwing{});
  EXPECT_EQ(told(db.GetTitle(part)), "65535: " + threw("NSFDbInfoParse"));
  EXPECT_EQ(part, std::string(127, '\x84'));
  EXPECT_EQ(log.take(), (Lines{{"GetTitle", 0, "NotesDatabase", threw("NSFDbInfoParse")}}));
}

TEST_F(OpenPropertiesTest, AQuotaIsAskedForOnceInTheObjectsLife) {
  const auto limit = [](KoLNDatabase& database) {
    DBQUOTAINFOEXT out;
    std::memset(&out, 0xEE, sizeof out);
    const KoLNError error = database.GetQuota(&out);
    return error.IsErrorSet() ? told(error) : std::to_string(out.SizeLimit + out.Unused2);
  };
  notes.NSFDbQuotaGethDB.answer(refused);
  EXPECT_EQ(limit(db), refusedText);  // Not kept.
  notes.NSFDbQuotaGethDB.answer([this](DBHANDLE, DBQUOTAINFOEXT* out) {
    *out = {};
    out->SizeLimit = 100 * static_cast<DWORD>(notes.NSFDbQuotaGethDB.count());
    out->Unused2 = 1;
    return NOERROR;
  });
  EXPECT_EQ(limit(db), "201");
  EXPECT_TRUE(db.GetQuotaUsage());
  EXPECT_EQ(limit(db), "201");
  EXPECT_EQ(db.Close().GetErrorCode(), NOERROR);
  EXPECT_EQ(limit(db), "4996: text of 4996");  // The guard comes first.
  db.Open("b.nsf", false);
  EXPECT_EQ(limit(db), "201");
  KoLNDatabase copy(db);
  copy.Open();
  EXPECT_EQ(limit(copy), "301");
  KoLNDatabase marked("own.nsf", instance);
  marked.SetQuotaUsage();
  marked.Open();
  EXPECT_EQ(limit(marked), "0");
  EXPECT_EQ(notes.NSFDbQuotaGethDB.count(), 3u);
}

TEST_F(OpenPropertiesTest, TheCanonicalNameIsTheAddressBeforeItsFirstAtSign) {
  db.Close();  // It need not be open.
  std::string asked, address;
  notes.MailLookupAddress.answer([&](char* user, char* out) {
    asked = user;
    std::memcpy(out, address.c_str(), address.size() + 1);
    return NOERROR;
  });
  const std::string full(1023, 'n');
  // clang-format off
  const struct { std::string title, asked, address, out; } cases[] = {
      {"CN=User One/O=Org", "CN=User One/O=Org", "User One/Org @ Domain @ Net", "User One/Org "},
      {"%n", "%n", "No Domain", "No Domain"},
      {"T", "T", "@Domain", ""},
      {"T", "T", "", ""},
      {full, full, full, full},
      {full + "tail", full, full.substr(1) + "@", full.substr(1)},
  };
  // clang-format on
  for (const auto& test : cases) {
    db.title = test.title;
    address = test.address;
    std::string out = "old";
    EXPECT_EQ(told(db.GetCanonicalName(out)), "clean");
    EXPECT_EQ(asked, test.asked);
    EXPECT_EQ(out, test.out);
  }
  EXPECT_EQ(log.take(), Lines{});

  std::string out = "old";
  db.title = "%s One";
  for (const Failure how : everyFailure) {
    fail(notes.MailLookupAddress, how);
    const std::string message = messageOf(how, "MailLookupAddress");
    EXPECT_EQ(told(db.GetCanonicalName(out)), statusOf(how) + ": " + message);
    EXPECT_EQ(log.take(), (Lines{{"GetCanonicalName", -1, "NotesDatabase",
                                  "Failed to fetch Canonical name for database %s One. error (" +
                                      statusOf(how) + ") " + message}}));
  }
  db.title = "";
  EXPECT_EQ(told(db.GetCanonicalName(out)), "clean");
  EXPECT_EQ(log.take(),
            (Lines{{"GetCanonicalName", 0, "NotesDatabase", "Error: invalid database title"}}));
  EXPECT_EQ(out, "old");
}

TEST_F(OpenPropertiesTest, AnAccessListIsStoredFromUnlockedMemoryThatIsFreedWhateverHappens) {
  const std::string setting = "2 Setting ACL...", notStored = "2 Cannot store ACL information - ";
  const std::string fill = "Unable to fill the memory for the ACL.";
  const Texts locked = {"lock 21", "unlock 21", "free 21"}, freed = {"free 21"};
  char block[4], data[] = {'A', 'C', 'L', '!'};
  char* given = data;
  // clang-format off
  const struct { std::function<void()> arrange; std::string answer; Texts lines, steps; }
      cases[] = {
      {[] {}, "clean", {setting}, {"lock 21", "unlock 21", "store ACL", "free 21"}},
      {[&] { notes.OSMemAlloc.answer(refused); }, "clean", {"0 OSMemAlloc() failed, "}, {}},
      {[&] { notes.OSMemAlloc.answer(Throwing{}); }, "0: " + threw("OSMemAlloc"),
        {"0 OSMemAlloc() failed, " + threw("OSMemAlloc")}, {}},
      {[&] { notes.OSMemAlloc.answer(NOERROR); }, "65535: " + fill, {"0 " + fill}, {}},
      {[&] { notes.OSLockObject.answer(nullptr); }, "65535: " + fill, {"0 " + fill}, freed},
      {[&] { notes.OSLockObject.answer(Throwing{}); }, "65535: " + fill, {"0 " + fill}, freed},
      {[&] { notes.NSFDbStoreACL.answer(refused); }, "code 49411", {setting, notStored}, locked},
      {[&] { notes.NSFDbStoreACL.answer(Throwing{}); }, "65535: " + threw("NSFDbStoreACL"),
        {setting, notStored + threw("NSFDbStoreACL")}, locked},
      {[&] { given = nullptr; }, "65535: " + fill, {"0 " + fill}, locked},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(test.answer);
    steps.clear();
    std::strcpy(block, "xxx");
    lend(block);
    notes.OSMemAlloc.answer(gives(DHANDLE{21}));
    notes.NSFDbStoreACL.answer([&](DBHANDLE, DHANDLE, DWORD, WORD) {
      steps.push_back(std::string("store ") + block);
      return NOERROR;
    });
    test.arrange();
    EXPECT_EQ(told(db.StoreACL(3, 5, 1, given)), test.answer);
    EXPECT_EQ(linesOf("StoreACL", "NotesDatabase"), test.lines);
    EXPECT_EQ(steps, test.steps);
  }
  expectCall(notes.OSMemAlloc, 0, 3u);
  expectCall(notes.NSFDbStoreACL, 11u, 21u, 5u, 1);
  db.Close();
  EXPECT_EQ(told(db.StoreACL(3, 5, 1, data)), "65535: " + invalid);
  EXPECT_EQ(notes.OSMemAlloc.count(), std::size(cases));
}

}  // namespace
