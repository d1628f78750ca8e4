// Attached files: items "$FILE" whose value describes a file, and the objects with its bytes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "Clock.h"
#include "Export.h"
#include "Notes.h"
#include "Status.h"
#include "Text.h"

using namespace simulator;

namespace {

constexpr std::string_view AttachmentItem = "$FILE";
constexpr std::size_t PieceSize = 1 << 20;
// In the type word of an object beside the type: OBJECT_NO_COPY and its like.
constexpr WORD ObjectTypeFlags = OBJECT_NO_COPY | OBJECT_PRESERVE | OBJECT_PUBLIC;

// ---- the file on disk ---------------------------------------------------------------------------

[[noreturn]] void failOnFile(const std::string& path) {
  const int error = errno;
  STATUS status = ERR_UNKNOWN;
  if (error == ENOENT || error == ENOTDIR) status = ERR_NOEXIST;
  if (error == EACCES || error == EPERM) status = ERR_NOACCESS;
  if (error == ENAMETOOLONG || error == ELOOP) status = ERR_BAD_PATH;
  throw StatusError(status, path + ": " + std::strerror(error));
}

class DiskFile {
 public:
  explicit DiskFile(std::string path)
      : path_(std::move(path)),
        descriptor_(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (descriptor_ < 0) failOnFile(path_);
  }
  DiskFile(const DiskFile&) = delete;
  DiskFile& operator=(const DiskFile&) = delete;
  ~DiskFile() { ::close(descriptor_); }

  struct stat state() const {
    struct stat state = {};
    if (::fstat(descriptor_, &state) != 0) failOnFile(path_);
    if (!S_ISREG(state.st_mode)) throw StatusError(ERR_BAD_PATH, path_ + ": no regular file");
    if (static_cast<std::uint64_t>(state.st_size) > MAXDWORD)
      throw StatusError(ERR_SEGMENT_TOO_BIG, path_ + ": too large for an attachment");
    return state;
  }

  // Fills the whole buffer.
  void read(std::span<BYTE> buffer) const {
    while (!buffer.empty()) {
      const ssize_t count = ::read(descriptor_, buffer.data(), buffer.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) failOnFile(path_);
      if (count == 0) throw StatusError(ERR_UNKNOWN, path_ + ": became shorter meanwhile");
      buffer = buffer.subspan(static_cast<std::size_t>(count));
    }
  }

 private:
  const std::string path_;
  const int descriptor_;
};

DWORD storeContent(const StoreLease& store, const DiskFile& file, DWORD size) {
  Transaction batch = store->batch();
  ObjectHeader header;
  header.size = size;
  const DWORD object = store->addObject(header);
  std::vector<BYTE> piece(std::min<std::size_t>(size, PieceSize));
  for (DWORD done = 0; done < size;) {
    const std::span<BYTE> part =
        std::span(piece).first(std::min<std::size_t>(piece.size(), size - done));
    file.read(part);
    store->writeObject(object, done, part);
    done += static_cast<DWORD>(part.size());
  }
  batch.commit();
  return object;
}

// ---- the item -----------------------------------------------------------------------------------

std::vector<BYTE> valueOf(const FILEOBJECT& description, std::string_view name) {
  std::vector<BYTE> value(ODSLength(ODS_FILEOBJECT) + name.size());
  BYTE* next = value.data();
  ODSWriteMemory(&next, ODS_FILEOBJECT, &description, 1);
  std::copy(name.begin(), name.end(), next);
  return value;
}

struct Attachment {
  FILEOBJECT description = {};
  std::string_view name;
};

// Nothing if the item describes no file, or not with all that it says it has.
std::optional<Attachment> attachmentIn(const NoteItem& item) {
  const std::size_t size = ODSLength(ODS_FILEOBJECT);
  if (item.type != TYPE_OBJECT || item.value.size() < size) return std::nullopt;
  Attachment attachment;
  const BYTE* next = item.value.data();
  ODSReadMemory(&next, ODS_FILEOBJECT, &attachment.description, 1);
  const WORD type = attachment.description.Header.ObjectType;
  if (static_cast<WORD>(type & ~ObjectTypeFlags) != OBJECT_FILE) return std::nullopt;
  if (attachment.description.FileNameLength > item.value.size() - size) return std::nullopt;
  attachment.name = {reinterpret_cast<const char*>(next), attachment.description.FileNameLength};
  return attachment;
}

}  // namespace

