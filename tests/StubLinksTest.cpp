// The way back from a stub: the bytes of links and buttons, the records at every room, and what is
// given back whichever call fails.
#include <functional>
#include <tuple>

#include "NotesDocument.h"
#include "support/ScriptedNotes.h"

namespace {

using namespace std::string_literals;

// Locks block 21 and formula 22, writes records as they are on disk, and keeps what is appended.
class StubLinksTest : public testing::Test, protected ScriptedNotes {
 protected:
  StubLinksTest() {
    doc.SetNoteHandle(33);
    notes.NSFNoteClose.answer();
    script();
  }

  void script() {
    lend(block.data());
    notes.OSMemAlloc.answer(gives(DHANDLE{21}));
    notes.OSLockObject.answer([this](DHANDLE handle) -> void* {
      steps.push_back("lock " + std::to_string(handle));
      return handle == failing ? nullptr : handle == 21 ? block.data() : formula.data();
    });
    notes.ODSLength.answer([this](WORD type) -> WORD {
      const WORD size = type == 113 ? 8 : type == 230 ? 12 : type == 231 ? 2 : 16;
      return type == failing ? size + 2 : size;
    });
    notes.ODSWriteMemory.answer([this](void* to, WORD type, const void* record, WORD) {
      char*& out = *static_cast<char**>(to);
      const char* const from = static_cast<const char*>(record);
      const std::size_t head = type == 230 ? 6 : KO_ODSLength(type);
      std::memcpy(out, from, head);
      std::memcpy(out + head, from + 8, type == 230 ? 6 : 0);  // Padded in memory.
      out += type == 230 ? 12 : head;
      type == failing - 1000u ? throw Throwing{} : 0;
    });
    notes.NSFFormulaCompile.answer(
        [this](auto, WORD, const char* text, WORD length, DHANDLE* out, WORD* size, auto...) {
          source = std::string(text, length);
          *out = 22;
          *size = static_cast<WORD>(formula.size());
          return NOERROR;
        });
    notes.NSFItemAppend.answer(
        [this](auto, auto, auto, auto, auto, const void* value, DWORD length) {
          steps.push_back("append");
          body = std::string(static_cast<const char*>(value), length);
          return failing == 1 ? refused : NOERROR;
        });
  }

