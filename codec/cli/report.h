// What the tool says on standard error: one line a message, and on a terminal a line that shows progress.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

#include "progress.h"

namespace moxj {

// For messages: "standard input" or "standard output" for "-", and without control characters.
std::string shownName(const std::string& path, bool input);

// The same between quotes, for what may not be the name of a file.
std::string quotedName(const std::string& path);

// Its functions may be called from any thread.
class Report {
 public:
  // With `quiet` neither notes nor progress.
  explicit Report(bool quiet);
  ~Report();

  void error(std::string_view text);
  void fileError(const std::string& name, const std::string& cause) { error(name + ": " + cause); }
  void fileWarning(const std::string& name, const std::string& cause) { error(name + ": warning: " + cause); }
  void fileNote(const std::string& name, const std::string& text) {
    if (!quiet_) error(name + ": note: " + text);
  }

  // Progress of one file, drawn when it takes long. Empty where progress is not shown.
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
  std::size_t shown_ = 0;  // columns of the line that is on the screen
  std::mutex mutex_;
};

}  // namespace moxj
