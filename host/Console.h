// What koln tells its user beside the result: lines and the progress, on stderr.
#ifndef KOLN_HOST_CONSOLE_H
#define KOLN_HOST_CONSOLE_H

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string_view>

namespace host {

/// Writes a whole text to a descriptor. @return 0 or the error number; EINTR once the user has
/// interrupted the command.
int writeWhole(int descriptor, std::string_view text) noexcept;

/// Gives descriptors 0 to 2 a harmless meaning where the caller has closed them: a database that
/// happened to be opened as descriptor 1 would receive the result. Writing to a closed output still
/// fails.
void occupyStandardDescriptors() noexcept;

/// stderr, shared by all threads; every call writes whole lines.
class Console {
 public:
  static Console& get();

  /// Writes one line, control characters escaped.
  void line(std::string_view text);

  /// Shows how far the work is; no more than some times a second. A total of 0 is not known.
  void progress(std::size_t done, std::size_t total, std::string_view things);

  /// Takes the progress away.
  void endProgress();

 private:
  void wipe();

  std::mutex mutex_;
  bool progressShown_ = false;
  std::chrono::steady_clock::time_point lastProgress_;
};

}  // namespace host

#endif
