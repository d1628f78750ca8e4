// The properties of a database against a scripted Notes API: one table over how each member guards
// the handle, records and logs; then what each hands out.
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "DominoInstance.h"
#include "NotesDatabase.h"
#include "support/ScriptedNotes.h"

namespace {

enum class Guard { Code, Message, None };
enum class Record { Full, CodeAlone };

// How one member deals with failures. In `line`, "{n}" is the name ("{N}": "(null)" for none),
// "{s}" the status, "{m}" the message.
struct Member {
  std::string name;
  std::function<void(KoLNDatabase&, KoLNError&)> call;
  std::string notesFunction;
  void (*fail)(FakeNotes&, Failure);
  std::size_t (*count)(FakeNotes&);
  Guard guard;
  Record record;
  int level = 0;
  std::string line = "";
};

#define KOLN_FAILING(function)                                              \
  #function, [](FakeNotes& notes, Failure how) { fail(notes.function, how); }, \
      [](FakeNotes& notes) { return notes.function.count(); }

// A call that fails; what it would fill keeps its value.
template <typename Out, typename... Parameters>
auto unchanged(KoLNError (KoLNDatabase::*member)(Parameters...), Out value) {
  return [=](KoLNDatabase& db, KoLNError& error) {
    Out out = value;
    error = (db.*member)(out);
    EXPECT_EQ(std::memcmp(&out, &value, std::is_class_v<Out> ? 0 : sizeof out), 0);
    if constexpr (std::is_same_v<Out, std::string>) {
      EXPECT_EQ(out, value);
    } else if constexpr (std::is_same_v<Out, TIMEDATE>) {
      EXPECT_EQ(out.Innards[0], value.Innards[0]);
    }
  };
}

using Db = KoLNDatabase;
char buffer[NSF_INFO_SIZE];
DBREPLICAINFO replica = {{{1, 2}}, 3, 4, {{5, 6}}};
DBQUOTAINFOEXT quota = {};
DWORD first = 0, second = 0;
WORD word = 0;
DHANDLE memory = NULLHANDLE;
const TIMEDATE before = {{77, 78}};
const std::string information =
    "Error: unable to get database information for Db: [{N}]. NSFDbInfoGet(...) returned: [{s}]. "
    "Resulting error string: [{m}].";

// clang-format off
const Member members[] = {
    {"GetSize", unchanged(&Db::GetSize, DWORD{7}), KOLN_FAILING(NSFDbSpaceUsage), Guard::None, Record::Full},
    {"GetCreationTime", unchanged(&Db::GetCreationTime, before), KOLN_FAILING(NSFDbIDGet), Guard::None, Record::Full},
    {"GetModifiedTime", unchanged(&Db::GetModifiedTime, before), KOLN_FAILING(NSFDbModifiedTime), Guard::None, Record::Full},
    {"GetReplicaID", unchanged(&Db::GetReplicaID, std::string("old")), KOLN_FAILING(NSFDbReplicaInfoGet), Guard::Code, Record::Full,
     -1, "Error: Failed to fetch replicaId information for DB {N}, error ({s}) {m}"},
    {"GetReplicaInfo", [](Db& db, KoLNError& e) { e = db.GetReplicaInfo(&replica); }, KOLN_FAILING(NSFDbReplicaInfoGet), Guard::Code, Record::Full,
     -1, "Error: Failed to fetch replica information for DB {n}, error ({s}) {m}"},
    {"GetTitle", unchanged(&Db::GetTitle, std::string("old")), KOLN_FAILING(NSFDbInfoGet), Guard::Code, Record::Full, 0, information},
    {"GetDesignClass", unchanged(&Db::GetDesignClass, std::string("old")), KOLN_FAILING(NSFDbInfoGet), Guard::Code, Record::Full, 0, information},
    {"GetPaths", [](Db& db, KoLNError& e) { e = db.GetPaths(buffer, buffer); }, KOLN_FAILING(NSFDbPathGet), Guard::Code, Record::Full,
     0, "Error: Failed to get database paths for {n}. {s} - {m}"},
    {"GetMode", [](Db& db, KoLNError& e) { e = db.GetMode(&word); }, KOLN_FAILING(NSFDbModeGet), Guard::Code, Record::Full,
     0, "Error: Failed to get database mode for {n}, {s} - {m}"},
    {"GetQuota", [](Db& db, KoLNError& e) { e = db.GetQuota(&quota); EXPECT_FALSE(db.GetQuotaUsage()); }, KOLN_FAILING(NSFDbQuotaGethDB), Guard::Code, Record::Full,
     0, "Unable to determine quota for database {n}. {s} - {m}"},
    {"GetSpaceUsage", [](Db& db, KoLNError& e) { e = db.GetSpaceUsage(&first, &second); }, KOLN_FAILING(NSFDbSpaceUsage), Guard::Code, Record::Full,
     0, "Unable to determine space usage for database {n}. {s} - {m}"},
    {"GetInfo", [](Db& db, KoLNError& e) { e = db.GetInfo(buffer); }, KOLN_FAILING(NSFDbInfoGet), Guard::Code, Record::Full,
     0, "Failed to get database information for {n}. NSFDbInfoGet(...) returned {s} - {m}"},
    {"SetInfo", [](Db& db, KoLNError& e) { e = db.SetInfo(buffer); }, KOLN_FAILING(NSFDbInfoSet), Guard::Message, Record::CodeAlone},
    {"SetReplicaInfo", [](Db& db, KoLNError& e) { e = db.SetReplicaInfo(&replica); }, KOLN_FAILING(NSFDbReplicaInfoSet), Guard::Message, Record::CodeAlone},
    {"GetOptions", [](Db& db, KoLNError& e) { e = db.GetOptions(&first); }, KOLN_FAILING(NSFDbGetOptions), Guard::Message, Record::CodeAlone},
    {"ReadAcl", [](Db& db, KoLNError& e) { e = db.ReadAcl(&memory); }, KOLN_FAILING(NSFDbReadACL), Guard::None, Record::Full,
     0, "Failed to read ACL information for database {n}. NSFDbReadACL(...) returned {s} - {m}"},
    {"ReadObject", [](Db& db, KoLNError& e) { e = db.ReadObject(0xFFFFFFFE, 70000, 0xFFFFFFFF, &memory); }, KOLN_FAILING(NSFDbReadObject), Guard::Code, Record::Full,
     0, "Error: Failed to read object. ObjectID - 4294967294, offset - 70000, size - 4294967295, Db - {n}. NSFDbReadObject(...) returned {s} - {m}"},
    {"AllocObject", [](Db& db, KoLNError& e) { e = db.AllocObject(70000, 2, 3, &first); }, KOLN_FAILING(NSFDbAllocObject), Guard::Message, Record::CodeAlone},
    {"FreeObject", [](Db& db, KoLNError& e) { e = db.FreeObject(8); }, KOLN_FAILING(NSFDbFreeObject), Guard::Message, Record::CodeAlone},
    {"WriteObject", [](Db& db, KoLNError& e) { e = db.WriteObject(8, 9, 10, 70000); }, KOLN_FAILING(NSFDbWriteObject), Guard::Message, Record::CodeAlone},
};
// clang-format on

std::string filled(std::string text, const std::string& name, const std::string& status,
                   const std::string& message) {
  const std::pair<std::string, std::string> fields[] = {
      {"{n}", name}, {"{N}", name.empty() ? "(null)" : name}, {"{s}", status}, {"{m}", message}};
  for (const auto& [field, value] : fields) {
    if (const std::size_t at = text.find(field); at != std::string::npos) {
      text.replace(at, field.size(), value);
    }
  }
  return text;
}

TEST(DatabasePropertiesTest, EveryMemberRecordsAndLogsItsFailureInItsOwnWay) {
  for (const Member& member : members) {
    for (const std::string name : {"own.nsf", ""}) {
      for (const Failure how : everyFailure) {
        SCOPED_TRACE(member.name + " " + std::to_string(static_cast<int>(how)));
        ScriptedNotes set;
        member.fail(set.notes, how);
        KoLNDatabase db(name, set.instance);
        db.Open("b.nsf", false);
        KoLNError error;
        member.call(db, error);
        const std::string status = how == Failure::Refused ? "49411" : "65535";
        const std::string message = how == Failure::Refused  ? "text of 259"
                                    : how == Failure::Throws ? threw(member.notesFunction)
                                                             : unbound(member.notesFunction);
        const bool codeAlone = member.record == Record::CodeAlone && how == Failure::Refused;
        EXPECT_EQ(told(error), codeAlone ? "code 49411" : status + ": " + message);
        Lines lines;
        if (!member.line.empty()) {
          lines.push_back({member.name, member.level, "NotesDatabase",
                           filled(member.line, name, status, message)});
        }
        EXPECT_EQ(set.log.take(), lines);
        EXPECT_EQ(db.GetHandle(), 11u);
      }
    }
  }
}

TEST(DatabasePropertiesTest, AClosedDatabaseIsGuardedInThreeWays) {
  for (const Member& member : members) {
    SCOPED_TRACE(member.name);
    ScriptedNotes set;
    member.fail(set.notes, Failure::Refused);
    KoLNDatabase db("own.nsf", set.instance);
    KoLNError error;
    member.call(db, error);
    const bool asked = member.guard == Guard::None;
    EXPECT_EQ(told(error), asked                          ? refusedText
                           : member.guard == Guard::Code ? "4996: text of 4996"
                                                         : "65535: Invalid database handle");
    EXPECT_EQ(member.count(set.notes), asked ? 1u : 0u);
    EXPECT_EQ(set.log.take().size(), asked && !member.line.empty() ? 1u : 0u);
  }
}

class OpenPropertiesTest : public testing::Test, protected ScriptedNotes {
 protected:
  OpenPropertiesTest() { db.Open(); }

