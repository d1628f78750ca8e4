// Conversion between the packed little-endian form of structures on disk and the aligned one in
// memory. The hosts that this runtime is for are little-endian too, so that the two forms differ
// only in padding: a structure is the list of its stretches without any.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>

#include "Environment.h"
#include "Export.h"
#include "Panic.h"

namespace simulator {
namespace {

// Bytes of the host form that stand together on disk as well.
struct Stretch {
  std::size_t begin;
  std::size_t end;
};

struct Layout {
  WORD type;
  std::size_t hostSize;
  std::array<Stretch, 3> stretches;  // Those not needed are empty.

  constexpr std::size_t canonicalSize() const {
    std::size_t size = 0;
    for (const Stretch& stretch : stretches) size += stretch.end - stretch.begin;
    return size;
  }
};

template <typename Structure>
constexpr Layout unpadded(WORD type) {
  return {type, sizeof(Structure), {{{0, sizeof(Structure)}}}};
}

// The stretch from one field to another, both included.
#define KOLN_STRETCH(structure, first, last) \
  { offsetof(structure, first), offsetof(structure, last) + sizeof(structure::last) }

constexpr std::array layouts = {
    unpadded<WORD>(ODS_WORD),
    unpadded<DWORD>(ODS_DWORD),
    unpadded<NUMBER>(ODS_NUMBER),
    unpadded<TIMEDATE>(ODS_TIMEDATE),
    unpadded<TIMEDATE_PAIR>(ODS_TIMEDATE_PAIR),
    unpadded<NUMBER_PAIR>(ODS_NUMBER_PAIR),
    unpadded<LIST>(ODS_LIST),
    unpadded<RANGE>(ODS_RANGE),
    unpadded<DBID>(ODS_DBID),
    unpadded<ITEM>(ODS_ITEM),
    unpadded<ITEM_TABLE>(ODS_ITEM_TABLE),
    Layout{
        ODS_SEARCH_MATCH, sizeof(SEARCH_MATCH), {{KOLN_STRETCH(SEARCH_MATCH, ID, SummaryLength)}}},
    unpadded<ORIGINATORID>(ODS_ORIGINATORID),
    Layout{ODS_OBJECT_DESCRIPTOR,
           sizeof(OBJECT_DESCRIPTOR),
           {{KOLN_STRETCH(OBJECT_DESCRIPTOR, ObjectType, ObjectType),
             KOLN_STRETCH(OBJECT_DESCRIPTOR, RRV, RRV)}}},
    // Folder items hold whole originator IDs under this number.
    unpadded<ORIGINATORID>(ODS_UNIVERSALNOTEID),
    unpadded<VIEW_TABLE_FORMAT>(ODS_VIEW_TABLE_FORMAT),
    Layout{ODS_VIEW_COLUMN_FORMAT,
           sizeof(VIEW_COLUMN_FORMAT),
           {{KOLN_STRETCH(VIEW_COLUMN_FORMAT, Signature, DisplayWidth),
             KOLN_STRETCH(VIEW_COLUMN_FORMAT, FontID, ListSep)}}},
    unpadded<VIEW_FORMAT_HEADER>(ODS_VIEW_FORMAT_HEADER),
    unpadded<DBREPLICAINFO>(ODS_DBREPLICAINFO),
    Layout{ODS_FILEOBJECT,
           sizeof(FILEOBJECT),
           {{KOLN_STRETCH(FILEOBJECT, Header.ObjectType, Header.ObjectType),
             KOLN_STRETCH(FILEOBJECT, Header.RRV, Flags),
             KOLN_STRETCH(FILEOBJECT, FileSize, FileModified)}}},
    unpadded<CDTEXT>(ODS_CDTEXT),
    Layout{ODS_CDHOTSPOTBEGIN,
           sizeof(CDHOTSPOTBEGIN),
           {{KOLN_STRETCH(CDHOTSPOTBEGIN, Header, Type),
             KOLN_STRETCH(CDHOTSPOTBEGIN, Flags, DataLength)}}},
    unpadded<CDHOTSPOTEND>(ODS_CDHOTSPOTEND),
    unpadded<CDBUTTON>(ODS_CDBUTTON),
    Layout{ODS_MIME_PART,
           sizeof(MIME_PART),
           {{KOLN_STRETCH(MIME_PART, wVersion, wVersion), KOLN_STRETCH(MIME_PART, dwFlags, wSpare),
             KOLN_STRETCH(MIME_PART, dwSpare, dwSpare)}}},
};

#undef KOLN_STRETCH

constexpr Layout shortOriginatorId = unpadded<UNIVERSALNOTEID>(ODS_UNIVERSALNOTEID);

const Layout& layoutOf(WORD type, const char* function) {
  if (type == ODS_UNIVERSALNOTEID && iniVariable("SimShortOriginatorId") == "1") {
    return shortOriginatorId;
  }
  const auto* const found = std::find_if(
      layouts.begin(), layouts.end(), [type](const Layout& layout) { return layout.type == type; });
  if (found == layouts.end()) panic(function, "no on-disk type " + std::to_string(type));
  return *found;
}

}  // namespace
}  // namespace simulator

SIM_EXPORT WORD ODSLength(WORD type) {
  return static_cast<WORD>(simulator::layoutOf(type, "ODSLength").canonicalSize());
}

SIM_EXPORT void ODSReadMemory(void* ppSrc, WORD type, void* pDest, WORD iterations) {
  const simulator::Layout& layout = simulator::layoutOf(type, "ODSReadMemory");
  const BYTE*& source = *static_cast<const BYTE**>(ppSrc);
  BYTE* host = static_cast<BYTE*>(pDest);
  for (WORD i = 0; i < iterations; ++i, host += layout.hostSize) {
    for (const simulator::Stretch& stretch : layout.stretches) {
      const std::size_t size = stretch.end - stretch.begin;
      std::memcpy(host + stretch.begin, source, size);
      source += size;
    }
  }
}

SIM_EXPORT void ODSWriteMemory(void* ppDest, WORD type, const void* pSrc, WORD iterations) {
  const simulator::Layout& layout = simulator::layoutOf(type, "ODSWriteMemory");
  BYTE*& destination = *static_cast<BYTE**>(ppDest);
  const BYTE* host = static_cast<const BYTE*>(pSrc);
  for (WORD i = 0; i < iterations; ++i, host += layout.hostSize) {
    for (const simulator::Stretch& stretch : layout.stretches) {
      const std::size_t size = stretch.end - stretch.begin;
      std::memcpy(destination, host + stretch.begin, size);
      destination += size;
    }
  }
}
