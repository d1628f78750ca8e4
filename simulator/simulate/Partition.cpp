// See Partition.h.
#include "Partition.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <span>
#include <string_view>
#include <vector>

#include "AtomicFile.h"
#include "Content.h"
#include "People.h"
#include "Text.h"

namespace fs = std::filesystem;

namespace simulator {

namespace {

// The first line of the configuration store; only a directory that has it is ever replaced.
constexpr std::string_view Mark = "# A simulated partition, made by koln-simulate.";
constexpr const char* RegistryName = "registry.conf";

// Notes paths end at 255 bytes; the longest one below the data directory must still fit.
constexpr std::size_t LongestDataDirectory = 180;

struct Account {
  uid_t user;
  gid_t group;
};

Account accountOf(const std::string& user) {
  errno = 0;
  const passwd* entry = ::getpwnam(user.c_str());
  if (!entry) throw PartitionError(fmt::format("there is no user \"{}\" on this machine", user));
  return {entry->pw_uid, entry->pw_gid};
}

// What stands in files of lines must not end the line, nor the quotes around a name.
void requirePlainText(std::string_view what, const std::string& text) {
  const bool plain = std::none_of(
      text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F || c == '"'; });
  if (!plain)
    throw PartitionError(fmt::format("{}: no quotes and control characters, please", what));
}

bool madeByThisTool(const fs::path& directory) {
  std::ifstream registry(directory / RegistryName);
  std::string line;
  return std::getline(registry, line) && line == Mark;
}

// Leaves an empty directory, or only what is not the tool's.
void prepareDirectory(const PartitionPlan& plan) {
  const fs::path& directory = plan.directory;
  if (fs::exists(directory) && !fs::is_directory(directory))
    throw PartitionError(fmt::format("{} is not a directory", directory.string()));
  if (fs::exists(directory) && !fs::is_empty(directory)) {
    if (!plan.replace) {
      throw PartitionError(
          fmt::format("{} is not empty (--force replaces a partition)", directory.string()));
    }
    if (!madeByThisTool(directory)) {
      throw PartitionError(
          fmt::format("{} does not look like a partition made by this tool, so it is left alone",
                      directory.string()));
    }
    fs::remove(directory / RegistryName);
    fs::remove_all(directory / "data");
  }
  fs::create_directories(directory / "data");
}

void writeText(const fs::path& path, const std::string& text) {
  const auto* bytes = reinterpret_cast<const BYTE*>(text.data());
  writeFileAtomically(path.string(), std::span<const BYTE>(bytes, text.size()), true, true);
}

// names.nsf, names2.nsf and so on.
std::vector<std::string> addressBookNames(unsigned count) {
  std::vector<std::string> names{"names.nsf"};
  for (unsigned number = 2; number <= count; ++number)
    names.push_back(fmt::format("names{}.nsf", number));
  return names;
}

std::string notesIni(const fs::path& data, const fs::path& home,
                     const std::vector<std::string>& addressBooks) {
  return fmt::format(
      "[Notes]\n"
      "NotesProgram={1}\n"
      "Directory={0}\n"
      "KitType=2\n"
      "ServerName={2}\n"
      "Domain={3}\n"
      "NAMES={4}\n"
      "MailType=0\n",
      data.string(), (home / "notes/latest/linux").string(), MailServer, MailDomain,
      fmt::join(addressBooks, ","));
}

std::string registry(const fs::path& data, const fs::path& home, const std::string& user) {
  // "=" would end a name too early.
  const bool quoted = data.string().find('=') != std::string::npos;
  const std::string quote = quoted ? "\"" : "";
  return fmt::format(
      "{4}\n"
      "# KOLN_CONFIG leads the host support library here.\n"
      "\n"
      "# The instance \"Domino\" and its partition.\n"
      "[Domino]\n"
      "{3}{0}{3} = 1\n"
      "sDominoDataDir_1 = {0}\n"
      "{3}{0}_sDominoHomeDir{3} = {1}\n"
      "sDominoUser_1 = {2}\n"
      "\n"
      "# For hosts that start through the plain functions.\n"
      "[]\n"
      "{3}{0}{3} = 1\n"
      "_sDominoHomeDir = {1}\n"
      "\n"
      "[1]\n"
      "sDominoDataDir = {0}\n"
      "sDominoUser = {2}\n",
      data.string(), home.string(), user, quote, Mark);
}

// Root makes partitions for others; the files must be theirs.
void handOver(const fs::path& path, const Account& account) {
  if (::geteuid() != 0 || account.user == 0) return;
  if (::lchown(path.c_str(), account.user, account.group) != 0) {
    throw PartitionError(
        fmt::format("{}: change of owner: {}", path.string(), std::strerror(errno)));
  }
}

// Writes the databases one by one and tells how far it is.
class Writer {
 public:
  Writer(fs::path data, std::size_t total, const Progress& progress)
      : data_(std::move(data)), total_(total), progress_(progress) {}

