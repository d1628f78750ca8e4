// The way back from a stub to its archived copy: a link or a button in rich text, or a MIME part.
//
// Rich text is a sequence of records, each on an even offset, in a block of zeros: writing a record
// of odd length only has to skip a byte.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "NotesDocument.h"
#include "document/NoteChecks.h"
#include "platform/FormulaCompile.h"
#include "platform/Log.h"
#include "platform/Owners.h"

namespace {

constexpr const char* sourceName = "NotesDocument";

constexpr STATUS noRoom = 5117;
constexpr WORD blockSize = 65406;  // What one item can hold.
constexpr std::size_t urlFieldSize = 1024;

// Sizes on disk.
constexpr WORD hotspotBeginSize = 12;
constexpr WORD hotspotEndSize = 2;
constexpr WORD buttonSize = 16;
constexpr WORD textSize = 8;

constexpr WORD urlHotspotType = 11;
constexpr WORD buttonHotspotType = 3;
constexpr WORD buttonFlags = 0x1000;
constexpr WORD buttonWidth = 2880;  // Twips: two inches.

constexpr BYTE fontFace = 3;  // The user interface's.
constexpr BYTE fontPoints = 11;
constexpr BYTE boldUnderlined = 5;
constexpr int linkStyle = 11;

constexpr FONTID font(BYTE attributes) {
  return fontFace | FONTID{attributes} << 8 | FONTID{fontPoints} << 24;
}

constexpr std::size_t evened(std::size_t length) {
  return length + length % 2;
}

std::size_t lengthOf(const char* text) {
  return text == nullptr ? 0 : std::strlen(text);
}

enum class Written { Yes, NoRoom, NotCalled };

// Writes a record and the data that follows it, and moves `dest` to the next even place. The type's
// size is asked of Notes: a runtime that has another one writes another record than this.
template <typename Record>
Written putRecord(char** dest, WORD room, WORD type, WORD size, const Record& record,
                  const void* data, std::size_t dataLength) {
  WORD onDisk = 0;
  if (KOLN_INTO(onDisk, ODSLength, type).failed()) {
    return Written::NotCalled;
  }
  if (onDisk != size || size + dataLength > room) {
    return Written::NoRoom;
  }
  void* cursor = *dest;  // Moved by the call.
  if (KOLN_VOID(ODSWriteMemory, &cursor, type, &record, WORD{1}).failed()) {
    return Written::NotCalled;
  }
  if (dataLength != 0) {
    std::memcpy(*dest + size, data, dataLength);
  }
  *dest += evened(size + dataLength);
  return Written::Yes;
}

STATUS statusOf(Written written) {
  return written == Written::Yes      ? STATUS{NOERROR}
         : written == Written::NoRoom ? noRoom
                                      : koln::CallResult::NoStatus;
}

STATUS putEnd(char** dest, WORD room, WORD* total, BYTE signature) {
  if (dest == nullptr || total == nullptr) {
    return noRoom;
  }
  CDHOTSPOTEND record = {};
  record.Header.Signature = signature;
  record.Header.Length = hotspotEndSize;
  const Written written =
      putRecord(dest, room, ODS_CDHOTSPOTEND, hotspotEndSize, record, nullptr, 0);
  if (written == Written::Yes) {
    *total = static_cast<WORD>(*total + hotspotEndSize);
  }
  return statusOf(written);
}

Written putHotspotBegin(char** dest, WORD room, WORD signature, WORD type, DWORD flags,
                        const void* data, WORD dataLength) {
  CDHOTSPOTBEGIN record = {};
  record.Header.Signature = signature;
  record.Header.Length = static_cast<WORD>(hotspotBeginSize + dataLength);
  record.Type = type;
  record.Flags = flags;
  record.DataLength = dataLength;
  return putRecord(dest, room, ODS_CDHOTSPOTBEGIN, hotspotBeginSize, record, data, dataLength);
}

// A failure of the library's own: a code that hosts know, and words that say what it is about.
void refuse(const char* function, NOTEID id, const char* why, KoLNError& error) {
  error.SetErrorCode(noRoom);
  error.SetMessage(why);
  KOLN_LOG(function, 0, "Error: no link for note [%d]: %s", static_cast<int>(id), why);
}

// Records what a writer of a record answered.
void recordWriter(STATUS status, KoLNError& error) {
  if (status == koln::CallResult::NoStatus) {
    error.SetCustomMessage("ODSLength or ODSWriteMemory has failed.");
  } else {
    error.SetError(status & ERR_MASK);
  }
}

bool refusedUrl(const char* url, const char* function, NOTEID id, KoLNError& error) {
  if (url == nullptr) {
    error.SetCustomMessage("No URL to insert.");
    return true;
  }
  if (std::strlen(url) >= urlFieldSize) {
    refuse(function, id, "The URL has 1024 bytes or more.", error);
    return true;
  }
  return false;
}

// A zeroed block of Notes memory that a rich text item is built in.
class RichTextBlock {
 public:
  RichTextBlock() : memory_(allocate()), locked_(memory_.handle()) {
    start_ = static_cast<char*>(locked_.address());
    position = start_;
    if (start_ != nullptr) {
      std::memset(start_, 0, blockSize);
    }
  }

