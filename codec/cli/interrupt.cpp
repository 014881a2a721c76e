// The signal handlers, and the slots with the names of the temporary files that they remove.
#include "cli/interrupt.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <utility>

#include "cli/exit_status.h"

namespace moxj::cli {

// Handlers may run at any time in any thread. They access only the slots and call only async-signal-safe functions. A
// slot is never freed, so a handler can walk along the list at any time; a path changes only while its slot is not
// live.
struct TemporaryFile::Slot {
  enum State { open, taken, live };
  std::atomic<State> state = taken;
  std::string path;
  Slot* next = nullptr;
};

namespace {

using Slot = TemporaryFile::Slot;
constinit std::atomic<Slot*> slots = nullptr;
static_assert(std::atomic<Slot::State>::is_always_lock_free && std::atomic<Slot*>::is_always_lock_free);

// No file may be created after a handler has looked at the slots. So a thread that creates a file first counts itself
// in `creators` and then checks `ending`; a handler first sets `ending` and then waits until `creators` is 0. A handler
// never waits for its own thread, because signals are blocked while a file is being created.
std::atomic<bool> ending = false;
std::atomic<int> creators = 0;
bool pipeSignalIgnored = false;  // on entry

[[noreturn]] void waitForTheEnd() {
  for (;;) pause();
}

// The scope in which a file is created.
class Creation {
 public:
  Creation() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &mask_);
    ++creators;
    if (!ending) return;
    --creators;
    waitForTheEnd();
  }
  ~Creation() {
    --creators;
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
  }

 private:
  sigset_t mask_;
};

void removeTemporaries() {
  ending = true;
  while (creators > 0) sched_yield();
  for (const Slot* slot = slots; slot; slot = slot->next)
    if (slot->state == Slot::live) unlink(slot->path.c_str());
}

// SA_RESETHAND has restored the default action, which raise() now triggers.
extern "C" void endBySignal(int signal) {
  removeTemporaries();
  raise(signal);
}

extern "C" void endByTruncatedInput(int) {
  removeTemporaries();
  constexpr char text[] = "moxj: an input file was truncated while in use\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, sizeof text - 1);
  _exit(static_cast<int>(ExitStatus::refused));
}

// An open slot or a new one.
Slot* claimSlot() {
  for (Slot* slot = slots; slot; slot = slot->next) {
    Slot::State expected = Slot::open;
    if (slot->state.compare_exchange_strong(expected, Slot::taken)) return slot;
  }
  Slot* const made = new Slot;
  made->next = slots;
  while (!slots.compare_exchange_weak(made->next, made)) {
  }
  return made;
}

void handle(int signal, void (*handler)(int)) {
  struct sigaction old = {};
  // A signal that is already ignored (nohup, a background job of a script) stays ignored.
  if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) return;
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigfillset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

// File systems that cannot rename without replacing leave a moment between the check and the change.
bool rename(const std::string& from, const std::string& to, bool replace) {
  if (!replace) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    if (access(to.c_str(), F_OK) == 0) return errno = EEXIST, false;
  }
  return std::rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace

void watchSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) handle(signal, endBySignal);
  handle(SIGBUS, endByTruncatedInput);
  ::signal(SIGXFSZ, SIG_IGN);
  pipeSignalIgnored = ::signal(SIGPIPE, SIG_IGN) == SIG_IGN;
}

void endByClosedPipe() {
  if (pipeSignalIgnored) return;
  removeTemporaries();
  ::signal(SIGPIPE, SIG_DFL);
  raise(SIGPIPE);
}

TemporaryFile::TemporaryFile(const std::string& path, unsigned mode) {
  const Creation creation;
  slot_ = claimSlot();
  slot_->path = path;
  slot_->state = Slot::live;
  descriptor_ = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  exists_ = descriptor_ >= 0;
}

TemporaryFile::~TemporaryFile() {
  const int error = errno;
  if (descriptor_ >= 0) ::close(descriptor_);
  if (exists_) unlink(slot_->path.c_str());
  slot_->state = Slot::open;
  errno = error;
}

bool TemporaryFile::close() { return descriptor_ < 0 || ::close(std::exchange(descriptor_, -1)) == 0; }

bool TemporaryFile::renameTo(const std::string& target, bool replace) {
  const bool renamed = rename(slot_->path, target, replace);
  if (!renamed && ending) waitForTheEnd();  // a handler has removed the file: not an error to report
  exists_ = exists_ && !renamed;
  return renamed;
}

}  // namespace moxj::cli
