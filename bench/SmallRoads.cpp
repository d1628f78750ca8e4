// What is on every road: a log line, an error record; and the shortest road of all, the text of a
// replica ID.
#include <cstdarg>
#include <cstdio>
#include <string>

#include "NotesDatabase.h"
#include "NotesError.h"
#include "bench/Roads.h"
#include "platform/Log.h"

namespace bench {
namespace {

constexpr const char* sourceName = "Bench";

// ---- a log line -------------------------------------------------------------------------------

std::size_t received = 0;  // Bytes that the sink was given.

void sink(const char* /*function*/, int /*level*/, const char* /*file*/, int /*line*/,
          const char* text, ...) {
  while (*text++ != '\0') ++received;
}

struct LogWithoutSink {
  void prepare() { SetLogCallback(nullptr); }
  void library() { KOLN_LOG("road", 0, "note [%d] of [%s]", 42, "mail/a.nsf"); }
  void twin() {}
  std::string result() const { return "nothing"; }
};

struct LogWithSink {
  void prepare() { SetLogCallback(sink); }
  void library() {
    received = 0;
    KOLN_LOG("road", 0, "note [%d] of [%s]", 42, "mail/a.nsf");
  }
  void twin() {
    received = 0;
    write("road", 0, "Bench", __LINE__, "note [%d] of [%s]", 42, "mail/a.nsf");
  }
  std::string result() const { return std::to_string(received); }

 private:
  __attribute__((format(printf, 5, 6))) static void write(const char* function, int level,
                                                          const char* file, int line,
                                                          const char* format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    sink(function, level, file, line, text);
  }
};

// ---- an error record --------------------------------------------------------------------------

// By hand one writes a struct and passes it through the same number of hands.
struct PlainError {
  unsigned short code = 0;
  std::string message;
  bool set = false;
};

[[gnu::noinline]] PlainError plainly(unsigned short code, const char* message) {
  PlainError error;
  if (code != 0) {
    error.code = code;
    error.message = message;
    error.set = true;
  }
  return error;
}

[[gnu::noinline]] KoLNError recorded(unsigned short code, const char* message) {
  KoLNError error;
  if (code != 0) {
    error.SetErrorCode(code);
    error.SetMessage(message);
  }
  return error;
}

constexpr const char* longMessage = "The database is not open, or was closed while it was read.";

struct CleanRecord {
  void library() {
    const KoLNError error = recorded(0, "");
    const KoLNError copy = error;  // NOLINT(performance-unnecessary-copy-initialization)
    failed = copy.IsErrorSet();
  }
  void twin() {
    const PlainError error = plainly(0, "");
    const PlainError copy = error;  // NOLINT(performance-unnecessary-copy-initialization)
    failed = copy.set;
  }
  std::string result() const { return failed ? "failed" : "clean"; }
  bool failed = true;
};

struct SetRecord {
  void library() {
    const KoLNError error = recorded(5117, longMessage);
    copy = error;
  }
  void twin() {
    const PlainError error = plainly(5117, longMessage);
    plainCopy = error;
  }
  std::string result() const { return copy.IsErrorSet() ? copy.GetMessage() : plainCopy.message; }
  KoLNError copy;
  PlainError plainCopy;
};

// ---- a replica ID -----------------------------------------------------------------------------

struct ReplicaId {
  explicit ReplicaId(const Site& site) : site(site), db(site.mailbox, site.instance) { db.Open(); }
  void prepare() {
    if (site.ground == Ground::Simulated) return;
    KO_NSFDbOpen = [](const char*, DBHANDLE* handle) -> STATUS { return *handle = 7, NOERROR; };
    KO_NSFDbReplicaInfoGet = [](DBHANDLE, DBREPLICAINFO* info) -> STATUS {
      info->ID.Innards[0] = 0x17A2;
      info->ID.Innards[1] = 0x257CED;
      return NOERROR;
    };
    if (db.GetHandle() == NULLHANDLE) db.Open();
  }
  void library() { failed = db.GetReplicaID(text).IsErrorSet(); }
  void twin() {
    DBREPLICAINFO info;
    failed = KO_NSFDbReplicaInfoGet(db.GetHandle(), &info) != NOERROR;
    if (failed) return;
    char digits[18];
    std::snprintf(digits, sizeof digits, "%08X:%08X", info.ID.Innards[1], info.ID.Innards[0]);
    text = digits;
  }
  std::string result() const { return failed ? "failed" : text; }

  Site site;
  KoLNDatabase db;
  std::string text;
  bool failed = false;
};

}  // namespace

void addSmallRoads(Pairs& pairs, const Site& site) {
  constexpr unsigned rounds = 200;
  const auto add = [&]<typename Road>(const char* name, Limits limits, const auto&... arguments) {
    pairs.push_back(makePair<Road>(name, 0, site.ground, rounds, limits, arguments...));
  };
  if (site.ground == Ground::Hollow) {  // These make no Notes call.
    add.template operator()<LogWithoutSink>("log-without-sink", {0, 0, 6, true});
    add.template operator()<LogWithSink>("log-with-sink", {1.25, 0, 0, true});
    add.template operator()<CleanRecord>("error-clean", {0, 0, 0, true});
    add.template operator()<SetRecord>("error-set", {1.25, 0, 0, false});
  }
  add.template operator()<ReplicaId>("replica-id", {0, 1.03, 250, false}, site);
}

}  // namespace bench
