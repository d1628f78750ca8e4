// The wrappers over Notes calls for texts, times, memory, ID tables and summary buffers.
#include "NotesUtilities.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "findDataPartition.h"
#include "platform/ErrorText.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Owners.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesUtilities";

// Most wrappers do no more than turn the outcome of one call into a record.
KoLNError recordOf(const koln::CallResult& result) noexcept {
  return koln::recorded([&](KoLNError& error) {
    if (result.failed()) {
      result.record(error);
    }
  });
}

template <typename Convert>
char* convertBytes(char* text, Convert convert) noexcept {
  for (char* byte = text; byte != nullptr && *byte != '\0'; ++byte) {
    *byte = static_cast<char>(convert(static_cast<unsigned char>(*byte)));
  }
  return text;
}

}  // namespace

char* strupr(char* text) {
  return convertBytes(text,
                      [](int byte) { return std::islower(byte) ? std::toupper(byte) : byte; });
}

KoLNUtilities::KoLNUtilities()
    : computation_(nullptr), formula_(NULLHANDLE), formulaReleased_(false) {}
KoLNUtilities::~KoLNUtilities() = default;

std::string KoLNUtilities::GetNotesErrorMsg(unsigned short status) {
  return koln::notesErrorText(status);
}

// ---- text -------------------------------------------------------------------------------------

WORD KoLNUtilities::NotesTranslate(WORD mode, const char* in, WORD inLength, char* out,
                                   WORD outLength) {
  return KOLN_VALUE(WORD{0}, OSTranslate, mode, in, inLength, out, outLength);
}

bool KoLNUtilities::ConvertUtf8ToNative(const char* utf8, char* out, int outSize) {
  // 0xFFFF as a length would mean something else to Notes.
  constexpr std::size_t longest = MAXWORD - 1;
  if (utf8 == nullptr || out == nullptr || outSize <= 0 || std::strlen(utf8) > longest) {
    return false;
  }
  const auto capacity = static_cast<WORD>(std::min<std::size_t>(outSize, longest));
  const std::unique_ptr<char[]> scratch(new (std::nothrow) char[std::size_t{capacity} + 1]());
  if (scratch == nullptr) {
    return false;
  }
  return NotesTranslate(OS_TRANSLATE_UTF8_TO_LMBCS, utf8, static_cast<WORD>(std::strlen(utf8)),
                        scratch.get(), capacity) != 0 &&
         NotesTranslate(OS_TRANSLATE_LMBCS_TO_NATIVE, scratch.get(),
                        static_cast<WORD>(std::strlen(scratch.get())), out, capacity) != 0;
}

void KoLNUtilities::NormalizeText(char* text) {
  KONormalizeText(text);
}

char* KoLNUtilities::StrLwr(char* text) {
  return convertBytes(text,
                      [](int byte) { return std::isupper(byte) ? std::tolower(byte) : byte; });
}

WORD KoLNUtilities::GetDSLength(WORD odsType) {
  return KOLN_VALUE(WORD{0}, ODSLength, odsType);
}

STATUS KoLNUtilities::ConvertODToCanonical(void** item, DWORD rrv) {
  if (item == nullptr || *item == nullptr) {
    return ERR_BAD_PARAM;
  }
  // The calls advance the pointers they are given; the caller's stays where it is.
  void* readFrom = static_cast<BYTE*>(*item) + sizeof(WORD);
  void* writeTo = readFrom;
  OBJECT_DESCRIPTOR descriptor = {};
  const koln::CallResult read =
      KOLN_VOID(ODSReadMemory, &readFrom, ODS_OBJECT_DESCRIPTOR, &descriptor, WORD{1});
  if (read.failed()) {
    return read.status();
  }
  descriptor.RRV = rrv;
  return KOLN_VOID(ODSWriteMemory, &writeTo, ODS_OBJECT_DESCRIPTOR, &descriptor, WORD{1}).status();
}

// ---- time -------------------------------------------------------------------------------------

KoLNError KoLNUtilities::GetTimeDate(std::string text, TIMEDATE& out) {
  return koln::recorded([&](KoLNError& error) {
    char* cursor = text.data();  // Advanced by the call.
    TIMEDATE time = {};
    const koln::CallResult converted =
        KOLN_STATUS(ConvertTextToTIMEDATE, nullptr, nullptr, &cursor,
                    koln::wordLength(std::strlen(text.c_str())), &time);
    if (!converted.failed()) {
      out = time;
      return;
    }
    converted.record(error);
    KOLN_LOG("GetTimeDate", 0, "Failed to convert time string %s to TIMEDATE format. error (%d) %s",
             text.c_str(), converted.status(), error.GetMessage().c_str());
  });
}

