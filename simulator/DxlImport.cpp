// See DxlImport.h.
#include "DxlImport.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <utility>

#include "Databases.h"
#include "DxlNames.h"
#include "DxlText.h"
#include "Export.h"
#include "Notes.h"
#include "Status.h"
#include "Text.h"

namespace simulator {
namespace {

// Large, since the way to a place in an object takes the longer the farther it is.
constexpr std::size_t ObjectPiece = std::size_t{3} * 1024 * 1024;

DWORD randomWord() {
  static thread_local std::random_device device;
  return device();
}

class Import {
 public:
  Import(const StoreLease& store, const DxlImportOptions& options)
      : store_(store), options_(options), properties_(store->properties()) {}

  void take(const DxlNote& note) {
    const ORIGINATORID& id = note.header.originator;
    const UNIVERSALNOTEID unid{id.File, id.Note};
    std::optional<NoteHeader> existing = store_->note(unid);
    const bool there = existing && !existing->deleted;
    switch (optionFor(note.header.noteClass)) {
      case DXLIMPORTOPTION_CREATE:
        return create(note, existing);
      case DXLIMPORTOPTION_IGNORE_ELSE_CREATE:
        return there ? void() : create(note, existing);
      case DXLIMPORTOPTION_REPLACE_ELSE_IGNORE:
        return there ? revise(note, *existing, {}) : void();
      case DXLIMPORTOPTION_REPLACE_ELSE_CREATE:
        return there ? revise(note, *existing, {}) : create(note, existing);
      case DXLIMPORTOPTION_UPDATE_ELSE_IGNORE:
        return there ? revise(note, *existing, otherItems(note, *existing)) : void();
      case DXLIMPORTOPTION_UPDATE_ELSE_CREATE:
        return there ? revise(note, *existing, otherItems(note, *existing))
                     : create(note, existing);
      default:  // DXLIMPORTOPTION_IGNORE
        return;
    }
  }

  // A parent may stand behind its responses, so this waits until all notes are there. What responds
  // to a note that the database does not know responds to none.
  void finish() {
    for (auto& [response, unid] : responses_) {
      const std::optional<NoteHeader> parent = store_->note(unid);
      if (!parent) continue;
      response.parent = parent->id;
      store_->writeHeader(response);
    }
  }

 private:
  WORD optionFor(WORD noteClass) const {
    if ((noteClass & NOTE_CLASS_DOCUMENT) != 0) return options_.documents;
    return (noteClass & NOTE_CLASS_ACL) != 0 ? options_.accessControl : options_.design;
  }

  void create(const DxlNote& note, const std::optional<NoteHeader>& existing) {
    NoteHeader header = note.header;
    ORIGINATORID& id = header.originator;
    const bool unsaved = timeDigits(id.File) + timeDigits(id.Note) == std::string(32, '0');
    if (existing && existing->deleted) {
      header.id = existing->id;
      // Or replicas would take the deletion for the newer of the two.
      if (id.Sequence <= existing->originator.Sequence) {
        id.Sequence = existing->originator.Sequence + 1;
        id.SequenceTime = nextUpdateTime();
      }
    } else if (existing || unsaved) {
      id.File = {{randomWord(), randomWord()}};
    }
    // These tell of the file, not of the note: who asks for what is new in it, as a backup does,
    // must be told of an old note that is back.
    header.modified = header.addedToFile = nextUpdateTime();
    write(note, header, {});
  }

  // The items of the note that was there whose names the DXL does not have.
  std::vector<NoteItem> otherItems(const DxlNote& note, const NoteHeader& existing) {
    std::vector<NoteItem> items = store_->items(existing.id);
    std::erase_if(items, [&note](const NoteItem& old) {
      return std::any_of(note.items.begin(), note.items.end(),
                         [&old](const NoteItem& item) { return sameName(item.name, old.name); });
    });
    return items;
  }

  void revise(const DxlNote& note, const NoteHeader& existing, std::vector<NoteItem> kept) {
    if (options_.replicaRequired &&
        (!note.replica || timeDigits(*note.replica) != timeDigits(properties_.replica.ID)))
      throw StatusError(DxlNotAReplica, "not from a replica of the database");
    NoteHeader header = note.header;
    header.id = existing.id;
    header.originator.Sequence =
        std::max(header.originator.Sequence, existing.originator.Sequence) + 1;
    header.originator.SequenceTime = header.modified = nextUpdateTime();
    header.addedToFile = existing.addedToFile;
    std::set<DWORD> dropped = objectsOf(store_->items(existing.id));
    for (const DWORD object : objectsOf(kept)) dropped.erase(object);
    removeObjects(store_, dropped);
    write(note, header, std::move(kept));
  }

  // The items of the note come behind those that are kept.
  void write(const DxlNote& note, NoteHeader header, std::vector<NoteItem> items) {
    const std::size_t kept = items.size();
    items.insert(items.end(), note.items.begin(), note.items.end());
    for (const DxlObject& object : note.objects) {
      const DWORD id = store_->addObject(object.header);
      std::memcpy(items[kept + object.item].value.data() + sizeof(WORD), &id, sizeof id);
      Base64Reader content(object.content);
      for (DWORD offset = 0; offset < object.header.size;) {
        const std::vector<BYTE> piece = content.next(ObjectPiece);
        store_->writeObject(id, offset, piece);
        offset += static_cast<DWORD>(piece.size());
      }
    }
    store_->writeNote(header, items);
    if (note.parent) responses_.emplace_back(header, *note.parent);
  }

  const StoreLease& store_;
  const DxlImportOptions options_;
  const DatabaseProperties properties_;
  std::vector<std::pair<NoteHeader, UNIVERSALNOTEID>> responses_;
};

}  // namespace

void importNotes(DBHANDLE database, const DxlFile& file, const DxlImportOptions& options) {
  const StoreLease store = requireStore(database);
  Transaction batch = store->batch();
  Import import(store, options);
  for (const DxlNote& note : file.notes()) import.take(note);
  import.finish();
  batch.commit();
}

}  // namespace simulator
