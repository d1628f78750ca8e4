// The words of DXL for what the API has numbers for, as the writing and the reading side share
// them.
#ifndef KOLN_SIMULATOR_DXL_NAMES_H
#define KOLN_SIMULATOR_DXL_NAMES_H

#include <array>
#include <cstdint>

#include "NotesApi.h"

namespace simulator {

struct DxlName {
  WORD number;
  const char* name;
};

// Attributes of an item that are "true". Flags without a name are in "otherflags".
inline constexpr std::array<DxlName, 8> DxlItemFlags = {{{ITEM_SUMMARY, "summary"},
                                                         {ITEM_SIGN, "sign"},
                                                         {ITEM_SEAL, "seal"},
                                                         {ITEM_PROTECTED, "protected"},
                                                         {ITEM_READERS, "readers"},
                                                         {ITEM_READWRITERS, "authors"},
                                                         {ITEM_NAMES, "names"},
                                                         {ITEM_PLACEHOLDER, "placeholder"}}};

// Other combinations of class bits are written as a hexadecimal number.
inline constexpr std::array<DxlName, 12> DxlNoteClasses = {
    {{NOTE_CLASS_DOCUMENT, "document"},
     {NOTE_CLASS_INFO, "info"},
     {NOTE_CLASS_FORM, "form"},
     {NOTE_CLASS_VIEW, "view"},
     {NOTE_CLASS_ICON, "icon"},
     {NOTE_CLASS_DESIGN, "design"},
     {NOTE_CLASS_ACL, "acl"},
     {NOTE_CLASS_HELP_INDEX, "helpindex"},
     {NOTE_CLASS_HELP, "help"},
     {NOTE_CLASS_FILTER, "filter"},
     {NOTE_CLASS_FIELD, "field"},
     {NOTE_CLASS_REPLFORMULA, "replformula"}}};

// The types that items have.
constexpr bool isDxlItemType(std::uint64_t type) {
  switch (type >> 8) {
    case 0:
      return type <= TYPE_MIME_PART;
    case TYPE_NUMBER >> 8:
    case TYPE_TIME >> 8:
      return (type & 0xFF) <= 1;
    case TYPE_TEXT >> 8:
      return (type & 0xFF) <= 2;
    case TYPE_ERROR >> 8:
    case TYPE_UNAVAILABLE >> 8:
    case TYPE_FORMULA >> 8:
    case TYPE_USERID >> 8:
      return (type & 0xFF) == 0;
    default:
      return false;
  }
}

// What the value of an item of TYPE_OBJECT begins with: type and number of the object. Behind them
// the descriptor of an attached file has these fields, and then its name.
inline constexpr std::size_t DxlObjectStart = sizeof(WORD) + sizeof(DWORD);
#pragma pack(push, 1)
struct DxlFileFields {
  WORD nameLength;
  WORD hostType;
  WORD compression;
  WORD attributes;
  WORD flags;
  DWORD size;
  TIMEDATE created;
  TIMEDATE modified;
};
#pragma pack(pop)
static_assert(DxlObjectStart + sizeof(DxlFileFields) == 36);

}  // namespace simulator

#endif
