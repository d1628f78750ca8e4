/// @file NotesApi.h
/// The Notes C API as this library uses it on Linux x86-64: types, host structures, constants and
/// one process-wide pointer per function.
///
/// The library does not link against the Notes runtime. `loadNotesFunctions` (findDataPartition.h)
/// opens `libnotes.so` and fills the `KO_` pointers declared here; until then all are null. Hosts
/// may read and call them, tests may point them at functions of their own. They are written without
/// locking while the process starts and only read afterwards.
///
/// The structures are the *host* forms: naturally aligned, as the runtime passes them. What is
/// stored on disk is packed and must be converted with `KO_ODSReadMemory` and `KO_ODSWriteMemory`,
/// never overlaid with one of these.
///
/// Every `char*` of this API is LMBCS text unless a function translates it.
#ifndef KOLN_NOTES_API_H
#define KOLN_NOTES_API_H

#include <cstddef>
#include <cstdint>

/// Marks what `libkoln.so` exports; everything else of the library is hidden.
#ifndef KOLN_API
#define KOLN_API __attribute__((visibility("default")))
#endif

// ---------------------------------------------------------------------------------------------
// Scalar types
// ---------------------------------------------------------------------------------------------

typedef std::uint8_t BYTE;
typedef std::uint8_t UBYTE;
typedef std::uint8_t BOOLBYTE;
typedef std::uint16_t WORD;
typedef std::uint16_t USHORT;
typedef std::int16_t SWORD;
typedef std::uint32_t DWORD;
typedef std::uint32_t ULONG;
typedef std::int32_t LONG;
typedef int BOOL;  ///< FALSE is 0; anything else is true.

/// Result of most calls: bit 15 shown already, bit 14 raised on the server, bits 0 to 13 the code.
/// Mask with `ERR_MASK` before comparing.
typedef WORD STATUS;
typedef double NUMBER;

typedef DWORD DHANDLE;
typedef DHANDLE HANDLE;
typedef DHANDLE MEMHANDLE;
typedef DHANDLE DBHANDLE;
typedef DHANDLE NOTEHANDLE;
typedef DHANDLE FORMULAHANDLE;
typedef DHANDLE DXLIMPORTHANDLE;
typedef DHANDLE DXLEXPORTHANDLE;
typedef DWORD HMODULE;
typedef WORD HCOLLECTION;
typedef void* HCOMPUTE;
typedef DWORD NOTEID;
typedef WORD BLOCK;
/// Bytes from the lowest: face, attributes, colour index, point size.
typedef DWORD FONTID;

#ifndef FALSE
/// The BOOL that is not true.
#define FALSE 0
#endif
#ifndef TRUE
/// One of the BOOLs that are true: compare with `FALSE`.
#define TRUE 1
#endif

// ---------------------------------------------------------------------------------------------
// Structures (host form)
// ---------------------------------------------------------------------------------------------

/// Binary time. `Innards[0]`: hundredths of a second since midnight GMT, 0xFFFFFFFF = no time.
/// `Innards[1]`: Julian day in bits 0 to 23, zone in the bits above, 0xFFFFFFFF = no date.
struct TIMEDATE {
  DWORD Innards[2];
};

typedef TIMEDATE DBID;

/// A range of times, as a `RANGE` holds them.
struct TIMEDATE_PAIR {
  TIMEDATE Lower;
  TIMEDATE Upper;
};

/// A range of numbers.
struct NUMBER_PAIR {
  NUMBER Lower;
  NUMBER Upper;
};

/// Header of a text list: then `ListEntries` USHORT lengths, then the packed texts.
struct LIST {
  USHORT ListEntries;
};

/// Header of a number or time range: then `ListEntries` values, then `RangeEntries` pairs.
struct RANGE {
  USHORT ListEntries;
  USHORT RangeEntries;
};

/// One entry of the array behind an ITEM_TABLE.
struct ITEM {
  USHORT NameLength;
  USHORT ValueLength;  ///< Bytes, the type word included; 0 = no value.
};

/// Header of a summary buffer.
struct ITEM_TABLE {
  USHORT Length;  ///< Bytes of the whole buffer, this header included.
  USHORT Items;
};

/// Broken-down time.
struct TIME {
  int year;
  int month;
  int day;
  int weekday;  ///< 1 to 7, Sunday = 1.
  int hour;
  int minute;
  int second;
  int hundredth;
  int dst;
  int zone;
  TIMEDATE GM;
};

/// How a time is shown: `TDFMT_`, `TTFMT_`, `TZFMT_` and `TSFMT_` numbers.
struct TFMT {
  BYTE Date;
  BYTE Time;
  BYTE Zone;
  BYTE Structure;
};

/// How a number is shown.
struct NFMT {
  BYTE Digits;
  BYTE Format;
  BYTE Attributes;
  BYTE Unused;
};

enum : std::size_t { ISTRMAX = 5, YTSTRMAX = 32 };

/// The settings of the server's country.
struct INTLFORMAT {
  WORD Flags;
  BYTE CurrencyDigits;
  BYTE Length;
  int TimeZone;
  char AMString[ISTRMAX];
  char PMString[ISTRMAX];
  char CurrencyString[ISTRMAX];
  char ThousandString[ISTRMAX];
  char DecimalString[ISTRMAX];
  char DateString[ISTRMAX];
  char TimeString[ISTRMAX];
  char YesterdayString[YTSTRMAX];
  char TodayString[YTSTRMAX];
  char TomorrowString[YTSTRMAX];
};

/// Identifies a note across replicas.
struct UNIVERSALNOTEID {
  TIMEDATE File;
  TIMEDATE Note;
};
typedef UNIVERSALNOTEID UNID;

/// Identity and version of a note: its universal ID, how often it was updated, and when last.
struct ORIGINATORID {
  TIMEDATE File;
  TIMEDATE Note;  ///< Creation time of the note.
  DWORD Sequence;
  TIMEDATE SequenceTime;  ///< Time of the last update.
};
typedef ORIGINATORID OID;

/// A note of a database; `Note` is when it was last modified in this file.
struct GLOBALINSTANCEID {
  TIMEDATE File;
  TIMEDATE Note;
  NOTEID NoteID;
};

/// What a search hands to its routine; may be unaligned there, so copy it.
struct SEARCH_MATCH {
  GLOBALINSTANCEID ID;
  ORIGINATORID OriginatorID;
  WORD NoteClass;
  BYTE SERetFlags;
  BYTE Privileges;
  WORD SummaryLength;
};

/// What makes a database a replica of others.
struct DBREPLICAINFO {
  TIMEDATE ID;
  WORD Flags;
  WORD CutoffInterval;  ///< Days.
  TIMEDATE Cutoff;
};

/// All sizes in units of 1024 bytes.
struct DBQUOTAINFOEXT {
  DWORD WarningThreshold;
  DWORD SizeLimit;
  DWORD CurrentDbSize;
  DWORD MaxDbSize;
  WORD QuotaMethod;
  DWORD CurrentUsage;
  DWORD CurrentSizeUsed;
  DWORD Unused1;
  DWORD Unused2;
};

/// A place in a memory pool: its address is the locked pool + `block` bytes.
struct BLOCKID {
  DHANDLE pool;
  BLOCK block;
};

/// The value of a `TYPE_OBJECT` item, behind its type word.
struct OBJECT_DESCRIPTOR {
  WORD ObjectType;
  DWORD RRV;  ///< Object ID in this database.
};

/// An attached file: the name stands behind it, the bytes are an object of the database.
struct FILEOBJECT {
  OBJECT_DESCRIPTOR Header;
  WORD FileNameLength;
  WORD HostType;
  WORD CompressionType;
  WORD FileAttributes;
  WORD Flags;
  DWORD FileSize;
  TIMEDATE FileCreated;
  TIMEDATE FileModified;
};

enum : std::size_t { MAXTUMBLERLEVELS = 32 };

