// DXL exporters and importers: handles with properties, and the exchange with the host's routines.
// A property is accepted with the values that this runtime carries out; another value, though
// known, is answered with ERR_DXL_INVALID_PROPERTY_VALUE, so that no host believes that it has an
// effect. A handle is used by one thread at a time.
#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <string>

#include "Databases.h"
#include "DxlImport.h"
#include "DxlText.h"
#include "DxlWriter.h"
#include "Export.h"
#include "HandleCounters.h"
#include "Handles.h"
#include "Notes.h"
#include "Panic.h"
#include "Status.h"

namespace simulator {
namespace {

// The whole file is held while it is imported. Larger ones are refused.
constexpr std::size_t LargestDxl = std::size_t{1} << 30;

HandleTable<DxlExportOptions>& exporters() {
  static HandleTable<DxlExportOptions> table(HandleKind::Exporter);
  return table;
}

HandleTable<DxlImportOptions>& importers() {
  static HandleTable<DxlImportOptions> table(HandleKind::Importer);
  return table;
}

const bool exportersCounted = registerHandleCounter("exporters", [] { return exporters().size(); });
const bool importersCounted = registerHandleCounter("importers", [] { return importers().size(); });

[[noreturn]] void panicAt(DHANDLE handle, const char* function) {
  panic(function, "DXL handle " + std::to_string(handle) + " was never given or is deleted");
}

template <typename Options>
std::shared_ptr<Options> require(HandleTable<Options>& table, DHANDLE handle,
                                 const char* function) {
  if (handle == NULLHANDLE) throw StatusError(ERR_OS_NULL_HANDLE, "DXL handle is 0");
  std::shared_ptr<Options> options = table.find(handle);
  if (!options) panicAt(handle, function);
  return options;
}

template <typename Options>
STATUS create(HandleTable<Options>& table, DHANDLE* handle) {
  if (!handle) return ERR_BAD_PARAM;
  *handle = NULLHANDLE;
  return statusOf([&] {
    *handle = table.add(std::make_shared<Options>());
    if (*handle == NULLHANDLE) throw std::bad_alloc();
  });
}

template <typename Options>
void destroy(HandleTable<Options>& table, DHANDLE handle, const char* function) {
  if (handle != NULLHANDLE && !table.remove(handle)) panicAt(handle, function);
}

// ---- properties ---------------------------------------------------------------------------------

[[noreturn]] void badValue() {
  throw StatusError(ERR_DXL_INVALID_PROPERTY_VALUE, "value of a DXL property");
}

[[noreturn]] void unknownProperty() {
  throw StatusError(ERR_DXL_INVALID_PROPERTY, "no DXL property");
}

// Hosts may pass what is no enumerator, which C++ lets nobody read as one.
template <typename Property>
DWORD propertyNumber(const Property& property) {
  DWORD number = 0;
  static_assert(sizeof property == sizeof number);
  std::memcpy(&number, &property, sizeof number);
  return number;
}

WORD wordIn(const void* value, std::initializer_list<int> allowed) {
  if (!value) badValue();
  WORD word = 0;
  std::memcpy(&word, value, sizeof word);
  if (std::find(allowed.begin(), allowed.end(), word) == allowed.end()) badValue();
  return word;
}

bool switchIn(const void* value) {
  if (!value) badValue();
  BOOL number = FALSE;
  std::memcpy(&number, value, sizeof number);
  return number != FALSE;
}

void requireSwitch(const void* value, bool wanted) {
  if (switchIn(value) != wanted) badValue();
}

void requireNothing(const void* value) {
  if (value) badValue();
}

WORD importOptionIn(const void* value) {
  return wordIn(value,
                {DXLIMPORTOPTION_IGNORE, DXLIMPORTOPTION_CREATE, DXLIMPORTOPTION_IGNORE_ELSE_CREATE,
                 DXLIMPORTOPTION_REPLACE_ELSE_IGNORE, DXLIMPORTOPTION_REPLACE_ELSE_CREATE,
                 DXLIMPORTOPTION_UPDATE_ELSE_IGNORE, DXLIMPORTOPTION_UPDATE_ELSE_CREATE});
}

// The name of the document type's file; null for none.
std::optional<std::string> systemIn(const void* value) {
  if (!value) return std::nullopt;
  auto name = readableText(static_cast<const char*>(value));
  // It stands between apostrophes, where XML knows no references.
  if (!name || name->find('\'') != std::string::npos) badValue();
  return name;
}

void setProperty(DxlExportOptions& options, DWORD property, const void* value) {
  switch (property) {
    case eDxlExportResultLog:
    case eDefaultDoctypeSYSTEM:
    case eDxlDefaultSchemaLocation:  // for reading only
      badValue();
    case eDoctypeSYSTEM:
      options.doctypeSystem = systemIn(value);
      return;
    case eDXLBannerComments:
    case eDxlSchemaLocation:
    case eAttachmentOmittedText:
    case eOLEObjectOmittedText:
    case ePictureOmittedText:
    case eOmitItemNames:
    case eRestrictToItemNames:  // everything is exported, without comments and schema
      return requireNothing(value);
    case eDxlExportCharset:  // UTF-8
      wordIn(value, {0});
      return;
    case eDxlRichtextOption:
    case eDxlMimeOption:  // as item data
      wordIn(value, {1});
      return;
    case eDxlExportResultLogComment:  // of a log that nobody can read
      return;
    case eDxlValidationStyle:  // none or by DTD: no matter as long as nothing is validated
      wordIn(value, {0, 1});
      return;
    case eForceNoteFormat:
      options.forceNote = switchIn(value);
      return;
    case eExitOnFirstFatalError:
      return requireSwitch(value, true);
    case eOutputRootAttrs:
      options.rootAttributes = switchIn(value);
      return;
    case eOutputXmlDecl:
      options.xmlDeclaration = switchIn(value);
      return;
    case eOutputDOCTYPE:
      options.doctype = switchIn(value);
      return;
    case eConvertNotesbitmapsToGIF:
    case eOmitRichtextAttachments:
    case eOmitOLEObjects:
    case eOmitMiscFileObjects:
    case eOmitPictures:
    case eUncompressAttachments:
      return requireSwitch(value, false);
    default:
      unknownProperty();
  }
}

void setProperty(DxlImportOptions& options, DWORD property, const void* value) {
  switch (property) {
    case iACLImportOption:
      options.accessControl = importOptionIn(value);
      return;
    case iDesignImportOption:
      options.design = importOptionIn(value);
      return;
    case iDocumentsImportOption:
      options.documents = importOptionIn(value);
      return;
    case iCreateFullTextIndex:
      return requireSwitch(value, false);
    case iReplaceDbProperties:  // DXL of notes has none
      switchIn(value);
      return;
    case iInputValidationOption:  // never, or if there is something to validate with
      wordIn(value, {0, 2});
      return;
    case iReplicaRequiredForReplaceOrUpdate:
      options.replicaRequired = switchIn(value);
      return;
    case iExitOnFirstFatalError:
      return requireSwitch(value, true);
    case iUnknownTokenLogOption:  // fatal
      wordIn(value, {4});
      return;
    case iResultLogComment:  // of a log that nobody can read
      return;
    case iResultLog:
    case iImportedNoteList:  // for reading only
      badValue();
    default:
      unknownProperty();
  }
}

}  // namespace
}  // namespace simulator

