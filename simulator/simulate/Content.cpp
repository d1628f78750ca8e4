// See Content.h.
#include "Content.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <utility>

#include "Clock.h"
#include "Dice.h"
#include "InfoBuffer.h"
#include "NoteMaker.h"

namespace simulator {

namespace {

constexpr std::int64_t Minute = 60;
constexpr std::int64_t Day = 1440 * Minute;
constexpr std::int64_t Year = 365 * Day;
// Every time of a partition lies before this one, 2024-06-01, whenever it is made.
constexpr std::int64_t Present = 1717200000;

// Databases are told apart by when they were created: by these numbers, in minutes.
constexpr std::uint32_t FirstAddressBookNumber = 1;
constexpr std::uint32_t FirstApplicationNumber = FirstAddressBookNumber + MostAddressBooks;
constexpr std::uint32_t FirstMailboxNumber = 1000;
constexpr std::uint32_t FirstArchiveNumber = 1'100'000;
constexpr std::int64_t FirstCreation = Present - 10 * Year;

constexpr unsigned ApplicationDocuments = 25;

constexpr const char* Subjects[] = {"Minutes of the weekly meeting",
                                    "Budget for the next quarter",
                                    "Lunch on Friday?",
                                    "Contract draft, second version",
                                    "Travel expenses",
                                    "Welcome to the team",
                                    "Server maintenance this weekend",
                                    "Please approve: purchase order",
                                    "Holiday plans",
                                    "Angebot für die Messe in Köln",
                                    "Übersicht der Außenstände",
                                    "Réunion déplacée à jeudi",
                                    "Información del próximo año",
                                    "Приглашение на совещание",
                                    "Πρόσκληση",
                                    "会議の議事録",
                                    "关于合同的问题",
                                    "회의 일정 변경",
                                    "دعوة إلى الاجتماع",
                                    "הזמנה לפגישה",
                                    "Party 🎉 tonight",
                                    "Status report [internal] <draft> & \"final\""};

constexpr const char* Sentences[] = {
    "Please find the figures below and let me know what you think. ",
    "We talked about this on the phone last week. ",
    "The supplier has confirmed the new date, so nothing stands in the way. ",
    "I would like to settle the open points before the end of the month. ",
    "Could you have a look at the third section and send me your corrections? ",
    "Everybody who was there agreed that the second proposal is the better one. ",
    "The numbers of the branch in München are still missing. ",
    "As always, do not hesitate to call me. ",
    "This replaces the version that I sent on Monday. ",
    "Vielen Dank für die schnelle Antwort und die schönen Grüße. ",
    "Merci d'avance pour votre réponse. ",
    "詳細は添付ファイルをご覧ください。"};

constexpr const char* AttachmentNames[] = {"figures.xls",        "contract.doc", "photo.jpg",
                                           "Überblick 2023.pdf", "議事録.txt",   "archive.zip"};

constexpr const char* Categories[] = {"General", "Projects", "Ideas", "Köln"};

TIMEDATE moment(std::int64_t seconds, Dice& dice) {
  return timeFromUnix(seconds, static_cast<int>(dice.below(100)));
}

TIMEDATE randomBits(Dice& dice) {
  return timeFromStored(static_cast<std::int64_t>(dice.bits()));
}

Store newDatabase(std::uint32_t number, std::uint32_t replica, std::string_view title,
                  bool isTemplate = false) {
  DatabaseProperties properties;
  properties.info = infoWithTitle(title, isTemplate ? "StdTemplate" : "");
  properties.databaseClass = isTemplate ? DBCLASS_TEMPLATEFILE : DBCLASS_NOTEFILE;
  properties.id = timeFromUnix(FirstCreation + number * Minute);
  properties.replica.ID = timeFromUnix(FirstCreation + replica * Minute, 50);
  properties.replica.CutoffInterval = 90;
  properties.dataModified = properties.nonDataModified = properties.id;
  return Store::create(properties);
}

// A document that was created, and last changed, at the times given.
NoteHeader documentHeader(std::int64_t created, std::int64_t modified, Dice& dice) {
  NoteHeader header;
  header.originator.File = randomBits(dice);
  header.originator.Note = moment(created, dice);
  header.originator.Sequence = static_cast<DWORD>(dice.between(1, 4));
  header.modified = header.originator.SequenceTime = moment(modified, dice);
  header.accessed = moment(dice.between(modified, Present), dice);
  header.addedToFile = moment(modified, dice);
  return header;
}

// Half of the mail is of the last months, the rest goes back for years.
std::int64_t someTimeAgo(Dice& dice) {
  switch (dice.below(4)) {
    case 0:
      return Present - dice.between(3 * Minute, 30 * Day);
    case 1:
      return Present - dice.between(30 * Day, 180 * Day);
    case 2:
      return Present - dice.between(180 * Day, 2 * Year);
    default:
      return Present - dice.between(2 * Year, 7 * Year);
  }
}

std::vector<std::string> prose(Dice& dice) {
  const bool long_ = dice.oneIn(100);
  std::vector<std::string> paragraphs(static_cast<std::size_t>(dice.between(1, 5)));
  for (std::string& paragraph : paragraphs) {
    auto sentences = dice.between(1, 8);
    if (long_) sentences *= 100;
    while (sentences-- > 0) paragraph += dice.pick(Sentences);
  }
  return paragraphs;
}

void addSomeAttachments(NoteMaker& note, Store& store, std::int64_t time, Dice& dice) {
  if (!dice.oneIn(12)) return;
  for (auto count = dice.between(1, 3); count > 0; --count) {
    std::vector<BYTE> bytes(static_cast<std::size_t>(dice.between(0, 12000)));
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<BYTE>(dice.bits()); });
    // The names of a note's attachments differ.
    note.attach(store, std::to_string(count) + " " + dice.pick(AttachmentNames), bytes,
                timeFromUnix(time));
  }
}