/// A place in a collection, as in "2.1.7".
struct COLLECTIONPOSITION {
  WORD Level;  ///< Levels in use minus 1.
  BYTE MinLevel;
  BYTE MaxLevel;
  DWORD Tumbler[MAXTUMBLERLEVELS];
};

/// Numbers of an entry for index functions in column texts.
struct INDEXSPECIALINFO {
  DWORD IndexSiblings;
  DWORD IndexChildren;
  DWORD IndexDescendants;
  WORD IndexAnyUnread;
};

/// Begins every view format; read it first, other versions differ behind it.
struct VIEW_FORMAT_HEADER {
  BYTE Version;
  BYTE ViewStyle;
};

/// The item "$ViewFormat": this, then the columns, then their texts in the same order.
struct VIEW_TABLE_FORMAT {
  VIEW_FORMAT_HEADER Header;
  WORD Columns;
  WORD ItemSequenceNumber;
  WORD Flags;
  WORD Flags2;
};

/// One column of a view; its four texts have the lengths that stand here.
struct VIEW_COLUMN_FORMAT {
  WORD Signature;
  WORD Flags1;
  WORD ItemNameSize;
  WORD TitleSize;
  WORD FormulaSize;
  WORD ConstantValueSize;
  WORD DisplayWidth;
  FONTID FontID;
  WORD Flags2;
  NFMT NumberFormat;
  TFMT TimeFormat;
  WORD FormatDataType;
  WORD ListSep;
};

/// Rich-text record header with a 16-bit length.
struct WSIG {
  WORD Signature;
  WORD Length;
};

/// Rich-text record header with an 8-bit length.
struct BSIG {
  BYTE Signature;
  BYTE Length;
};

/// Rich text record: text in one font, which stands behind it.
struct CDTEXT {
  WSIG Header;
  FONTID FontID;
};

/// Rich text record: what follows can be clicked.
struct CDHOTSPOTBEGIN {
  WSIG Header;
  WORD Type;
  DWORD Flags;
  WORD DataLength;
};

/// Rich text record: the end of a hotspot.
struct CDHOTSPOTEND {
  BSIG Header;
};

/// Rich text record: a button, whose label stands behind it.
struct CDBUTTON {
  WSIG Header;
  WORD Flags;
  WORD Width;
  WORD Height;
  WORD Lines;
  FONTID FontID;
};

/// A `FONTID`, byte by byte.
struct FONTIDFIELDS {
  BYTE Face;
  BYTE Attrib;
  BYTE Color;
  BYTE PointSize;
};

/// The value of a `TYPE_MIME_PART` item: this, then boundary, headers and body.
struct MIME_PART {
  WORD wVersion;
  DWORD dwFlags;
  BYTE cPartType;
  BYTE cSpare;
  WORD wByteCount;
  WORD wBoundaryLen;
  WORD wHeadersLen;
  WORD wSpare;
  DWORD dwSpare;
};

/// Properties of a DXL importer; `KoLNUtilities::CreateDXLImporter` sets some of them.
enum DXL_IMPORT_PROPERTY {
  iACLImportOption = 1,
  iDesignImportOption = 2,
  iDocumentsImportOption = 3,
  iCreateFullTextIndex = 4,
  iReplaceDbProperties = 5,
  iInputValidationOption = 6,
  iReplicaRequiredForReplaceOrUpdate = 7,
  iExitOnFirstFatalError = 8,
  iUnknownTokenLogOption = 9,
  iResultLogComment = 10,
  iResultLog = 11,
  iImportedNoteList = 12
};

/// Properties of a DXL exporter; `KoLNUtilities::CreateDXLExporter` sets some of them.
enum DXL_EXPORT_PROPERTY {
  eDxlExportResultLog = 1,
  eDefaultDoctypeSYSTEM = 2,
  eDoctypeSYSTEM = 3,
  eDXLBannerComments = 4,
  eDxlExportCharset = 5,
  eDxlRichtextOption = 6,
  eDxlExportResultLogComment = 7,
  eDxlValidationStyle = 8,
  eDxlDefaultSchemaLocation = 9,
  eDxlSchemaLocation = 10,
  eDxlMimeOption = 11,
  eAttachmentOmittedText = 12,
  eOLEObjectOmittedText = 13,
  ePictureOmittedText = 14,
  eOmitItemNames = 15,
  eRestrictToItemNames = 16,
  eForceNoteFormat = 30,
  eExitOnFirstFatalError = 31,
  eOutputRootAttrs = 32,
  eOutputXmlDecl = 33,
  eOutputDOCTYPE = 34,
  eConvertNotesbitmapsToGIF = 35,
  eOmitRichtextAttachments = 36,
  eOmitOLEObjects = 37,
  eOmitMiscFileObjects = 38,
  eOmitPictures = 39,
  eUncompressAttachments = 40
};

// ---------------------------------------------------------------------------------------------
// Constants
// ---------------------------------------------------------------------------------------------

#if defined(__clang__)  // A translation unit uses few of these; that is no reason to warn.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wunused-const-variable"
#endif

const DWORD NULLHANDLE = 0;
#ifndef NOERROR
const STATUS NOERROR = 0;
#endif
const STATUS STS_DISPLAYED = 0x8000;
const STATUS STS_REMOTE = 0x4000;
const STATUS ERR_MASK = 0x3FFF;

/// @name Modes of OSTranslate
/// @{
const WORD OS_TRANSLATE_NATIVE_TO_LMBCS = 0;
const WORD OS_TRANSLATE_LMBCS_TO_NATIVE = 1;
const WORD OS_TRANSLATE_LOWER_TO_UPPER = 3;
const WORD OS_TRANSLATE_UPPER_TO_LOWER = 4;
const WORD OS_TRANSLATE_UNACCENT = 5;
const WORD OS_TRANSLATE_LMBCS_TO_UNICODE = 20;
const WORD OS_TRANSLATE_LMBCS_TO_UTF8 = 22;
const WORD OS_TRANSLATE_UNICODE_TO_LMBCS = 23;
const WORD OS_TRANSLATE_UTF8_TO_LMBCS = 24;
/// @}

/// @name Times
/// @{
const WORD TIMEDATE_MINIMUM = 0;
const WORD TIMEDATE_MAXIMUM = 1;
const WORD TIMEDATE_WILDCARD = 2;
const DWORD ALLDAY = 0xFFFFFFFF;
const DWORD ANYDAY = 0xFFFFFFFF;
const BYTE TDFMT_FULL = 0;
const BYTE TDFMT_CPARTIAL = 1;
const BYTE TDFMT_PARTIAL = 2;
const BYTE TDFMT_DPARTIAL = 3;
const BYTE TDFMT_FULL4 = 4;
const BYTE TDFMT_CPARTIAL4 = 5;
const BYTE TDFMT_DPARTIAL4 = 6;
const BYTE TTFMT_FULL = 0;
const BYTE TTFMT_PARTIAL = 1;
const BYTE TTFMT_HOUR = 2;
const BYTE TZFMT_NEVER = 0;
const BYTE TZFMT_SOMETIMES = 1;
const BYTE TZFMT_ALWAYS = 2;
const BYTE TSFMT_DATE = 0;
const BYTE TSFMT_TIME = 1;
const BYTE TSFMT_DATETIME = 2;
const BYTE TSFMT_CDATETIME = 3;
/// @}

/// @name Limits; those of texts include the terminator where the name says MAX...PATH, NAME, VALUE
/// @{
const WORD MAXALPHATIMEDATE = 80;
const WORD MAXPATH = 256;
const WORD MAXUSERNAME = 256;
const WORD MAXENVVALUE = 256;
const WORD NSF_INFO_SIZE = 128;
const WORD MAXONESEGSIZE = 65406;
const WORD MAXWORD = 0xFFFF;
const DWORD MAXDWORD = 0xFFFFFFFF;
const WORD ONEINCH = 1440;
/// @}

