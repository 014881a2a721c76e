// A process of the tool itself that runs the library's functions on a target of the caller's choice: libmoxj chooses
// its kernels when a process starts, so each target needs one.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace moxj::cli {

// The first word of a worker's command line. It is no command for users: what is said to a worker may change.
inline constexpr char kWorkerWord[] = "--worker";

class Worker {
 public:
  // Throws Failure (internal) if no process can be started, or not on this target.
  explicit Worker(const std::string& target, const std::vector<std::string>& files = {});
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  const std::string& target() const { return target_; }

  // Sends a line and returns the line that answers it, or nothing if the process has ended.
  std::optional<std::string> ask(const std::string& line);
  // How it has ended: "ended by signal 4 (Illegal instruction)".
  std::string ending();

 private:
  void start(const std::vector<std::string>& files);
  bool send(const std::string& line) const;
  std::optional<std::string> receive();
  void closeInput();

  std::string target_, received_;
  int input_ = -1, output_ = -1;  // of the process
  pid_t process_ = -1;
  int status_ = 0;
};

// What the process does: answers lines of standard input until its end. Returns the exit status.
int runWorker(const std::vector<std::string>& files);

}  // namespace moxj::cli
