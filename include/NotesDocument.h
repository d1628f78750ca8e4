/// @file NotesDocument.h
/// The records about notes and their attachments that travel between library and host.
#ifndef KOLN_NOTES_DOCUMENT_H
#define KOLN_NOTES_DOCUMENT_H

#include <string>
#include <vector>

#include "NotesApi.h"

/// One file attached to a note.
struct KOLN_API ATTACHMENT {
  TIMEDATE created;   ///< When the file was created, as the note records it.
  TIMEDATE modified;  ///< When the file was last modified.
  DWORD size;         ///< Bytes of the file.
  std::string name;   ///< File name.
  DWORD extra;        ///< 0; the library does not fill it, equality compares it.

  /// Everything zero and empty.
  ATTACHMENT();
  ATTACHMENT(const ATTACHMENT& other);
  ATTACHMENT& operator=(const ATTACHMENT& other);

  /// Whether all five fields are equal; the times are compared by Notes (`KO_TimeDateCompare`).
  /// False when that cannot be asked.
  bool operator==(const ATTACHMENT& other) const;
};

/// The facts about a note on which a host decides whether to archive it.
struct KOLN_API DbMigrateCriteria {
  TIMEDATE CreationTime;
  TIMEDATE ModifiedTime;
  TIMEDATE LastAccessedTime;
  int MessageBodySize;    ///< Bytes; the library does not fill it.
  int AttachmentSize;     ///< Sum of the attachments' sizes in bytes.
  int AttachmentNumbers;  ///< How many attachments.
  std::vector<ATTACHMENT> Attachments;

  /// Everything zero and empty.
  DbMigrateCriteria();
  DbMigrateCriteria(const DbMigrateCriteria& other);

  /// Copies every field. Assigning an object to itself changes nothing.
  DbMigrateCriteria& operator=(const DbMigrateCriteria& other);

  /// Whether the three times and the three numbers are equal; the list of attachments does not
  /// count. The times are compared by Notes (`KO_TimeDateCompare`); false when that cannot be
  /// asked.
  bool operator==(const DbMigrateCriteria& other) const;

  /// Logs creation and modification time and the three numbers, one line each, at level 0.
  void dumpMigrationCriteria();
};

#endif