  bool usable() const { return start_ != nullptr; }
  char* start() const { return start_; }
  WORD used() const {
    return static_cast<WORD>(std::min<std::ptrdiff_t>(position - start_, blockSize));
  }
  WORD room() const { return static_cast<WORD>(blockSize - used()); }

  char* position;    // Where the next record goes.
  WORD counted = 0;  // What the writers of records count themselves.

 private:
  static DHANDLE allocate() {
    DHANDLE handle = NULLHANDLE;
    return KOLN_STATUS(OSMemAlloc, WORD{0}, DWORD{blockSize}, &handle).failed() ? NULLHANDLE
                                                                                : handle;
  }

  koln::OwnedMemory memory_;
  koln::LockedObject locked_;
  char* start_;
};

void appendToBody(NOTEHANDLE note, NOTEID id, const RichTextBlock& block, const char* function,
                  KoLNError& error) {
  const koln::CallResult appended = KOLN_STATUS(NSFItemAppend, note, WORD{0}, "Body", WORD{4},
                                                TYPE_COMPOSITE, block.start(), DWORD{block.used()});
  if (appended.failed()) {
    appended.record(error);
    KOLN_LOG(function, 0,
             "Error: unable to append item for note [%d]. NSFItemAppend(...) returned: [%d]. "
             "Resulting error string: [%s].",
             static_cast<int>(id), appended.status(), error.GetMessage().c_str());
  }
}

// The formula that opens a URL. What would end its text literal is escaped.
std::string openingFormula(std::string_view url) {
  std::string text = "@URLOpen(\"";
  for (const char byte : url) {
    if (byte == '"' || byte == '\\') {
      text += '\\';
    }
    text += byte;
  }
  return text + "\")";
}

// Compiles the formula and writes it as the data of the button's hotspot. False if that failed,
// which is recorded.
bool putButtonFormula(RichTextBlock& block, const std::string& text, NOTEID id, KoLNError& error) {
  static_assert(2 * urlFieldSize + sizeof "@URLOpen(\"\")" <= MAXWORD);
  FORMULAHANDLE formula = NULLHANDLE;
  WORD length = 0;
  const koln::CallResult compiled = koln::compileFormula(text, formula, length);
  if (compiled.failed()) {
    if (compiled.returned()) {
      const STATUS code = compiled.status() & ERR_MASK;
      error.SetError(code != NOERROR ? code : compiled.status());
    } else {
      compiled.record(error);
    }
    return false;
  }
  const koln::OwnedMemory owned(formula);
  const koln::LockedObject locked(formula);
  if (locked.address() == nullptr) {
    error.SetCustomMessage("The compiled formula of the button could not be locked.");
    return false;
  }
  if (hotspotBeginSize + std::size_t{length} > block.room()) {
    refuse("InsertButton", id, "The formula of the button is too long.", error);
    return false;
  }
  const Written written = putHotspotBegin(
      &block.position, block.room(), SIG_CD_HOTSPOTBEGIN, buttonHotspotType,
      HOTSPOTREC_RUNFLAG_BEGIN | HOTSPOTREC_RUNFLAG_NOBORDER, locked.address(), length);
  if (written != Written::Yes) {
    recordWriter(statusOf(written), error);
  }
  return written == Written::Yes;
}

}  // namespace

