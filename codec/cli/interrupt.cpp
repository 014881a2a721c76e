#include "cli/interrupt.h"

#include <fcntl.h>
#include <limits.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <utility>

#include "cli/limits.h"
#include "failure.h"

namespace moxj {

namespace {

// Handlers may run at any moment in any thread: they look at these slots only, and call only functions that are safe
// in a handler. One slot a worker.
struct Slot {
  enum State { open, taken, live };
  std::atomic<State> state = open;
  char path[PATH_MAX] = {};
};
constinit Slot slots[kMaxJobs];  // in pages that nobody touches before they are needed
static_assert(std::atomic<Slot::State>::is_always_lock_free);

// No file may come into being behind a handler's back: whoever makes one says so first and then looks whether the end
// has begun; the handler begins the end first and then waits for those who said so. It never waits for its own
// thread, because a thread that makes a file takes no signals meanwhile.
std::atomic<bool> ending = false;
std::atomic<int> makers = 0;

[[noreturn]] void waitForTheEnd() {
  for (;;) pause();
}

class Making {
 public:
  Making() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &mask_);
    ++makers;
    if (!ending) return;
    --makers;
    waitForTheEnd();
  }
  ~Making() {
    --makers;
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
  }

 private:
  sigset_t mask_;
};

void removeTemporaries() {
  ending = true;
  while (makers > 0) sched_yield();
  for (const Slot& slot : slots)
    if (slot.state == Slot::live) unlink(slot.path);
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
Slot& takeSlot() {
  for (int i = 0;; i = (i + 1) % kMaxJobs) {
    Slot::State expected = Slot::open;
    if (slots[i].state.compare_exchange_strong(expected, Slot::taken)) return slots[i];
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

TemporaryFile::TemporaryFile(const std::string& path, unsigned mode) {
  if (path.size() >= PATH_MAX) {
    errno = ENAMETOOLONG;
    return;
  }
  const Making making;
  Slot& slot = takeSlot();
  std::strcpy(slot.path, path.c_str());
  slot.state = Slot::live;
  slot_ = static_cast<int>(&slot - slots);
  descriptor_ = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  exists_ = descriptor_ >= 0;
}

TemporaryFile::~TemporaryFile() {
  if (slot_ < 0) return;
  const int error = errno;
  if (descriptor_ >= 0) ::close(descriptor_);
  if (exists_) unlink(slots[slot_].path);
  slots[slot_].state = Slot::open;
  errno = error;
}

bool TemporaryFile::close() { return ::close(std::exchange(descriptor_, -1)) == 0; }

bool TemporaryFile::renameTo(const std::string& target) {
  const bool renamed = std::rename(slots[slot_].path, target.c_str()) == 0;
  if (!renamed && ending) waitForTheEnd();  // the file is gone already, which is nobody's error
  exists_ = exists_ && !renamed;
  return renamed;
}

}  // namespace moxj