  KoLNDatabase db{"own.nsf", instance};
};

TEST_F(OpenPropertiesTest, ArgumentsReachNotesInTheirOrder) {
  notes.NSFDbPathGet.answer(NOERROR);
  EXPECT_EQ(told(db.GetPaths(nullptr, buffer)), "clean");
  expectCall(notes.NSFDbPathGet, 11u, nullptr, buffer);
  notes.NSFDbModeGet.answer(NOERROR);
  EXPECT_EQ(told(db.GetMode(&word)), "clean");
  expectCall(notes.NSFDbModeGet, 11u, &word);
  notes.NSFDbSpaceUsage.answer(NOERROR);
  EXPECT_EQ(told(db.GetSpaceUsage(&first, &second)), "clean");
  expectCall(notes.NSFDbSpaceUsage, 11u, &first, &second);
  notes.NSFDbInfoGet.answer(NOERROR);
  EXPECT_EQ(told(db.GetInfo(buffer)), "clean");
  expectCall(notes.NSFDbInfoGet, 11u, buffer);
  notes.NSFDbInfoSet.answer(NOERROR);
  EXPECT_EQ(told(db.SetInfo(buffer)), "clean");
  expectCall(notes.NSFDbInfoSet, 11u, buffer);
  notes.NSFDbReplicaInfoGet.answer(NOERROR);
  EXPECT_EQ(told(db.GetReplicaInfo(&replica)), "clean");
  expectCall(notes.NSFDbReplicaInfoGet, 11u, &replica);
  notes.NSFDbReplicaInfoSet.answer(NOERROR);
  EXPECT_EQ(told(db.SetReplicaInfo(&replica)), "clean");
  expectCall(notes.NSFDbReplicaInfoSet, 11u, &replica);
  notes.NSFDbGetOptions.answer(NOERROR);
  EXPECT_EQ(told(db.GetOptions(&first)), "clean");
  expectCall(notes.NSFDbGetOptions, 11u, &first);
  notes.NSFDbReadACL.answer(NOERROR);
  EXPECT_EQ(told(db.ReadAcl(&memory)), "clean");
  expectCall(notes.NSFDbReadACL, 11u, &memory);
  notes.NSFDbReadObject.answer(NOERROR);
  EXPECT_EQ(told(db.ReadObject(8, 70001, 70002, &memory)), "clean");
  expectCall(notes.NSFDbReadObject, 11u, 8u, 70001u, 70002u, &memory);
  notes.NSFDbAllocObject.answer(NOERROR);
  EXPECT_EQ(told(db.AllocObject(70003, 2, 3, &second)), "clean");
  expectCall(notes.NSFDbAllocObject, 11u, 70003u, 2, 3, &second);
  notes.NSFDbFreeObject.answer(NOERROR);
  EXPECT_EQ(told(db.FreeObject(8)), "clean");
  expectCall(notes.NSFDbFreeObject, 11u, 8u);
  notes.NSFDbWriteObject.answer(NOERROR);
  EXPECT_EQ(told(db.WriteObject(8, 9, 70004, 70005)), "clean");
  expectCall(notes.NSFDbWriteObject, 11u, 8u, 9u, 70004u, 70005u);
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(OpenPropertiesTest, SizesTimesAndReplicaIdsAreTheRightHalf) {
  notes.NSFDbSpaceUsage.answer([](DBHANDLE, DWORD* allocated, DWORD* free) {
    *allocated = 0xFFFFFFFF;
    *free = 5;
    return NOERROR;
  });
  DWORD size = 0;
  EXPECT_EQ(told(db.GetSize(size)), "clean");
  EXPECT_EQ(size, 0xFFFFFFFF);
  notes.NSFDbIDGet.answer([](DBHANDLE, TIMEDATE* id) {
    *id = {{3, 4}};
    return NOERROR;
  });
  TIMEDATE time = before;
  EXPECT_EQ(told(db.GetCreationTime(time)), "clean");
  EXPECT_EQ(time.Innards[0], 3u);
  EXPECT_EQ(time.Innards[1], 4u);

  notes.NSFDbModifiedTime.answer([](DBHANDLE, TIMEDATE* data, TIMEDATE* nonData) {
    *data = {{1, 10}};
    *nonData = {{2, 20}};  // The design changed later.
    return NOERROR;
  });
  for (const int order : {-1, 0, 1}) {
    notes.TimeDateCompare.answer([order](const TIMEDATE* data, const TIMEDATE* nonData) {
      EXPECT_EQ(data->Innards[1], 10u);
      EXPECT_EQ(nonData->Innards[1], 20u);
      return order;
    });
    time = before;
    EXPECT_EQ(told(db.GetModifiedTime(time)), "clean");
    EXPECT_EQ(time.Innards[1], 10u);
  }
  time = before;
  notes.TimeDateCompare.answer(Throwing{});
  EXPECT_EQ(told(db.GetModifiedTime(time)), "65535: " + threw("TimeDateCompare"));
  EXPECT_EQ(time.Innards[0], 1u);

  const std::tuple<DWORD, DWORD, std::string> ids[] = {
      {1, 2, "00000002:00000001"}, {0xFFFFFFFF, 0xABCDEF, "00ABCDEF:FFFFFFFF"}};
  for (const auto& [low, high, text] : ids) {
    notes.NSFDbReplicaInfoGet.answer([low = low, high = high](DBHANDLE, DBREPLICAINFO* out) {
      *out = {{{low, high}}, 0xFFFF, 0xFFFF, {{9, 9}}};
      return NOERROR;
    });
    std::string id = "old";
    EXPECT_EQ(told(db.GetReplicaID(id)), "clean");
    EXPECT_EQ(id, text);
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
  for (const std::string text : {std::string(), std::string("%s"), std::string(127, '\x84')}) {
    part = text;
    std::string title = "old", designClass = "old";
    EXPECT_EQ(told(db.GetTitle(title)), "clean");
    EXPECT_EQ(notes.NSFDbInfoParse.argument<1>(), INFOPARSE_TITLE);
    EXPECT_EQ(title, text);  // As Notes has it: it would not fit as UTF-8.
    EXPECT_EQ(log.take(), Lines{});
    EXPECT_EQ(told(db.GetDesignClass(designClass)), "clean");
    EXPECT_EQ(notes.NSFDbInfoParse.argument<1>(), INFOPARSE_DESIGN_CLASS);
    EXPECT_EQ(designClass, text);
    EXPECT_EQ(log.take(),
              (Lines{{"GetDesignClass", 0, "NotesDatabase", "DBDesignClass [" + text + "]"}}));
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
  notes.MailLookupAddress.answer(refused);
  EXPECT_EQ(told(db.GetCanonicalName(out)), refusedText);
  const std::string failed = "Failed to fetch Canonical name for database %s One. error (";
  EXPECT_EQ(log.take(), (Lines{{"GetCanonicalName", -1, "NotesDatabase",
                                failed + "49411) text of 259"}}));
  notes.MailLookupAddress.answer(Throwing{});
  EXPECT_EQ(told(db.GetCanonicalName(out)), "65535: " + threw("MailLookupAddress"));
  EXPECT_EQ(log.take(), (Lines{{"GetCanonicalName", -1, "NotesDatabase",
                                failed + "65535) " + threw("MailLookupAddress")}}));
  db.title = "";
  EXPECT_EQ(told(db.GetCanonicalName(out)), "clean");
  EXPECT_EQ(log.take(),
            (Lines{{"GetCanonicalName", 0, "NotesDatabase", "Error: invalid database title"}}));
  EXPECT_EQ(out, "old");
}

TEST(StoreAclTest, TheMemoryIsFilledUnlockedStoredAndFreedWhateverHappens) {
  const std::string setting = "2 Setting ACL...", fill = "Unable to fill the memory for the ACL.";
  const Texts filled = {"lock", "unlock"}, all = {"lock", "unlock", "store ACL", "free"};
  // clang-format off
  const struct {
    std::string title; std::function<void(FakeNotes&)> arrange; std::string answer; Texts lines;
    Texts steps;
  } cases[] = {
      {"stored", [](FakeNotes&) {}, "clean", {setting}, all},
      {"no memory", [](FakeNotes& fake) { fake.OSMemAlloc.answer(refused); }, "clean",
        {"0 OSMemAlloc() failed, "}, {}},
      {"allocation throws", [](FakeNotes& fake) { fake.OSMemAlloc.answer(Throwing{}); },
        "0: " + threw("OSMemAlloc"), {"0 OSMemAlloc() failed, " + threw("OSMemAlloc")}, {}},
      {"null handle", [](FakeNotes& fake) { fake.OSMemAlloc.answer(NOERROR); }, "65535: " + fill,
        {"0 " + fill}, {}},
      {"no lock", [](FakeNotes& fake) { fake.OSLockObject.answer(nullptr); }, "65535: " + fill,
        {"0 " + fill}, {"free"}},
      {"lock throws", [](FakeNotes& fake) { fake.OSLockObject.answer(Throwing{}); },
        "65535: " + fill, {"0 " + fill}, {"free"}},
      {"no data", nullptr, "65535: " + fill, {"0 " + fill}, {"lock", "unlock", "free"}},
      {"not stored", [](FakeNotes& fake) { fake.NSFDbStoreACL.answer(refused); }, "code 49411",
        {setting, "2 Cannot store ACL information - "}, {"lock", "unlock", "free"}},
      {"storing throws", [](FakeNotes& fake) { fake.NSFDbStoreACL.answer(Throwing{}); },
        "65535: " + threw("NSFDbStoreACL"),
        {setting, "2 Cannot store ACL information - " + threw("NSFDbStoreACL")},
        {"lock", "unlock", "free"}},
      {"freeing throws", [](FakeNotes& fake) { fake.OSMemFree.answer(Throwing{}); }, "clean",
        {setting}, {"lock", "unlock", "store ACL"}},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(test.title);
    ScriptedNotes set;
    Texts steps;
    char block[] = "xxxG";
    set.notes.OSMemAlloc.answer([](WORD, DWORD, DHANDLE* out) {
      *out = 21;
      return NOERROR;
    });
    set.notes.OSLockObject.answer([&](DHANDLE) -> void* {
      steps.emplace_back("lock");
      return block;
    });
    set.notes.OSUnlockObject.answer([&](DHANDLE) {
      steps.emplace_back("unlock");
      return TRUE;
    });
    set.notes.NSFDbStoreACL.answer([&](DBHANDLE, DHANDLE, DWORD, WORD) {
      steps.push_back(std::string("store ") + block);
      return NOERROR;
    });
    set.notes.OSMemFree.answer([&](DHANDLE handle) {
      EXPECT_EQ(handle, 21u);
      steps.emplace_back("free");
      return NOERROR;
    });
    char data[] = {'A', 'C', 'L', '!'};
    KoLNDatabase db("own.nsf", set.instance);
    EXPECT_EQ(told(db.StoreACL(3, 5, 1, data)), "65535: Invalid database handle");
    EXPECT_EQ(set.notes.OSMemAlloc.count(), 0u);
    db.Open();
    block[3] = '\0';
    if (test.arrange != nullptr) {
      test.arrange(set.notes);
    }
    const KoLNError error = db.StoreACL(3, 5, 1, test.arrange != nullptr ? data : nullptr);
    EXPECT_EQ(told(error), test.answer);
    EXPECT_EQ(set.linesOf("StoreACL", "NotesDatabase"), test.lines);
    EXPECT_EQ(steps, test.steps);
    expectCall(set.notes.OSMemAlloc, 0, 3u);
    if (!test.steps.empty() && test.lines[0] == setting) {
      expectCall(set.notes.NSFDbStoreACL, 11u, 21u, 5u, 1);
    }
  }
}

}  // namespace
