// Writes messages, and draws the progress line on a terminal.
#include "cli/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace moxj::cli {

namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 500ms;  // no progress is shown for files that take less
constexpr auto kInterval = 100ms;  // between two updates

void put(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

std::size_t columns() {
  winsize size = {};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col : 80;
}

}  // namespace

std::string displayName(const std::string& path, bool input) {
  if (path == "-") return input ? "standard input" : "standard output";
  std::string shown;
  for (const char c : path) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      shown += c;
    } else {
      char escape[5];
      std::snprintf(escape, sizeof escape, "\\x%02X", byte);
      shown += escape;
    }
  }
  return shown;
}

std::string quoted(const std::string& path) { return std::string("'").append(displayName(path, true)).append("'"); }

Console::Console(bool quiet) : quiet_(quiet), terminal_(!quiet && isatty(STDERR_FILENO)) {}

Console::~Console() { clear(); }

void Console::error(std::string_view text) {
  const std::lock_guard lock(mutex_);
  clear();
  put(std::string("moxj: ").append(text).append("\n"));
}

void Console::progress(const std::string& name, std::uint64_t done, std::uint64_t total) {
  if (!terminal_) return;
  const std::lock_guard lock(mutex_);
  draw(name + ": " + std::to_string(total == 0 ? 100 : done * 100 / total) + " %", kPatience);
}

void Console::filesDone(std::size_t done, std::size_t total) {
  if (!terminal_) return;
  const std::lock_guard lock(mutex_);
  if (done == total)
    clear();
  else
    draw(std::to_string(done) + " of " + std::to_string(total) + " files", 0ms);
}

// Uses no control sequence but the carriage return, which every terminal supports.
void Console::draw(const std::string& text, Clock::duration patience) {
  const Clock::time_point now = Clock::now();
  if (now - begin_ < patience || (shown_ > 0 && now - drawn_ < kInterval)) return;
  const std::string line = text.substr(0, columns() - 1);
  const std::size_t blanks = shown_ > line.size() ? shown_ - line.size() : 0;
  put("\r" + line + std::string(blanks, ' '));
  shown_ = line.size() + blanks;
  drawn_ = now;
}

void Console::clear() {
  if (shown_ == 0) return;
  put(std::string("\r").append(shown_, ' ').append("\r"));
  shown_ = 0;
}

}  // namespace moxj::cli
