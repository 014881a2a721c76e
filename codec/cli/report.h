// Messages on standard error: one line each and, on a terminal, a progress line.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

#include "base/outcome.h"
#include "base/progress.h"
#include "cli/exit_status.h"

namespace moxj {

// A path as shown in messages: control characters escaped, "standard input" or "standard output" for "-".
std::string displayName(const std::string& path, bool input);

// The same in quotes, for text that may not be a file name at all.
std::string quoted(const std::string& path);

// All functions may be called from any thread.
class Report {
 public:
  // `quiet` suppresses notes and progress.
  explicit Report(bool quiet);
  ~Report();

  void error(std::string_view text);
  void fileError(const std::string& name, const std::string& cause) { error(name + ": " + cause); }
  void fileWarning(const std::string& name, const std::string& cause) { error(name + ": warning: " + cause); }
  void fileNote(const std::string& name, const std::string& text) {
    if (!quiet_) error(name + ": note: " + text);
  }

  // Progress of one file, shown if it takes long. Empty if progress is never shown.
  Progress progressOf(const std::string& name);
  // Progress of a batch.
  void filesDone(std::size_t done, std::size_t total);

 private:
  using Clock = std::chrono::steady_clock;

  void draw(const std::string& text, Clock::duration patience);
  void clear();

  bool quiet_;
  bool terminal_;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point drawn_ = begin_;
  std::size_t shown_ = 0;  // columns of the progress line now on the screen
  std::mutex mutex_;
};

// The status of an outcome: ok or incomplete.
ExitStatus statusOf(const Outcome& outcome);

// Prints notes and warning of a file and returns the status.
ExitStatus reportOutcome(Report& report, const std::string& name, const Outcome& outcome);

}  // namespace moxj
