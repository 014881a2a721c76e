// Starts workers and talks to them.
#include "cli/worker.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "cli/exit_status.h"
#include "proof/targets.h"

namespace moxj::cli {

namespace {

constexpr char kSelf[] = "/proc/self/exe";

[[noreturn]] void cannotStart(const std::string& target, int error) {
  throw Failure(ExitStatus::internal,
                "a process for the target " + target + " cannot be started: " + std::system_category().message(error));
}

// The environment with another target.
std::vector<std::string> environmentFor(const std::string& target) {
  const std::string variable = std::string(proof::kTargetVariable) + "=";
  std::vector<std::string> all;
  for (char** entry = environ; *entry; ++entry)
    if (!std::string_view(*entry).starts_with(variable)) all.emplace_back(*entry);
  all.push_back(variable + target);
  return all;
}

std::vector<char*> pointersTo(std::vector<std::string>& words) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

class Actions {
 public:
  Actions() { posix_spawn_file_actions_init(&actions_); }
  ~Actions() { posix_spawn_file_actions_destroy(&actions_); }
  Actions(const Actions&) = delete;
  Actions& operator=(const Actions&) = delete;

  void place(int from, int to) { posix_spawn_file_actions_adddup2(&actions_, from, to); }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

}  // namespace

Worker::Worker(const std::string& target, const std::vector<std::string>& files) : target_(target) {
  start(files);
  const std::optional<std::string> active = ask("target");
  if (!active) throw Failure(ExitStatus::internal, "the process for the target " + target_ + " " + ending());
  if (*active != target_)
    throw Failure(ExitStatus::internal,
                  "the target " + target_ + " cannot be chosen: the library uses " + *active + " all the same");
}

Worker::~Worker() {
  closeInput();
  if (output_ >= 0) close(output_);
  if (process_ > 0) waitpid(process_, &status_, 0);
}

void Worker::start(const std::vector<std::string>& files) {
  int toWorker[2], fromWorker[2];
  if (pipe2(toWorker, O_CLOEXEC) != 0) cannotStart(target_, errno);
  input_ = toWorker[1];
  if (pipe2(fromWorker, O_CLOEXEC) != 0) {
    const int error = errno;
    close(toWorker[0]);
    cannotStart(target_, error);
  }
  output_ = fromWorker[0];
  Actions actions;
  actions.place(toWorker[0], STDIN_FILENO);
  actions.place(fromWorker[1], STDOUT_FILENO);
  std::vector<std::string> words = {"moxj", kWorkerWord}, environment = environmentFor(target_);
  words.insert(words.end(), files.begin(), files.end());
  const int error =
      posix_spawn(&process_, kSelf, actions.get(), nullptr, pointersTo(words).data(), pointersTo(environment).data());
  close(toWorker[0]);
  close(fromWorker[1]);
  if (error) {
    process_ = -1;
    cannotStart(target_, error);
  }
}

bool Worker::send(const std::string& line) const {
  const std::string bytes = line + "\n";
  for (std::size_t sent = 0; sent < bytes.size();) {
    const ssize_t count = write(input_, bytes.data() + sent, bytes.size() - sent);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

std::optional<std::string> Worker::receive() {
  for (;;) {
    if (const std::size_t end = received_.find('\n'); end != std::string::npos) {
      const std::string line = received_.substr(0, end);
      received_.erase(0, end + 1);
      return line;
    }
    char bytes[256];
    const ssize_t count = read(output_, bytes, sizeof bytes);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return std::nullopt;
    received_.append(bytes, static_cast<std::size_t>(count));
  }
}

std::optional<std::string> Worker::ask(const std::string& line) {
  if (!send(line)) return std::nullopt;
  return receive();
}

void Worker::closeInput() {
  if (input_ >= 0) close(input_);
  input_ = -1;
}

std::string Worker::ending() {
  closeInput();
  if (process_ > 0) waitpid(process_, &status_, 0);
  process_ = -1;
  if (WIFSIGNALED(status_))
    return "ended by signal " + std::to_string(WTERMSIG(status_)) + " (" + strsignal(WTERMSIG(status_)) + ")";
  return "ended with status " + std::to_string(WEXITSTATUS(status_));
}

}  // namespace moxj::cli
