// One run with one partition: the callbacks, the instance and the Notes runtime.
#ifndef KOLN_HOST_SESSION_H
#define KOLN_HOST_SESSION_H

#include <koln.h>

#include "Options.h"
#include "Report.h"

namespace host {

/// Prepares the process for the partition and starts its runtime; the destructor ends the runtime.
/// One per process: the switch of the user and the environment are permanent.
class Session {
 public:
  /// @param report Receives the records that the library sends; null where there are none.
  /// @throws Failure that says what is wrong.
  explicit Session(const Options& options, Report* report = nullptr);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  KoLNInstance& instance() noexcept { return instance_; }

 private:
  KoLNInstance instance_;
};

}  // namespace host

#endif
