// Notes on their way as DXL: the handles and their properties, and the two streams with real files.
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <tuple>

#include "NotesDocument.h"
#include "NotesUtilities.h"
#include "support/ScriptedNotes.h"
#include "support/TemporaryDirectory.h"

namespace {

static_assert(sizeof(NoteImportRecord) == 24 && offsetof(NoteImportRecord, remaining) == 16);
static_assert(sizeof(NoteExportRecord) == 40 && offsetof(NoteExportRecord, capacity) == 24 &&
              offsetof(NoteExportRecord, ok) == 37);

// Hands out handle 77 and keeps what is set, with its value, and what is deleted.
class NoteTransferTest : public testing::Test, protected ScriptedNotes {
 protected:
  NoteTransferTest() { script(); }

  void script() {
    const auto set = [this](DHANDLE handle, auto key, void* of) -> STATUS {
      steps.push_back(std::to_string(key) + "=" + std::to_string(*static_cast<DWORD*>(of)));
      return handle == 77 && key != failingKey ? NOERROR : refused;
    };
    const auto remove = [this](DHANDLE handle) {
      steps.push_back("delete " + std::to_string(handle));
    };
    notes.DXLCreateImporter.answer(gives(DHANDLE{77}));
    notes.DXLCreateExporter.answer(gives(DHANDLE{77}));
    notes.DXLSetImporterProperty.answer(set);
    notes.DXLSetExporterProperty.answer(set);
    notes.DXLDeleteImporter.answer(remove);
    notes.DXLDeleteExporter.answer(remove);
  }

  int failingKey = 0;
  KoLNDocument doc{11, 66};
  const std::string thrown = "0 Caught exception in createDXL", unknown = "0 unknown import prop";
  const std::string documents = "4 setting import prop iDocumentsImportOption";
  const std::string replica = "4 setting import prop iReplicaRequiredForReplaceOrUpdate";
};

TEST_F(NoteTransferTest, TheOwnPropertiesAreTriedAndTheHandleIsDeletedOnce) {
  const Texts lines = {unknown, unknown, documents, unknown, replica};
  const Texts first(lines.begin(), lines.begin() + 3);
  const std::string create =
      "0 Error: unable to create DXL importer. DXLCreateImporter(...) returned: [";
  const std::string deleteThrew = "65535: Error: caught an exception of unknown type in importing";
  // clang-format off
  const struct { std::function<void()> arrange; bool in; std::string answer; Texts steps, lines; } cases[] = {
      {[] {}, true, "clean", {"3=6", "7=0", "delete 77"}, lines},
      {[] {}, false, "clean", {"33=0", "34=0", "delete 77"}, {}},
      {[&] { failingKey = 3; }, true, refusedText, {"3=6", "delete 77"}, first},
      {[&] { failingKey = 34; }, false, refusedText, {"33=0", "34=0", "delete 77"}, {}},
      {[&] { notes.DXLSetImporterProperty.answer(Throwing{}); }, true,
        "65535: " + threw("DXLSetImporterProperty"), {"delete 77"},
        {unknown, unknown, documents, thrown + "Importer\n"}},
      {[&] { notes.DXLSetExporterProperty.answer(Throwing{}); }, false,
        "65535: " + threw("DXLSetExporterProperty"), {"delete 77"}, {thrown + "Exporter\n"}},
      {[&] { notes.DXLCreateImporter.answer(gives(DHANDLE{0xBAD}, refused)); }, true, refusedText, {},
        {create + "49411] text of 259\n"}},
      {[&] { notes.DXLCreateExporter.answer(gives(DHANDLE{0xBAD}, refused)); }, false, refusedText, {}, {}},
      {[&] { notes.DXLCreateImporter.answer(Throwing{}); }, true, "65535: " + threw("DXLCreateImporter"),
        {}, {thrown + "Importer\n"}},
      {[&] { notes.DXLDeleteImporter.answer(Throwing{}); }, true, deleteThrew, {"3=6", "7=0"}, lines},
      {[&] { notes.DXLDeleteExporter.answer(Throwing{}); }, false,
        "65535: Caught exception in exporting note\n", {"33=0", "34=0"}, {}},
  };
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(&test - cases);
    steps.clear();
    failingKey = 0;
    script();
    test.arrange();
    EXPECT_EQ(told(test.in ? doc.Import("a.dxl") : doc.Export("")), test.answer);
    EXPECT_EQ(steps, test.steps);
    EXPECT_EQ(linesOf(test.in ? "CreateDXLImporter" : "CreateDXLExporter", "NotesUtilities"),
              test.lines);
  }
  const std::size_t made = notes.DXLCreateImporter.count();
  EXPECT_EQ(told(doc.Import("")), "65535: Staged file name is empty.");
  EXPECT_EQ(told(doc.Import(77, "")), "65535: Staged file name is empty.");
  EXPECT_EQ(told(doc.Import(77, "a.dxl")), "clean");
  EXPECT_EQ(notes.DXLCreateImporter.count(), made);
}

