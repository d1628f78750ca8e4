#include "ChildProcess.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

// There where libkoln.so counts which of its lines are run; _exit by itself forgets that.
extern "C" void __gcov_dump() __attribute__((weak));  // NOLINT(bugprone-reserved-identifier)

namespace {

[[noreturn]] void endChild(int status) {
  if (__gcov_dump != nullptr) {
    __gcov_dump();
  }
  // Neither destructors nor the leak check run: what is alive here belongs to the parent.
  _exit(status);
}

// Runs the body; its failures go through the pipe, each as file, line and message, terminated.
[[noreturn]] void runChild(int pipe, const std::function<void()>& body) {
  alarm(60);
  testing::TestPartResultArray failures;
  try {
    testing::ScopedFakeTestPartResultReporter reporter(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &failures);
    body();
  } catch (...) {
    endChild(EXIT_FAILURE);
  }
  std::fflush(nullptr);
  FILE* const out = fdopen(pipe, "w");
  for (int i = 0; i < failures.size(); ++i) {
    const testing::TestPartResult& failure = failures.GetTestPartResult(i);
    const char* const file = failure.file_name();
    std::fprintf(out, "%s%c%d%c%s%c", file != nullptr ? file : "", 0, failure.line_number(), 0,
                 failure.message(), 0);
  }
  endChild(std::fclose(out) == 0 ? EXIT_SUCCESS : EXIT_FAILURE);
}

bool readText(FILE* in, std::string& text) {
  text.clear();
  int byte;
  while ((byte = std::fgetc(in)) != EOF && byte != '\0') {
    text.push_back(static_cast<char>(byte));
  }
  return byte == '\0';
}

}  // namespace

void inChild(const std::function<void()>& body) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::fflush(nullptr);  // What is still buffered would be written twice.
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(ends[0]);
    runChild(ends[1], body);
  }
  close(ends[1]);
  const std::unique_ptr<FILE, decltype(&std::fclose)> in(fdopen(ends[0], "r"), &std::fclose);
  std::string file, line, message;
  while (readText(in.get(), file) && readText(in.get(), line) && readText(in.get(), message)) {
    ADD_FAILURE_AT(file.c_str(), std::stoi(line)) << message;
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << "the child did not end well: "
                       << (WIFSIGNALED(status) ? "signal " : "exit code ")
                       << (WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
}
