#include "SurveyCount.h"

#include <fmt/format.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "Interrupt.h"
#include "NoteArgument.h"
#include "NotesFailure.h"
#include "ShownText.h"
#include "Translation.h"

namespace host {
namespace {

// What a stub gets at most: the link, the name of its copy, what is known of its archiving.
constexpr std::int64_t stubBytes = 1400;

constexpr std::array<std::string_view, 3> removedItems = {"Body", "$Seal", "$SealData"};

// Called by the runtime, which knows no exceptions; adds up what a stub does not keep.
STATUS onItem(WORD /*unused*/, WORD /*flags*/, char* name, WORD nameLength, void* /*value*/,
              DWORD length, void* context) {
  for (const std::string_view removed : removedItems) {
    if (nameLength == removed.size() && strncasecmp(name, removed.data(), nameLength) == 0) {
      *static_cast<std::uint64_t*>(context) += length;
    }
  }
  return NOERROR;
}

// A stub keeps the fields. The sizes of attachments are those of the files, which may take less
// room in the note.
std::int64_t freedBy(KoLNDocument& note, const NoteFacts& facts) {
  std::uint64_t removed = 0;
  const KoLNError error = note.ScanItems(onItem, &removed);
  if (isError(error)) {
    throw failureOf("its items cannot be read", error);
  }
  for (const ATTACHMENT& attachment : facts.attachments) {
    removed += attachment.size;
  }
  removed = std::min<std::uint64_t>(removed, facts.size);
  return static_cast<std::int64_t>(removed) - stubBytes;
}

template <std::size_t count>
std::size_t classOf(const std::array<SurveyClass, count>& classes, std::uint64_t value) {
  std::size_t place = 0;
  while (value > classes[place].limit) {
    ++place;
  }
  return place;
}

class Counter {
 public:
  Counter(KoLNDatabase& database, const SurveyLimits& limits, SizeFormula& formula,
          SurveySums& sums)
      : database_(database), limits_(limits), formula_(formula), sums_(sums) {}

  void add(NOTEID id) {
    KoLNDataDocument note(database_.GetHandle(), id);
    if (!openAsStored(note)) {
      return;
    }
    const NoteFacts facts = factsOf(note, formula_);
    const bool dated = facts.age > 0;  // Without a date no age makes a note old enough.
    const bool unread = dated && !facts.stub && !limits_.withUnread && isUnread(id);
    SurveyAmount amount = {1, facts.size, 0, 0, 0};
    if (dated && !facts.stub && !unread) {
      amount = {1, facts.size, 1, facts.size, freedBy(note, facts)};
    }
    sums_.stubs += facts.stub ? 1 : 0;
    sums_.unread += unread && facts.age > limits_.age ? 1 : 0;
    sums_.all += amount;
    sums_.byAge[classOf(ageClasses, facts.age)] += amount;
    sums_.bySize[classOf(sizeClasses, facts.size)] += amount;
    if (facts.age > limits_.age) {
      sums_.old += amount;
    }
  }

 private:
  bool isUnread(NOTEID id) {
    bool unread = false;
    const KoLNError error = database_.GetNoteUnreadStatus(id, unread);
    if (isError(error)) {
      throw failureOf("whether it is unread cannot be told", error);
    }
    return unread;
  }

  KoLNDatabase& database_;
  const SurveyLimits& limits_;
  SizeFormula& formula_;
  SurveySums& sums_;
};

void discoverUnread(KoLNDatabase& database) {
  const KoLNError error = database.DiscoverUnReadDocuments();
  if (isError(error)) {
    throw Failure(ExitCode::Failed,
                  fmt::format("which notes are unread cannot be told: {}; --unread counts them all",
                              described(error)));
  }
}

std::string titleOf(KoLNDatabase& database) {
  std::string title;
  const KoLNError error = database.GetTitle(title);
  if (isError(error)) {
    throw failureOf("its title cannot be told", error);
  }
  return utf8FromLmbcs(title);
}

}  // namespace

SurveyAmount& SurveyAmount::operator+=(const SurveyAmount& other) noexcept {
  notes += other.notes;
  bytes += other.bytes;
  candidates += other.candidates;
  candidateBytes += other.candidateBytes;
  freed += other.freed;
  return *this;
}

SurveySums& SurveySums::operator+=(const SurveySums& other) noexcept {
  all += other.all;
  old += other.old;
  for (std::size_t i = 0; i < byAge.size(); ++i) {
    byAge[i] += other.byAge[i];
  }
  for (std::size_t i = 0; i < bySize.size(); ++i) {
    bySize[i] += other.bySize[i];
  }
  stubs += other.stubs;
  unread += other.unread;
  failed += other.failed;
  return *this;
}

SurveyedMailbox surveyed(KoLNDatabase& database, const std::string& path,
                         const SurveyLimits& limits, SizeFormula& formula, Complaints& complaints,
                         const std::string& place) {
  SurveyedMailbox mailbox;
  mailbox.path = path;
  std::vector<NOTEID> ids;
  try {
    mailbox.title = titleOf(database);
    if (!limits.withUnread) {
      discoverUnread(database);
    }
    ids = documentsOf(database);
  } catch (const Failure& failure) {
    throw Failure(failure.code(), fmt::format("{} is left out: {}", path, failure.what()));
  }
  Counter counter(database, limits, formula, mailbox.sums);
  const bool watched = isatty(STDERR_FILENO) == 1;
  const std::string things = fmt::format("notes of {} ({})", shown(path), place);
  std::size_t done = 0;
  for (const NOTEID id : ids) {
    if (interruptRequested()) {
      throw Failure(ExitCode::Interrupted, fmt::format("interrupted at {} ({})", path, place));
    }
    try {
      counter.add(id);
    } catch (const Failure& failure) {
      ++mailbox.sums.failed;
      complaints.tell(fmt::format("note {} of {} is not counted: {}", textFromNoteId(id), path,
                                  failure.what()));
    }
    if (watched) {
      Console::get().progress(++done, ids.size(), things);
    }
  }
  Console::get().endProgress();
  return mailbox;
}

}  // namespace host
