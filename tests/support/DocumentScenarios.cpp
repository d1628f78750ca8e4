// What the sweeps do with notes: read them, turn them into stubs, make them, move them.
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "koln.h"
#include "support/Sweep.h"

namespace sweep {
namespace {

STATUS countItem(WORD, WORD, char*, WORD, void*, DWORD, void* count) {
  ++*static_cast<int*>(count);
  return NOERROR;
}

void readNote(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  KoLNUtilities utilities;
  if (!bench.done(db.Open())) return;
  bench.done(utilities.InitializeFormulaComputation());
  KoLNDataDocument note(db.GetHandle(), bench.note);
  if (bench.done(note.Open(0))) {
    TIMEDATE time = {};
    auto age = marked<unsigned long>();
    auto size = marked<unsigned int>();
    std::string text = "unchanged";
    DbMigrateCriteria facts;
    std::vector<std::string> extensions;
    bool flag = false;
    int count = 0;
    bench.done(note.GetSentRecievedTime(time));
    bench.keeps([&] { return note.GetAgeInSeconds(age, 0); }, age);
    bench.keeps([&] { return note.GetSize(size, utilities.GetSizeFormulaHandle()); }, size);
    bench.keeps([&] { return note.GetSubject(text); }, text);
    bench.holds(note.GetItem("Form", text) != 0, "no form");
    bench.done(note.GetMigrationDetails(facts));
    bench.holds(facts.AttachmentNumbers == 1, "attachments");
    bench.done(note.GetAttachmentInfoList(extensions));
    bench.done(note.HasItem("Body", flag));
    bench.holds(flag, "no body");
    bench.done(note.ScanItems(countItem, &count));
    bench.done(note.Close());
  }
  if (utilities.GetSizeFormulaHandle() != nullptr)
    bench.done(utilities.ShutdownFormulaComputation());
}

enum class Link { Url, Button, Mime };

template <Link link>
void makeStub(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  KoLNDataDocument note(db.GetHandle(), bench.note);
  if (!bench.done(note.OpenExt(0))) return;
  bool removed = false;
  char part[] = "Content-Type: text/plain\r\n\r\narchived\r\n";
  bench.done(note.RemoveAttachments(removed));
  bench.holds(removed, "attachments stay");
  bench.done(note.RemoveMessageBody());
  bench.done(note.RemoveSealedFields());
  bench.done(link == Link::Url      ? note.InsertURL("https://example.org/a?b=\"c\"")
             : link == Link::Button ? note.InsertButton("https://example.org/a?b=\"c\"")
                                    : note.InsertLink(part));
  bench.done(note.SetItemText("StubData", "yes"));
  bench.done(note.Close());  // Without an update: the next run begins with the same note.
}

void createNote(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  KoLNDataDocument note(db.GetHandle(), 0);
  if (!bench.done(note.Create())) return;
  char name[] = "Value";
  NUMBER number = 4711;
  NOTEID id = 0;
  const std::string file = bench.instance.GetDataDirectory() + "/../../attached.bin";
  bench.done(note.SetAttachment("$FILE", file, "attached.bin", 0));
  bench.done(note.AppendItem(ITEM_SUMMARY, name, 5, TYPE_NUMBER, &number, sizeof number));
  if (!bench.done(note.Update(0)) ||
      !bench.keeps([&] { return note.GetInfo(_NOTE_ID, &id); }, id)) {
    return;
  }
  bench.done(note.Close());
  KoLNDocument stored(db.GetHandle(), id);
  bench.done(stored.HardDelete());
}

void moveAsDxl(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  KoLNUtilities utilities;
  if (!bench.done(db.Open())) return;
  KoLNDocument note(db.GetHandle(), bench.note);
  if (!bench.done(note.Open(0))) return;
  DWORD off = 0;
  DXLEXPORTHANDLE exporter = NULLHANDLE;
  if (!bench.done(utilities.CreateDXLExporter(exporter, {{eOutputDOCTYPE, &off}}))) return;
  BYTE* buffer = nullptr;
  DWORD capacity = 0;
  NoteExportRecord out = {nullptr, &buffer, 0, &capacity, 0, 0, 1};
  bench.done(note.Export(exporter, &out));
  bench.holds(out.ok == 1 && out.written > 0, "nothing exported");
  bench.done(utilities.DeleteDXLExporter(exporter));
  DWORD replace = DXLIMPORTOPTION_IGNORE_ELSE_CREATE;
  DXLIMPORTHANDLE importer = NULLHANDLE;
  if (bench.done(utilities.CreateDXLImporter(importer, {{iDocumentsImportOption, &replace}}))) {
    NoteImportRecord in = {nullptr, buffer, out.written, 0};
    bench.done(note.Import(importer, &in));
    bench.done(utilities.DeleteDXLImporter(importer));
  }
  bench.done(note.KoLNDocument::Export("x"));
  std::free(buffer);
}

void identifyNote(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  auto identity = marked<ORIGINATORID>();
  auto time = marked<TIMEDATE>();
  auto noteClass = marked<WORD>();
  auto id = marked<NOTEID>();
  KoLNDocument known(db.GetHandle(), bench.note);
  if (!bench.keeps([&] { return known.GetInfoExtended(&identity, &time, &noteClass); }, identity,
                   time, noteClass)) {
    return;
  }
  UNIVERSALNOTEID unid = {identity.File, identity.Note};
  bench.keeps([&] { return db.GetNoteInfoByUNID(&unid, &id, &identity, &time, &noteClass); }, id,
              identity, time, noteClass);
  KoLNDocument note(db.GetHandle(), 0, unid);
  if (!bench.done(note.OpenByUNID(0))) return;
  bench.keeps([&] { return note.GetCreationTime(time); }, time);
  bench.keeps([&] { return note.GetModifiedTime(time); }, time);
  bench.keeps([&] { return note.GetLastAccessedTime(time); }, time);
  bench.keeps([&] { return note.GetInfo(_NOTE_CLASS, &noteClass); }, noteClass);
  bench.done(note.SetInfo(_NOTE_CLASS, &noteClass));
}

void inspectNote(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  KoLNDataDocument note(db.GetHandle(), bench.note);
  if (!bench.done(note.Open(0))) return;
  std::vector<ATTACHMENT> attachments;
  bool migrated = true;
  bench.done(note.GetAttachmentList(attachments));
  bench.holds(attachments == std::vector<ATTACHMENT>(attachments), "equal");
  bench.holds(DbMigrateCriteria() == DbMigrateCriteria(), "equal facts");
  if (bench.keeps([&] { return note.IsMigratedMessage(migrated); }, migrated)) {
    bench.holds(!migrated, "a stub");
  }
  bench.done(note.AddAttachmentInfo());
  bench.done(note.KoLNDocument::Import("staged"));
}

// Its open note can be handed on.
struct Lender : KoLNDocument {
  using KoLNDocument::KoLNDocument;
  NOTEHANDLE lend() { return std::exchange(note_, NULLHANDLE); }
};

// Documents of each kind that close their note when they end.
void handOnNote(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  if (!bench.done(db.Open())) return;
  Lender lender(db.GetHandle(), bench.note);
  std::vector<std::unique_ptr<KoLNDocument>> others;
  others.push_back(std::make_unique<KoLNDesignDocument>());
  others.push_back(std::make_unique<KoLNDataDocument>(db.GetHandle(), bench.note));
  for (auto& other : others) {
    if (bench.done(lender.Open(0))) other->SetNoteHandle(lender.lend());
    other.reset();
  }
}

// What does nothing, with a document that has nothing.
void useReserves(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  KoLNDataDocument note;
  DHANDLE acl = NULLHANDLE;
  std::string details = "unchanged";
  unsigned char bytes[] = "details";
  for (const KoLNError& error : {note.StubNote(), note.PruneStub(), note.GetStubDetails(details),
                                 note.SetStubDetails(bytes, sizeof bytes), db.CheckDXLErrorLog(0),
                                 db.ExportACL(), db.ExportACL(acl), db.ImportAllDataDocuments()}) {
    bench.done(error);
  }
  bench.holds(details == "unchanged" && acl == NULLHANDLE, "filled");
  bench.done(db.Open());
}

void deleteNote(Bench& bench) {
  KoLNDatabase db(bench.mailbox, bench.instance);
  DHANDLE value = NULLHANDLE;
  if (!bench.done(db.Open())) return;
  KoLNDocument note(db.GetHandle(), 0);
  if (!bench.done(note.Create())) return;
  if (!bench.done(db.MemAllocObject(0, 8, &value)) || value == NULLHANDLE) return;
  auto* const type = static_cast<WORD*>(db.LockObject(value));
  if (type != nullptr) {
    *type = TYPE_OBJECT;  // An empty descriptor follows.
    bench.holds(db.UnlockObject(value), "unlock");
  }
  if (!bench.holds(type != nullptr, "lock") ||
      !bench.done(note.AppendObject(0, "Value", 5, {value, 0}, 8, 0))) {
    bench.holds(db.MemFreeObject(value) == 0, "free");
  }
  NOTEID id = 0;
  if (!bench.done(note.Update(0)) ||
      !bench.keeps([&] { return note.GetInfo(_NOTE_ID, &id); }, id)) {
    return;
  }
  KoLNDocument stored(db.GetHandle(), id);
  bench.done(stored.Delete(0));
}

}  // namespace

std::vector<Scenario> documentScenarios() {
  return {{"readNote", readNote},
          {"stubWithUrl", makeStub<Link::Url>},
          {"stubWithButton", makeStub<Link::Button>},
          {"stubWithMime", makeStub<Link::Mime>},
          {"createNote", createNote},
          {"moveAsDxl", moveAsDxl},
          {"identifyNote", identifyNote},
          {"inspectNote", inspectNote},
          {"handOnNote", handOnNote},
          {"useReserves", useReserves},
          {"deleteNote", deleteNote}};
}

}  // namespace sweep
