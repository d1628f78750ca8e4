// What a note carries beside its text: attachments, body, seals. Recording, listing, removing,
// attaching.
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "NotesDocument.h"
#include "document/NoteChecks.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesDocument";

// A name and its length as Notes takes them.
struct ItemName {
  const char* text;
  WORD length;
};
constexpr ItemName fileItem = {"$FILE", 5};
constexpr ItemName bodyItem = {"Body", 4};
constexpr ItemName sealItem = {"$Seal", 5};
constexpr ItemName sealDataItem = {"$SealData", 9};
constexpr ItemName stubItem = {"StubData", 8};

koln::CallResult findItem(NOTEHANDLE note, ItemName name) noexcept {
  return KOLN_STATUS(NSFItemInfo, note, name.text, name.length, nullptr, nullptr, nullptr, nullptr);
}

// Any status means that the item is not there, not only the one that says so.
bool isThere(const koln::CallResult& asked) {
  return asked.returned() && !asked.failed();
}

// Deletes an item if it is there. False if that failed, which is recorded and logged.
bool removeItem(NOTEHANDLE note, NOTEID id, ItemName name, const char* function, const char* what,
                KoLNError& error) {
  const koln::CallResult found = findItem(note, name);
  if (!isThere(found)) {
    if (!found.returned()) {
      found.record(error);
    }
    return found.returned();
  }
  const koln::CallResult deleted = KOLN_STATUS(NSFItemDelete, note, name.text, name.length);
  if (!deleted.failed()) {
    return true;
  }
  deleted.record(error);
  KOLN_LOG(function, 0,
           "Error: unable to remove %s for note [%d]. NSFItemDelete(...) returned: [%d]. Resulting "
           "error string: [%s].",
           what, static_cast<int>(id), deleted.status(), error.GetMessage().c_str());
  return false;
}

// One attachment as Notes tells it.
struct Found {
  koln::TextBuffer<1024> name;
  DWORD size = 0;
  TIMEDATE created = {};
  TIMEDATE modified = {};
};

enum class Detail { NameOnly, All };

// Calls `visit` for one attachment after the other; the walk ends where Notes says so, or where its
// 16-bit count of attachments ends. Returns the call that ended it.
template <typename Visit>
koln::CallResult eachAttachment(NOTEHANDLE note, Detail detail, Visit visit) {
  const bool all = detail == Detail::All;
  koln::CallResult asked("MailGetMessageAttachmentInfo", NOERROR);
  for (DWORD index = 0; index <= MAXWORD; ++index) {
    Found found;
    BLOCKID block = {};  // Stays the note's.
    BOOL more = FALSE;
    asked = KOLN_INTO(more, MailGetMessageAttachmentInfo, note, static_cast<WORD>(index), &block,
                      found.name.data(), all ? &found.size : nullptr, nullptr, nullptr,
                      all ? &found.created : nullptr, all ? &found.modified : nullptr);
    if (asked.failed() || !more || !visit(found)) {
      break;
    }
  }
  return asked;
}

// The names of attachments behind each other, in a buffer that grows by pieces of one size.
class NameList {
 public:
  bool allocate() {
    bytes_.reset(new (std::nothrow) char[piece]);
    capacity_ = piece;
    return bytes_ != nullptr;
  }

  // Appends the name and its terminator. False when memory is short.
  bool append(const char* name) {
    const std::size_t length = std::strlen(name) + 1;
    if (length_ + length >= capacity_) {
      std::unique_ptr<char[]> larger(new (std::nothrow) char[capacity_ + piece]);
      if (larger == nullptr) {
        return false;
      }
      std::memcpy(larger.get(), bytes_.get(), length_);
      bytes_ = std::move(larger);
      capacity_ += piece;
    }
    std::memcpy(bytes_.get() + length_, name, length);
    length_ += length;
    return true;
  }

  const char* data() const { return bytes_.get(); }
  std::size_t length() const { return length_; }

 private:
  static constexpr std::size_t piece = 65000;
  std::unique_ptr<char[]> bytes_;
  std::size_t capacity_ = 0;
  std::size_t length_ = 0;
};

}  // namespace

// ---- what the note holds ----------------------------------------------------------------------

KoLNError KoLNDataDocument::HasItem(std::string name, bool& present) {
  return koln::recorded([&](KoLNError& error) {
    present = false;
    if ((noteId_ & RRV_DELETED) != 0) {
      error.SetCustomMessage("HasAttachment request for deleted note");
      return;
    }
    if (koln::lacksNote(note_, error)) {
      return;
    }
    const koln::CallResult found =
        findItem(note_, {name.c_str(), koln::wordLength(std::strlen(name.c_str()))});
    if (!found.returned()) {
      koln::recordOr(found,
                     "Caught exception in [NSFItemIsPresent(\t...)] while checking for "
                     "attachment\t\n",
                     error);
    }
    present = isThere(found);
  });
}

KoLNError KoLNDataDocument::IsMigratedMessage(bool& migrated) {
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      return;
    }
    const koln::CallResult found = findItem(note_, stubItem);
    if (!found.returned()) {
      koln::recordOr(found,
                     "Caught exception in [NSFItemIsPresent(\t...)] while checking for "
                     "migration\t\n",
                     error);
      return;
    }
    migrated = isThere(found);
  });
}

KoLNError KoLNDataDocument::GetAttachmentInfoList(std::vector<std::string>& extensions) {
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      extensions.clear();
      return;
    }
    koln::recordOr(eachAttachment(note_, Detail::NameOnly,
                                  [&](const Found& found) {
                                    const char* const dot = std::strrchr(found.name.text(), '.');
                                    if (dot != nullptr) {
                                      extensions.emplace_back(dot);
                                    }
                                    return true;
                                  }),
                   "Caught exception in [MailGetMessageAttachmentInfo(\t...)] \n", error);
  });
}

