// See Mail.h.
#include "Mail.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "Clock.h"
#include "InfoBuffer.h"
#include "Names.h"
#include "NoteMaker.h"
#include "Text.h"
#include "Writing.h"

namespace simulator {

namespace {

constexpr std::int64_t LargestAttachment = 60'000;
constexpr std::int64_t LargestSmallAttachment = 4'000;

void writeMimeBody(NoteMaker& note, Dice& dice) {
  std::string text;
  for (const std::string& paragraph : prose(dice, Length::Short)) text += paragraph + "\r\n\r\n";
  note.text("MIME_Version", "1.0");
  note.text("$NoteHasNativeMIME", "1");
  note.mimePart("Body",
                "Content-Type: text/plain; charset=UTF-8\r\n"
                "Content-Transfer-Encoding: 8bit\r\n\r\n",
                text);
}

// Only its recipient could open the body: it is part of the sealed data.
void writeSealedBody(NoteMaker& note, Dice& dice) {
  note.text("Encrypt", "1");
  note.item("$Seal", TYPE_SEAL, 0, randomBytes(200, dice));
  note.item("$SealData", TYPE_SEALDATA, 0,
            randomBytes(static_cast<std::size_t>(dice.between(500, 20'000)), dice));
}

void writeBody(NoteMaker& note, Dice& dice) {
  switch (dice.below(12)) {
    case 0:
      return writeSealedBody(note, dice);
    case 1:
    case 2:
      return writeMimeBody(note, dice);
    default:
      return note.richText("Body", prose(dice));
  }
}

// What applications and add-ons leave in mail, beside the types that every mail has.
void writeItemsOfAllTypes(NoteMaker& note, std::int64_t posted, Dice& dice) {
  const TIMEDATE sent = timeFromUnix(posted);
  const TIMEDATE later = timeFromUnix(posted + 90 * Minute);
  const TIMEDATE aDate = {{ALLDAY, sent.Innards[1]}};
  const TIMEDATE aTime = {{sent.Innards[0], ANYDAY}};
  note.text("EmptyText", "");
  note.textList("EmptyList", {});
  note.textList("Keywords", {"Köln", "", "東京"});
  note.number("Importance", -0.5);
  note.numberRange("Amounts", {1, 2.25, 1e300}, {{10, 20}});
  note.numberRange("NoAmounts", {}, {});
  note.time("DueDate", aDate);
  note.time("CallAt", aTime);
  note.timeRange("Meetings", {sent, later}, {{sent, later}});
  note.item("$AddOnData", TYPE_USERDATA, 0, randomBytes(300, dice));
  note.item("$Signature", TYPE_SIGNATURE, ITEM_SIGN, randomBytes(120, dice));
  note.item("Condition", TYPE_FORMULA, 0, randomBytes(40, dice));
  std::vector<BYTE> parent{1, 0};  // one entry
  const std::vector<BYTE> unid = randomBytes(sizeof(UNIVERSALNOTEID), dice);
  parent.insert(parent.end(), unid.begin(), unid.end());
  note.item("$REF", TYPE_NOTEREF_LIST, ITEM_SUMMARY, parent);
}

NOTEID writeMemo(Store& store, const std::vector<Person>& people, const Person& owner,
                 std::int64_t posted, unsigned attachments, bool allTypes, Dice& dice) {
  const std::int64_t delivered = posted + dice.between(1, 2 * Minute);
  const Person& sender = dice.pick(people);
  std::vector<std::string> recipients{owner.canonicalName()};
  for (auto others = dice.oneIn(3) ? dice.between(1, 6) : 0; others > 0; --others)
    recipients.push_back(dice.pick(people).canonicalName());

  NoteMaker note;
  note.text("Form", "Memo");
  note.text("Subject", subject(dice));
  note.text("From", sender.canonicalName(), ITEM_SUMMARY | ITEM_NAMES);
  note.textList("SendTo", recipients, ITEM_SUMMARY | ITEM_NAMES);
  if (dice.oneIn(4))
    note.textList("CopyTo", {dice.pick(people).internetAddress()}, ITEM_SUMMARY | ITEM_NAMES);
  note.time("PostedDate", timeFromUnix(posted));
  note.time("DeliveredDate", timeFromUnix(delivered));
  note.text("$MessageID", "<" + std::to_string(dice.bits()) + "@example.org>");
  writeBody(note, dice);
  if (allTypes) writeItemsOfAllTypes(note, posted, dice);
  if (dice.below(100) < attachments) {
    attachFiles(note, store, posted, dice.oneIn(2) ? LargestSmallAttachment : LargestAttachment,
                dice);
  }
  return note.write(store, documentHeader(posted, delivered, dice));
}

}  // namespace

std::vector<NOTEID> writeMail(Store& store, const std::vector<Person>& people, const Person& owner,
                              std::vector<std::int64_t> times, unsigned attachments, Dice& dice) {
  std::sort(times.begin(), times.end());  // as the mail came in
  const std::size_t special = times.empty() ? 0 : dice.below(times.size());
  std::vector<NOTEID> notes;
  notes.reserve(times.size());
  for (const std::int64_t posted : times) {
    const bool allTypes = notes.size() == special;
    notes.push_back(writeMemo(store, people, owner, posted, attachments, allTypes, dice));
  }
  return notes;
}

void writeMailProfile(Store& store, const Person& owner, Dice& dice) {
  constexpr std::string_view name = "mailprofile";
  NoteMaker note;
  note.text("$Name", fmt::format("$profile_{:03}{}_{}", name.size(), name, owner.canonicalName()));
  note.text("Form", "MailProfile");
  note.text("Owner", owner.canonicalName(), ITEM_SUMMARY | ITEM_NAMES);
  note.text("Signature", owner.commonName());
  NoteHeader header = documentHeader(someTimeAgo(dice), Present - Day, dice);
  header.flags |= NoteFlagProfile;
  note.write(store, header);
}

void markUnread(Store& store, const std::vector<NOTEID>& notes, Dice& dice) {
  // Half of the newest ones; the share falls with the square of the age, so a sixth on the whole.
  const std::uint64_t count = notes.size();
  std::vector<NOTEID> unread;
  for (std::uint64_t i = 0; i < count; ++i) {
    if (dice.below(2 * count * count) < (i + 1) * (i + 1)) unread.push_back(notes[i]);
  }
  const std::string title(infoPart(store.properties().info, INFOPARSE_TITLE));
  store.setUnreadNotes(utf8ToLmbcs(canonicalName(lmbcsToUtf8(title) + "/", MailServer)), unread);
}

}  // namespace simulator