void writeMemo(Store& store, const std::vector<Person>& people, const Person& owner,
               std::int64_t posted, Dice& dice) {
  const std::int64_t delivered = posted + dice.between(1, 2 * Minute);
  const Person& sender = dice.pick(people);
  std::vector<std::string> recipients{owner.canonicalName()};
  for (auto others = dice.oneIn(3) ? dice.between(1, 6) : 0; others > 0; --others)
    recipients.push_back(dice.pick(people).canonicalName());

  NoteMaker note;
  note.text("Form", "Memo");
  note.text("Subject", dice.pick(Subjects));
  note.text("From", sender.canonicalName(), ITEM_SUMMARY | ITEM_NAMES);
  note.textList("SendTo", recipients, ITEM_SUMMARY | ITEM_NAMES);
  if (dice.oneIn(4))
    note.textList("CopyTo", {dice.pick(people).internetAddress()}, ITEM_SUMMARY | ITEM_NAMES);
  note.time("PostedDate", timeFromUnix(posted));
  note.time("DeliveredDate", timeFromUnix(delivered));
  note.text("$MessageID", "<" + std::to_string(dice.bits()) + "@example.org>");
  note.richText("Body", prose(dice));
  addSomeAttachments(note, store, posted, dice);
  note.write(store, documentHeader(posted, delivered, dice));
}

Store mailDatabase(std::uint32_t number, const std::string& title,
                   const std::vector<Person>& people, const Person& owner,
                   std::vector<std::int64_t> times, Dice& dice) {
  Store store = newDatabase(number, number, title);
  Transaction batch = store.batch();
  std::sort(times.begin(), times.end());  // as the mail came in
  for (const std::int64_t posted : times) writeMemo(store, people, owner, posted, dice);
  batch.commit();
  return store;
}

void writePerson(Store& store, const Person& person, Dice& dice) {
  NoteMaker note;
  note.text("Form", "Person");
  note.text("Type", "Person");
  note.text("FirstName", person.firstName);
  note.text("LastName", person.lastName);
  note.textList("FullName", {person.canonicalName(), person.commonName()},
                ITEM_SUMMARY | ITEM_NAMES);
  note.text("ShortName", person.shortName);
  note.text("Department", person.department);
  note.text("InternetAddress", person.internetAddress());
  note.text("MailServer", MailServer, ITEM_SUMMARY | ITEM_NAMES);
  note.text("MailDomain", MailDomain);
  switch (person.mailFileForm) {
    case MailFileForm::Text: {
      // Administrators write it with the extension and without.
      const std::string& path = person.mailbox;
      note.text("MailFile", dice.oneIn(4) ? path.substr(0, path.rfind('.')) : path);
      break;
    }
    case MailFileForm::Absent:
      break;
    case MailFileForm::List:
      note.textList("MailFile", {"mail/" + person.shortName, "mail2/" + person.shortName});
      break;
    case MailFileForm::Number:
      note.number("MailFile", 4711);
      break;
  }
  const std::int64_t created = someTimeAgo(dice);
  note.write(store, documentHeader(created, dice.between(created, Present), dice));
}