// ---- the writers of records -------------------------------------------------------------------

STATUS PutButton(char** dest, char* label, WORD room, WORD* total) {
  if (dest == nullptr || total == nullptr) {
    return noRoom;
  }
  const std::size_t length = lengthOf(label);
  CDBUTTON record = {};
  record.Header.Signature = SIG_CD_BUTTON;
  record.Header.Length = static_cast<WORD>(buttonSize + length);
  record.Flags = buttonFlags;
  record.Width = buttonWidth;
  record.Lines = 1;
  record.FontID = font(0);
  const Written written = putRecord(dest, room, ODS_CDBUTTON, buttonSize, record, label, length);
  if (written == Written::Yes) {
    *total = static_cast<WORD>(*total + evened(buttonSize + length));
  }
  return statusOf(written);
}

STATUS PutHotSpotEnd(char** dest, WORD room, WORD* total) {
  return putEnd(dest, room, total, SIG_CD_HOTSPOTEND);
}

STATUS PutV4HotSpotEnd(char** dest, WORD room, WORD* total) {
  return putEnd(dest, room, total, SIG_CD_V4HOTSPOTEND);
}

BOOL PutText(char** dest, char* text, WORD room, int style) {
  if (dest == nullptr) {
    return FALSE;
  }
  const std::size_t length = lengthOf(text);
  CDTEXT record = {};
  record.Header.Signature = SIG_CD_TEXT;
  record.Header.Length = static_cast<WORD>(textSize + length);
  record.FontID = font(style == linkStyle ? boldUnderlined : 0);
  return putRecord(dest, room, ODS_CDTEXT, textSize, record, text, length) == Written::Yes;
}

// ---- the three links --------------------------------------------------------------------------

KoLNError KoLNDataDocument::InsertURL(const char* url) {
  constexpr const char* function = "InsertURL";
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error) || refusedUrl(url, function, noteId_, error)) {
      return;
    }
    RichTextBlock block;
    if (!block.usable()) {
      error.SetError(ERR_MEMORY);
      return;
    }
    char field[urlFieldSize] = {};  // The whole field is data: nothing but zeros behind the URL.
    std::copy_n(url, std::strlen(url), field);
    const Written begun = putHotspotBegin(
        &block.position, block.room(), SIG_CD_V4HOTSPOTBEGIN, urlHotspotType,
        HOTSPOTREC_RUNFLAG_BEGIN | HOTSPOTREC_RUNFLAG_NOBORDER | HOTSPOTREC_RUNFLAG_INOTES, field,
        sizeof field);
    if (begun != Written::Yes) {
      recordWriter(statusOf(begun), error);
      return;
    }
    if (!PutText(&block.position, const_cast<char*>(url), block.room(), linkStyle)) {
      refuse(function, noteId_, "The text of the link could not be written.", error);
      return;
    }
    const STATUS ended = PutV4HotSpotEnd(&block.position, block.room(), &block.counted);
    if (ended != NOERROR) {
      recordWriter(ended, error);
      return;
    }
    appendToBody(note_, noteId_, block, function, error);
  });
}