/// @name Memory block types
/// @{
const WORD MEM_GROWABLE = 0x4000;
const WORD MEM_SHARE = 0x8000;
/// @}

/// @name Note classes
/// @{
const WORD NOTE_CLASS_NONE = 0x0000;
const WORD NOTE_CLASS_DOCUMENT = 0x0001;
const WORD NOTE_CLASS_INFO = 0x0002;
const WORD NOTE_CLASS_FORM = 0x0004;
const WORD NOTE_CLASS_VIEW = 0x0008;
const WORD NOTE_CLASS_ICON = 0x0010;
const WORD NOTE_CLASS_DESIGN = 0x0020;
const WORD NOTE_CLASS_ACL = 0x0040;
const WORD NOTE_CLASS_HELP_INDEX = 0x0080;
const WORD NOTE_CLASS_HELP = 0x0100;
const WORD NOTE_CLASS_FILTER = 0x0200;
const WORD NOTE_CLASS_FIELD = 0x0400;
const WORD NOTE_CLASS_REPLFORMULA = 0x0800;
const WORD NOTE_CLASS_PRIVATE = 0x1000;
const WORD NOTE_CLASS_DEFAULT = 0x8000;
const WORD NOTE_CLASS_NOTIFYDELETION = 0x8000;
const WORD NOTE_CLASS_ALL = 0x7FFF;
const WORD NOTE_CLASS_ALLNONDATA = 0x7FFE;
/// @}

/// @name Bits of note IDs
/// @{
const DWORD NOTE_ID_SPECIAL = 0xFFFF0000;
const DWORD RRV_DELETED = 0x80000000;
const DWORD NOTEID_RESERVED = 0x80000000;
const DWORD NOTEID_CATEGORY = 0x80000000;
const DWORD NOTEID_CATEGORY_TOTAL = 0xC0000000;
const DWORD NOTEID_CATEGORY_INDENT = 0x3F000000;
const DWORD NOTEID_CATEGORY_ID = 0x00FFFFFF;
/// @}

/// @name Members of a note, with the type behind the value pointer
/// @{
const WORD _NOTE_DB = 0;               ///< DBHANDLE
const WORD _NOTE_ID = 1;               ///< NOTEID
const WORD _NOTE_OID = 2;              ///< ORIGINATORID
const WORD _NOTE_CLASS = 3;            ///< WORD
const WORD _NOTE_MODIFIED = 4;         ///< TIMEDATE
const WORD _NOTE_PRIVILEGES = 5;       ///< WORD
const WORD _NOTE_FLAGS = 7;            ///< WORD
const WORD _NOTE_ACCESSED = 8;         ///< TIMEDATE
const WORD _NOTE_PARENT_NOTEID = 10;   ///< NOTEID
const WORD _NOTE_RESPONSE_COUNT = 11;  ///< DWORD
const WORD _NOTE_RESPONSES = 12;       ///< DHANDLE
const WORD _NOTE_ADDED_TO_FILE = 13;   ///< TIMEDATE
const WORD _NOTE_OBJSTORE_DB = 14;     ///< DBHANDLE
/// @}

/// @name Note flags
/// @{
const WORD NOTE_FLAG_READONLY = 0x0001;
const WORD NOTE_FLAG_ABSTRACTED = 0x0002;
const WORD NOTE_FLAG_INCREMENTAL = 0x0004;
const WORD NOTE_FLAG_LINKED = 0x0020;
const WORD NOTE_FLAG_INCREMENTAL_FULL = 0x0040;
const WORD NOTE_FLAG_CANONICAL = 0x4000;
/// @}

/// @name Options of opening a note
/// @{
const WORD OPEN_SUMMARY = 0x0001;
const WORD OPEN_NOVERIFYDEFAULT = 0x0002;
const WORD OPEN_EXPAND = 0x0004;
const WORD OPEN_NOOBJECTS = 0x0008;
const WORD OPEN_SHARE = 0x0020;
const WORD OPEN_CANONICAL = 0x0040;
const WORD OPEN_MARK_READ = 0x0100;
const WORD OPEN_ABSTRACT = 0x0200;
const WORD OPEN_RESPONSE_ID_TABLE = 0x1000;
const DWORD OPEN_WITH_FOLDERS = 0x00020000;
const DWORD OPEN_RAW_RFC822_TEXT = 0x01000000;
const DWORD OPEN_RAW_MIME_PART = 0x02000000;
const DWORD OPEN_RAW_MIME = 0x03000000;
/// @}

/// @name Options of updating and deleting a note
/// @{
const WORD UPDATE_DUPLICATES = 0x0000;
const WORD UPDATE_FORCE = 0x0001;
const WORD UPDATE_NAME_KEY_WARNING = 0x0002;
const WORD UPDATE_NOCOMMIT = 0x0004;
const WORD UPDATE_NOREVISION = 0x0100;
const WORD UPDATE_NOSTUB = 0x0200;
const WORD UPDATE_INCREMENTAL = 0x4000;
const WORD UPDATE_DELETED = 0x8000;
/// @}

/// @name Item flags
/// @{
const WORD ITEM_SIGN = 0x0001;
const WORD ITEM_SEAL = 0x0002;
const WORD ITEM_SUMMARY = 0x0004;
const WORD ITEM_READWRITERS = 0x0020;
const WORD ITEM_NAMES = 0x0040;
const WORD ITEM_PLACEHOLDER = 0x0100;
const WORD ITEM_PROTECTED = 0x0200;
const WORD ITEM_READERS = 0x0400;
const WORD ITEM_UNCHANGED = 0x1000;
/// @}

/// @name Data types of item values
/// @{
const WORD TYPE_INVALID_OR_UNKNOWN = 0x0000;
const WORD TYPE_COMPOSITE = 0x0001;
const WORD TYPE_COLLATION = 0x0002;
const WORD TYPE_OBJECT = 0x0003;
const WORD TYPE_NOTEREF_LIST = 0x0004;
const WORD TYPE_VIEW_FORMAT = 0x0005;
const WORD TYPE_ICON = 0x0006;
const WORD TYPE_NOTELINK_LIST = 0x0007;
const WORD TYPE_SIGNATURE = 0x0008;
const WORD TYPE_SEAL = 0x0009;
const WORD TYPE_SEALDATA = 0x000A;
const WORD TYPE_SEAL_LIST = 0x000B;
const WORD TYPE_HIGHLIGHTS = 0x000C;
const WORD TYPE_WORKSHEET_DATA = 0x000D;
const WORD TYPE_USERDATA = 0x000E;
const WORD TYPE_QUERY = 0x000F;
const WORD TYPE_ACTION = 0x0010;
const WORD TYPE_ASSISTANT_INFO = 0x0011;
const WORD TYPE_VIEWMAP_DATASET = 0x0012;
const WORD TYPE_VIEWMAP_LAYOUT = 0x0013;
const WORD TYPE_LSOBJECT = 0x0014;
const WORD TYPE_HTML = 0x0015;
const WORD TYPE_SCHED_LIST = 0x0016;
const WORD TYPE_CALENDAR_FORMAT = 0x0018;
const WORD TYPE_MIME_PART = 0x0019;
const WORD TYPE_ERROR = 0x0100;
const WORD TYPE_UNAVAILABLE = 0x0200;
const WORD TYPE_NUMBER = 0x0300;
const WORD TYPE_NUMBER_RANGE = 0x0301;
const WORD TYPE_TIME = 0x0400;
const WORD TYPE_TIME_RANGE = 0x0401;
const WORD TYPE_TEXT = 0x0500;
const WORD TYPE_TEXT_LIST = 0x0501;
const WORD TYPE_RFC822_TEXT = 0x0502;
const WORD TYPE_FORMULA = 0x0600;
const WORD TYPE_USERID = 0x0700;
/// @}

const WORD MAIL_SUBJECT_ITEM_NUM = 3;

