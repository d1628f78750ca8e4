// The command `koln doctor`: what stands between koln and a running server, and what to do about
// it.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "DoctorSteps.h"
#include "Interrupt.h"
#include "JsonLine.h"
#include "Output.h"
#include "ShownText.h"

namespace host {
namespace {

constexpr const char* footer = R"(Examples:
  sudo env LD_LIBRARY_PATH=/opt/domino/notes/latest/linux \
      koln --data /local/notesdata doctor
  koln --data /local/notesdata doctor --json | jq -r 'select(.result != "ok")'

Every step has a line: ok, warning, failed or skipped, what was found, and what to do.
koln changes nothing. The runtime is loaded and started in processes of its own, the start
comes last; what a runtime writes when it starts is its own affair.
Exit code 0 if nothing failed, 4 if the runtime cannot be loaded or started, else 1.
)";

struct MarkForm {
  const char* word;
  const char* colour;
};

MarkForm formOf(Mark mark) noexcept {
  switch (mark) {
    case Mark::Ok:
      return {"ok", "\033[32m"};
    case Mark::Warning:
      return {"warning", "\033[33m"};
    case Mark::Failed:
      return {"failed", "\033[31m"};
    case Mark::Skipped:
      break;
  }
  return {"skipped", "\033[2m"};
}

void tell(bool json, const std::string& step, const Finding& finding) {
  const MarkForm form = formOf(finding.mark);
  if (json) {
    Json object = {{"step", step}, {"result", form.word}, {"found", finding.found}};
    if (!finding.remedy.empty()) {
      object["remedy"] = finding.remedy;
    }
    writeResult(jsonLine(object));
    return;
  }
  constexpr std::size_t markWidth = 7;
  constexpr std::size_t stepWidth = 19;
  const bool coloured = colourful();
  writeResult(fmt::format("{}{}{}  {}  {}{}{}\n", coloured ? form.colour : "",
                          cell(form.word, markWidth, false), coloured ? "\033[m" : "",
                          cell(step, stepWidth, false), shown(finding.found),
                          finding.remedy.empty() ? "" : "; ", shown(finding.remedy)));
}

ExitCode run(const Options& options, unsigned int seconds) {
  if (!options.configurationFile.empty()) {
    setenv("KOLN_CONFIG", options.configurationFile.c_str(), 1);
  }
  if (!options.debugLog.empty()) {
    setenv("KOLN_DEBUG_LOG", options.debugLog.c_str(), 1);
  }
  setenv("KOLN_DEBUG_LOG", "none", 0);
  endOrderly();
  Examination examination(
      options, std::chrono::seconds(seconds),
      [&](const std::string& step, const Finding& finding) { tell(options.json, step, finding); });
  examination.run();
  const std::vector<std::string>& failed = examination.failed();
  if (failed.empty()) {
    return ExitCode::Done;
  }
  const bool noRuntime = std::any_of(failed.begin(), failed.end(), [](const std::string& step) {
    return step == "libnotes.so" || step == "loading" || step == "functions" || step == "start";
  });
  throw Failure(noRuntime ? ExitCode::NoRuntime : ExitCode::Failed,
                fmt::format("failed: {}; each line says what to do", fmt::join(failed, ", ")));
}

}  // namespace

Command doctor(CLI::App& parent, Options& options) {
  CLI::App* const words =
      parent.add_subcommand("doctor", "examine the way to a running server, step by step");
  words->footer(footer);
  const auto seconds = std::make_shared<unsigned int>(60);
  words->add_flag("--json", options.json, "one JSON object a line");
  words
      ->add_option("--time-limit", *seconds,
                   "how long the runtime may take to be loaded, and to start")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, 86400).description(""))
      ->capture_default_str();
  return {words, [&options, seconds] { return run(options, *seconds); }};
}

}  // namespace host