using namespace simulator;

SIM_EXPORT STATUS DXLCreateExporter(DXLEXPORTHANDLE* prethDXLExport) {
  return create(exporters(), prethDXLExport);
}

SIM_EXPORT void DXLDeleteExporter(DXLEXPORTHANDLE hDXLExport) {
  destroy(exporters(), hDXLExport, "DXLDeleteExporter");
}

SIM_EXPORT STATUS DXLSetExporterProperty(DXLEXPORTHANDLE hDXLExport, DXL_EXPORT_PROPERTY prop,
                                         void* propValue) {
  return statusOf([&] {
    setProperty(*require(exporters(), hDXLExport, "DXLSetExporterProperty"), propertyNumber(prop),
                propValue);
  });
}

SIM_EXPORT STATUS DXLCreateImporter(DXLIMPORTHANDLE* prethDXLImport) {
  return create(importers(), prethDXLImport);
}

SIM_EXPORT void DXLDeleteImporter(DXLIMPORTHANDLE hDXLImport) {
  destroy(importers(), hDXLImport, "DXLDeleteImporter");
}

SIM_EXPORT STATUS DXLSetImporterProperty(DXLIMPORTHANDLE hDXLImport, DXL_IMPORT_PROPERTY prop,
                                         void* propValue) {
  return statusOf([&] {
    setProperty(*require(importers(), hDXLImport, "DXLSetImporterProperty"), propertyNumber(prop),
                propValue);
  });
}

// No lock is held and nothing is caught while the host's routines run: their exceptions are their
// own.
SIM_EXPORT STATUS DXLExportNote(DXLEXPORTHANDLE hDXLExport, XML_WRITE_FUNCTION pDXLWriteFunc,
                                NOTEHANDLE hNote, void* pExAction) {
  std::optional<DxlWriter> writer;
  STATUS status = statusOf([&] {
    const auto options = require(exporters(), hDXLExport, "DXLExportNote");
    if (!pDXLWriteFunc) throw StatusError(ERR_BAD_PARAM, "no routine");
    if (requireNote(hNote, "DXLExportNote")->partial)
      throw StatusError(PartialNote, "opened with its summary items only");
    writer.emplace(contentOf(hNote, "DXLExportNote"), *options);
  });
  while (status == NOERROR) {
    std::string block;
    status = statusOf([&] { block = writer->next(); });
    if (status != NOERROR || block.empty()) break;
    pDXLWriteFunc(reinterpret_cast<const BYTE*>(block.data()), static_cast<DWORD>(block.size()),
                  pExAction);
  }
  return status;
}

SIM_EXPORT STATUS DXLImport(DXLIMPORTHANDLE hDXLImport, XML_READ_FUNCTION pDXLReaderFunc,
                            DBHANDLE hDB, void* pImAction) {
  std::shared_ptr<const DxlImportOptions> options;
  STATUS status = statusOf([&] {
    options = require(importers(), hDXLImport, "DXLImport");
    if (!pDXLReaderFunc) throw StatusError(ERR_BAD_PARAM, "no routine");
    requireStore(hDB);
  });
  std::string xml;
  std::array<BYTE, DxlBlockSize> block;
  while (status == NOERROR) {
    const DWORD size = pDXLReaderFunc(block.data(), DxlBlockSize, pImAction);
    if (size == 0) break;
    status = statusOf([&] {
      if (size > DxlBlockSize) unreadableDxl("the routine gave more than there was room for");
      if (size > LargestDxl - xml.size()) unreadableDxl("too large");
      xml.append(reinterpret_cast<const char*>(block.data()), size);
    });
  }
  if (status != NOERROR) return status;
  return statusOf([&] { importNotes(hDB, DxlFile(std::move(xml)), *options); });
}
