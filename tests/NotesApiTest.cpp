// The binding of the Notes API against stub libraries: complete, each with one function missing,
// and none at all.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "findDataPartition.h"
#include "support/FakeKoLib.h"
#include "support/ScarceMemory.h"
#include "support/TemporaryDirectory.h"

namespace {

using Texts = std::vector<std::string>;

// The table as addresses, so that it can be walked.
struct Entry {
  const char* name;
  void* (*read)();
  void (*write)(void*);
};

#define KOLN_ENTRY(result, name, parameters)                 \
  {#name, [] { return reinterpret_cast<void*>(KO_##name); }, \
   [](void* address) { KO_##name = reinterpret_cast<decltype(KO_##name)>(address); }},
constexpr Entry table[] = {KOLN_NOTES_FUNCTIONS(KOLN_ENTRY)};
#undef KOLN_ENTRY

class NotesApi : public testing::Test {
 protected:
  NotesApi() : home_(directory_.path() + "/opt") { fill(nullptr); }
  ~NotesApi() override { fill(nullptr); }

  static void fill(void* address) {
    for (const Entry& entry : table) {
      entry.write(address);
    }
  }

  static std::string stub() {
    std::ifstream in(KOLN_STUB_NOTES, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  // Puts a library where the home directory has it.
  static std::string install(const std::string& home, const std::string& content) {
    const std::string path = home + "/notes/latest/linux/libnotes.so";
    writeFile(path, content);
    return path;
  }

  bool load(const std::string& home) {
    host_.values[{"LN", "/data_sDominoHomeDir"}] = home;
    host_.debug.clear();
    return loadNotesFunctions("Domino\x12/data", "LN");
  }

  FakeKoLib host_;
  TemporaryDirectory directory_;
  std::string home_;
};

static_assert(std::size(table) == 119 && KOLN_NOTES_FUNCTION_COUNT == 119);

TEST_F(NotesApi, BindsEveryFunctionOfTheHomeDirectorysLibraryAndKeepsItLoaded) {
  const std::string path = install(home_, stub());
  // A second load binds the same again; a "/" at the end of the home directory does no harm.
  for (const std::string& home : {home_, home_, home_ + "/"}) {
    fill(nullptr);
    EXPECT_TRUE(load(home));
    EXPECT_EQ(host_.debug, Texts{});
    void* const library = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    for (const Entry& entry : table) {
      EXPECT_NE(entry.read(), nullptr);
      EXPECT_EQ(entry.read(), dlsym(library, entry.name)) << entry.name;
    }
    dlclose(library);
  }
}

TEST_F(NotesApi, StopsAtAMissingFunctionAndLeavesTheRestAsItIs) {
  const std::string whole = stub();
  void* const untouched = &host_;
  for (std::size_t missing = 0; missing < std::size(table); ++missing) {
    const std::string name = table[missing].name;
    SCOPED_TRACE(name);
    // The name in the library's string tables becomes another one.
    std::string library = whole;
    std::string stored = '\0' + name + '\0';
    std::size_t changed = 0;
    for (std::size_t at = 0; (at = library.find(stored, at)) != std::string::npos; ++changed) {
      library[at + name.size()] = '_';
    }
    ASSERT_GT(changed, 0u);
    const std::string home = home_ + std::to_string(missing);
    const std::string path = install(home, library);

    fill(untouched);
    EXPECT_FALSE(load(home));
    EXPECT_EQ(host_.debug, Texts{"Could not obtain address of " + name + " from " + path + ".\n"});
    for (std::size_t i = 0; i < std::size(table); ++i) {
      if (i < missing) {
        EXPECT_TRUE(table[i].read() != nullptr && table[i].read() != untouched) << table[i].name;
      } else {
        EXPECT_EQ(table[i].read(), i == missing ? nullptr : untouched) << table[i].name;
      }
    }
  }
}

TEST_F(NotesApi, LooksTheHomeDirectoryUpByWhatStandsBehindTheFirstDelimiter) {
  for (const char* const name : {"", "Domino", "/data"}) {
    host_.debug.clear();
    EXPECT_FALSE(loadNotesFunctions(name, "LN"));
    EXPECT_EQ(host_.debug, Texts{"Delimiter not found in instance Name " + std::string(name)});
  }
  EXPECT_EQ(host_.reads, Texts{});
  for (const char* const name : {"A\x12/data", "\x12/data/", "A\x12\x12/data", "A\x12"}) {
    host_.debug.clear();
    EXPECT_FALSE(loadNotesFunctions(name, "LN"));
    EXPECT_EQ(host_.debug, Texts{"Could not get Domino Home Directory from registry"});
  }
  EXPECT_EQ(host_.reads, (Texts{"LN//data_sDominoHomeDir", "LN//data/_sDominoHomeDir",
                                "LN/\x12/data_sDominoHomeDir", "LN/_sDominoHomeDir"}));
}

TEST_F(NotesApi, NeverLoadsFromAHomeDirectoryThatIsEmptyRelativeOrTooLong) {
  install(home_, stub());
  std::filesystem::current_path(directory_.path());
  for (const std::string& home :
       {std::string(), std::string("opt"), std::string("./opt"), "/" + std::string(1023, 'h')}) {
    EXPECT_FALSE(load(home));
    EXPECT_EQ(host_.debug, Texts{"Could not get Domino Home Directory from registry"}) << home;
  }
  std::filesystem::current_path("/");
}

TEST_F(NotesApi, ReportsALibraryThatIsMissingOrCannotBeLoaded) {
  const std::string file = "/notes/latest/linux/libnotes.so";
  EXPECT_FALSE(load(home_));
  EXPECT_EQ(host_.debug, Texts{"Notes API Lib " + home_ + file + " does not exist!"});

  const std::string longest = "/" + std::string(1022, 'h');
  EXPECT_FALSE(load(longest));
  EXPECT_EQ(host_.debug, Texts{"Notes API Lib " + longest + file + " does not exist!"});

  install(home_, "not a library");
  std::filesystem::create_directories(directory_.path() + "/folder" + file);
  for (const std::string& home : {home_, directory_.path() + "/folder"}) {
    EXPECT_FALSE(load(home));
    ASSERT_EQ(host_.debug.size(), 1u);
    const std::string start = "Could not load " + home + file + ".Error from dlopen:" + home + file;
    EXPECT_EQ(host_.debug[0].substr(0, start.size()), start);
    EXPECT_EQ(host_.debug[0].back(), '\n');
  }
  for (const Entry& entry : table) {
    EXPECT_EQ(entry.read(), nullptr);
  }
}

TEST_F(NotesApi, FailsWithALineWhereMemoryRunsOut) {
  const std::string home = directory_.pathOfLength(1023);  // The longest that a value can be.
  install(home, stub());
  EXPECT_TRUE(load(home));
  const int failures =
      failuresForWantOfMemory([] { return loadNotesFunctions("D\x12/data", "LN"); });
  EXPECT_GT(failures, 1);
  EXPECT_EQ(host_.debug.size(), static_cast<std::size_t>(failures));
}

}  // namespace