/// @name Parts of the database information buffer
/// @{
const WORD INFOPARSE_TITLE = 0;
const WORD INFOPARSE_CATEGORIES = 1;
const WORD INFOPARSE_CLASS = 2;
const WORD INFOPARSE_DESIGN_CLASS = 3;
/// @}

/// @name Database classes, open options and modes
/// @{
const WORD DBCLASS_BY_EXTENSION = 0x0000;
const WORD DBCLASS_NSFTESTFILE = 0xFF00;
const WORD DBCLASS_NOTEFILE = 0xFF01;
const WORD DBCLASS_DESKTOP = 0xFF02;
const WORD DBCLASS_NOTECLIPBOARD = 0xFF03;
const WORD DBCLASS_TEMPLATEFILE = 0xFF04;
const WORD DBCLASS_MASK = 0x00FF;
const WORD DBCLASS_VALID_MASK = 0xFF00;
const WORD DBOPEN_WITH_SCAN_LOCK = 0x0001;
const WORD DBOPEN_PURGE = 0x0002;
const WORD DBOPEN_NO_USERINFO = 0x0004;
const WORD DBOPEN_FORCE_FIXUP = 0x0008;
const WORD DBOPEN_FIXUP_FULL_NOTE_SCAN = 0x0010;
const WORD DBOPEN_FIXUP_NO_NOTE_DELETE = 0x0020;
const WORD DBOPEN_CLUSTER_FAILOVER = 0x0080;
const WORD DBOPEN_CLOSE_SESS_ON_ERROR = 0x0100;
const WORD DBOPEN_NOLOG = 0x0200;
const USHORT DB_LOADED = 1;
const USHORT DB_DIRECTORY = 2;
/// @}

/// @name Searches
/// @{
const WORD SEARCH_ALL_VERSIONS = 0x0001;
const WORD SEARCH_SUMMARY = 0x0002;
const WORD SEARCH_FILETYPE = 0x0004;
const WORD SEARCH_NOTIFYDELETIONS = 0x0010;
const WORD SEARCH_ALLPRIVS = 0x0040;
const WORD SEARCH_SESSION_USERNAME = 0x0400;
const WORD SEARCH_NOABSTRACTS = 0x1000;
const WORD SEARCH_DATAONLY_FORMULA = 0x4000;
const WORD FILE_ANY = 0;
const WORD FILE_DBREPL = 1;
const WORD FILE_DBDESIGN = 2;
const WORD FILE_MAILBOX = 3;
const WORD FILE_DBANY = 4;
const WORD FILE_FTANY = 5;
const WORD FILE_MDMTYPE = 6;
const WORD FILE_DIRSONLY = 7;
const WORD FILE_VPCTYPE = 8;
const WORD FILE_SCRTYPE = 9;
const WORD FILE_ANYNOTEFILE = 10;
const WORD FILE_UNIQUETEMP = 11;
const WORD FILE_MULTICLN = 12;
const WORD FILE_SMARTI = 13;
const WORD FILE_TYPEMASK = 0x00FF;
const WORD FILE_LINKSONLY = 0x1000;
const WORD FILE_RECURSE = 0x2000;
const WORD FILE_NOUPDIRS = 0x4000;
const WORD FILE_DIRS = 0x8000;
const BYTE SE_FNOMATCH = 0x00;
const BYTE SE_FMATCH = 0x01;
const BYTE SE_FTRUNCATED = 0x02;
const BYTE SE_FPURGED = 0x04;
const BYTE SE_FNOPURGE = 0x08;
const BYTE SE_FSOFTDELETED = 0x10;
const BYTE SE_FLARGESUMMARY = 0x80;
/// @}

/// @name Directory look-up; 0x0100 has no published number, `NAME_LOOKUP_UPDATE` is the likely name
/// @{
const DWORD NAME_LOOKUP_ALL = 0x0001;
const DWORD NAME_LOOKUP_NOSEARCHING = 0x0002;
const DWORD NAME_LOOKUP_EXHAUSTIVE = 0x0020;
/// @}

/// @name Database objects and attachments
/// @{
const WORD OBJECT_FILE = 0;
const WORD OBJECT_FILTER_LEFTTODO = 3;
const WORD OBJECT_ASSIST_RUNDATA = 8;
const WORD OBJECT_UNKNOWN = 0xFFFF;
const WORD OBJECT_NO_COPY = 0x8000;
const WORD OBJECT_PRESERVE = 0x4000;
const WORD OBJECT_PUBLIC = 0x2000;
const WORD COMPRESS_NONE = 0;
const WORD COMPRESS_HUFF = 1;
const WORD COMPRESS_LZ1 = 2;
const WORD COMPRESS_RECOMPRESS_HUFF = 3;
const WORD FILEFLAG_SIGN = 0x0001;
const WORD FILEFLAG_INDOC = 0x0002;
const WORD FILEFLAG_MIME = 0x0004;
const WORD FILEFLAG_AUTOCOMPRESSED = 0x0080;
/// @}

/// @name Collections
/// @{
const WORD OPEN_REBUILD_INDEX = 0x0001;
const WORD OPEN_NOUPDATE = 0x0002;
const WORD OPEN_DO_NOT_CREATE = 0x0004;
const WORD OPEN_SHARED_VIEW_NOTE = 0x0010;
const WORD OPEN_REOPEN_COLLECTION = 0x0020;
const WORD NAVIGATE_CURRENT = 0;
const WORD NAVIGATE_NEXT = 1;
const WORD NAVIGATE_PARENT = 3;
const WORD NAVIGATE_CHILD = 4;
const WORD NAVIGATE_NEXT_PEER = 5;
const WORD NAVIGATE_PREV_PEER = 6;
const WORD NAVIGATE_FIRST_PEER = 7;
const WORD NAVIGATE_LAST_PEER = 8;
const WORD NAVIGATE_PREV = 9;
const WORD NAVIGATE_NEXT_UNREAD = 10;
const WORD NAVIGATE_CURRENT_MAIN = 11;
const WORD NAVIGATE_NEXT_MAIN = 12;
const WORD NAVIGATE_PREV_MAIN = 13;
const WORD NAVIGATE_NEXT_SELECTED = 14;
const WORD NAVIGATE_NEXT_EXPANDED = 15;
const WORD NAVIGATE_PREV_EXPANDED = 16;
const WORD NAVIGATE_ALL_DESCENDANTS = 17;
const WORD NAVIGATE_NEXT_PARENT = 19;
const WORD NAVIGATE_NEXT_CATEGORY = 41;
const WORD NAVIGATE_NEXT_NONCATEGORY = 43;
const WORD NAVIGATE_MINLEVEL = 0x0100;
const WORD NAVIGATE_MAXLEVEL = 0x0200;
const WORD NAVIGATE_CONTINUE = 0x8000;
const DWORD READ_MASK_NOTEID = 0x00000001;
const DWORD READ_MASK_NOTEUNID = 0x00000002;
const DWORD READ_MASK_NOTECLASS = 0x00000004;
const DWORD READ_MASK_INDEXSIBLINGS = 0x00000008;
const DWORD READ_MASK_INDEXCHILDREN = 0x00000010;
const DWORD READ_MASK_INDEXDESCENDANTS = 0x00000020;
const DWORD READ_MASK_INDEXANYUNREAD = 0x00000040;
const DWORD READ_MASK_INDENTLEVELS = 0x00000080;
const DWORD READ_MASK_COLLECTIONSTATS = 0x00000100;
const DWORD READ_MASK_SCORE = 0x00000200;
const DWORD READ_MASK_INDEXUNREAD = 0x00000400;
const DWORD READ_MASK_SUMMARYVALUES = 0x00002000;
const DWORD READ_MASK_INDEXPOSITION = 0x00004000;
const DWORD READ_MASK_SUMMARY = 0x00008000;
const WORD SIGNAL_DEFN_ITEM_MODIFIED = 0x0001;
const WORD SIGNAL_VIEW_ITEM_MODIFIED = 0x0002;
const WORD SIGNAL_INDEX_MODIFIED = 0x0004;
const WORD SIGNAL_UNREADLIST_MODIFIED = 0x0008;
const WORD SIGNAL_DATABASE_MODIFIED = 0x0010;
const WORD SIGNAL_MORE_TO_DO = 0x0020;
const WORD SIGNAL_VIEW_TIME_RELATIVE = 0x0040;
const WORD SIGNAL_NOT_SUPPORTED = 0x0080;
const WORD SIGNAL_DIFF_READ_NOT_DONE = 0x0200;
const WORD SIGNAL_ANY_CONFLICT = 0x001F;
const WORD SIGNAL_ANY_NONDATA_CONFLICT = 0x000F;
/// @}

