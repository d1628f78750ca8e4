// The two value records of the archiving decision, and how a note fills them.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "NotesDocument.h"
#include "NotesUtilities.h"
#include "document/NoteChecks.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesDocument";

// Times are equal when Notes says so: zone bits do not matter, wildcards equal anything.
bool sameTime(const TIMEDATE& a, const TIMEDATE& b) noexcept {
  constexpr int different = 1;  // what an unanswered question counts as
  return KOLN_VALUE(different, TimeDateCompare, &a, &b) == 0;
}

}  // namespace

ATTACHMENT::ATTACHMENT() : created(), modified(), size(0), extra(0) {}

ATTACHMENT::ATTACHMENT(const ATTACHMENT& other)
    : created(other.created),
      modified(other.modified),
      size(other.size),
      name(koln::copyOf(other.name)),
      extra(other.extra) {}

ATTACHMENT::ATTACHMENT(ATTACHMENT&& other) noexcept = default;
ATTACHMENT& ATTACHMENT::operator=(ATTACHMENT&& other) noexcept = default;

ATTACHMENT& ATTACHMENT::operator=(const ATTACHMENT& other) {
  created = other.created;
  modified = other.modified;
  size = other.size;
  if (!koln::assignText(name, other.name)) {
    name.clear();  // Without memory rather no name than the one of another file.
  }
  extra = other.extra;
  return *this;
}

bool ATTACHMENT::operator==(const ATTACHMENT& other) const {
  return sameTime(created, other.created) && sameTime(modified, other.modified) &&
         size == other.size && name == other.name && extra == other.extra;
}

DbMigrateCriteria::DbMigrateCriteria()
    : CreationTime(),
      ModifiedTime(),
      LastAccessedTime(),
      MessageBodySize(0),
      AttachmentSize(0),
      AttachmentNumbers(0) {}

DbMigrateCriteria::DbMigrateCriteria(const DbMigrateCriteria& other) : DbMigrateCriteria() {
  *this = other;
}

DbMigrateCriteria& DbMigrateCriteria::operator=(const DbMigrateCriteria& other) {
  if (this == &other) {
    return *this;
  }
  CreationTime = other.CreationTime;
  ModifiedTime = other.ModifiedTime;
  LastAccessedTime = other.LastAccessedTime;
  MessageBodySize = other.MessageBodySize;
  Attachments.clear();
  try {
    Attachments.insert(Attachments.end(), other.Attachments.begin(), other.Attachments.end());
  } catch (...) {
    // Memory is short: the list stays empty and AttachmentNumbers tells that it is not whole.
    Attachments.clear();
  }
  AttachmentSize = other.AttachmentSize;
  AttachmentNumbers = other.AttachmentNumbers;
  return *this;
}

bool DbMigrateCriteria::operator==(const DbMigrateCriteria& other) const {
  return sameTime(CreationTime, other.CreationTime) && sameTime(ModifiedTime, other.ModifiedTime) &&
         sameTime(LastAccessedTime, other.LastAccessedTime) &&
         MessageBodySize == other.MessageBodySize && AttachmentSize == other.AttachmentSize &&
         AttachmentNumbers == other.AttachmentNumbers;
}

void DbMigrateCriteria::dumpMigrationCriteria() {
  constexpr const char* function = "dumpMigrationCriteria";
  KoLNUtilities utilities;
  std::string created;
  utilities.GetTimeString(CreationTime, created);
  KOLN_LOG(function, 0, "CreationTime = %s", created.c_str());
  std::string modified;  // A fresh text: a time that cannot be shown must not repeat the other.
  utilities.GetTimeString(ModifiedTime, modified);
  KOLN_LOG(function, 0, "ModifiedTime = %s", modified.c_str());
  KOLN_LOG(function, 0, "MessageBodySize = %d", MessageBodySize);
  KOLN_LOG(function, 0, "AttachmentSize = %d", AttachmentSize);
  KOLN_LOG(function, 0, "AttachmentNumbers = %d", AttachmentNumbers);
}

KoLNError KoLNDataDocument::GetMigrationDetails(DbMigrateCriteria& details) {
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      return;
    }
    error = GetCreationTime(details.CreationTime);
    if (!error.IsErrorSet()) {
      error = GetModifiedTime(details.ModifiedTime);
    }
    if (!error.IsErrorSet()) {
      error = GetLastAccessedTime(details.LastAccessedTime);
    }
    std::vector<ATTACHMENT> attachments;
    if (!error.IsErrorSet()) {
      error = GetAttachmentList(attachments);
    }
    if (error.IsErrorSet()) {
      return;
    }

    details.AttachmentNumbers = static_cast<int>(attachments.size());
    for (ATTACHMENT& attachment : attachments) {
      // Added to what the caller left there, on purpose; a sum that wrapped would make the note
      // look small.
      const std::int64_t sum = std::int64_t{details.AttachmentSize} + attachment.size;
      details.AttachmentSize =
          static_cast<int>(std::min<std::int64_t>(sum, std::numeric_limits<int>::max()));
      details.Attachments.push_back(std::move(attachment));
    }
  });
}

KoLNError KoLNDataDocument::IsMigrationRequired(DbMigrateCriteria /*criteria*/,
                                                bool& /*required*/) {
  return {};  // The host decides.
}