  void write(const fs::path& path, const Store& store) {
    const fs::path full = data_ / path;
    // The directories are few; asking for each file whether they exist would cost.
    if (known_.insert(path.parent_path()).second) fs::create_directories(full.parent_path());
    store.saveAs(full.string(), Store::Existing::Keep, Store::Flush::Later);
    progress_(++done_, total_);
  }

 private:
  fs::path data_;
  std::set<fs::path> known_;
  std::size_t total_;
  std::size_t done_ = 0;
  const Progress& progress_;
};

PartitionSummary makePartition(const PartitionPlan& plan, const Progress& progress) {
  const Account account = accountOf(plan.user);
  PartitionSummary summary;
  summary.data = plan.directory / "data";
  summary.registry = plan.directory / RegistryName;
  requirePlainText("the directory", summary.data.string());
  requirePlainText("the home directory", plan.home.string());
  if (utf8ToLmbcs(summary.data.string()).size() > LongestDataDirectory)
    throw PartitionError(
        fmt::format("{}: path too long for a data directory", summary.data.string()));
  prepareDirectory(plan);

  const std::vector<Person> people =
      inventPeople({plan.mailboxes, plan.people, plan.departments}, plan.seed);
  const ContentMaker content(people, plan.seed);
  const MailPlan mail{plan.notes, plan.attachments, plan.folders};
  summary.people = people.size();
  for (const Person& person : people) ++summary.departments[person.department];
  summary.mailboxes = plan.mailboxes;
  summary.archives = std::min<std::size_t>(plan.mailboxes, 3 + plan.mailboxes / 100);
  summary.applications = applications().size();

  const std::vector<std::string> addressBooks = addressBookNames(plan.addressBooks);
  summary.addressBooks = addressBooks.size();

  Writer writer(summary.data,
                summary.addressBooks + summary.applications + summary.mailboxes + summary.archives,
                progress);
  for (const char* folder : {"mail", "apps", "archive"})
    fs::create_directory(summary.data / folder);
  writeText(summary.data / "notes.ini", notesIni(summary.data, plan.home, addressBooks));
  for (std::size_t i = 0; i < addressBooks.size(); ++i)
    writer.write(addressBooks[i], content.addressBook(i, addressBooks.size()));
  for (std::size_t i = 0; i < summary.applications; ++i)
    writer.write(applications()[i].path, content.application(i));
  for (std::size_t i = 0; i < summary.archives; ++i)
    writer.write("archive/a_" + people[i].shortName + ".nsf", content.archive(i, mail));
  for (std::size_t i = 0; i < summary.mailboxes; ++i)
    writer.write(people[i].mailbox, content.mailbox(i, mail));

  handOver(plan.directory, account);
  handOver(summary.data, account);
  for (const auto& entry : fs::recursive_directory_iterator(summary.data))
    handOver(entry.path(), account);
  writeText(summary.registry, registry(summary.data, plan.home, plan.user));
  handOver(summary.registry, account);
  return summary;
}

}  // namespace

PartitionSummary createPartition(const PartitionPlan& plan, const Progress& progress) {
  try {
    return makePartition(plan, progress);
  } catch (const StatusError& error) {
    throw PartitionError(error.what());
  } catch (const fs::filesystem_error& error) {
    throw PartitionError(fmt::format("{}: {}", error.path1().string(), error.code().message()));
  }
}

}  // namespace simulator
