// koln-simulate: makes partitions for the simulated Notes runtime, and loses notes of them, so that
// a host can be written and tried where there is no server.
#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "Content.h"
#include "Notes.h"
#include "Partition.h"
#include "People.h"
#include "Status.h"
#include "Store.h"

namespace fs = std::filesystem;
using namespace simulator;

namespace {

constexpr int Failed = 1;
constexpr int WrongUsage = 2;

constexpr const char* RuntimePath = "notes/latest/linux/libnotes.so";

constexpr const char* CreateDescription =
    "Makes a partition with a directory, mailboxes, applications and archives.\n"
    "\n"
    "The same seed and counts always give the same databases. DIR gets\n"
    "  data/names.nsf   the directory: one person document for each mailbox, and a few\n"
    "                   people without a mailbox, as real directories have them; with\n"
    "                   --books, more address books: data/names2.nsf and so on\n"
    "  data/mail/       the mailboxes\n"
    "  data/apps/       applications, in nested folders\n"
    "  data/archive/    archives of the first mailboxes\n"
    "  data/notes.ini   the settings of the partition\n"
    "  registry.conf    the configuration store; written last, so a directory without it\n"
    "                   is not complete\n";

constexpr const char* DeleteDescription =
    "Deletes documents of a database as its users would, so that there is something to restore.\n"
    "Deletion stubs stay, and the documents leave their folders.\n";

constexpr const char* Examples =
    "Examples:\n"
    "  koln-simulate create /tmp/partition\n"
    "  koln-simulate create /tmp/partition --mailboxes 100 --notes 50 --seed 7 --force\n"
    "  koln-simulate create /tmp/partition --persons 100000 --departments 3 --books 2\n"
    "  sudo koln-simulate create /var/tmp/partition --user notes\n"
    "  koln-simulate delete /tmp/partition/data/mail/zori.nsf --every 2\n";

std::string invokingUser() {
  if (::geteuid() == 0) {
    const char* sudoUser = std::getenv("SUDO_USER");
    if (sudoUser && *sudoUser != '\0') return sudoUser;
  }
  const passwd* entry = ::getpwuid(::geteuid());
  if (!entry) throw PartitionError("the user that runs this has no name; say --user");
  return entry->pw_name;
}

bool isHome(const fs::path& directory) {
  std::error_code ignored;  // what cannot be looked at is no home
  return fs::is_regular_file(directory / RuntimePath, ignored);
}

// The simulated runtime's home: beside the tool, as it was built or installed.
fs::path findHome() {
  const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
  const std::array candidates{here / "../simulator",
                              here / ".." / KOLN_INSTALL_LIBDIR / "koln/simulator",
                              here / "../lib/koln/simulator", here / "../lib64/koln/simulator"};
  for (const fs::path& candidate : candidates) {
    if (isHome(candidate)) return fs::canonical(candidate);
  }
  throw PartitionError("the simulated runtime is not where it is built or installed; say --home");
}

void showProgress(std::size_t done, std::size_t total) {
  static const bool terminal = ::isatty(STDERR_FILENO) == 1;
  static auto last = std::chrono::steady_clock::time_point();
  if (!terminal) return;
  const auto now = std::chrono::steady_clock::now();
  if (done != total && now - last < std::chrono::milliseconds(200)) return;
  last = now;
  fmt::print(stderr, "\r{} of {} databases{}", done, total, done == total ? "\n" : "");
}

// For a shell: as it is where possible, otherwise in quotes.
std::string shellWord(const std::string& text) {
  constexpr std::string_view plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+:@%,";
  if (!text.empty() && text.find_first_not_of(plain) == std::string::npos) return text;
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

void printSummary(const PartitionPlan& plan, const PartitionSummary& summary) {
  std::string departments;
  for (const auto& [name, people] : summary.departments)
    departments += fmt::format("{}{} {}", departments.empty() ? "" : ", ", name, people);
  fmt::print(
      "Partition {}: {} people in {} address book(s), {} mailboxes with {} notes each, {} "
      "archives, {} applications.\n"
      "People by department: {}.\n"
      "\n"
      "The host switches to the user {}, so run it as that user or as root:\n"
      "  LD_LIBRARY_PATH={} KOLN_CONFIG={} koln --data {} discover databases\n"
      "LD_LIBRARY_PATH must be set before the host starts: the loader reads it only then.\n",
      plan.directory.string(), summary.people, summary.addressBooks, summary.mailboxes, plan.notes,
      summary.archives, summary.applications, departments, plan.user,
      shellWord((plan.home / RuntimePath).parent_path().string()),
      shellWord(summary.registry.string()), shellWord(summary.data.string()));
}

int create(PartitionPlan plan, const std::string& user, const std::string& home) {
  plan.directory = fs::absolute(plan.directory).lexically_normal();
  if (!plan.directory.has_filename()) plan.directory = plan.directory.parent_path();
  plan.user = user.empty() ? invokingUser() : user;
  if (home.empty()) {
    plan.home = findHome();
  } else if (isHome(home)) {
    plan.home = fs::canonical(home);
  } else {
    throw PartitionError(fmt::format("{} holds no {}", home, RuntimePath));
  }
  printSummary(plan, createPartition(plan, showProgress));
  return 0;
}

void deleteNote(Store& store, NoteHeader& note) {
  Transaction batch = store.batch();
  for (const DWORD object : objectsOf(store.items(note.id))) store.removeObject(object);
  note.deleted = true;
  ++note.originator.Sequence;
  note.originator.SequenceTime = note.modified = nextUpdateTime();
  store.writeNote(note, {});
  batch.commit();
}

int deleteNotes(const std::string& database, std::size_t every) {
  try {
    Store store = Store::open(database);
    std::vector<NoteHeader> notes = store.notes(NOTE_CLASS_DOCUMENT);
    std::erase_if(notes, [](const NoteHeader& note) { return note.deleted; });
    std::size_t deleted = 0;
    for (std::size_t i = every - 1; i < notes.size(); i += every, ++deleted)
      deleteNote(store, notes[i]);
    fmt::print("{}: {} of {} documents deleted\n", database, deleted, notes.size());
    return 0;
  } catch (const StatusError& error) {
    throw PartitionError(fmt::format("{}: {}", database, error.what()));
  }
}

int run(int argc, char** argv) {
  CLI::App app("Makes partitions for the simulated Notes runtime.", "koln-simulate");
  app.footer(Examples);
  app.require_subcommand(1);

  PartitionPlan plan;
  plan.mailboxes = 10;
  plan.notes = 20;
  plan.departments = static_cast<unsigned>(departmentsKnown());
  std::string directory;
  std::string user;
  std::string home;
  CLI::App* const createCommand = app.add_subcommand("create", CreateDescription);
  createCommand->footer(Examples);
  createCommand->add_option("DIR", directory, "Where to make it; must not exist or be empty")
      ->required();
  createCommand->add_option("--mailboxes", plan.mailboxes, "How many mailboxes")
      ->check(CLI::Range(0, 1'000'000))
      ->capture_default_str();
  createCommand->add_option("--notes", plan.notes, "How many notes in each mailbox")
      ->check(CLI::Range(0, 1'000'000))
      ->capture_default_str();
  createCommand
      ->add_option("--attachments", plan.attachments,
                   "How many of a hundred mails have attachments")
      ->check(CLI::Range(0, 100))
      ->capture_default_str();
  createCommand
      ->add_option("--folders", plan.folders,
                   "How many folders in each mailbox beside the inbox, most of them nested")
      ->check(CLI::Range(0, 1000))
      ->capture_default_str();
  createCommand
      ->add_option("--persons", plan.people,
                   "How many people the directory has, not fewer than mailboxes (default: those of "
                   "the mailboxes and a few without one); the mail files of further people do not "
                   "exist")
      ->check(CLI::Range(1, 1'000'000));
  createCommand->add_option("--departments", plan.departments, "How many departments they are in")
      ->check(CLI::Range(std::size_t{1}, departmentsKnown()))
      ->capture_default_str();
  createCommand
      ->add_option("--books", plan.addressBooks, "How many address books they are dealt out over")
      ->check(CLI::Range(std::size_t{1}, MostAddressBooks))
      ->capture_default_str();
  createCommand->add_option("--seed", plan.seed, "Where the content follows from")
      ->capture_default_str();
  createCommand->add_option(
      "--user", user, "Who runs the partition and owns its files (default: you, also under sudo)");
  createCommand->add_option("--home", home,
                            "Directory that holds notes/latest/linux/libnotes.so (default: the "
                            "simulated runtime that comes with this tool)");
  createCommand->add_flag("--force", plan.replace, "Replace a partition that this tool has made");

  std::string database;
  std::size_t every = 1;
  CLI::App* const deleteCommand = app.add_subcommand("delete", DeleteDescription);
  deleteCommand->add_option("DB", database, "File of the database")->required();
  deleteCommand->add_option("--every", every, "Only every Nth document, by ID")
      ->check(CLI::Range(1, 1'000'000))
      ->capture_default_str();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(error);
    fmt::print(stderr, "koln-simulate: {} (see --help)\n", error.what());
    return WrongUsage;
  }
  if (deleteCommand->parsed()) return deleteNotes(database, every);
  if (plan.people && *plan.people < plan.mailboxes) {
    fmt::print(stderr, "koln-simulate: {} mailboxes need as many persons, not {} (see --help)\n",
               plan.mailboxes, *plan.people);
    return WrongUsage;
  }
  plan.directory = directory;
  return create(plan, user, home);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::bad_alloc&) {
    fmt::print(stderr, "koln-simulate: out of memory\n");
  } catch (const std::exception& error) {
    fmt::print(stderr, "koln-simulate: {}\n", error.what());
  }
  return Failed;
}