/// @name View formats
/// @{
const BYTE VIEW_FORMAT_VERSION = 1;
const BYTE VIEW_CLASS_MASK = 0xF0;
const BYTE VIEW_CLASS_TABLE = 0x00;
const WORD VIEW_COLUMN_FORMAT_SIGNATURE = 0x4356;
const WORD VCF1_M_Sort = 0x0001;
const WORD VCF1_M_SortCategorize = 0x0002;
const WORD VCF1_M_SortDescending = 0x0004;
const WORD VCF1_M_Hidden = 0x0008;
const WORD VCF1_M_Response = 0x0010;
const WORD VCF1_M_HideDetail = 0x0020;
const WORD VCF1_M_Icon = 0x0040;
const WORD VCF1_M_NoResize = 0x0080;
const WORD VCF1_M_ResortAscending = 0x0100;
const WORD VCF1_M_ResortDescending = 0x0200;
const WORD VCF1_M_Twistie = 0x0400;
/// A pattern for `KO_NIFFindDesignNoteExt`: what has none of these letters in "$Flags".
#define DFLAGPAT_VIEWS_AND_FOLDERS "-G40n^"
/// @}

/// @name Rich text and MIME
/// @{
const WORD SIG_CD_TEXT = 0xFF85;
const WORD SIG_CD_HOTSPOTBEGIN = 0xFFA9;
const BYTE SIG_CD_HOTSPOTEND = 0xAA;
const WORD SIG_CD_BUTTON = 0xFFAB;
const WORD SIG_CD_V4HOTSPOTBEGIN = 0xFFAD;
const BYTE SIG_CD_V4HOTSPOTEND = 0xAE;
const WORD HOTSPOTREC_TYPE_POPUP = 1;
const WORD HOTSPOTREC_TYPE_HOTREGION = 2;
const WORD HOTSPOTREC_TYPE_BUTTON = 3;
const WORD HOTSPOTREC_TYPE_FILE = 4;
const WORD HOTSPOTREC_TYPE_SECTION = 7;
const WORD HOTSPOTREC_TYPE_HOTLINK = 11;
const WORD HOTSPOTREC_TYPE_BUNDLE = 12;
const WORD HOTSPOTREC_TYPE_V4_SECTION = 13;
const WORD HOTSPOTREC_TYPE_SUBFORM = 14;
const DWORD HOTSPOTREC_RUNFLAG_BEGIN = 0x00000001;
const DWORD HOTSPOTREC_RUNFLAG_END = 0x00000002;
const DWORD HOTSPOTREC_RUNFLAG_BOX = 0x00000004;
const DWORD HOTSPOTREC_RUNFLAG_NOBORDER = 0x00000008;
const DWORD HOTSPOTREC_RUNFLAG_FORMULA = 0x00000010;
const DWORD HOTSPOTREC_RUNFLAG_ACTION = 0x00000080;
const DWORD HOTSPOTREC_RUNFLAG_SCRIPT = 0x00000100;
const DWORD HOTSPOTREC_RUNFLAG_INOTES = 0x00001000;
const DWORD HOTSPOTREC_RUNFLAG_SIGNED = 0x00010000;
const BYTE FONT_FACE_ROMAN = 0;
const BYTE FONT_FACE_SWISS = 1;
const BYTE FONT_FACE_UNICODE = 2;
const BYTE FONT_FACE_USERINTERFACE = 3;
const BYTE FONT_FACE_TYPEWRITER = 4;
const WORD MIME_PART_PROLOG = 1;
const WORD MIME_PART_BODY = 2;
const WORD MIME_PART_EPILOG = 3;
const WORD MIME_PART_RETRIEVE_INFO = 4;
const WORD MIME_PART_MESSAGE = 5;
const DWORD MIME_PART_HAS_BOUNDARY = 0x01;
const DWORD MIME_PART_HAS_HEADERS = 0x02;
const DWORD MIME_PART_BODY_IN_DBOBJECT = 0x04;
const DWORD MIME_PART_SHARED_DBOBJECT = 0x08;
const DWORD MIME_PART_SKIP_FOR_CONVERSION = 0x10;
/// @}

/// @name DXL import options
/// @{
const WORD DXLIMPORTOPTION_IGNORE = 1;
const WORD DXLIMPORTOPTION_CREATE = 2;
const WORD DXLIMPORTOPTION_IGNORE_ELSE_CREATE = 3;
const WORD DXLIMPORTOPTION_REPLACE_ELSE_IGNORE = 5;
const WORD DXLIMPORTOPTION_REPLACE_ELSE_CREATE = 6;
const WORD DXLIMPORTOPTION_UPDATE_ELSE_IGNORE = 9;
const WORD DXLIMPORTOPTION_UPDATE_ELSE_CREATE = 10;
/// @}

/// @name On-disk structure types of ODSLength, ODSReadMemory and ODSWriteMemory
/// @{
const WORD ODS_WORD = 0;
const WORD ODS_DWORD = 1;
const WORD ODS_NUMBER = 2;
const WORD ODS_TIMEDATE = 10;
const WORD ODS_TIMEDATE_PAIR = 11;
const WORD ODS_NUMBER_PAIR = 12;
const WORD ODS_LIST = 13;
const WORD ODS_RANGE = 14;
const WORD ODS_DBID = 15;
const WORD ODS_ITEM = 17;
const WORD ODS_ITEM_TABLE = 18;
const WORD ODS_SEARCH_MATCH = 24;
const WORD ODS_ORIGINATORID = 26;
const WORD ODS_OBJECT_DESCRIPTOR = 27;
const WORD ODS_UNIVERSALNOTEID = 28;
const WORD ODS_VIEW_TABLE_FORMAT = 29;
const WORD ODS_VIEW_COLUMN_FORMAT = 30;
const WORD ODS_VIEW_FORMAT_HEADER = 42;
const WORD ODS_DBREPLICAINFO = 56;
const WORD ODS_FILEOBJECT = 58;
const WORD ODS_CDTEXT = 113;
const WORD ODS_CDHOTSPOTBEGIN = 230;
const WORD ODS_CDHOTSPOTEND = 231;
const WORD ODS_CDBUTTON = 237;
const WORD ODS_MIME_PART = 639;
/// @}

