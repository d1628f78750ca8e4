// The error record, and the text that Notes has for a status.
#include "NotesError.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "NotesUtilities.h"
#include "support/FakeNotes.h"
#include "support/ScarceMemory.h"

namespace {

struct Content {
  unsigned code;
  std::string message;
  bool isSet;

  bool operator==(const Content&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Content& content) {
    return out << content.code << '|' << content.message << '|' << content.isSet;
  }
};

Content contentOf(const KoLNError& error) {
  return {error.GetErrorCode(), error.GetMessage(), error.IsErrorSet()};
}

// Answers with "text of <code>".
WORD loadString(HMODULE, STATUS code, char* out, WORD capacity) {
  return static_cast<WORD>(std::snprintf(out, capacity, "text of %u", unsigned{code}));
}

TEST(NotesErrorRecord, EachOperationChangesItsFieldsAndNoOthers) {
  FakeNotes notes;
  notes.OSLoadString.answer(loadString);
  const std::string own = "own %s";  // A text is never taken for a format.
  const std::pair<std::function<void(KoLNError&)>, Content> cases[] = {
      {[](auto&) {}, {0, "", false}},
      {[](auto& e) { e.SetError(259); }, {259, "text of 259", true}},
      {[](auto& e) { e.SetError(0xC103); }, {0xC103, "text of 259", true}},
      {[](auto& e) { e.SetError(259), e.SetError(0); }, {0, "text of 259", true}},
      {[](auto& e) { e.SetCustomMessage("own"), e.SetError(260); }, {260, "text of 260", true}},
      {[](auto& e) { e.SetErrorCode(4996); }, {4996, "", false}},
      {[](auto& e) { e.SetError(259), e.SetErrorCode(4996); }, {4996, "text of 259", true}},
      {[](auto& e) { e.SetStatus(); }, {0, "", true}},
      {[](auto& e) { e.SetMessage("told"); }, {0, "told", true}},
      {[](auto& e) { e.SetError(259), e.SetMessage("told"); }, {259, "told", true}},
      {[&](auto& e) { e.SetCustomMessage(own); }, {65535, "own %s", true}},
      {[](auto& e) { e.SetCustomMessage("%d of %s", 1, "%d"); }, {65535, "1 of %d", true}},
      {[](auto& e) { e = KoLNError(551, "known"); }, {551, "known", true}},
      {[](auto& e) { e = KoLNError(0, ""); }, {0, "", true}},
  };
  for (const auto& [steps, expected] : cases) {
    KoLNError error;
    steps(error);
    EXPECT_EQ(contentOf(error), expected);
  }
}

TEST(NotesErrorRecord, CopiesAreIndependentAndMovesTakeTheContent) {
  const Content content{551, std::string(100, 'm'), true};
  KoLNError first(551, content.message);
  KoLNError copy(first);
  KoLNError assigned(1, "other");
  assigned = first;
  first.SetCustomMessage("changed");
  EXPECT_EQ(contentOf(copy), content);
  EXPECT_EQ(contentOf(assigned), content);

  KoLNError& itself = copy;
  copy = itself;
  EXPECT_EQ(contentOf(copy), content);
  KoLNError moved(std::move(copy));
  EXPECT_EQ(contentOf(moved), content);
  assigned = std::move(moved);
  EXPECT_EQ(contentOf(assigned), content);
}

TEST(NotesErrorRecord, FormattedMessagesAreCutAt4095BytesAndNeverLost) {
  KoLNError error;
  for (const std::size_t length : {4094, 4095, 4096, 50000}) {
    error.SetCustomMessage("%s", std::string(length, 'x').c_str());
    EXPECT_EQ(error.GetMessage(), std::string(std::min<std::size_t>(length, 4095), 'x'));
  }
  const wchar_t invalid[] = {static_cast<wchar_t>(0xD800), 0};
  error.SetCustomMessage("title %ls", invalid);
  EXPECT_EQ(contentOf(error), (Content{65535, "title %ls", true}));
  const char* const missing = nullptr;
  error.SetCustomMessage(missing);
  EXPECT_EQ(contentOf(error), (Content{65535, "", true}));
  error.SetCustomMessage(std::string(5000, 'y'));  // The text form has no limit.
  EXPECT_EQ(error.GetMessage().size(), 5000u);
}

TEST(NotesErrorRecord, WhereMemoryRunsOutTheMessageIsLostButNeverTheCode) {
  const std::string longText(100, 't');
  const KoLNError source(551, longText);
  const std::pair<unsigned, std::function<void(KoLNError&)>> operations[] = {
      {65535, [&](KoLNError& e) { e.SetCustomMessage("%s", longText.c_str()); }},
      {551, [&](KoLNError& e) { e = source; }},
      {551, [&](KoLNError& e) { e = KoLNError(source); }},
  };
  for (const auto& [code, operation] : operations) {
    EXPECT_GT(failuresForWantOfMemory([&, &code = code, &operation = operation] {
                KoLNError error;
                operation(error);
                const AmpleMemory ample;
                const bool complete = error.GetMessage() == longText;
                EXPECT_EQ(contentOf(error), (Content{code, complete ? longText : "", true}));
                return complete;
              }),
              0);
  }
  const ScarceMemory scarce(0);
  EXPECT_EQ(source.GetMessage(), "");
}

TEST(NotesErrorText, IsAskedForWithTheMaskedCodeAndAZeroedBuffer) {
  FakeNotes notes;
  notes.OSLoadString.answer([](HMODULE, STATUS, char* out, WORD capacity) {
    EXPECT_EQ(std::string(out, capacity + 1u), std::string(1024, '\0'));
    std::memset(out, 'e', capacity);  // Leaves no terminator.
    return capacity;
  });
  EXPECT_EQ(KoLNUtilities::GetNotesErrorMsg(0xFFFF), std::string(1023, 'e'));
  EXPECT_EQ(notes.OSLoadString.argument<1>(), 0x3FFF);
  EXPECT_EQ(notes.OSLoadString.argument<3>(), 1023);
}

}  // namespace
