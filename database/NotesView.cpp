// A view or folder: found by name, its note opened, its columns and its collection read.
#include "NotesDatabase.h"

#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "database/ColumnFlags.h"
#include "findDataPartition.h"
#include "platform/Log.h"
#include "platform/NotesCall.h"
#include "platform/Owners.h"
#include "platform/Text.h"

namespace {

constexpr const char* sourceName = "NotesDatabase";

constexpr NOTEID notFound = 0xFFFFFFFF;

// Sizes on disk.
constexpr std::size_t typeWordSize = 2;
constexpr std::size_t formatHeaderSize = 2;
constexpr std::size_t tableFormatSize = 10;
constexpr std::size_t columnFormatSize = 32;

// Behind so many characters no further title is taken, and so much is kept free in front of it.
constexpr std::size_t titlesLimit = 200;
constexpr std::size_t titleReserve = 8;

constexpr std::size_t longestColumnText = 127;
using ColumnText = koln::TextBuffer<longestColumnText>;

// The value of a view format item, of which nothing behind its length is read. A read that fails
// sets the record only where a call of Notes has failed; otherwise the format is damaged.
class ViewFormat {
 public:
  ViewFormat(const BYTE* value, std::size_t length, KoLNError& error)
      : value_(value), length_(length), error_(error) {}

  // The header and, in a table, how many columns there are. The header is the first part of the
  // table format, which is therefore read from the same place. False for a damaged format.
  bool readHeader() {
    if (length_ < typeWordSize + formatHeaderSize ||
        !read(typeWordSize, ODS_VIEW_FORMAT_HEADER, &header_)) {
      return false;
    }
    if (header_.Version != VIEW_FORMAT_VERSION || !isTable()) {
      return true;
    }
    VIEW_TABLE_FORMAT table = {};
    if (length_ < typeWordSize + tableFormatSize ||
        !read(typeWordSize, ODS_VIEW_TABLE_FORMAT, &table)) {
      return false;
    }
    WORD columnSize = 0;
    const koln::CallResult asked = KOLN_INTO(columnSize, ODSLength, ODS_VIEW_COLUMN_FORMAT);
    if (asked.failed() || columnSize < columnFormatSize) {
      recordIfFailed(asked);
      return false;
    }
    columns_ = table.Columns;
    format_ = typeWordSize + tableFormatSize;
    formatSize_ = columnSize;
    text_ = format_ + std::size_t{columnSize} * columns_;
    return true;
  }

  BYTE version() const { return header_.Version; }
  bool isTable() const { return (header_.ViewStyle & VIEW_CLASS_MASK) == VIEW_CLASS_TABLE; }
  WORD columns() const { return columns_; }

  // The next column: flags, item name and title. False for a damaged format.
  bool readColumn(WORD& flags, ColumnText& item, ColumnText& title) {
    VIEW_COLUMN_FORMAT column = {};
    if (format_ + formatSize_ > length_ || !read(format_, ODS_VIEW_COLUMN_FORMAT, &column)) {
      return false;
    }
    format_ += formatSize_;
    const std::size_t texts = std::size_t{column.ItemNameSize} + column.TitleSize;
    if (text_ > length_ || texts > length_ - text_) {
      return false;
    }
    const auto* const text = reinterpret_cast<const char*>(value_ + text_);
    item.assign({text, column.ItemNameSize});
    title.assign({text + column.ItemNameSize, column.TitleSize});
    flags = column.Flags1;
    text_ += texts + column.FormulaSize + column.ConstantValueSize;
    return true;
  }

 private:
  bool read(std::size_t offset, WORD type, void* out) const {
    void* cursor = const_cast<BYTE*>(value_ + offset);  // Moved by the call.
    const koln::CallResult done = KOLN_VOID(ODSReadMemory, &cursor, type, out, WORD{1});
    recordIfFailed(done);
    return !done.failed();
  }

  void recordIfFailed(const koln::CallResult& call) const {
    if (call.failed()) {
      call.record(error_);
    }
  }

  const BYTE* value_;
  std::size_t length_;
  KoLNError& error_;
  VIEW_FORMAT_HEADER header_ = {};
  WORD columns_ = 0;
  std::size_t format_ = 0;  // Where the next column's format is,
  std::size_t formatSize_ = 0;
  std::size_t text_ = 0;  // and its texts.
};

// A column's title as hosts show it.
void showTitle(const ColumnText& title, koln::TextBuffer<1024>& shown) {
  if (!title.empty() && !koln::translateOrKeep(OS_TRANSLATE_LMBCS_TO_UTF8, title.text(), shown)) {
    KOLN_LOG("GetCoulmnTitles", 0, "OSTranslate failed on view title column: %s", title.text());
  }
  KONormalizeText(shown.data());
}

// The last of the names between "|".
std::string_view lastAlias(std::string_view name) {
  const std::size_t bar = name.rfind('|');
  if (bar == std::string_view::npos) {
    return name;
  }
  name.remove_prefix(bar + 1);
  name.remove_prefix(std::min(name.find_first_not_of(' '), name.size()));
  return name;
}

}  // namespace

