// See Writing.h.
#include "Writing.h"

#include "Clock.h"

namespace simulator {

namespace {

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

TIMEDATE moment(std::int64_t seconds, Dice& dice) {
  return timeFromUnix(seconds, static_cast<int>(dice.below(100)));
}

TIMEDATE randomBits(Dice& dice) {
  return timeFromStored(static_cast<std::int64_t>(dice.bits()));
}

}  // namespace

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

std::string subject(Dice& dice) {
  return dice.pick(Subjects);
}

std::vector<std::string> prose(Dice& dice, Length length) {
  const bool endless = dice.oneIn(100) && length == Length::Any;
  std::vector<std::string> paragraphs(static_cast<std::size_t>(dice.between(1, 5)));
  for (std::string& paragraph : paragraphs) {
    auto sentences = dice.between(1, 8);
    if (endless) sentences *= 100;
    while (sentences-- > 0) paragraph += dice.pick(Sentences);
  }
  return paragraphs;
}

std::vector<BYTE> randomBytes(std::size_t size, Dice& dice) {
  std::vector<BYTE> bytes(size);
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < size; ++i, bits >>= 8) {
    if (i % sizeof bits == 0) bits = dice.bits();
    bytes[i] = static_cast<BYTE>(bits);
  }
  return bytes;
}

void attachFiles(NoteMaker& note, Store& store, std::int64_t time, std::int64_t largest,
                 Dice& dice) {
  for (auto count = dice.between(1, 3); count > 0; --count) {
    const auto size = static_cast<std::size_t>(dice.between(0, largest));
    const std::vector<BYTE> bytes = randomBytes(size, dice);
    // The names of a note's attachments differ.
    note.attach(store, std::to_string(count) + " " + dice.pick(AttachmentNames), bytes,
                timeFromUnix(time));
  }
}

}  // namespace simulator
