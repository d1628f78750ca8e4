// The command `koln info`: what the library tells about one database.
#include <fmt/format.h>
#include <koln.h>

#include <array>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "Amounts.h"
#include "Commands.h"
#include "NotesFailure.h"
#include "Output.h"
#include "Session.h"
#include "ShownText.h"
#include "Times.h"
#include "Translation.h"

namespace host {
namespace {

constexpr const char* footer =
    R"(With --json one object: path, fullPath, mode, title, class, designClass, bytesUsed,
bytesFree, quota (null, or warningBytes and limitBytes), created and modified (null if
unknown), replicaId, options (a number).
)";

struct Quota {
  std::uint64_t warning;  // Bytes; 0 = none.
  std::uint64_t limit;
};

struct Properties {
  std::string path;
  std::string fullPath;
  std::string mode;
  std::string title;
  std::string itsClass;
  std::string designClass;
  DWORD used = 0;
  DWORD free = 0;
  std::optional<Quota> quota;
  std::optional<std::string> created;
  std::optional<std::string> modified;
  std::string replicaId;
  DWORD options = 0;
};

class Reader {
 public:
  Reader(KoLNDatabase& database, const std::string& path) : database_(database), path_(path) {}

  Properties read() {
    Properties all;
    readPlace(all);
    readNames(all);
    readSizes(all);
    readTimes(all);
    require(database_.GetReplicaID(all.replicaId));
    const KoLNError error = database_.GetOptions(&all.options);
    if ((error.GetErrorCode() & ERR_MASK) != ERR_SPECIAL_ID) {  // That says that none are stored.
      require(error);
    }
    return all;
  }

 private:
  void require(const KoLNError& error) const {
    if (isError(error)) {
      throw failureOf(path_ + " does not tell all its properties", error);
    }
  }

  void readPlace(Properties& all) {
    std::array<char, MAXPATH> canonical = {};
    std::array<char, MAXPATH> expanded = {};
    require(database_.GetPaths(canonical.data(), expanded.data()));
    all.path = utf8FromLmbcs(canonical.data());
    all.fullPath = utf8FromLmbcs(expanded.data());
    WORD mode = 0;
    require(database_.GetMode(&mode));
    all.mode = mode == DB_LOADED      ? "database"
               : mode == DB_DIRECTORY ? "directory"
                                      : fmt::format("{}", mode);
  }

  void readNames(Properties& all) {
    std::string text;
    require(database_.GetTitle(text));
    all.title = utf8FromLmbcs(text);
    text.clear();
    require(database_.GetDesignClass(text));
    all.designClass = utf8FromLmbcs(text);
    // The library names the template that a database comes from, but not the one that it is.
    std::array<char, NSF_INFO_SIZE + 1> information = {};
    std::array<char, NSF_INFO_SIZE + 1> itsClass = {};
    require(database_.GetInfo(information.data()));
    KO_NSFDbInfoParse(information.data(), INFOPARSE_CLASS, itsClass.data(), NSF_INFO_SIZE - 1);
    all.itsClass = utf8FromLmbcs(itsClass.data());
  }

  void readSizes(Properties& all) {
    require(database_.GetSpaceUsage(&all.used, &all.free));
    DBQUOTAINFOEXT quota = {};
    require(database_.GetQuota(&quota));
    constexpr std::uint64_t unit = 1024;
    if (quota.SizeLimit != 0 || quota.WarningThreshold != 0) {
      all.quota = Quota{quota.WarningThreshold * unit, quota.SizeLimit * unit};
    }
  }

  void readTimes(Properties& all) {
    TIMEDATE time = {{ALLDAY, ANYDAY}};
    require(database_.GetCreationTime(time));
    all.created = iso8601(time);
    time = {{ALLDAY, ANYDAY}};
    require(database_.GetModifiedTime(time));
    all.modified = iso8601(time);
  }

  KoLNDatabase& database_;
  const std::string& path_;
};

std::string readableQuota(const std::optional<Quota>& quota) {
  if (!quota) {
    return "none";
  }
  const auto text = [](std::uint64_t size) { return size == 0 ? "none" : readableSize(size); };
  return fmt::format("{}, warning at {}", text(quota->limit), text(quota->warning));
}

std::string lines(const Properties& all) {
  const auto line = [](const char* name, const std::string& value) {
    return fmt::format("{:<13}{}\n", name, shown(value.empty() ? "-" : value));
  };
  return line("title", all.title) + line("class", all.itsClass) +
         line("design class", all.designClass) + line("path", all.path) +
         line("full path", all.fullPath) + line("mode", all.mode) +
         line("size", readableSize(all.used) + " in use, " + readableSize(all.free) + " free") +
         line("quota", readableQuota(all.quota)) +
         line("created", all.created.value_or("unknown")) +
         line("modified", all.modified.value_or("unknown")) + line("replica ID", all.replicaId) +
         line("options", fmt::format("0x{:08X}", all.options));
}

std::string json(const Properties& all) {
  using Json = nlohmann::ordered_json;
  const auto orNull = [](const std::optional<std::string>& text) {
    return text ? Json(*text) : Json();
  };
  const Json quota =
      all.quota ? Json({{"warningBytes", all.quota->warning}, {"limitBytes", all.quota->limit}})
                : Json();
  const Json object = {{"path", all.path},
                       {"fullPath", all.fullPath},
                       {"mode", all.mode},
                       {"title", all.title},
                       {"class", all.itsClass},
                       {"designClass", all.designClass},
                       {"bytesUsed", all.used},
                       {"bytesFree", all.free},
                       {"quota", quota},
                       {"created", orNull(all.created)},
                       {"modified", orNull(all.modified)},
                       {"replicaId", all.replicaId},
                       {"options", all.options}};
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

ExitCode run(const Options& options, const std::string& path) {
  Session session(options);
  KoLNDatabase database(path, session.instance());
  const KoLNError error = database.Open(path, false);
  if (isError(error)) {
    throw failureOf(path + " could not be opened", error);
  }
  const Properties all = Reader(database, path).read();
  writeResult(options.json ? json(all) : lines(all));
  return ExitCode::Done;
}

}  // namespace

Command info(CLI::App& parent, Options& options) {
  CLI::App* const words = parent.add_subcommand("info", "the properties of one database");
  words->footer(footer);
  const auto path = std::make_shared<std::string>();
  addDatabaseArgument(*words, *path);
  words->add_flag("--json", options.json, "one JSON object");
  return {words, [&options, path] { return run(options, *path); }};
}

}  // namespace host