KoLNView::KoLNView(KoLNDatabase& db, std::string viewName)
    : note_(NULLHANDLE),
      viewName_(std::move(viewName)),
      noteId_(notFound),
      databaseName_(db.GetName()),
      db_(db.GetHandle()),
      columnCount_(0),
      columns_(new (std::nothrow) std::map<std::string, WORD>) {}

KoLNView::KoLNView(KoLNDatabase& db, unsigned int viewNoteID) : KoLNView(db, std::string()) {
  noteId_ = viewNoteID;
}

KoLNView::~KoLNView() {
  Close();
  delete columns_;
}

KoLNError KoLNView::FindID(unsigned int& noteID) {
  constexpr const char* function = "FindID";
  return koln::recorded([&](KoLNError& error) {
    if (viewName_.empty() || db_ == NULLHANDLE) {
      error.SetCustomMessage("Invalid view name or database handle.");
      return;
    }
    noteID = notFound;
    koln::TextBuffer<1024> translated;
    if (!koln::translateOrKeep(OS_TRANSLATE_UTF8_TO_LMBCS, viewName_.c_str(), translated)) {
      KOLN_LOG(function, 0, "OSTranslate failed on default view name: %s", viewName_.c_str());
    }
    const std::string name(lastAlias(translated.text()));
    if (std::strcmp(translated.text(), "No View Selected") == 0 || name.empty()) {
      error.SetCustomMessage("Default view is NO VIEW SELECTED");
      return;
    }
    KOLN_LOG(function, 3, "Locating default view ..");
    NOTEID found = notFound;
    const koln::CallResult asked =
        KOLN_STATUS(NIFFindDesignNoteExt, db_, name.c_str(), NOTE_CLASS_VIEW,
                    DFLAGPAT_VIEWS_AND_FOLDERS, &found, DWORD{0});
    KOLN_LOG(function, 3, "default view = %d", static_cast<int>(found));
    if (asked.failed()) {
      asked.record(error);
      KOLN_LOG(function, 0,
               "Could not find view %s in database %s = , dbHandle = %d, errorCode = %d, error = "
               "%s",
               name.c_str(), databaseName_.c_str(), static_cast<int>(db_), asked.status(),
               error.GetMessage().c_str());
      return;
    }
    noteID = noteId_ = found;
  });
}

