// MIME parts written piece by piece: a stream collects the bytes, closing it makes an item of them.
#include <algorithm>
#include <string>
#include <utility>

#include "Export.h"
#include "HandleCounters.h"
#include "MemoryObjects.h"
#include "Notes.h"
#include "Panic.h"

namespace simulator {
namespace {

constexpr WORD PartVersion = 2;
constexpr DWORD KnownFlags = MIME_PART_HAS_BOUNDARY | MIME_PART_HAS_HEADERS |
                             MIME_PART_BODY_IN_DBOBJECT | MIME_PART_SHARED_DBOBJECT |
                             MIME_PART_SKIP_FOR_CONVERSION;
// Data in a database object comes by another way than a stream.
constexpr DWORD ObjectFlags = MIME_PART_BODY_IN_DBOBJECT | MIME_PART_SHARED_DBOBJECT;

// In the range of memory handles, so that one passed for the other is noticed.
struct MimeStream : MemoryObject {
  NOTEHANDLE note = NULLHANDLE;
  std::string itemName;
  BYTE partType = 0;
  DWORD flags = 0;
  std::string data;
};

const bool counted = registerHandleCounter("mime", [] { return countMemoryObjects<MimeStream>(); });

std::shared_ptr<MimeStream> streamOf(DHANDLE handle, const char* function) {
  auto stream = std::dynamic_pointer_cast<MimeStream>(memoryObjects().find(handle));
  if (!stream) panic(function, "handle " + std::to_string(handle) + " is no open MIME stream");
  return stream;
}

// A part may begin with the line of its boundary; behind it, headers end with an empty line. The
// lengths of what is not there are 0.
std::vector<BYTE> valueOf(const MimeStream& stream) {
  constexpr std::string_view line = "\r\n";
  constexpr std::string_view emptyLine = "\r\n\r\n";
  const std::string_view data = stream.data;
  std::size_t boundary = 0;
  if ((stream.flags & MIME_PART_HAS_BOUNDARY) != 0 && data.starts_with("--")) {
    const std::size_t end = data.find(line);
    boundary = end == std::string_view::npos ? data.size() : end + line.size();
  }
  std::size_t headers = 0;
  if ((stream.flags & MIME_PART_HAS_HEADERS) != 0) {
    const std::size_t end = data.find(emptyLine, boundary);
    if (end != std::string_view::npos) headers = end + emptyLine.size() - boundary;
  }
  MIME_PART part = {};
  part.wVersion = PartVersion;
  part.dwFlags = stream.flags;
  part.cPartType = stream.partType;
  part.wByteCount = static_cast<WORD>(data.size());
  part.wBoundaryLen = static_cast<WORD>(boundary);
  part.wHeadersLen = static_cast<WORD>(headers);
  std::vector<BYTE> value(ODSLength(ODS_MIME_PART) + data.size());
  BYTE* next = value.data();
  ODSWriteMemory(&next, ODS_MIME_PART, &part, 1);
  std::copy(data.begin(), data.end(), next);
  return value;
}

}  // namespace
}  // namespace simulator

using namespace simulator;

// The length of the item's name may count a terminator.
SIM_EXPORT STATUS NSFMimePartCreateStream(NOTEHANDLE hNote, char* pchItemName, WORD wItemNameLen,
                                          WORD wPartType, DWORD dwFlags, DHANDLE* phCtx) {
  if (!phCtx) return ERR_BAD_PARAM;
  *phCtx = NULLHANDLE;
  return statusOf([&] {
    requireNote(hNote, "NSFMimePartCreateStream");
    std::string_view name = itemName(pchItemName, wItemNameLen);
    if (name.ends_with('\0')) name.remove_suffix(1);
    if (name.empty()) throw StatusError(ERR_BAD_PARAM, "no item name");
    if (wPartType < MIME_PART_PROLOG || wPartType > MIME_PART_MESSAGE)
      throw StatusError(ERR_BAD_PARAM, "no type of MIME parts");
    if ((dwFlags & ~KnownFlags) != 0 || (dwFlags & ObjectFlags) != 0)
      throw StatusError(ERR_BAD_PARAM, "not flags of a stream");
    auto stream = std::make_shared<MimeStream>();
    stream->note = hNote;
    stream->itemName = name;
    stream->partType = static_cast<BYTE>(wPartType);
    stream->flags = dwFlags;
    *phCtx = memoryObjects().add(std::move(stream));
    if (*phCtx == NULLHANDLE) throw std::bad_alloc();
  });
}

SIM_EXPORT STATUS NSFMimePartAppendStream(DHANDLE hCtx, char* pchData, WORD wDataLen) {
  return statusOf([&] {
    const std::shared_ptr<MimeStream> stream = streamOf(hCtx, "NSFMimePartAppendStream");
    if (!pchData && wDataLen != 0) throw StatusError(ERR_BAD_PARAM, "no data");
    if (wDataLen == 0) return;
    if (ODSLength(ODS_MIME_PART) + stream->data.size() + wDataLen > LargestValue)
      throw StatusError(ERR_SEGMENT_TOO_BIG, "too large for one part");
    stream->data.append(pchData, wDataLen);
  });
}

SIM_EXPORT STATUS NSFMimePartCloseStream(DHANDLE hCtx, BOOL bUpdate) {
  return statusOf([&] {
    const std::shared_ptr<MimeStream> stream = streamOf(hCtx, "NSFMimePartCloseStream");
    memoryObjects().remove(hCtx);
    if (bUpdate == FALSE) return;
    requireNote(stream->note, "NSFMimePartCloseStream")
        ->append({stream->itemName, 0, TYPE_MIME_PART, valueOf(*stream)});
  });
}
