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
#include "Mail.h"
#include "NoteMaker.h"
#include "Views.h"
#include "Writing.h"

namespace simulator {

namespace {

// Databases are told apart by when they were created: by these numbers, in minutes.
constexpr std::uint32_t FirstAddressBookNumber = 1;
constexpr std::uint32_t FirstApplicationNumber = FirstAddressBookNumber + MostAddressBooks;
constexpr std::uint32_t FirstMailboxNumber = 1000;
constexpr std::uint32_t FirstArchiveNumber = 1'100'000;
constexpr std::int64_t FirstCreation = Present - 10 * Year;

constexpr unsigned ApplicationDocuments = 25;

constexpr const char* Categories[] = {"General", "Projects", "Ideas", "Köln"};

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
    note.text("Subject", subject(dice));
    note.text("From", dice.pick(people_).canonicalName(), ITEM_SUMMARY | ITEM_NAMES);
    note.textList("Categories", {dice.pick(Categories)});
    note.richText("Body", prose(dice));
    const std::int64_t created = someTimeAgo(dice);
    if (dice.oneIn(12)) attachFiles(note, store, created, 12'000, dice);
    note.write(store, documentHeader(created, dice.between(created, Present), dice));
  }
  writeApplicationViews(store, dice);
  batch.commit();
  return store;
}

Store ContentMaker::mailbox(std::size_t person, const MailPlan& plan) const {
  const auto index = static_cast<std::uint32_t>(person);
  const std::uint32_t number = FirstMailboxNumber + index;
  Dice dice(seed_, Dice::Stream::Mailbox, index);
  std::vector<std::int64_t> times(plan.notes);
  std::generate(times.begin(), times.end(), [&] { return someTimeAgo(dice); });
  const Person& owner = people_[person];
  Store store = newDatabase(number, number, owner.commonName());
  Transaction batch = store.batch();
  const std::vector<NOTEID> notes =
      writeMail(store, people_, owner, std::move(times), plan.attachments, dice);
  markUnread(store, notes, dice);
  writeMailProfile(store, owner, dice);
  writeMailViews(store, notes, plan.folders, dice);
  setLimits(store, index);
  batch.commit();
  return store;
}

Store ContentMaker::archive(std::size_t person, const MailPlan& plan) const {
  const auto index = static_cast<std::uint32_t>(person);
  const std::uint32_t number = FirstArchiveNumber + index;
  Dice dice(seed_, Dice::Stream::Archive, index);
  std::vector<std::int64_t> times(plan.notes);
  std::generate(times.begin(), times.end(),
                [&] { return Present - dice.between(3 * Year, 9 * Year); });
  const Person& owner = people_[person];
  Store store = newDatabase(number, number, owner.commonName() + " (Archive)");
  Transaction batch = store.batch();
  writeMail(store, people_, owner, std::move(times), plan.attachments, dice);
  batch.commit();
  return store;
}

}  // namespace simulator