TEST_F(NoteTransferTest, OnlyKnownPropertiesAreSetAndHandlesKeepTheirValue) {
  DWORD value = 5;
  DXLEXPORTHANDLE exporter = 0, none = 0;
  std::map<DXL_EXPORT_PROPERTY, void*> all;
  for (int key = 1; key < 40; ++key) {
    all[static_cast<DXL_EXPORT_PROPERTY>(key)] = &value;
  }
  EXPECT_EQ(told(KoLNUtilities().CreateDXLExporter(exporter, all)), "clean");
  EXPECT_EQ(steps,
            Texts({"3=5", "4=5", "5=5", "6=5", "7=5", "30=5", "31=5", "32=5", "33=5", "34=5"}));
  EXPECT_EQ(log.take(), Lines{});
  steps.clear();
  EXPECT_EQ(told(KoLNUtilities().DeleteDXLExporter(exporter)), "clean");
  EXPECT_EQ(told(KoLNUtilities().DeleteDXLImporter(exporter)), "clean");
  EXPECT_EQ(told(KoLNUtilities().DeleteDXLImporter(none)), "clean");
  EXPECT_EQ(told(KoLNUtilities().DeleteDXLExporter(none)), "clean");
  EXPECT_EQ(std::tuple(exporter, steps), std::tuple(77u, Texts({"delete 77", "delete 77"})));

  NoteImportRecord record = {};
  EXPECT_EQ(told(KoLNDocument().Import(77, &record)), "5051: text of 5051");
  EXPECT_EQ(told(doc.Import(77, nullptr)), "65535: No record to import from.");
  notes.DXLImport.answer();
  EXPECT_EQ(told(doc.Import(77, &record)), "clean");
  expectCall(notes.DXLImport, 77u, &KoLNUtilities::DXLImportStreamFunc, 11u, &record);
  for (const Failure how : everyFailure) {
    fail(notes.DXLImport, how);
    EXPECT_EQ(told(doc.Import(77, &record)),
              how == Failure::Throws ? "65535: Caught exception in Importing note\n"
                                     : statusOf(how) + ": " + messageOf(how, "DXLImport"));
  }
}

TEST(DxlStreamTest, AnImportReadsBehindTheHeaderAndNoByteMoreThanThereIs) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/staged";
  writeFile(path, std::string(133, 'h') + "0123456789");
  constexpr DWORD far = 0xFFFFFFF0;  // Behind 4 GiB with the header in front.
  FILE* const file = std::fopen(path.c_str(), "r+b");
  ASSERT_EQ(fseeko(file, off_t{far} + 133, SEEK_SET) + std::fputs("deep", file), 1);
  BYTE memory[] = "abcdefghij";
  const std::string early = "Error: the staged file ends after ";
  // clang-format off
  const struct { NoteImportRecord record; DWORD max; std::string out; DWORD remaining, offset;
                 Texts lines = {}; } cases[] = {
      {{file, nullptr, 10, 0}, 4, "0123", 6, 4}, {{file, nullptr, 3, 7}, 100, "789", 0, 10},
      {{file, memory, 5, 2}, 3, "cde", 2, 5}, {{nullptr, memory, 2, 8}, 9, "ij", 0, 10},
      {{nullptr, nullptr, 0, 3}, 9, "", 0, 3}, {{file, nullptr, 9, far}, 4, "deep", 5, far + 4},
      {{file, nullptr, 9, far}, 8, "deep", 0, far + 4, {early + "4 of 8 bytes at offset 4294967280"}},
      {{nullptr, nullptr, 9, 3}, 8, "", 0, 3, {early + "0 of 8 bytes at offset 3"}}};
  // clang-format on
  LogCapture log;
  for (const auto& test : cases) {
    SCOPED_TRACE(&test - cases);
    NoteImportRecord record = test.record;
    std::string out(100, '-');
    auto* const bytes = reinterpret_cast<BYTE*>(out.data());
    EXPECT_EQ(KoLNUtilities::DXLImportStreamFunc(bytes, test.max, &record), test.out.size());
    EXPECT_EQ(out, test.out + std::string(100 - test.out.size(), '-'));
    EXPECT_EQ(std::pair(record.remaining, record.offset), std::pair(test.remaining, test.offset));
    EXPECT_EQ(log.takeTexts(), test.lines);
  }
  std::fclose(file);
}

