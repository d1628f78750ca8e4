// A note as DXL. Attached files and other objects are read while the text is taken, in small
// pieces, so that a note with large ones needs no more memory than one without.
//
//   <document version='1.0' replicaid='85257A1B0012F3C4'>
//     <noteinfo noteid='8F6' unid='...' sequence='2'>
//       <created><datetime>20240229T134530,25Z</datetime></created> ...
//     </noteinfo>
//     <item name='Subject' summary='true'><text>Lunch</text></item>
//     <item name='Body'><rawitemdata type='1'>...</rawitemdata></item>
//   </document>
//
// Texts, numbers, times and lists of them are readable; where such a form would not bring the same
// bytes back, and for all other types, the value is in base64 (type and numbers of other elements
// in hexadecimal digits).
#ifndef KOLN_SIMULATOR_DXL_WRITER_H
#define KOLN_SIMULATOR_DXL_WRITER_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Notes.h"
#include "NotesApi.h"

namespace simulator {

inline constexpr std::size_t DxlBlockSize = std::size_t{32} * 1024;

struct DxlExportOptions {
  bool xmlDeclaration = true;
  bool doctype = true;
  std::optional<std::string> doctypeSystem = "dxl.dtd";  // UTF-8
  // Attributes of the root that tell where the note is from. Those that make the note what it is
  // are always there.
  bool rootAttributes = true;
  bool forceNote = false;  // documents as <note> too
};

class DxlWriter {
 public:
  // StatusError ERR_INVALID_NOTE if the note refers to an object that the database does not have,
  // ERR_INVALID_ITEMUNK for an item of a type that does not exist.
  DxlWriter(NoteContent note, const DxlExportOptions& options);

  // The next bytes of the text, DxlBlockSize at most; none at the end. StatusError if an object can
  // no longer be read.
  std::string next();

 private:
  // A text, and behind it an object in base64, which takes the place of the text piece by piece.
  struct Part {
    std::string text;
    DWORD object = 0;
    DWORD size = 0;
    DWORD objectRead = 0;
  };

  void text(std::string_view more) { parts_.back().text += more; }
  void writeItem(const NoteItem& item);
  void writeValue(const NoteItem& item);
  void writeObject(const NoteItem& item, DWORD object);

  NoteContent note_;
  std::vector<Part> parts_{1};
  // Where next() goes on, the bytes of the part's text that were taken:
  std::size_t part_ = 0;
  std::size_t taken_ = 0;
};

}  // namespace simulator

#endif