KoLNError KoLNView::Open(unsigned short openFlags) {
  return koln::recorded([&](KoLNError& error) {
    koln::OpenNote(std::exchange(note_, NULLHANDLE)).close();
    NOTEHANDLE opened = NULLHANDLE;
    const koln::CallResult result = KOLN_STATUS(NSFNoteOpen, db_, noteId_, openFlags, &opened);
    if (!result.failed()) {
      note_ = opened;
      return;
    }
    result.record(error);
    if (result.threw()) {
      KOLN_LOG("Open", 0,
               "Error: caught an exception of unknown type thrown by Domino API function: "
               "[NSFNoteOpen(...)].");
    } else {
      KOLN_LOG("Open", 0, "Error: unable to open view: [%08x]. NSFNoteOpen(...) returned: %d - %s",
               noteId_, result.status(), error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNView::Close() {
  return koln::recorded([this](KoLNError& error) {
    if (note_ == NULLHANDLE) {
      return;
    }
    const koln::CallResult closed = KOLN_STATUS(NSFNoteClose, std::exchange(note_, NULLHANDLE));
    if (closed.failed()) {
      closed.record(error);
      KOLN_LOG("Close", 0, "Unable to close view");
    }
  });
}

KoLNError KoLNView::GetCoulmnTitles(std::string* titles) {
  constexpr const char* function = "GetCoulmnTitles";
  return koln::recorded([&](KoLNError& error) {
    if (titles == nullptr || columns_ == nullptr) {
      error.SetCustomMessage("No place for the titles of the columns.");
      return;
    }
    KOLN_LOG(function, 3, "Getting view title info ..");
    error = Open(0);
    if (error.IsErrorSet()) {
      KOLN_LOG(function, 0, "Cannot open view note 0x%x - %s", noteId_, error.GetMessage().c_str());
      return;
    }

    WORD type = 0;
    BLOCKID block = {};
    DWORD length = 0;
    const koln::CallResult found =
        KOLN_STATUS(NSFItemInfo, note_, "$ViewFormat", WORD{11}, nullptr, &type, &block, &length);
    if (found.failed()) {
      found.record(error);
    } else if (type != TYPE_VIEW_FORMAT) {
      error.SetCustomMessage("Not a View Type Format");
    }
    if (error.IsErrorSet()) {
      KOLN_LOG(function, 0, "Cannot get view format information for note 0x%x - %s", noteId_,
               error.GetMessage().c_str());
      return;
    }
    const koln::LockedObject locked(block.pool);
    if (locked.address() == nullptr) {
      error.SetCustomMessage("The view format could not be locked.");
      KOLN_LOG(function, 0, "Cannot get view format information for note 0x%x - %s", noteId_,
               error.GetMessage().c_str());
      return;
    }

    titles->clear();
    columns_->clear();
    columnTitles_.clear();
    columnCount_ = 0;
    std::string gathered;
    DWORD count = 0;
    ViewFormat format(static_cast<const BYTE*>(locked.address()) + block.block, length, error);
    bool whole = format.readHeader();
    if (whole && format.version() != VIEW_FORMAT_VERSION) {
      KOLN_LOG(function, 0, "View information format version for note %d is incompatible - %d",
               static_cast<int>(noteId_), format.version());
      return;
    }
    for (WORD column = 0; whole && column < format.columns(); ++column) {
      WORD flags = 0;
      ColumnText item;
      ColumnText title;
      whole = format.readColumn(flags, item, title);
      if (!whole || title.length() + gathered.size() + titleReserve > titlesLimit) {
        break;
      }
      if (koln::isHidden(flags) || std::strcmp(item.text(), "$ThreadsEmbed") == 0) {
        continue;
      }
      koln::TextBuffer<1024> shown;
      showTitle(title, shown);
      if (!shown.empty()) {
        gathered.append(1, '\x12').append(shown.text());
        columns_->emplace(item.text(), flags);
        ++count;
      }
    }
    if (!whole) {
      if (!error.IsErrorSet()) {
        error.SetCustomMessage("The view format of note 0x%x is damaged.", noteId_);
      }
      KOLN_LOG(function, 0, "Cannot get view format information for note 0x%x - %s", noteId_,
               error.GetMessage().c_str());
    }
    columnTitles_ = std::move(gathered);
    columnCount_ = count;
    *titles = columnTitles_;
  });
}

KoLNError KoLNView::GetItemInfo(std::string itemName, unsigned short& dataType, BLOCKID& valueBlock,
                                unsigned int& valueLength) {
  return koln::recorded([&](KoLNError& error) {
    if (note_ == NULLHANDLE) {
      error.SetCustomMessage("Invalid view handle.");
      return;
    }
    // One less than the text has, on purpose: callers pass the name with one character more.
    const WORD nameLength = itemName.empty() ? WORD{0} : koln::wordLength(itemName.size() - 1);
    const koln::CallResult found = KOLN_STATUS(NSFItemInfo, note_, itemName.c_str(), nameLength,
                                               nullptr, &dataType, &valueBlock, &valueLength);
    if (found.failed()) {
      found.record(error);
      KOLN_LOG("GetItemInfo", 0, "Cannot get view format information for note 0x%x - %s", noteId_,
               error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNView::OpenCollection(unsigned short openFlags, unsigned int unreadTable,
                                   unsigned short* collection, unsigned int* viewNote,
                                   UNIVERSALNOTEID* viewUNID, unsigned int* collapsedList,
                                   unsigned int* selectedList) {
  constexpr const char* function = "OpenCollection";
  return koln::recorded([&](KoLNError& error) {
    if (db_ == NULLHANDLE || noteId_ == 0 || collection == nullptr) {
      KOLN_LOG(function, -1, "Error: Invalid Database Handle");
      error.SetCustomMessage("Invalid database handle or viewId.");
      return;
    }
    const koln::CallResult opened =
        KOLN_STATUS(NIFOpenCollection, db_, db_, noteId_, openFlags, unreadTable, collection,
                    viewNote, viewUNID, collapsedList, selectedList);
    if (!opened.failed()) {
      return;
    }
    opened.record(error);
    const STATUS code = opened.status() & ERR_MASK;
    if (opened.returned() && code == ERR_NOTE_DELETED) {
      KOLN_LOG(function, -1, "Error: Document has been deleted");
    } else if (opened.returned() && code == ERR_ITEM_NOT_FOUND) {
      KOLN_LOG(function, -1, "Error: Note item not found");
    } else {
      KOLN_LOG(function, -1,
               "Error: Failed to Open view Collection for db %s viewid %lu, NIFOpenCollection "
               "Returned... %d - %s",
               databaseName_.c_str(), static_cast<unsigned long>(noteId_), opened.status(),
               error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNView::ReadColection(unsigned short* collection, COLLECTIONPOSITION* position,
                                  unsigned short skipNavigator, unsigned int skipCount,
                                  unsigned short returnNavigator, unsigned int returnCount,
                                  unsigned int returnMask, DHANDLE* buffer, WORD* bufferLength,
                                  DWORD* entriesSkipped, DWORD* entriesReturned,
                                  WORD* signalFlags) {
  return koln::recorded([&](KoLNError& error) {
    if (collection == nullptr) {
      KOLN_LOG("ReadColection", -1, "Invalid view colelction handle passed in");
      error.SetCustomMessage("ReadColection() called with Invalid view colelction handle.");
      return;
    }
    const koln::CallResult read =
        KOLN_STATUS(NIFReadEntries, *collection, position, skipNavigator, skipCount,
                    returnNavigator, returnCount, returnMask, buffer, bufferLength, entriesSkipped,
                    entriesReturned, signalFlags);
    if (read.failed()) {
      read.record(error);
      KOLN_LOG("ReadColection", -1, "Cannot read entries in view [%s] error: %d - %s.",
               viewName_.c_str(), read.status(), error.GetMessage().c_str());
    }
  });
}

KoLNError KoLNView::CloseCollection(unsigned short& collection) {
  return koln::recorded([&](KoLNError& error) {
    const koln::CallResult closed = KOLN_STATUS(NIFCloseCollection, collection);
    if (closed.failed()) {
      closed.record(error);
      KOLN_LOG("CloseCollection", -1,
               "Error: Failed to close view collection. NIFCloseCollection(...) returned %d - %s",
               closed.status(), error.GetMessage().c_str());
    }
  });
}

// ---- all views of a database ------------------------------------------------------------------

KoLNError KoLNDatabase::GetViews() {
  return koln::recorded([this](KoLNError& error) {
    const koln::CallResult searched =
        KOLN_STATUS(NSFSearch, handle_, FORMULAHANDLE{NULLHANDLE}, nullptr, WORD{0},
                    NOTE_CLASS_VIEW, nullptr, &ForEachViewName, &handle_, nullptr);
    if (searched.failed()) {
      searched.recordCode(error);
    }
  });
}

STATUS ForEachViewName(void* context, SEARCH_MATCH* match, ITEM_TABLE* /*summary*/) {
  if (context == nullptr || match == nullptr) {
    return NOERROR;
  }
  SEARCH_MATCH found = {};  // A copy: the runtime's own may lie at any address, padding excluded.
  std::memcpy(&found, match, offsetof(SEARCH_MATCH, SummaryLength) + sizeof(WORD));
  if ((found.SERetFlags & SE_FMATCH) == 0) {
    return NOERROR;
  }
  NOTEHANDLE handle = NULLHANDLE;
  const koln::CallResult opened =
      koln::requireHandle(KOLN_STATUS(NSFNoteOpen, *static_cast<const DBHANDLE*>(context),
                                      found.ID.NoteID, OPEN_SUMMARY, &handle),
                          handle);
  if (opened.failed()) {
    return opened.status();
  }
  const koln::OpenNote note(handle);
  koln::TextBuffer<1024> title;
  koln::TextBuffer<128> flags;
  WORD length = 0;
  const koln::CallResult titled =
      KOLN_INTO(length, NSFItemGetText, handle, "$TITLE", title.data(), title.capacity());
  if (titled.failed() || length == 0) {
    return titled.status();
  }
  const koln::CallResult flagged =
      KOLN_INTO(length, NSFItemGetText, handle, "$Flags", flags.data(), flags.capacity());
  if (flagged.failed() || (length != 0 && std::strchr(flags.text(), 'G') != nullptr)) {
    return flagged.status();
  }
  koln::TextBuffer<1024> shown;
  koln::translateOrKeep(OS_TRANSLATE_LMBCS_TO_UTF8, title.text(), shown);
  try {
    SendDBMessage(shown.data());
  } catch (...) {
    // Notes' frames lie between here and the library's.
  }
  return NOERROR;
}