TEST(DxlStreamTest, WhatTheHostWroteInFrontIsNeitherDeliveredNorLost) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/staged";
  const std::string dxl(40000, 'd');
  writeFile(path, std::string(133, 'h') + dxl);
  FILE* const file = std::fopen(path.c_str(), "r+b");
  std::fputs(std::string(133, 'H').c_str(), file);  // The file stands where the DXL begins.
  NoteImportRecord record = {file, nullptr, static_cast<DWORD>(dxl.size()), 0};
  std::string out(dxl.size(), '-');
  EXPECT_EQ(KoLNUtilities::DXLImportStreamFunc(reinterpret_cast<BYTE*>(out.data()), 40000, &record),
            40000u);
  std::fclose(file);
  EXPECT_TRUE(out == dxl);
  std::ifstream in(path);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}).substr(0, 133),
            std::string(133, 'H'));
}

TEST(DxlStreamTest, AnExportGrowsByHalfAndStopsForGoodWhenSomethingIsMissing) {
  const BYTE data[200] = {'x'};
  BYTE* buffer = nullptr;
  DWORD capacity = 0;
  NoteExportRecord record = {nullptr, &buffer, 0, &capacity, 0, 0, 1};
  LogCapture log;
  const auto put = [&](DWORD length) {
    KoLNUtilities::DXLExportStreamFunc(data, length, &record);
    return std::tuple(record.total, capacity, record.written, int{record.ok});
  };
  EXPECT_EQ(put(0), std::tuple(0u, 0u, 0u, 1));
  EXPECT_EQ(put(100), std::tuple(100u, 150u, 100u, 1));
  EXPECT_EQ(put(49), std::tuple(149u, 150u, 149u, 1));
  EXPECT_EQ(put(1), std::tuple(150u, 225u, 150u, 1));
  EXPECT_EQ(std::string(buffer, buffer + 151),
            "x" + std::string(99, '\0') + "x" + std::string(48, '\0') + "x" + '\0');
  EXPECT_EQ(log.takeTexts(), Texts{});

  const std::string noMemory = "Insufficient memory";
  // clang-format off
  const struct { DWORD total, capacity, written, length; Texts lines; } cases[] = {
      {0xFFFFFFFE, 225, 150, 1, {"failed to allocate  0 memory", noMemory}},  // No room can reach it.
      {0xFFFFFFFE, 225, 150, 9, {noMemory}}, {150, 225, 220, 9, {noMemory}}};
  // clang-format on
  for (const auto& test : cases) {
    BYTE* const before = buffer;
    record = {nullptr, &buffer, test.total, &capacity, test.written, 0, 1};
    EXPECT_EQ(put(test.length),
              std::tuple(test.total + test.length, 225u, test.written + test.length, 0));
    EXPECT_EQ(log.takeTexts(), test.lines);
    put(1);  // Dropped without a word.
    EXPECT_EQ(std::tuple(record.total, buffer), std::tuple(test.total + test.length, before));
  }
  std::free(buffer);

  const TemporaryDirectory directory;
  for (const std::string& path : {directory.path() + "/staged", std::string("/dev/full")}) {
    const bool full = path == "/dev/full";
    record = {std::fopen(path.c_str(), "wb"), nullptr, 0, nullptr, 0, 1, 1};
    std::setvbuf(record.file, nullptr, _IONBF, 0);
    put(200);
    put(100);
    std::fclose(record.file);
    EXPECT_EQ(std::tuple(record.total, record.written, record.ok),
              full ? std::tuple(200, 0, 0) : std::tuple(300, 300, 1));
    EXPECT_EQ(log.takeTexts(),
              full ? Texts{"Error: only 0 of 200 bytes written to the staged file"} : Texts{});
    EXPECT_TRUE(full || std::filesystem::file_size(path) == 300);
  }

  FakeNotes notes;  // What a buffer still holds must reach the disk as well.
  notes.NSFNoteClose.answer();
  notes.DXLExportNote.answer([](DXLEXPORTHANDLE, XML_WRITE_FUNCTION write, NOTEHANDLE, void* to) {
    write(reinterpret_cast<const BYTE*>("<note/>"), 7, to);
    return NOERROR;
  });
  KoLNDocument doc;
  doc.SetNoteHandle(33);
  DXLEXPORTHANDLE exporter = 77;
  record = {std::fopen("/dev/full", "wb"), nullptr, 0, nullptr, 0, 1, 1};
  EXPECT_FALSE(doc.Export(exporter, &record).IsErrorSet());
  std::fclose(record.file);
  EXPECT_EQ(std::pair(record.written, int{record.ok}), std::pair(7u, 0));
  EXPECT_EQ(log.take(), (Lines{{"Export", -1, "NotesDocument",
                                "Error: the staged file could not be written to its end"}}));
}

}  // namespace