void KoLNUtilities::GetTimeDate(WORD constant, TIMEDATE* out) {
  static_cast<void>(KOLN_VOID(TimeConstant, constant, out).failed());
}

KoLNError KoLNUtilities::GetTimeString(TIMEDATE value, std::string& out) {
  return koln::recorded([&](KoLNError& error) {
    koln::TextBuffer<MAXALPHATIMEDATE> text;
    WORD length = 0;
    const koln::CallResult converted = KOLN_STATUS(ConvertTIMEDATEToText, nullptr, nullptr, &value,
                                                   text.data(), text.capacity(), &length);
    if (!converted.failed()) {
      text.data()[std::min(length, text.capacity())] = '\0';
      out = text.text();
      return;
    }
    converted.record(error);
    KOLN_LOG("GetTimeString", 0, "failed to convert TimeDate to Text error - (%d) %s",
             converted.status(), error.GetMessage().c_str());
  });
}

void KoLNUtilities::GetDominoTimeZone(int* zone, int* dst) {
  static_cast<void>(KOLN_VOID(OSCurrentTimeZone, zone, dst).failed());
}

BOOL KoLNUtilities::GetTimeLocalToGM(TIME* time) {
  return KOLN_VALUE(BOOL{TRUE}, TimeLocalToGM, time);  // TRUE is the failure of this call.
}

DWORD KoLNUtilities::ExtractJulianDate(const TIMEDATE* time) {
  return KOLN_VALUE(DWORD{0}, TimeExtractJulianDate, time);
}

void KoLNUtilities::GetCurrentTimeDate(TIMEDATE* out) {
  static_cast<void>(KOLN_VOID(OSCurrentTIMEDATE, out).failed());
}

LONG KoLNUtilities::GetTimeDateDifference(const TIMEDATE* a, const TIMEDATE* b) {
  return KOLN_VALUE(LONG{0}, TimeDateDifference, a, b);
}

int KoLNUtilities::CompareTimeDate(TIMEDATE* a, TIMEDATE* b) {
  return KOLN_VALUE(int{0}, TimeDateCompare, a, b);
}

void KoLNUtilities::GetIntlDateTimeFormat(INTLFORMAT* out) {
  static_cast<void>(
      KOLN_VOID(OSGetIntlSettings, out, static_cast<WORD>(sizeof(INTLFORMAT))).failed());
}

void KoLNUtilities::DumpFileTimeAndVer(const char* /*file*/, int /*line*/) {
  // Kept as an entry point without effect.
}

// ---- memory and objects -----------------------------------------------------------------------

KoLNError KoLNUtilities::AllocMem(WORD blockType, DWORD size, DHANDLE& out) {
  return recordOf(KOLN_STATUS(OSMemAlloc, blockType, size, &out));
}

KoLNError KoLNUtilities::FreeMem(DHANDLE handle) {
  return recordOf(KOLN_STATUS(OSMemFree, handle));
}

void KoLNUtilities::ReadMemory(void* source, OBJECT_DESCRIPTOR* out) {
  static_cast<void>(
      KOLN_VOID(ODSReadMemory, &source, ODS_OBJECT_DESCRIPTOR, out, WORD{1}).failed());
}

STATUS KoLNUtilities::CopyObject(DHANDLE object, WORD* /*ignored*/, const void* source,
                                 DWORD /*ignoredLength*/, WORD count) {
  try {
    // The bytes of the argument itself are what is converted, on purpose, and they make exactly one
    // descriptor; for the others there is nothing but zeros.
    static_assert(sizeof source == sizeof(OBJECT_DESCRIPTOR));
    std::vector<OBJECT_DESCRIPTOR> descriptors(std::max<std::size_t>(count, 1));
    std::memcpy(descriptors.data(), &source, sizeof source);

    koln::LockedObject locked(object);
    void* destination = locked.address();
    if (destination == nullptr) {
      return koln::CallResult::NoStatus;
    }
    const koln::CallResult written =
        KOLN_VOID(ODSWriteMemory, &destination, ODS_OBJECT_DESCRIPTOR, descriptors.data(), count);
    BOOL answer = FALSE;
    const koln::CallResult unlocked = locked.unlock(answer);
    if (written.failed() || unlocked.failed()) {
      return koln::CallResult::NoStatus;
    }
    return static_cast<STATUS>(answer);  // TRUE, so 1, on success.
  } catch (...) {
    return koln::CallResult::NoStatus;
  }
}

template <typename Type>
void KoLNUtilities::CopyBlock(void* /*ignored*/, const void* source, DWORD length, BLOCKID& block) {
  block.block = 0;
  const koln::LockedObject locked(block.pool);
  if (locked.address() != nullptr && length != 0) {
    std::memcpy(locked.address(), source, length);
  }
}
template void KoLNUtilities::CopyBlock<WORD>(void*, const void*, DWORD, BLOCKID&);