KoLNError KoLNDataDocument::InsertButton(const char* url) {
  constexpr const char* function = "InsertButton";
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error) || refusedUrl(url, function, noteId_, error)) {
      return;
    }
    // Such a byte may begin a character of several bytes, whose others must not be escaped; no URL
    // has one.
    const std::string_view text(url);
    if (std::any_of(text.begin(), text.end(),
                    [](char byte) { return static_cast<unsigned char>(byte) < ' '; })) {
      error.SetCustomMessage("The URL holds a control character.");
      KOLN_LOG(function, 0, "Error: no link for note [%d]: %s", static_cast<int>(noteId_),
               "The URL holds a control character.");
      return;
    }
    RichTextBlock block;
    if (!block.usable()) {
      error.SetError(ERR_MEMORY);
      return;
    }
    if (!putButtonFormula(block, openingFormula(text), noteId_, error)) {
      return;
    }
    char label[] = "Quick Look";
    const STATUS labelled = PutButton(&block.position, label, block.room(), &block.counted);
    if (labelled != NOERROR) {
      recordWriter(labelled, error);
      KOLN_LOG(function, 0,
               "Error: in defining button for note[%d].PutButton(...) returned:[%d]. Resulting "
               "error string: [%s].",
               static_cast<int>(noteId_), labelled, error.GetMessage().c_str());
      return;
    }
    const STATUS ended = PutHotSpotEnd(&block.position, block.room(), &block.counted);
    if (ended != NOERROR) {
      recordWriter(ended, error);
      KOLN_LOG(function, 0,
               "Error: unable to put HotSpot at end for note[%d].PutHotSpotEnd(...) returned:[%d]. "
               "Resulting error string: [%s].",
               static_cast<int>(noteId_), ended, error.GetMessage().c_str());
      return;
    }
    appendToBody(note_, noteId_, block, function, error);
  });
}

KoLNError KoLNDataDocument::InsertLink(char* text) {
  constexpr const char* function = "InsertLink";
  return koln::recorded([&](KoLNError& error) {
    if (koln::lacksNote(note_, error)) {
      return;
    }
    if (text == nullptr) {
      error.SetCustomMessage("No text to insert.");
      return;
    }
    DHANDLE stream = NULLHANDLE;
    char itemName[] = "Body";
    // The name's length counts its NUL here, on purpose.
    const koln::CallResult created = koln::requireHandle(
        KOLN_STATUS(NSFMimePartCreateStream, note_, itemName, static_cast<WORD>(sizeof itemName),
                    MIME_PART_BODY, MIME_PART_HAS_BOUNDARY | MIME_PART_HAS_HEADERS, &stream),
        stream);
    if (created.failed()) {
      created.record(error);
      KOLN_LOG(function, 0,
               "Error : unable to create Mime Part stream for note [%d]. "
               "NSFMimePartCreateStream(...) returned:[%d]. Resulting error string: [%s].",
               static_cast<int>(noteId_), created.status(), error.GetMessage().c_str());
      return;
    }

    // A call takes 16 bits of length; a long text goes in pieces, an empty one in one call.
    std::size_t left = std::strlen(text);
    bool appended = false;
    do {
      const auto piece = static_cast<WORD>(std::min<std::size_t>(left, MAXWORD));
      const koln::CallResult result = KOLN_STATUS(NSFMimePartAppendStream, stream, text, piece);
      appended = !result.failed();
      if (!appended) {
        result.record(error);
        KOLN_LOG(function, 0,
                 "Error : unable to append Mime Part stream for note [%d]. "
                 "NSFMimePartAppendStream(...) returned:[%d]. Resulting error string: [%s].",
                 static_cast<int>(noteId_), result.status(), error.GetMessage().c_str());
      }
      text += piece;
      left -= piece;
    } while (appended && left != 0);

    const koln::CallResult closed =
        KOLN_STATUS(NSFMimePartCloseStream, stream, appended ? TRUE : FALSE);
    if (!closed.failed()) {
      return;
    }
    KoLNError closeError;
    closed.record(closeError);
    if (appended) {
      KOLN_LOG(function, 0,
               "Error : unable to close Mime Part stream for note [%d]. "
               "NSFMimePartCloseStream(...) returned:[%d]. Resulting error string: [%s].",
               static_cast<int>(noteId_), closed.status(), closeError.GetMessage().c_str());
      error = closeError;
    } else {
      // What is returned stays the reason why the part is discarded.
      KOLN_LOG(function, 0,
               "Error : unable to close Mime Part stream for note [%d]. "
               "NSFMimePartCloseStream(..,False) returned:[%d]. Resulting error string: [%s].",
               static_cast<int>(noteId_), closed.status(), closeError.GetMessage().c_str());
    }
  });
}
