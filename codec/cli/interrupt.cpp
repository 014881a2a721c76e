#include "cli/interrupt.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <initializer_list>
#include <utility>

#include "cli/limits.h"
#include "failure.h"

namespace moxj {

namespace {

// Handlers may run at any moment in any thread: they read these slots only, and call only functions that are safe
// in a handler. One slot a worker.
std::atomic<const char*> temporaries[kMaxJobs];
std::atomic<bool> ending = false;
static_assert(std::atomic<const char*>::is_always_lock_free);

void removeTemporaries() {
  ending = true;
  for (const std::atomic<const char*>& slot : temporaries)
    if (const char* const path = slot.load()) unlink(path);
}

// SA_RESETHAND has put the default back, so that the signal now does what it says.
extern "C" void endBySignal(int signal) {
  removeTemporaries();
  raise(signal);
}

extern "C" void endByCutInput(int) {
  removeTemporaries();
  constexpr char text[] = "moxj: an input file was cut short while it was in use\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, sizeof text - 1);
  _exit(static_cast<int>(ExitStatus::refused));
}

// There are as many slots as workers, and a worker has one file at a time.
int takeSlot(const char* path) {
  for (int slot = 0;; slot = (slot + 1) % kMaxJobs) {
    const char* expected = nullptr;
    if (temporaries[slot].compare_exchange_strong(expected, path)) return slot;
  }
}

void handle(int signal, void (*handler)(int)) {
  struct sigaction old = {};
  // Whoever started the tool with the signal ignored (nohup, a background job of a script) wants it so.
  if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) return;
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigfillset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

}  // namespace

void watchSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) handle(signal, endBySignal);
  handle(SIGBUS, endByCutInput);
  for (const int signal : {SIGPIPE, SIGXFSZ}) ::signal(signal, SIG_IGN);
}

// The path is noted before the file exists, so that there is no moment in which a signal would leave it behind. Only
// a file that another thread creates after the handler's look has to be removed here.
TemporaryFile::TemporaryFile(std::string path, unsigned mode)
    : path_(std::move(path)), slot_(takeSlot(path_.c_str())) {
  descriptor_ = open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  exists_ = descriptor_ >= 0;
  if (exists_ && ending) unlink(path_.c_str());
}

TemporaryFile::~TemporaryFile() {
  const int error = errno;
  if (descriptor_ >= 0) ::close(descriptor_);
  if (exists_) unlink(path_.c_str());
  temporaries[slot_] = nullptr;
  errno = error;
}

bool TemporaryFile::close() {
  return ::close(std::exchange(descriptor_, -1)) == 0;
}

bool TemporaryFile::renameTo(const std::string& target) {
  if (std::rename(path_.c_str(), target.c_str()) != 0) return false;
  exists_ = false;
  return true;
}

}  // namespace moxj
