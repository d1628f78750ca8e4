// The way to a running Notes runtime, step by step: what is there, and what to do about what is not
// right. Nothing is changed on the way; what cannot be taken back is done in child processes.
#ifndef KOLN_HOST_DOCTOR_STEPS_H
#define KOLN_HOST_DOCTOR_STEPS_H

#include <chrono>
#include <functional>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "DoctorChild.h"
#include "Options.h"

namespace host {

enum class Mark { Ok, Warning, Failed, Skipped };

struct Finding {
  Mark mark;
  std::string found;
  std::string remedy = {};  // For what is not right.
};

class Examination {
 public:
  using Tell = std::function<void(const std::string& step, const Finding& finding)>;

  /// @param limit How long the runtime may take to be loaded, and to start.
  Examination(const Options& options, std::chrono::seconds limit, Tell tell);

  /// Examines all, telling each step as it comes. @throws Failure if the user interrupts.
  void run();

  /// The steps that failed.
  const std::vector<std::string>& failed() const noexcept { return failed_; }

 private:
  // Takes a step, unless one that it needs was not right itself.
  void take(const char* name, std::initializer_list<const char*> needed,
            const std::function<Finding()>& step);
  bool passed(const char* name) const;

  // What lies there: files and values.
  Finding configuration() const;
  Finding partition();
  Finding home() const;
  Finding library();
  Finding dataDirectory() const;
  Finding notesIni() const;
  Finding holdFile() const;

  // What happens in a child.
  ChildAnswer ask(const std::function<void(const host::Tell&)>& work) const;
  Finding loading();
  Finding functions() const;
  Finding user();
  Finding rights() const;
  void variables();
  Finding preparation() const;
  Finding start() const;

  const Options& options_;
  const std::chrono::seconds limit_;
  const Tell tell_;
  std::map<std::string, Mark> marks_;
  std::vector<std::string> failed_;

  // What the steps find for those behind them.
  std::string home_;
  std::string data_;
  std::string userName_;
  std::string programs_;  // The directory of libnotes.so.
  ChildAnswer loaded_;    // The error of the loader, and the functions that are missing.
  ChildAnswer becoming_;  // The error of the switch of the user, and the rights that are missing.
  ChildAnswer prepared_;  // The error of the preparation, and the variables after it.
};

}  // namespace host

#endif