KoLNError KoLNDataDocument::GetAttachmentList(std::vector<ATTACHMENT>& attachments) {
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      attachments.clear();
      return;
    }
    koln::recordOr(eachAttachment(note_, Detail::All,
                                  [&](const Found& found) {
                                    ATTACHMENT attachment;
                                    attachment.created = found.created;
                                    attachment.modified = found.modified;
                                    attachment.size = found.size;
                                    attachment.name = found.name.text();
                                    attachments.push_back(std::move(attachment));
                                    return true;
                                  }),
                   "Caught exception in [MailGetMessageAttachmentInfo(\t...)]\n", error);
  });
}

// ---- taking away ------------------------------------------------------------------------------

KoLNError KoLNDataDocument::AddAttachmentInfo() {
  constexpr const char* function = "AddAttachmentInfo";
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      return;
    }
    NameList names;
    bool enough = names.allocate();
    if (!enough) {
      KOLN_LOG(function, 0, "Error: unable to allocate memory for AttachmentList.");
      error.SetCustomMessage("Failed to allocate Memory for AttachmentList");
      return;
    }
    const koln::CallResult listed =
        eachAttachment(note_, Detail::NameOnly, [&](const Found& found) {
          enough = names.append(found.name.text());
          return enough;
        });
    if (!enough) {
      KOLN_LOG(function, 0, "Error: unable to allocate memory for pNewBuffer.");
      error.SetCustomMessage("Failed to allocate Memory for AttachmentList");
      return;
    }
    if (listed.failed()) {
      listed.record(error);
      return;
    }
    // Sixteen bits of the length, on purpose; the header tells what that means for long lists.
    const koln::CallResult set = KOLN_STATUS(NSFItemSetText, note_, "AttachmentData", names.data(),
                                             static_cast<WORD>(names.length()));
    if (set.failed()) {
      set.record(error);
      KOLN_LOG(function, 0,
               "Warning: unable to add attachment info field to note: [%d]. NSFItemSetText(...) "
               "returned: [%d]. Resulting error string: [%s].",
               static_cast<int>(noteId_), set.status(), error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNDataDocument::RemoveAttachments(bool& removed) {
  constexpr const char* function = "RemoveAttachments";
  return koln::recorded([&](KoLNError& error) {
    removed = false;
    if (koln::lacksNote(note_, error)) {
      return;
    }
    const koln::CallResult found = findItem(note_, fileItem);
    if (!isThere(found)) {
      if (!found.returned()) {
        found.record(error);
      }
      return;
    }
    error = AddAttachmentInfo();
    if (error.IsErrorSet()) {
      // Goes on all the same, on purpose.
      KOLN_LOG(function, 0, "Warning: unable to add attachment information to note: [%d].",
               static_cast<int>(noteId_));
    }
    const koln::CallResult deleted =
        KOLN_STATUS(NSFItemDelete, note_, fileItem.text, fileItem.length);
    if (!deleted.failed()) {
      removed = true;
      return;
    }
    deleted.record(error);
    KOLN_LOG(function, 0,
             "Error: unable to remove attachment for note: [%d]. NSFItemDelete(...) returned: "
             "[%d]. Resulting error string: [%s].",
             static_cast<int>(noteId_), deleted.status(), error.GetMessage().c_str());
  });
}

KoLNError KoLNDataDocument::RemoveMessageBody() {
  return koln::recorded([&](KoLNError& error) {
    if (!koln::lacksNote(note_, error)) {
      removeItem(note_, noteId_, bodyItem, "RemoveMessageBody", "body", error);
    }
  });
}

KoLNError KoLNDataDocument::RemoveSealedFields() {
  constexpr const char* function = "RemoveSealedFields";
  return koln::recorded([&](KoLNError& error) {
    if (!koln::lacksNote(note_, error) &&
        removeItem(note_, noteId_, sealItem, function, "$Seal field", error)) {
      removeItem(note_, noteId_, sealDataItem, function, "$SealData field", error);
    }
  });
}

// ---- writing items ----------------------------------------------------------------------------

KoLNError KoLNDataDocument::SetItemText(std::string name, std::string text) {
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      return;
    }
    const koln::CallResult set = KOLN_STATUS(NSFItemSetText, note_, name.c_str(), text.c_str(),
                                             static_cast<WORD>(text.length()));
    if (set.threw()) {
      error.SetCustomMessage("Caught an exception during SetItemText()");
    } else if (set.failed()) {
      set.recordCode(error);
      KOLN_LOG("SetItemText", 0,
               "Unable to set Item %s to current Note %08x. NSFItemSetText(...) returned %d - %s",
               name.c_str(), noteId_, set.status(), error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNDataDocument::SetAttachment(std::string itemName, std::string path,
                                          std::string storedName, WORD encoding) {
  return koln::recorded([&](KoLNError& error) {
    if (!koln::lacksNote(note_, error)) {
      koln::recordOr(KOLN_STATUS(NSFNoteAttachFile, note_, itemName.c_str(),
                                 koln::wordLength(std::strlen(itemName.c_str())), path.c_str(),
                                 storedName.c_str(), encoding),
                     "Exception caught during SetAttachment()", error);
    }
  });
}

// ---- reserved ---------------------------------------------------------------------------------

KoLNError KoLNDataDocument::StubNote() {
  return {};
}

KoLNError KoLNDataDocument::PruneStub() {
  return {};
}

KoLNError KoLNDataDocument::GetStubDetails(std::string& /*details*/) {
  return {};
}

KoLNError KoLNDataDocument::SetStubDetails(unsigned char* /*details*/, int /*length*/) {
  return {};
}
