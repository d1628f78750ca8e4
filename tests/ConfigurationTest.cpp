// Values of the host's configuration store, environment variables, text cleaning.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "findDataPartition.h"
#include "support/ChildProcess.h"
#include "support/FakeKoLib.h"
#include "support/ScarceMemory.h"

namespace {

using Texts = std::vector<std::string>;

// A caller's buffer, filled beforehand; exactly as large as the rules ask, so that the sanitizer
// sees every byte too many.
struct Out {
  explicit Out(std::size_t size, char fill = '\x55') : bytes(size, fill) {}
  unsigned char* data() { return reinterpret_cast<unsigned char*>(bytes.data()); }
  std::vector<char> bytes;
};

template <typename Number>
void expectNumber(FakeKoLib& host, const std::string& name, const std::string& text,
                  Number expected) {
  host.values[{"key", name}] = text;
  Out out(sizeof(Number));
  Number number;
  EXPECT_TRUE(GetLndbUnixRegValue(out.data(), name.c_str(), "key", nullptr));
  std::memcpy(&number, out.data(), sizeof number);
  EXPECT_EQ(number, expected) << name << " = " << text;

  host.values.clear();
  Out missing(sizeof(Number));
  EXPECT_FALSE(GetLndbUnixRegValue(missing.data(), name.c_str(), "key", nullptr));
  EXPECT_EQ(missing.bytes, std::vector<char>(sizeof(Number), '\0'));
}

TEST(ConfigurationValue, HasTheTypeThatItsNameBeginsWith) {
  FakeKoLib host;
  expectNumber<std::int32_t>(host, "nPort", "12x", 12);
  expectNumber<std::int32_t>(host, "n", "-2147483648", INT32_MIN);
  expectNumber<std::int32_t>(host, "nil", "none", 0);
  expectNumber<std::int32_t>(host, "nEmpty", "", 0);
  expectNumber<std::int64_t>(host, "llSize", "-9223372036854775808", INT64_MIN);
  expectNumber<std::int64_t>(host, "ll", " 4294967296 bytes", 4294967296);

  for (const char* const name : {"l", "lSize", "NPort", "/nData", "sUser", ""}) {
    host.values[{"key", name}] = "42 as it is";
    Out out(1024);
    EXPECT_TRUE(GetLndbUnixRegValue(out.data(), name, "key", nullptr));
    EXPECT_STREQ(out.bytes.data(), "42 as it is") << name;
    EXPECT_EQ(out.bytes[12], '\x55') << "nothing is written behind the terminator";
  }
}

TEST(ConfigurationValue, IsAddressedByKeyNameAndSuffix) {
  FakeKoLib host;
  Out out(1024);
  for (const auto& [key, suffix] : {std::pair<const char*, const char*>{"LN", "1"},
                                    {"LN", ""},
                                    {"", nullptr},
                                    {nullptr, nullptr}}) {
    EXPECT_FALSE(GetLndbUnixRegValue(out.data(), "sUser", key, suffix));
  }
  EXPECT_EQ(host.reads, (Texts{"LN/sUser_1", "LN/sUser_", "/sUser", "(null)/sUser"}));
}

TEST(ConfigurationValue, TellsWhatItReadAndWhatTheBufferHeldBefore) {
  FakeKoLib host;
  host.values[{"LN", "sUser_1"}] = "notes";
  Out out(1024);
  std::strcpy(out.bytes.data(), "earlier");
  EXPECT_TRUE(GetLndbUnixRegValue(out.data(), "sUser", "LN", "1"));
  EXPECT_EQ(host.errors, (Texts{"GetLndbUnixRegValue: key = LN, valName = sUser_1",
                                "GetLndbUnixRegValue: focus = tests",
                                "GetLndbUnixRegValue: ret = true, buffer = earlier"}));
  EXPECT_EQ(host.debug, Texts{});

  // Missing, with a buffer full of text and no terminator: of each kind as much as it holds.
  const std::pair<const char*, std::size_t> kinds[] = {
      {"nPort", 4}, {"llSize", 8}, {"sUser", 1023}};
  for (const auto& [name, readable] : kinds) {
    host.errors.clear();
    Out full(readable == 1023 ? 1024 : readable, 'b');
    EXPECT_FALSE(GetLndbUnixRegValue(full.data(), name, nullptr, nullptr));
    EXPECT_EQ(host.errors,
              (Texts{"GetLndbUnixRegValue: key = (null), valName = " + std::string(name),
                     "GetLndbUnixRegValue: focus = tests",
                     "GetLndbUnixRegValue: ret = false, buffer = " + std::string(readable, 'b'),
                     "GetLndbUnixRegValue: Last Error = no such value"}));
  }
}

TEST(ConfigurationValue, FitsUpTo1023BytesAndIsNeverCut) {
  FakeKoLib host;
  for (const std::size_t length : {0, 1022, 1023}) {
    host.values[{"key", "sText"}] = std::string(length, 'v');
    Out out(1024);
    EXPECT_TRUE(GetLndbUnixRegValue(out.data(), "sText", "key", nullptr));
    EXPECT_EQ(out.bytes.data(), std::string(length, 'v'));
  }
  for (const std::size_t length : {1024, 5000}) {  // Fill the store's buffer: no terminator.
    host.values[{"key", "sText"}] = std::string(length, 'v');
    Out out(1024);
    EXPECT_FALSE(GetLndbUnixRegValue(out.data(), "sText", "key", nullptr));
    EXPECT_EQ(out.bytes[0], '\0');
    EXPECT_EQ(host.errors.back(),
              "GetLndbUnixRegValue: Last Error = value of sText exceeds 1023 bytes");
  }
  host.values[{"key", "nText"}] = "42" + std::string(1022, ' ');
  int number = 0;
  EXPECT_TRUE(
      GetLndbUnixRegValue(reinterpret_cast<unsigned char*>(&number), "nText", "key", nullptr));
  EXPECT_EQ(number, 42);
}

TEST(ConfigurationValue, IsEmptyWhateverAStoreLeavesBehindThrowsOrLacksMemory) {
  FakeKoLib host;
  const auto expectNothing = [](const char* name, std::size_t size) {
    Out out(size);
    EXPECT_FALSE(GetLndbUnixRegValue(out.data(), name, "key", nullptr));
    EXPECT_EQ(out.bytes[0], '\0');
  };
  host.leftBehind = "77";
  expectNothing("sText", 1024);
  expectNothing("nText", 4);
  host.leftBehind.clear();
  host.throwsOnRead = true;
  expectNothing("sText", 1024);
  expectNothing("nText", 4);
  host.throwsOnRead = false;

  const std::string name(300, 's');
  host.values[{"key", name + "_suffix"}] = "found";
  Out out(1024);
  EXPECT_GT(failuresForWantOfMemory([&] {
              const bool found = GetLndbUnixRegValue(out.data(), name.c_str(), "key", "suffix");
              EXPECT_STREQ(out.bytes.data(), found ? "found" : "");
              return found;
            }),
            0);
}

TEST(ConfigurationValue, IsReadByAllFunctionsInTheSameWay) {
  FakeKoLib host;
  host.values[{"key", "sText"}] = "hello";
  host.values[{"key", "nPort"}] = "1352";
  Out out(1024);
  EXPECT_TRUE(GetRegistryValue("key", "sText", out.data(), 2)) << "the size is not used";
  EXPECT_STREQ(out.bytes.data(), "hello");

  unsigned int number = 0;
  EXPECT_TRUE(GetVMRegistryValue("key", "nPort", number));
  EXPECT_EQ(number, 1352u);
  EXPECT_FALSE(GetVMRegistryValue("key", "nMissing", number));
  EXPECT_EQ(number, 0u);
  // Under another prefix the text's first four bytes, and no byte behind the caller's number.
  EXPECT_TRUE(GetVMRegistryValue("key", "sText", number));
  EXPECT_EQ(std::memcmp(&number, "hell", 4), 0);

  host.reads.clear();
  EXPECT_FALSE(GetLndbUnixRegValue(nullptr, "sText", "key", nullptr));
  EXPECT_FALSE(GetLndbUnixRegValue(out.data(), nullptr, "key", nullptr));
  EXPECT_FALSE(GetRegistryValue("key", "sText", nullptr, 1024));
  EXPECT_EQ(host.reads, Texts{}) << "nothing to read into, or nothing to read";
}

TEST(Environment, VariablesAreCopiedWholeOrNotAtAll) {
  inChild([] {
    setenv("KOLN_TEST", "abc", 1);
    setenv("KOLN_EMPTY", "", 1);
    unsetenv("KOLN_UNSET");
    const struct {
      const char* name;
      unsigned size;
      unsigned result;
      const char* copied;
    } cases[] = {{"KOLN_TEST", 1, 4, "~~~~~~"},  {"KOLN_TEST", 3, 4, "~~~~~~"},
                 {"KOLN_TEST", 0, 4, "~~~~~~"},  {"KOLN_TEST", 4, 3, "abc"},
                 {"KOLN_TEST", 6, 3, "abc"},     {"KOLN_EMPTY", 1, 0, ""},
                 {"KOLN_UNSET", 6, 0, "~~~~~~"}, {nullptr, 6, 0, "~~~~~~"}};
    for (const auto& [name, size, result, copied] : cases) {
      char out[] = "~~~~~~";
      EXPECT_EQ(GetEnvironmentVariable(name, out, size), result) << name << size;
      EXPECT_STREQ(out, copied) << name << size;
    }
    EXPECT_EQ(GetEnvironmentVariable("KOLN_TEST", nullptr, 0), 4u);
  });
}

TEST(Environment, VariablesKeepACopyOfTheirOwn) {
  inChild([] {
    std::string value(60000, 'v');
    EXPECT_TRUE(SetEnvironmentVariable("KOLN_TEST", value.c_str()));
    value.assign("gone");
    EXPECT_EQ(getenv("KOLN_TEST"), std::string(60000, 'v'));
    EXPECT_TRUE(SetEnvironmentVariable("KOLN_TEST", ""));
    EXPECT_STREQ(getenv("KOLN_TEST"), "");
    EXPECT_FALSE(SetEnvironmentVariable("KOLN_TEST", nullptr));
    EXPECT_FALSE(SetEnvironmentVariable(nullptr, "x"));
    EXPECT_STREQ(getenv("KOLN_TEST"), "");
    EXPECT_EQ(failuresForWantOfMemory([] { return SetEnvironmentVariable("KOLN_TEST", "x"); }), 1);
  });
}

TEST(NormalizedText, IsUsableAsAFileNameAndAsLongAsBefore) {
  std::string text;
  for (int byte = 1; byte <= 0xFF; ++byte) {
    text.push_back(static_cast<char>(byte));
  }
  std::string expected(31, ' ');
  expected += " ! #$ &'() +,-. 0123456789 ; =  @";
  for (int byte = 'A'; byte <= 0xFE; ++byte) {
    expected.push_back(byte == '\\' || byte == '|' ? ' ' : static_cast<char>(byte));
  }
  KONormalizeText(text.data());
  EXPECT_EQ(text, expected + ' ');
  KONormalizeText(nullptr);
}

}  // namespace