/// @name Status codes
/// @{
const STATUS ERR_UNKNOWN = 0x0101;
const STATUS ERR_PROTECTED = 0x0102;
const STATUS ERR_NOEXIST = 0x0103;
const STATUS ERR_EXISTS = 0x0104;
const STATUS ERR_MEMORY = 0x0107;
const STATUS ERR_CREATE = 0x0108;
const STATUS ERR_OS_NULL_HANDLE = 0x0136;
const STATUS ERR_OS_HANDLE_RANGE = 0x0137;
const STATUS ERR_OS_FREE_HANDLE = 0x0138;
const STATUS ERR_SEGMENT_TOO_BIG = 0x013B;
const STATUS ERR_CANCEL = 0x019D;
const STATUS ERR_BAD_PATH = 0x01FD;
const STATUS ERR_NOT_NSF = 0x0201;
const STATUS ERR_CONFLICT = 0x0205;
const STATUS ERR_NSF_VERSION = 0x0219;
const STATUS ERR_DIRECTORY = 0x021C;
const STATUS ERR_NOT_DIRECTORY = 0x021D;
const STATUS ERR_ITEM_NOT_FOUND = 0x0222;
const STATUS ERR_NOTE_DELETED = 0x0225;
const STATUS ERR_INVALID_NOTE = 0x0227;
const STATUS ERR_NSF_INFO_SIZE = 0x022D;
const STATUS ERR_SUMMARY_TOO_BIG = 0x0231;
const STATUS ERR_DBCLASS = 0x0232;
const STATUS ERR_NO_MODIFIED_NOTES = 0x023C;
const STATUS ERR_BAD_PARAM = 0x0241;
const STATUS ERR_SPECIAL_ID = 0x0242;
const STATUS ERR_NOACCESS = 0x0246;
const STATUS ERR_OPEN_FILE = 0x024B;
const STATUS ERR_NOT_AUTHOR = 0x024E;
const STATUS ERR_OBJECT_TRUNCATED = 0x024F;
const STATUS ERR_ALREADY_LOCKED = 0x0266;
const STATUS ERR_INVALID_ITEMUNK = 0x0273;
const STATUS ERR_NSF_CORRUPT2 = 0x0286;
const STATUS ERR_OBJECT_CANNOT_BE_ZERO = 0x02C5;
const STATUS ERR_COLLECTION_HANDLE = 0x0303;
const STATUS ERR_UNSUPPORTED_FLAGS = 0x0306;
const STATUS ERR_NO_SUCH_NAMESPACE = 0x0309;
const STATUS ERR_NO_NAMES_FILE = 0x030A;
const STATUS ERR_NO_SUCH_NAMES_BOOK = 0x030F;
const STATUS ERR_COLLECTION_NOT_CREATED = 0x030B;
const STATUS ERR_NAVIGATE_FAILED = 0x030C;
const STATUS ERR_VIEW_NOACCESS = 0x030D;
const STATUS ERR_NO_SUCH_ITEM = 0x0310;
const STATUS ERR_NO_MORE_MEMBERS = 0x0311;
const STATUS ERR_UNSUPPORTED_DATATYPE = 0x0312;
const STATUS ERR_NOT_FOUND = 0x0404;
const STATUS ERR_IFMT = 0x040A;
const STATUS ERR_TFMT = 0x040B;
const STATUS ERR_TDI_CONV = 0x040C;
const STATUS ERR_TDO_CONV = 0x040D;
const STATUS ERR_INVALID_BLOCK = 0x041D;
const STATUS ERR_IDTABLE_INVALID = 0x0448;
const STATUS ERR_FORMULA_COMPILATION = 0x0501;
const STATUS ERR_NONAMES = 0x0542;
const STATUS ERR_CL_NO_REMOTE_CONSOLE_ACCESS = 0x0812;
const STATUS ERR_NO_SERVER_ACCESS = 0x092E;
const STATUS ERR_ROUTER_NOTUNIQUE = 0x1104;
const STATUS ERR_ROUTER_NOSUCHUSER = 0x1105;
const STATUS ERR_NULL_DBHANDLE = 0x1384;
const STATUS ERR_NULL_NOTEHANDLE = 0x13BB;
const STATUS ERR_DBINUSE = 0x13EA;
const STATUS ERR_DBOFFLINE = 0x13F9;
const STATUS ERR_NOTE_LOCKED = 0x13FD;
const STATUS ERR_DXL_INVALID_PROPERTY_VALUE = 0x1B55;
const STATUS ERR_DXL_INVALID_PROPERTY = 0x1B56;
/// @}

/// How many functions the list below binds.
const std::size_t KOLN_NOTES_FUNCTION_COUNT = 119;

#if defined(__clang__)
#pragma clang diagnostic pop
#endif

// ---------------------------------------------------------------------------------------------
// Callbacks that Notes calls
// ---------------------------------------------------------------------------------------------

extern "C" {
/// Gets each match of a search. Match and buffer are the runtime's and end with the call.
typedef STATUS (*NSFSEARCHPROC)(void* EnumRoutineParameter, SEARCH_MATCH* SearchMatch,
                                ITEM_TABLE* SummaryBuffer);
/// Gets each item of a note. Name and value are not terminated and must not be changed.
typedef STATUS (*NSFITEMSCANPROC)(WORD Spare, WORD ItemFlags, char* Name, WORD NameLength,
                                  void* Value, DWORD ValueLength, void* RoutineParameter);
/// Gets each profile note. The names are not terminated.
typedef STATUS (*NSFPROFILEENUMPROC)(DBHANDLE hDB, void* Ctx, char* ProfileName,
                                     WORD ProfileNameLength, char* UserName, WORD UserNameLength,
                                     NOTEID ProfileNoteID);
/// Writes up to `length` bytes of DXL to the buffer. @return How many; 0 ends the import.
typedef DWORD (*XML_READ_FUNCTION)(BYTE* pBuffer, DWORD length, void* pAction);
/// Takes a piece of DXL, which is not terminated.
typedef void (*XML_WRITE_FUNCTION)(const BYTE* pBuffer, DWORD length, void* pAction);
}

// ---------------------------------------------------------------------------------------------
// The one list of the bound functions, in binding order (by name without regard to case)
// ---------------------------------------------------------------------------------------------