// An administrator has limited some mailboxes, a few of them to less than they hold by now.
void setLimits(Store& store, std::uint32_t mailbox) {
  if (mailbox % 3 != 0) return;
  DatabaseProperties properties = store.properties();
  properties.quota.SizeLimit = mailbox % 12 == 0 ? 40 : 512 * 1024;
  properties.quota.WarningThreshold = properties.quota.SizeLimit / 10 * 9;
  if (mailbox % 2 == 0) properties.options = 1;
  store.setProperties(properties);
}

}  // namespace

const std::vector<Application>& applications() {
  static const std::vector<Application> all = {
      {"apps/discussion.nsf", "Discussion", 1, false},
      {"apps/sales/orders.nsf", "Orders 2024", 2, false},
      {"apps/sales/archive/orders2019.nsf", "Orders 2019", 3, false},
      {"apps/sales/replicas/orders.nsf", "Orders 2024", 2, false},
      {"apps/hr/Bewerbungen-März.nsf", "Bewerbungen für März", 4, false},
      {"apps/hr/人事.nsf", "人事データベース", 5, false},
      {"apps/templates/teamroom.ntf", "Team Room", 6, true},
  };
  return all;
}

Store ContentMaker::addressBook(std::size_t book, std::size_t books) const {
  const auto index = static_cast<std::uint32_t>(book);
  const std::uint32_t number = FirstAddressBookNumber + index;
  Dice dice(seed_, Dice::Stream::Directory, index);
  std::string title = "Example's Directory";
  if (book != 0) title += " " + std::to_string(book + 1);
  Store store = newDatabase(number, number, title);
  Transaction batch = store.batch();
  std::map<std::string, std::vector<std::string>> groups;
  for (std::size_t i = book; i < people_.size(); i += books) {
    const Person& person = people_[i];
    writePerson(store, person, dice);
    // A group's list of members is one item, so large organisations do not list everybody.
    std::vector<std::string>& members = groups[person.department];
    if (members.size() < 100) members.push_back(person.canonicalName());
  }
  for (const auto& [department, members] : groups) {
    NoteMaker note;
    note.text("Form", "Group");
    note.text("Type", "Group");
    note.text("ListName", department);
    note.textList("Members", members, ITEM_SUMMARY | ITEM_NAMES);
    const std::int64_t created = someTimeAgo(dice);
    note.write(store, documentHeader(created, created, dice));
  }
  batch.commit();
  return store;
}

Store ContentMaker::application(std::size_t index) const {
  const Application& application = applications()[index];
  const auto number = FirstApplicationNumber + static_cast<std::uint32_t>(index);
  Store store = newDatabase(number, FirstApplicationNumber + application.replica, application.title,
                            application.isTemplate);
  Transaction batch = store.batch();
  // Replicas hold the same documents.
  Dice dice(seed_, Dice::Stream::Application, application.replica);
  for (unsigned i = 0; i < ApplicationDocuments; ++i) {
    NoteMaker note;
    note.text("Form", "Topic");
    note.text("Subject", dice.pick(Subjects));
    note.text("From", dice.pick(people_).canonicalName(), ITEM_SUMMARY | ITEM_NAMES);
    note.textList("Categories", {dice.pick(Categories)});
    note.richText("Body", prose(dice));
    const std::int64_t created = someTimeAgo(dice);
    addSomeAttachments(note, store, created, dice);
    note.write(store, documentHeader(created, dice.between(created, Present), dice));
  }
  batch.commit();
  return store;
}

Store ContentMaker::mailbox(std::size_t person, unsigned notes) const {
  const auto index = static_cast<std::uint32_t>(person);
  Dice dice(seed_, Dice::Stream::Mailbox, index);
  std::vector<std::int64_t> times(notes);
  std::generate(times.begin(), times.end(), [&] { return someTimeAgo(dice); });
  const Person& owner = people_[person];
  Store store = mailDatabase(FirstMailboxNumber + index, owner.commonName(), people_, owner,
                             std::move(times), dice);
  setLimits(store, index);
  return store;
}

Store ContentMaker::archive(std::size_t person, unsigned notes) const {
  const auto index = static_cast<std::uint32_t>(person);
  Dice dice(seed_, Dice::Stream::Archive, index);
  std::vector<std::int64_t> times(notes);
  std::generate(times.begin(), times.end(),
                [&] { return Present - dice.between(3 * Year, 9 * Year); });
  const Person& owner = people_[person];
  return mailDatabase(FirstArchiveNumber + index, owner.commonName() + " (Archive)", people_, owner,
                      std::move(times), dice);
}

}  // namespace simulator
