// Messages on standard error: one line each and, on a terminal, a progress line.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace moxj::cli {

// A path as shown in messages: control characters escaped, "standard input" or "standard output" for "-".
std::string displayName(const std::string& path, bool input);

// The same in quotes, for text that may not be a file name at all.
std::string quoted(const std::string& path);

// All functions may be called from any thread.
class Console {
 public:
  // `quiet` suppresses notes and progress.
  explicit Console(bool quiet);
  ~Console();

  void error(std::string_view text);
  void fileError(const std::string& name, const std::string& cause) { error(name + ": " + cause); }
  void fileWarning(const std::string& name, const std::string& cause) { error(name + ": warning: " + cause); }
  void fileNote(const std::string& name, const std::string& text) {
    if (!quiet_) error(name + ": note: " + text);
  }

  // Whether there is a terminal that shows progress.
  bool showsProgress() const { return terminal_; }
  // Progress of one file, shown if it takes long.
  void progress(const std::string& name, std::uint64_t done, std::uint64_t total);
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

}  // namespace moxj::cli