KoLNError KoLNUtilities::DBGetObjectDetails(DBHANDLE db, OBJECT_DESCRIPTOR& descriptor, DWORD* size,
                                            WORD* objectClass, WORD* privileges) {
  return koln::recorded([&](KoLNError& error) {
    if (db == NULLHANDLE) {
      error.SetError(ERR_NULL_DBHANDLE);
      return;
    }
    const koln::CallResult asked =
        KOLN_STATUS(NSFDbGetObjectSize, db, descriptor.RRV, descriptor.ObjectType, size,
                    objectClass, privileges);
    if (asked.failed()) {
      asked.recordCode(error);
    }
  });
}

KoLNError KoLNUtilities::OpenDirectory(std::string path, DBHANDLE& out) {
  if (path.empty()) {
    return {};  // No error and nothing opened: callers start `out` at 0 and look at it.
  }
  DBHANDLE opened = NULLHANDLE;
  const koln::CallResult result = KOLN_STATUS(NSFDbOpen, path.c_str(), &opened);
  if (!result.failed()) {
    out = opened;
  }
  return recordOf(result);
}

KoLNError KoLNUtilities::CloseDirectory(DBHANDLE& directory) {
  return recordOf(KOLN_STATUS(NSFDbClose, directory));
}

KoLNError KoLNUtilities::MakeNetworkPath(std::string server, std::string path, std::string& out,
                                         bool withServer) {
  return koln::recorded([&](KoLNError& error) {
    koln::TextBuffer<1024> networkPath;
    const koln::CallResult built =
        KOLN_STATUS(OSPathNetConstruct, nullptr, withServer ? server.c_str() : nullptr,
                    path.c_str(), networkPath.data());
    if (!built.failed()) {
      out = networkPath.text();
      return;
    }
    built.record(error);
    KOLN_LOG("MakeNetworkPath", 0, "database %s, error (%d) %s", path.c_str(), built.status(),
             error.GetMessage().c_str());
  });
}

// ---- ID tables --------------------------------------------------------------------------------

STATUS KoLNUtilities::CreateTable(DWORD alignment, DHANDLE* out) {
  return KOLN_STATUS(IDCreateTable, alignment, out).status();
}

STATUS KoLNUtilities::InsertIntoTable(DHANDLE table, NOTEID id, BOOL* inserted) {
  return KOLN_STATUS(IDInsert, table, id, inserted).status();
}

KoLNError KoLNUtilities::DeleteID(DHANDLE table, NOTEID id, BOOL* deleted) {
  return koln::recorded([&](KoLNError& error) {
    const koln::CallResult result = KOLN_STATUS(IDDelete, table, id, deleted);
    if (result.failed()) {
      result.record(error);
      KOLN_LOG("DeleteID", 0, "Failed to delete id %lu from idtable. error: %d - %s",
               static_cast<unsigned long>(id), result.status(), error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNUtilities::MemFreeTable(DHANDLE& table) {
  return koln::recorded([&](KoLNError& error) {
    const koln::CallResult destroyed = KOLN_STATUS(IDDestroyTable, table);
    if (destroyed.failed()) {
      destroyed.record(error);
      KOLN_LOG("MemFreeTable", 0, "Unable to destroy ID table. error %d - %s", destroyed.status(),
               error.GetMessage().c_str());
    }
  });
}

DWORD KoLNUtilities::CountTableEntries(DHANDLE& table) {
  return KOLN_VALUE(DWORD{0}, IDEntries, table);
}

// ---- summary buffers and notes.ini variables --------------------------------------------------

BOOL KoLNUtilities::LocateSummaryValue(const void* summary, const char* item, void* valuePos,
                                       WORD* length, WORD* dataType) {
  return KOLN_VALUE(BOOL{FALSE}, NSFLocateSummaryValue, summary, item,
                    static_cast<void**>(valuePos), length, dataType);
}

BOOL KoLNUtilities::GetSummaryValue(const void* summary, const char* item, std::string& out) {
  koln::TextBuffer<1024> text;
  const BOOL found =
      KOLN_VALUE(BOOL{FALSE}, NSFGetSummaryValue, summary, item, text.data(), text.capacity());
  return koln::assignText(out, text.text()) ? found : FALSE;
}

long KoLNUtilities::GetNotesINIvarLong(const char* name) {
  return KOLN_VALUE(0L, OSGetEnvironmentLong, name);
}

BOOL KoLNUtilities::GetNotesINIvarString(const char* name, char* out) {
  return KOLN_VALUE(BOOL{FALSE}, OSGetEnvironmentString, name, out, MAXENVVALUE);
}

DbMigrateCriteria KoLNUtilities::getMigrateCriteria(std::string /*ignored*/) {
  return {};
}