  DWORD failing = 0;
  std::string block = std::string(65406, 'x'), formula = "formula", body, source;
  KoLNDataDocument doc{11, 66};
};

TEST_F(StubLinksTest, LinksAndButtonsAreWrittenByteForByte) {
  const Texts link = {"lock 21", "append", "unlock 21", "free 21"};
  const Texts button = {"lock 21", "lock 22",   "unlock 22", "free 22",
                        "append",  "unlock 21", "free 21"};
  for (const std::string& url : {"n://a/1"s, "n://a/12"s, std::string(1023, 'u')}) {
    const std::size_t length = 8 + url.size();
    EXPECT_EQ(told(doc.InsertURL(url.c_str())), "clean");
    EXPECT_EQ(body, "\xAD\xFF\x0C\x04\x0B\0\x09\x10\0\0\0\x04"s + url +
                        std::string(1024 - url.size(), '\0') + "\x85\xFF"s + char(length) +
                        char(length >> 8) + "\x03\x05\0\x0B"s + url +
                        std::string(length % 2, '\0') + "\xAE\x02");
    expectCall(notes.NSFItemAppend, 33u, 0, "Body", 4, 1);
    EXPECT_EQ(std::exchange(steps, {}), link);
    EXPECT_EQ(told(doc.InsertButton(url.c_str())), "clean");
    EXPECT_EQ(source, "@URLOpen(\"" + url + "\")");
    EXPECT_EQ(body,
              "\xA9\xFF\x13\0\x03\0\x09\0\0\0\x07\0formula\0\xAB\xFF\x1A\0\0\x10\x40\x0B\0\0\x01\0"
              "\x03\0\0\x0B"
              "Quick Look\xAA\x02"s);
    EXPECT_EQ(std::exchange(steps, {}), button);
  }
  EXPECT_EQ(told(doc.InsertButton("n://\"\\\xC3\xA9?a=\"")), "clean");
  EXPECT_EQ(source, "@URLOpen(\"n://\\\"\\\\\xC3\xA9?a=\\\"\")");
  expectCall(notes.OSMemAlloc, 0, 65406u);
  EXPECT_EQ(log.take(), Lines{});
}

TEST_F(StubLinksTest, AFailureAppendsNothingAndGivesEverythingBack) {
  const std::string none = "Error: no link for note [66]: ", room = "5117: text of 5117";
  const std::string text = "The text of the link could not be written.", noText = "5117: " + text;
  const std::string longer = "The URL has 1024 bytes or more.", tooLong = "5117: " + longer;
  const std::string record = "65535: ODSLength or ODSWriteMemory has failed.";
  const std::string because = "]. Resulting error string: [";
  const std::string append =
      "Error: unable to append item for note [66]. NSFItemAppend(...) "
      "returned: [49411" +
      because + "text of 259].";
  const std::string noRoom = "5117" + because + "text of 5117].";
  const std::string failed = "65535" + because + record.substr(7) + "].";
  const std::string noLabel = "Error: in defining button for note[66].PutButton(...) returned:[";
  const std::string noEnd =
      "Error: unable to put HotSpot at end for note[66].PutHotSpotEnd(...) returned:[";
  // clang-format off
  const struct { DWORD failing; std::string url, link, linkLine, button, buttonLine; } cases[] = {
      {21, "u", "263: text of 263", "", "263: text of 263", ""},
      {22, "u", "clean", "", "65535: The compiled formula of the button could not be locked.", ""},
      {230, "u", room, "", room, ""}, {1230, "u", record, "", record, ""},
      {113, "u", noText, none + text, "clean", ""}, {1113, "u", noText, none + text, "clean", ""},
      {237, "u", "clean", "", room, noLabel + noRoom},
      {1237, "u", "clean", "", record, noLabel + failed},
      {231, "u", room, "", room, noEnd + noRoom},
      {1231, "u", record, "", record, noEnd + failed},
      {1, "u", refusedText, append, refusedText, append},
      {0, std::string(1024, 'u'), tooLong, none + longer, tooLong, none + longer},
  };
  // clang-format on
  for (const auto& test : cases) {
    for (const bool button : {false, true}) {
      SCOPED_TRACE(std::to_string(test.failing) + (button ? " button" : " link"));
      const std::string member = button ? "InsertButton" : "InsertURL";
      const std::string& answer = button ? test.button : test.link;
      const std::string& line = button ? test.buttonLine : test.linkLine;
      failing = test.failing;
      const char* const url = test.url.c_str();
      EXPECT_EQ(told(button ? doc.InsertButton(url) : doc.InsertURL(url)), answer);
      EXPECT_EQ(linesOf(member, "NotesDocument"), line.empty() ? Texts{} : Texts{"0 " + line});
      for (const std::string& handle : {"21"s, "22"s}) {
        const auto made = [&](const std::string& step) {
          return std::count(steps.begin(), steps.end(), step + handle);
        };
        const bool locks = made("lock ") != 0;
        EXPECT_EQ(made("unlock "), locks && handle != std::to_string(failing) ? 1 : 0);
        EXPECT_EQ(made("free "), locks ? 1 : 0);
      }
      EXPECT_EQ(std::count(steps.begin(), steps.end(), "append"),
                answer == "clean" || failing == 1 ? 1 : 0);
      steps.clear();
    }
  }
  failing = 0;
  for (const Failure how : everyFailure) {
    const std::string compile = messageOf(how, "NSFFormulaCompile");
    fail(notes.NSFFormulaCompile, how);
    EXPECT_EQ(told(doc.InsertButton("u")),
              (how == Failure::Refused ? "259: " : "65535: ") + compile);
    EXPECT_EQ(std::exchange(steps, {}), Texts({"lock 21", "unlock 21", "free 21"}));
    fail(notes.OSMemAlloc, how);
    EXPECT_EQ(told(doc.InsertURL("u")), "263: text of 263");
    notes.OSMemAlloc.answer(gives(DHANDLE{21}));
  }
  EXPECT_EQ(std::tuple(steps, log.take()), std::tuple(Texts{}, Lines{}));
}

TEST_F(StubLinksTest, AFormulaMustLeaveRoomAndUrlsMustBeTexts) {
  formula = std::string(65395, 'f');
  EXPECT_EQ(told(doc.InsertButton("u")), "5117: The formula of the button is too long.");
  EXPECT_EQ(std::exchange(steps, {}),
            Texts({"lock 21", "lock 22", "unlock 22", "free 22", "unlock 21", "free 21"}));
  const std::size_t allocated = notes.OSMemAlloc.count();
  EXPECT_EQ(told(doc.InsertURL(nullptr)), "65535: No URL to insert.");
  EXPECT_EQ(told(doc.InsertButton(nullptr)), "65535: No URL to insert.");
  EXPECT_EQ(told(doc.InsertButton("u\x1Fv")), "65535: The URL holds a control character.");
  EXPECT_EQ(told(doc.InsertLink(nullptr)), "65535: No text to insert.");
  KoLNDataDocument closed(11, 66);
  for (const KoLNError& error :
       {closed.InsertURL("u"), closed.InsertButton("u"), closed.InsertLink(formula.data())}) {
    EXPECT_EQ(told(error), "5051: text of 5051");
  }
  EXPECT_EQ(notes.OSMemAlloc.count(), allocated);
  const std::string none = "0 Error: no link for note [66]: The ";
  EXPECT_EQ(linesOf("InsertButton", "NotesDocument"),
            Texts({none + "formula of the button is too long.",
                   none + "URL holds a control character."}));
}

TEST_F(StubLinksTest, WritersFillTheirRoomAndNotAByteMore) {
  const std::string face = "\x03\0\0\x0B"s, button = "\0\x10\x40\x0B\0\0\x01\0"s + face;
  char ten[] = "ten bytes.", eleven[] = "eleven char";
  using Put = std::function<int(char**, WORD, WORD*)>;  // 0 where it wrote.
  const auto labelled = [](char* label) {
    return [=](char** at, WORD room, WORD* total) { return PutButton(at, label, room, total); };
  };
  const auto styled = [](char* text, int style) {
    return [=](char** at, WORD room, WORD*) { return PutText(at, text, room, style) ? 0 : 5117; };
  };
  // clang-format off
  const struct { Put put; std::string bytes; WORD moved; bool counts; } cases[] = {
      {labelled(ten), "\xAB\xFF\x1A\0"s + button + ten, 26, true},
      {labelled(eleven), "\xAB\xFF\x1B\0"s + button + eleven, 28, true},
      {labelled(nullptr), "\xAB\xFF\x10\0"s + button, 16, true},
      {PutHotSpotEnd, "\xAA\x02", 2, true}, {PutV4HotSpotEnd, "\xAE\x02", 2, true},
      {styled(eleven, 11), "\x85\xFF\x13\0\x03\x05\0\x0B"s + eleven, 20, false},
      {styled(nullptr, 10), "\x85\xFF\x08\0"s + face, 8, false}};
  // clang-format on
  for (const auto& test : cases) {
    for (std::size_t room = 0; room <= test.bytes.size(); ++room) {
      SCOPED_TRACE(std::to_string(&test - cases) + " room " + std::to_string(room));
      const bool fits = room == test.bytes.size();
      std::string area(64, 'g');
      char* at = area.data();
      WORD total = 100;
      EXPECT_EQ(test.put(&at, static_cast<WORD>(room), &total), fits ? 0 : 5117);
      EXPECT_EQ(area, fits ? test.bytes + std::string(64 - room, 'g') : std::string(64, 'g'));
      EXPECT_EQ(at - area.data(), fits ? test.moved : 0);
      EXPECT_EQ(total - 100, fits && test.counts ? test.moved : 0);
    }
    char* at = ten;
    WORD total = 0;
    EXPECT_EQ(test.put(nullptr, 99, &total), 5117);
    EXPECT_TRUE(!test.counts || test.put(&at, 99, nullptr) == 5117);
  }
  std::string large(70000, 'l');
  char* at = ten;
  EXPECT_FALSE(PutText(&at, large.data(), 0xFFFF, 0));  // Its length wraps in 16 bits.
  failing = 1231;
  WORD total = 0;
  EXPECT_EQ(PutHotSpotEnd(&at, 99, &total), 0xFFFF);
  EXPECT_EQ(std::tuple(at, total), std::tuple(ten, 0));
}

TEST_F(StubLinksTest, MimePartsGoInPiecesAndAreDiscardedWhenOneFails) {
  STATUS create = NOERROR, append = NOERROR, close = NOERROR;  // 0xFFFF throws.
  const auto answer = [](STATUS status) { return status == 0xFFFF ? throw Throwing{} : status; };
  notes.NSFMimePartCreateStream.answer([&](DHANDLE, char* item, WORD length, auto... rest) {
    EXPECT_EQ(std::string(item, length), "Body\0"s);
    return gives(DHANDLE{44}, create)(rest...);
  });
  notes.NSFMimePartAppendStream.answer([&](DHANDLE stream, char* text, WORD length) {
    body.append(text, length);
    steps.push_back(std::to_string(stream) + " " + std::to_string(length));
    return answer(length == 65535 ? STATUS{NOERROR} : append);
  });
  notes.NSFMimePartCloseStream.answer([&](DHANDLE, BOOL keep) {
    steps.push_back(keep ? "keep" : "discard");
    return answer(close);
  });
  const Texts kept = {"44 65535", "44 1", "keep"}, discarded = {"44 65535", "44 1", "discard"};
  const auto line = [](const std::string& call, const std::string& because) {
    return "0 Error : unable to " + call + " returned:[" + because + "].";
  };
  const std::string part = " Mime Part stream for note [66]. NSFMimePart",
                    why = "]. Resulting error string: [";
  const std::string text = "49411" + why + "text of 259";
  const std::string creating = "create" + part + "CreateStream(...)",
                    appending = "append" + part + "AppendStream(...)";
  const std::string closing = "close" + part + "CloseStream(";
  const auto thrown = [&](const std::string& function) {
    return "65535" + why + threw("NSFMimePart" + function);
  };
  const auto recorded = [](const std::string& function) {
    return "65535: " + threw("NSFMimePart" + function);
  };
  // clang-format off
  const struct { std::size_t size; STATUS create, append, close; std::string answer;
                 Texts steps, lines = {}; } cases[] = {
      {0, 0, 0, 0, "clean", {"44 0", "keep"}}, {65535, 0, 0, 0, "clean", {"44 65535", "keep"}},
      {65536, 0, 0, 0, "clean", kept},
      {140000, 0, 0, 0, "clean", {"44 65535", "44 65535", "44 8930", "keep"}},
      {65536, refused, 0, 0, refusedText, {}, {line(creating, text)}},
      {65536, 0xFFFF, 0, 0, recorded("CreateStream"), {}, {line(creating, thrown("CreateStream"))}},
      {65536, 0, refused, 0, refusedText, discarded, {line(appending, text)}},
      {65536, 0, 0xFFFF, refused, recorded("AppendStream"), discarded,
        {line(appending, thrown("AppendStream")), line(closing + "..,False)", text)}},
      {65536, 0, 0, refused, refusedText, kept, {line(closing + "...)", text)}},
      {65536, 0, 0, 0xFFFF, recorded("CloseStream"), kept, {line(closing + "...)", thrown("CloseStream"))}}};
  // clang-format on
  for (const auto& test : cases) {
    SCOPED_TRACE(&test - cases);
    std::string content(test.size, 'c');
    std::generate(content.begin(), content.end(), [n = 0]() mutable { return 'a' + n++ % 23; });
    std::tie(create, append, close) = std::tuple(test.create, test.append, test.close);
    body.clear();
    steps.clear();
    EXPECT_EQ(told(doc.InsertLink(content.data())), test.answer);
    EXPECT_EQ(steps, test.steps);
    EXPECT_EQ(linesOf("InsertLink", "NotesDocument"), test.lines);
    EXPECT_TRUE(body == (test.steps.empty() ? "" : content));
  }
  EXPECT_EQ(notes.NSFMimePartCreateStream.argument<3>(), 2);
  EXPECT_EQ(notes.NSFMimePartCreateStream.argument<4>(), 3u);
}

}  // namespace
