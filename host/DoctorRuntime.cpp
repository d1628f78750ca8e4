// The steps that happen in a child: code of the runtime runs, or the user is switched.
#include <dlfcn.h>
#include <fmt/format.h>
#include <grp.h>
#include <koln.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "Diagnosis.h"
#include "DoctorSteps.h"
#include "Log.h"

namespace host {
namespace {

// What the library sets or extends, in its order.
constexpr std::array variableNames = {"LOTUS", "Notes_ExecDirectory", "NOTES_DATA_DIR",
                                      "LD_LIBRARY_PATH", "PATH"};

std::string valueOf(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr ? value : "";
}

// What a command would have ended with: what is wrong, "; ", what to do.
Finding failedLike(const std::string& line) {
  const std::size_t place = line.rfind("; ");
  return {Mark::Failed, line.substr(0, place),
          place != std::string::npos ? line.substr(place + 2) : ""};
}

std::string joined(const ChildAnswer& answer) {
  return fmt::format("{}", fmt::join(answer.texts.begin() + 1, answer.texts.end(), ", "));
}

// The same call as the library's, which tells its host less about it.
void loadRuntime(const std::string& path, const Tell& tell) {
  void* const library = dlopen(path.c_str(), RTLD_LAZY);
  if (library == nullptr) {
    const char* const reason = dlerror();
    tell(reason != nullptr ? reason : "no reason is known");
    return;
  }
  tell("");
#define KOLN_TELL_IF_MISSING(result, name, parameters) \
  if (dlsym(library, #name) == nullptr) {              \
    tell(#name);                                       \
  }
  KOLN_NOTES_FUNCTIONS(KOLN_TELL_IF_MISSING)
#undef KOLN_TELL_IF_MISSING
}

// The road of a session.
bool prepare(KoLNInstance& instance, const Options& options, const Tell& tell) {
  installLog(options.logLevel, valueOf("KOLN_DEBUG_LOG") == "stderr");
  forgetUserSwitch();
  const bool prepared = instance.Initialize();
  endWithParent();
  tell(prepared ? "" : explainFailedPreparation(options).what());
  return prepared;
}

void startRuntime(KoLNInstance& instance, const Options& options, const Tell& tell) {
  const KoLNError started = instance.InitializeNotesEnv();
  const bool running = !started.IsErrorSet() && !instance.GetDataDirectory().empty();
  tell(running ? "" : explainFailedStart(options, started).what());
  tell(instance.GetDataDirectory());
}

}  // namespace

ChildAnswer Examination::ask(const std::function<void(const host::Tell&)>& work) const {
  return askChild(limit_, options_.logLevel >= 0 || valueOf("KOLN_DEBUG_LOG") == "stderr", work);
}

Finding Examination::loading() {
  const std::string path = programs_ + "/libnotes.so";
  loaded_ = ask([&](const host::Tell& tell) { loadRuntime(path, tell); });
  const std::string error =
      loaded_.failure.empty() ? loaded_.text(0) : "the runtime " + loaded_.failure;
  if (error.empty()) {
    return {Mark::Ok, "the runtime can be loaded"};
  }
  return {Mark::Failed, error,
          fmt::format("install a whole runtime for this machine, and run koln with "
                      "LD_LIBRARY_PATH={}",
                      programs_)};
}

Finding Examination::functions() const {
  const std::size_t missing = loaded_.texts.size() - 1;
  if (missing == 0) {
    return {Mark::Ok, fmt::format("all {} are there", KOLN_NOTES_FUNCTION_COUNT)};
  }
  return {
      Mark::Failed,
      fmt::format("{} of {} are missing: {}", missing, KOLN_NOTES_FUNCTION_COUNT, joined(loaded_)),
      "install a complete Notes runtime of a supported release"};
}

Finding Examination::user() {
  errno = 0;
  const passwd* const entry = KO_getpwnam(userName_.c_str());
  if (entry == nullptr) {
    return {Mark::Failed,
            fmt::format("there is no user '{}': {}", userName_,
                        errno == 0 ? "the system does not know the name" : strerror(errno)),
            fmt::format("correct the value \"sDominoUser_...\" in {}", configurationFile())};
  }
  struct Right {
    std::string path;
    int mode;
    const char* name;
  };
  const std::array rights = {Right{data_, R_OK | W_OK | X_OK, "list and change"},
                             Right{data_ + "/notes.ini", R_OK | W_OK, "read and change"},
                             Right{programs_ + "/libnotes.so", R_OK, "read"}};
  becoming_ = ask([&](const host::Tell& tell) {
    if (initgroups(userName_.c_str(), entry->pw_gid) != 0 ||
        setresgid(entry->pw_gid, entry->pw_gid, entry->pw_gid) != 0 ||
        setresuid(entry->pw_uid, entry->pw_uid, entry->pw_uid) != 0) {
      tell(strerror(errno));
      return;
    }
    tell("");
    for (const Right& right : rights) {
      if (access(right.path.c_str(), right.mode) != 0) {
        tell(fmt::format("may not {} {}: {}", right.name, right.path, strerror(errno)));
      }
    }
  });
  const std::string found =
      fmt::format("{} (UID {}, GID {})", userName_, entry->pw_uid, entry->pw_gid);
  if (const std::string error = becoming_.failure + becoming_.text(0); !error.empty()) {
    return {
        Mark::Failed, fmt::format("{}: no right to become this user: {}", found, error),
        fmt::format("run koln as root, as in: sudo env LD_LIBRARY_PATH={} koln ...", programs_)};
  }
  if (entry->pw_uid == 0) {
    return {Mark::Warning, found + ": the runtime keeps the rights of root",
            "give the partition a user of its own"};
  }
  return {Mark::Ok, found};
}

Finding Examination::rights() const {
  if (becoming_.texts.size() == 1) {
    return {Mark::Ok, fmt::format("{} may use {} and its notes.ini", userName_, data_)};
  }
  return {Mark::Failed, fmt::format("{} {}", userName_, joined(becoming_)),
          "give the user these rights"};
}

void Examination::variables() {
  if (passed("functions") && passed("notes.ini") && passed("user") &&
      !valueOf("LD_LIBRARY_PATH").empty() && !valueOf("PATH").empty()) {
    prepared_ = ask([this](const host::Tell& tell) {
      KoLNInstance instance(options_.registryKey, options_.instanceName, options_.serverName,
                            false);
      if (prepare(instance, options_, tell)) {
        for (const char* const name : variableNames) {
          tell(valueOf(name));
        }
      }
    });
  }
  for (std::size_t i = 0; i < variableNames.size(); ++i) {
    const std::string_view name = variableNames[i];
    const std::string before = valueOf(variableNames[i]);
    const std::string after = prepared_.text(i + 1);
    const std::string found = fmt::format("{}{}{}", before.empty() ? "not set" : before,
                                          after.empty() ? "" : " -> ", after);
    Finding finding = {Mark::Ok, found};
    if (name == "PATH" && before.empty()) {
      finding = {Mark::Failed, found, "run koln with PATH=/bin:/usr/bin"};
    } else if (name == "LD_LIBRARY_PATH") {
      const std::string remedy =
          fmt::format("run koln with it, as in: sudo env LD_LIBRARY_PATH={} koln ...",
                      home_.empty() ? "DIR" : programs_);
      if (before.empty()) {
        finding = {Mark::Failed, found, remedy};
      } else if (!home_.empty() &&
                 (':' + before + ':').find(':' + programs_ + ':') == std::string::npos) {
        // The loader reads it when koln starts; what the library adds is for other programs.
        finding = {Mark::Warning, found + " (it lacked the runtime when koln began)", remedy};
      }
    }
    take(variableNames[i], {}, [&] { return finding; });
  }
}

Finding Examination::preparation() const {
  if (!prepared_.failure.empty()) {
    return failedLike(
        fmt::format("the preparation {}; --debug-log stderr shows the detail", prepared_.failure));
  }
  return prepared_.text(0).empty()
             ? Finding{Mark::Ok, "the library took the partition and became its user"}
             : failedLike(prepared_.text(0));
}

Finding Examination::start() const {
  const auto begin = std::chrono::steady_clock::now();
  const ChildAnswer answer = ask([this](const host::Tell& tell) {
    KoLNInstance instance(options_.registryKey, options_.instanceName, options_.serverName, false);
    if (prepare(instance, options_, tell)) {
      startRuntime(instance, options_, tell);
    }
  });
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
  if (const std::string refusal = answer.text(0) + answer.text(1); !refusal.empty()) {
    return failedLike(refusal);
  }
  if (!answer.failure.empty()) {
    return failedLike(
        fmt::format("the runtime {}, when it was {}; check notes.ini and whether the "
                    "server's own programs start, --debug-log stderr shows the detail",
                    answer.failure, answer.texts.size() > 1 ? "ended" : "started"));
  }
  return {Mark::Ok, fmt::format("started and ended in {:.1f} s, data directory {}", time.count(),
                                answer.text(2))};
}

}  // namespace host
