// DXL as notes, before anything is decided about what becomes of them. DxlWriter.h shows the form.
#ifndef KOLN_SIMULATOR_DXL_READER_H
#define KOLN_SIMULATOR_DXL_READER_H

#include <cstddef>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "NotesApi.h"
#include "Store.h"

namespace simulator {

struct DxlObject {
  std::size_t item = 0;      // whose value refers to the object
  ObjectHeader header;       // with the size that the content has
  std::string_view content;  // base64
};

struct DxlNote {
  NoteHeader header;  // without numbers that have a meaning in one database alone
  std::optional<UNIVERSALNOTEID> parent;
  std::optional<DBID> replica;
  std::vector<NoteItem> items;  // those with objects have 0 for the object's number
  std::vector<DxlObject> objects;
};

class DxlFile {
 public:
  // One <document> or <note>, or any root with some of them inside and nothing else. StatusError
  // DxlUnreadable for everything that DxlWriter would not have written and that is not XML's own
  // freedom (white space, comments, CDATA, quotes, order of attributes).
  explicit DxlFile(std::string xml);
  DxlFile(const DxlFile&) = delete;
  DxlFile& operator=(const DxlFile&) = delete;

  // The contents of objects are parts of the file.
  const std::vector<DxlNote>& notes() const { return notes_; }

 private:
  std::string xml_;
  pugi::xml_document document_;  // points into the text
  std::vector<DxlNote> notes_;
};

}  // namespace simulator

#endif