// The object is stored at once, so that a large file is never in memory as a whole; it belongs to
// the note with the next update, or goes with the close. The times are the file's time of change:
// Linux has no time of creation that all file systems keep.
SIM_EXPORT STATUS NSFNoteAttachFile(NOTEHANDLE note_handle, const char* item_name,
                                    WORD item_name_length, const char* file_name,
                                    const char* orig_path_name, WORD encoding_type) {
  return statusOf([&] {
    const std::shared_ptr<OpenNote> note = requireNote(note_handle, "NSFNoteAttachFile");
    if (!file_name || !orig_path_name || *orig_path_name == '\0')
      throw StatusError(ERR_BAD_PARAM, "no file name");
    const std::string_view storedName = orig_path_name;
    if (storedName.size() > MAXPATH) throw StatusError(ERR_BAD_PATH, "the stored name is too long");
    if (encoding_type != COMPRESS_NONE) throw StatusError(NotSupportedYet, "compressed attachment");

    const DiskFile file(lmbcsToUtf8(file_name));
    const struct stat state = file.state();
    FILEOBJECT description = {};
    description.Header.ObjectType = OBJECT_FILE;
    description.FileNameLength = static_cast<WORD>(storedName.size());
    description.CompressionType = COMPRESS_NONE;
    description.FileSize = static_cast<DWORD>(state.st_size);
    description.FileModified =
        timeFromUnix(state.st_mtim.tv_sec, static_cast<int>(state.st_mtim.tv_nsec / 10'000'000));
    description.FileCreated = description.FileModified;

    const StoreLease store = requireStore(note->database());
    description.Header.RRV = storeContent(store, file, description.FileSize);
    note->storedObjects.insert(description.Header.RRV);
    note->append({std::string(itemName(item_name, item_name_length)),
                  ITEM_SUMMARY | ITEM_SIGN | ITEM_SEAL, TYPE_OBJECT,
                  valueOf(description, storedName)});
  });
}

// The buffer for the name has MAXPATH + 1 bytes. Items that are damaged are passed over.
SIM_EXPORT BOOL MailGetMessageAttachmentInfo(DHANDLE hMessage, WORD Num, BLOCKID* bhItem,
                                             char* FileName, DWORD* FileSize, WORD* FileAttributes,
                                             WORD* FileHostType, TIMEDATE* FileCreated,
                                             TIMEDATE* FileModified) {
  const auto note = existingNote(hMessage, "MailGetMessageAttachmentInfo");
  WORD left = Num;
  for (auto index = note->find(AttachmentItem); index;
       index = note->find(AttachmentItem, *index + 1)) {
    const std::optional<Attachment> attachment = attachmentIn(note->items()[*index]);
    if (!attachment || left-- != 0) continue;
    const FILEOBJECT& description = attachment->description;
    if (bhItem) *bhItem = note->valueBlock(*index);
    if (FileName) {
      const std::string_view name = cutLmbcs(attachment->name, MAXPATH);
      std::memcpy(FileName, name.data(), name.size());
      FileName[name.size()] = '\0';
    }
    if (FileSize) *FileSize = description.FileSize;
    if (FileAttributes) *FileAttributes = description.FileAttributes;
    if (FileHostType) *FileHostType = description.HostType;
    if (FileCreated) *FileCreated = description.FileCreated;
    if (FileModified) *FileModified = description.FileModified;
    return TRUE;
  }
  return FALSE;
}
