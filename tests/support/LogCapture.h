// Keeps the log lines of the library while it lives; one at a time.
#ifndef KOLN_TESTS_LOG_CAPTURE_H
#define KOLN_TESTS_LOG_CAPTURE_H

#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "findDataPartition.h"

class LogCapture {
 public:
  struct Line {
    std::string function;
    int level;
    std::string file;
    std::string text;

    bool operator==(const Line&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Line& line) {
      return out << line.function << '|' << line.level << '|' << line.file << '|' << line.text;
    }
  };

  LogCapture() : before_(pLogCallback) {
    lines_.clear();
    SetLogCallback(&LogCapture::receive);
  }
  ~LogCapture() { SetLogCallback(before_); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // Takes the lines out, in the order in which they came.
  std::vector<Line> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
  }

  // The texts alone, taken out.
  std::vector<std::string> takeTexts() {
    std::vector<std::string> texts;
    for (Line& line : take()) {
      texts.push_back(std::move(line.text));
    }
    return texts;
  }

 private:
  static void receive(const char* function, int level, const char* file, int /*line*/,
                      const char* text, ...) {
    const std::lock_guard lock(mutex_);
    lines_.push_back({function, level, file, text});
  }

  static inline std::mutex mutex_;
  static inline std::vector<Line> lines_;
  KoLNLogCallback before_;
};

#endif