/// X(result, name, (parameters)). Declarations, definitions, the binding loop and the test doubles
/// all come from this list; no name is written a second time. For each of them there is a pointer
/// `KO_name`, such as `KO_NSFDbOpen`.
// clang-format off
#define KOLN_NOTES_FUNCTIONS(X) \
  X(STATUS, ConvertTextToTIMEDATE, (const void* IntlFormat, const TFMT* TextFormat, char** Text, WORD MaxLength, TIMEDATE* retTIMEDATE)) \
  X(STATUS, ConvertTIMEDATEToText, (const void* IntlFormat, const TFMT* TextFormat, const TIMEDATE* InputTime, char* retTextBuffer, WORD TextBufferLength, WORD* retTextLength)) \
  X(STATUS, DNCanonicalize, (DWORD Flags, const char* TemplateName, const char* InName, char* OutName, WORD OutSize, WORD* OutLength)) \
  X(STATUS, DXLCreateExporter, (DXLEXPORTHANDLE* prethDXLExport)) \
  X(STATUS, DXLCreateImporter, (DXLIMPORTHANDLE* prethDXLImport)) \
  X(void, DXLDeleteExporter, (DXLEXPORTHANDLE hDXLExport)) \
  X(void, DXLDeleteImporter, (DXLIMPORTHANDLE hDXLImport)) \
  X(STATUS, DXLExportNote, (DXLEXPORTHANDLE hDXLExport, XML_WRITE_FUNCTION pDXLWriteFunc, NOTEHANDLE hNote, void* pExAction)) \
  X(STATUS, DXLImport, (DXLIMPORTHANDLE hDXLImport, XML_READ_FUNCTION pDXLReaderFunc, DBHANDLE hDB, void* pImAction)) \
  X(STATUS, DXLSetExporterProperty, (DXLEXPORTHANDLE hDXLExport, DXL_EXPORT_PROPERTY prop, void* propValue)) \
  X(STATUS, DXLSetImporterProperty, (DXLIMPORTHANDLE hDXLImport, DXL_IMPORT_PROPERTY prop, void* propValue)) \
  X(STATUS, FolderDocAdd, (DBHANDLE hDataDB, DBHANDLE hFolderDB, NOTEID FolderNoteID, DHANDLE hTable, DWORD dwFlags)) \
  X(STATUS, IDCreateTable, (DWORD Alignment, DHANDLE* rethTable)) \
  X(STATUS, IDDelete, (DHANDLE hTable, DWORD id, BOOL* retfDeleted)) \
  X(STATUS, IDDestroyTable, (DHANDLE hTable)) \
  X(DWORD, IDEntries, (DHANDLE hTable)) \
  X(STATUS, IDInsert, (DHANDLE hTable, DWORD id, BOOL* retfInserted)) \
  X(BOOL, IDIsPresent, (DHANDLE hTable, DWORD id)) \
  X(BOOL, IDScan, (DHANDLE hTable, BOOL fFirst, DWORD* retID)) \
  X(STATUS, IDTableCopy, (DHANDLE hTable, DHANDLE* rethTable)) \
  X(BOOL, MailGetMessageAttachmentInfo, (DHANDLE hMessage, WORD Num, BLOCKID* bhItem, char* FileName, DWORD* FileSize, WORD* FileAttributes, WORD* FileHostType, TIMEDATE* FileCreated, TIMEDATE* FileModified)) \
  X(STATUS, MailGetMessageItem, (DHANDLE hMessage, WORD ItemCode, char* retString, WORD StringSize, WORD* retStringLength)) \
  X(STATUS, MailLookupAddress, (char* UserName, char* MailAddress)) \
  X(STATUS, NAMEGetTextItem2, (void* pMatch, WORD Item, WORD Member, char* Buffer, WORD BufLen)) \
  X(void*, NAMELocateItem2, (void* pMatch, WORD Item, WORD* retDataType, WORD* retSize)) \
  X(void*, NAMELocateNextMatch2, (void* pLookup, void* pName, void* pMatch)) \
  X(void*, NAMELocateNextName2, (void* pLookup, void* pName, DWORD* retNumMatches)) \
  X(STATUS, NAMELookup2, (const char* ServerName, DWORD Flags, WORD NumNameSpaces, const char* NameSpaces, WORD NumNames, const char* Names, WORD NumItems, const char* Items, DHANDLE* rethBuffer)) \
  X(STATUS, NIFCloseCollection, (HCOLLECTION hCollection)) \
  X(STATUS, NIFFindDesignNoteExt, (DBHANDLE hFile, const char* Name, WORD Class, const char* pszFlagsPattern, NOTEID* retNoteID, DWORD Options)) \
  X(STATUS, NIFOpenCollection, (DBHANDLE hViewDB, DBHANDLE hDataDB, NOTEID ViewNoteID, WORD OpenFlags, DHANDLE hUnreadList, HCOLLECTION* rethCollection, NOTEHANDLE* rethViewNote, UNIVERSALNOTEID* retViewUNID, DHANDLE* rethCollapsedList, DHANDLE* rethSelectedList)) \
  X(STATUS, NIFReadEntries, (HCOLLECTION hCollection, COLLECTIONPOSITION* IndexPos, WORD SkipNavigator, DWORD SkipCount, WORD ReturnNavigator, DWORD ReturnCount, DWORD ReturnMask, DHANDLE* rethBuffer, WORD* retBufferLength, DWORD* retNumEntriesSkipped, DWORD* retNumEntriesReturned, WORD* retSignalFlags)) \
  X(STATUS, NotesInitExtended, (int argc, char** argv)) \
  X(STATUS, NotesInitThread, ()) \
  X(void, NotesTerm, ()) \
  X(void, NotesTermThread, ()) \
  X(STATUS, NSFBringDatabaseOnline, (const char* dbPath, DWORD options)) \
  X(STATUS, NSFComputeEvaluate, (HCOMPUTE hCompute, NOTEHANDLE hNote, DHANDLE* rethResult, WORD* retResultLength, BOOL* retNoteMatchesFormula, BOOL* retNoteShouldBeDeleted, BOOL* retNoteModified)) \
  X(STATUS, NSFComputeStart, (WORD Flags, void* lpCompiledFormula, HCOMPUTE* rethCompute)) \
  X(STATUS, NSFComputeStop, (HCOMPUTE hCompute)) \
  X(STATUS, NSFDbAllocObject, (DBHANDLE hDB, DWORD dwSize, WORD Class, WORD Privileges, DWORD* retObjectID)) \
  X(STATUS, NSFDbClose, (DBHANDLE hDB)) \
  X(STATUS, NSFDbCreate, (const char* PathName, USHORT DbClass, BOOL ForceCreation)) \
  X(STATUS, NSFDbFreeObject, (DBHANDLE hDB, DWORD ObjectID)) \
  X(STATUS, NSFDbGetModifiedNoteTable, (DBHANDLE hDB, WORD NoteClassMask, TIMEDATE Since, TIMEDATE* retUntil, DHANDLE* rethTable)) \
  X(STATUS, NSFDbGetNoteInfo, (DBHANDLE hDb, NOTEID NoteID, ORIGINATORID* retNoteOID, TIMEDATE* retModified, WORD* retNoteClass)) \
  X(STATUS, NSFDbGetNoteInfoByUNID, (DBHANDLE hDB, UNIVERSALNOTEID* pUNID, NOTEID* retNoteID, ORIGINATORID* retOID, TIMEDATE* retModTime, WORD* retClass)) \
  X(STATUS, NSFDbGetObjectSize, (DBHANDLE hDB, DWORD ObjectID, WORD ObjectType, DWORD* retSize, WORD* retClass, WORD* retPrivileges)) \
  X(STATUS, NSFDbGetOptions, (DBHANDLE hDB, DWORD* retDbOptions)) \
  X(STATUS, NSFDbGetUnreadNoteTable, (DBHANDLE hDB, char* UserName, WORD UserNameLength, BOOL fCreateIfNotAvailable, DHANDLE* rethUnreadList)) \
  X(STATUS, NSFDbIDGet, (DBHANDLE hDB, TIMEDATE* retDbID)) \
  X(STATUS, NSFDbInfoGet, (DBHANDLE hDB, char* retBuffer)) \
  X(void, NSFDbInfoParse, (char* Info, WORD What, char* Buffer, WORD Length)) \
  X(STATUS, NSFDbInfoSet, (DBHANDLE hDB, char* Buffer)) \
  X(STATUS, NSFDbLocateByReplicaID, (DBHANDLE hDB, TIMEDATE* ReplicaID, char* retPathName, WORD PathMaxLen)) \
  X(STATUS, NSFDbModeGet, (DBHANDLE hDB, USHORT* retMode)) \
  X(STATUS, NSFDbModifiedTime, (DBHANDLE hDB, TIMEDATE* retDataModified, TIMEDATE* retNonDataModified)) \
  X(STATUS, NSFDbOpen, (const char* PathName, DBHANDLE* rethDB)) \
  X(STATUS, NSFDbOpenExtended, (const char* PathName, WORD Options, DHANDLE hNames, TIMEDATE* ModifiedTime, DBHANDLE* rethDB, TIMEDATE* retDataModified, TIMEDATE* retNonDataModified)) \
  X(STATUS, NSFDbPathGet, (DBHANDLE hDB, char* retCanonicalPathName, char* retExpandedPathName)) \
  X(STATUS, NSFDbQuotaGethDB, (DBHANDLE hDB, DBQUOTAINFOEXT* QuotaInfo)) \
  X(STATUS, NSFDbReadACL, (DBHANDLE hDB, DHANDLE* rethACL)) \
  X(STATUS, NSFDbReadObject, (DBHANDLE hDB, DWORD ObjectID, DWORD Offset, DWORD Length, DHANDLE* rethBuffer)) \
  X(STATUS, NSFDbReplicaInfoGet, (DBHANDLE hDB, DBREPLICAINFO* retReplicationInfo)) \
  X(STATUS, NSFDbReplicaInfoSet, (DBHANDLE hDB, DBREPLICAINFO* ReplicationInfo)) \
  X(STATUS, NSFDbSpaceUsage, (DBHANDLE hDB, DWORD* retAllocatedBytes, DWORD* retFreeByes)) \
  X(STATUS, NSFDbStoreACL, (DBHANDLE hDB, DHANDLE hACL, DWORD ObjectID, WORD Method)) \
  X(STATUS, NSFDbWriteObject, (DBHANDLE hDB, DWORD ObjectID, DHANDLE hBuffer, DWORD Offset, DWORD Length)) \
  X(STATUS, NSFFormulaCompile, (char* FormulaName, WORD FormulaNameLength, const char* FormulaText, WORD FormulaTextLength, FORMULAHANDLE* rethFormula, WORD* retFormulaLength, STATUS* retCompileError, WORD* retCompileErrorLine, WORD* retCompileErrorColumn, WORD* retCompileErrorOffset, WORD* retCompileErrorLength)) \
  X(BOOL, NSFGetSummaryValue, (const void* summary_buffer_ptr, const char* text_item_name, char* text_item_value, WORD max_buffer_len)) \
  X(STATUS, NSFItemAppend, (NOTEHANDLE note_handle, WORD item_flags, const char* item_name, WORD name_len, WORD item_type, const void* item_value, DWORD value_len)) \
  X(STATUS, NSFItemAppendObject, (NOTEHANDLE hNote, WORD ItemFlags, const char* Name, WORD NameLength, BLOCKID bhValue, DWORD ValueLength, BOOL fDealloc)) \
  X(STATUS, NSFItemDelete, (NOTEHANDLE note_handle, const char* item_name, WORD name_len)) \
  X(WORD, NSFItemGetText, (NOTEHANDLE note_handle, const char* item_name, char* item_text, WORD text_len)) \
  X(BOOL, NSFItemGetTime, (NOTEHANDLE note_handle, const char* td_item_name, TIMEDATE* td_item_value)) \
  X(STATUS, NSFItemInfo, (NOTEHANDLE note_handle, const char* item_name, WORD name_len, BLOCKID* item_blockid, WORD* value_datatype, BLOCKID* value_blockid, DWORD* value_len)) \
  X(STATUS, NSFItemScan, (NOTEHANDLE note_handle, NSFITEMSCANPROC ActionRoutine, void* func_param)) \
  X(STATUS, NSFItemSetText, (NOTEHANDLE hNote, const char* ItemName, const char* ItemText, WORD TextLength)) \
  X(BOOL, NSFLocateSummaryValue, (const void* summary_buffer_ptr, const char* item_name, void** item_value_ptr_ptr, WORD* item_len_ptr, WORD* item_type_ptr)) \
  X(STATUS, NSFMimePartAppendStream, (DHANDLE hCtx, char* pchData, WORD wDataLen)) \
  X(STATUS, NSFMimePartCloseStream, (DHANDLE hCtx, BOOL bUpdate)) \
  X(STATUS, NSFMimePartCreateStream, (NOTEHANDLE hNote, char* pchItemName, WORD wItemNameLen, WORD wPartType, DWORD dwFlags, DHANDLE* phCtx)) \
  X(STATUS, NSFNoteAttachFile, (NOTEHANDLE note_handle, const char* item_name, WORD item_name_length, const char* file_name, const char* orig_path_name, WORD encoding_type)) \
  X(STATUS, NSFNoteClose, (NOTEHANDLE note_handle)) \
  X(STATUS, NSFNoteCreate, (DBHANDLE db_handle, NOTEHANDLE* note_handle)) \
  X(STATUS, NSFNoteDelete, (DBHANDLE db_handle, NOTEID note_id, WORD update_flags)) \
  X(void, NSFNoteGetInfo, (NOTEHANDLE note_handle, WORD note_member, void* value_ptr)) \
  X(STATUS, NSFNoteHardDelete, (DBHANDLE hDB, NOTEID NoteID, DWORD Reserved)) \
  X(STATUS, NSFNoteOpen, (DBHANDLE db_handle, NOTEID note_id, WORD open_flags, NOTEHANDLE* note_handle)) \
  X(STATUS, NSFNoteOpenByUNID, (DBHANDLE hDB, UNIVERSALNOTEID* pUNID, WORD flags, NOTEHANDLE* rethNote)) \
  X(STATUS, NSFNoteOpenExt, (DBHANDLE hDB, NOTEID NoteID, DWORD flags, NOTEHANDLE* rethNote)) \
  X(void, NSFNoteSetInfo, (NOTEHANDLE note_handle, WORD note_member, void* value_ptr)) \
  X(STATUS, NSFNoteUpdate, (NOTEHANDLE note_handle, WORD update_flags)) \
  X(STATUS, NSFProfileEnum, (DBHANDLE hDB, const char* ProfileName, WORD ProfileNameLength, NSFPROFILEENUMPROC Callback, void* CallbackCtx, DWORD Flags)) \
  X(STATUS, NSFRemoteConsole, (char* ServerName, char* ConsoleCommand, DHANDLE* hResponseText)) \
  X(STATUS, NSFSearch, (DBHANDLE hDB, FORMULAHANDLE hFormula, char* ViewTitle, WORD SearchFlags, WORD NoteClassMask, TIMEDATE* Since, NSFSEARCHPROC EnumRoutine, void* EnumRoutineParameter, TIMEDATE* retUntil)) \
  X(STATUS, NSFTakeDatabaseOffline, (const char* dbPath, DWORD WaitTime, DWORD options)) \
  X(STATUS, NSFTranslateSpecial, (void* InputString, WORD InputStringLength, void* OutputString, WORD OutputStringBufferLength, NOTEID NoteID, void* IndexPosition, INDEXSPECIALINFO* IndexInfo, DHANDLE hUnreadList, DHANDLE hCollapsedList, char* FileTitle, char* ViewTitle, WORD* retLength)) \
  X(WORD, ODSLength, (WORD type)) \
  X(void, ODSReadMemory, (void* ppSrc, WORD type, void* pDest, WORD iterations)) \
  X(void, ODSWriteMemory, (void* ppDest, WORD type, const void* pSrc, WORD iterations)) \
  X(void, OSCurrentTIMEDATE, (TIMEDATE* retTimeDate)) \
  X(void, OSCurrentTimeZone, (int* retZone, int* retDST)) \
  X(long, OSGetEnvironmentLong, (const char* VariableName)) \
  X(BOOL, OSGetEnvironmentString, (const char* VariableName, char* retValueBuffer, WORD BufferLength)) \
  X(void, OSGetIntlSettings, (INTLFORMAT* retIntlFormat, WORD BufferSize)) \
  X(WORD, OSLoadString, (HMODULE hModule, STATUS StringCode, char* retBuffer, WORD BufferLength)) \
  X(void*, OSLockObject, (DHANDLE Handle)) \
  X(STATUS, OSMemAlloc, (WORD BlkType, DWORD dwSize, DHANDLE* retHandle)) \
  X(STATUS, OSMemFree, (DHANDLE Handle)) \
  X(STATUS, OSMemGetSize, (DHANDLE Handle, DWORD* retSize)) \
  X(STATUS, OSPathNetConstruct, (const char* PortName, const char* ServerName, const char* FileName, char* retPathName)) \
  X(WORD, OSTranslate, (WORD TranslateMode, const char* In, WORD InLength, char* Out, WORD OutLength)) \
  X(BOOL, OSUnlockObject, (DHANDLE Handle)) \
  X(void, TimeConstant, (WORD TimeConstantType, TIMEDATE* tdptr)) \
  X(int, TimeDateCompare, (const TIMEDATE* t1, const TIMEDATE* t2)) \
  X(LONG, TimeDateDifference, (const TIMEDATE* t1, const TIMEDATE* t2)) \
  X(DWORD, TimeExtractJulianDate, (const TIMEDATE* Time)) \
  X(BOOL, TimeLocalToGM, (TIME* Time))
// clang-format on

extern "C" {
#define KOLN_DECLARE_POINTER(result, name, parameters) \
  extern KOLN_API result(*KO_##name) parameters;
KOLN_NOTES_FUNCTIONS(KOLN_DECLARE_POINTER)
#undef KOLN_DECLARE_POINTER
}

#endif
