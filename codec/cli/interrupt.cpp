// The signal handlers, and the slots with the names of the temporary files that they remove.
#include "cli/interrupt.h"

#include <limits.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <initializer_list>

#include "cli/exit_status.h"

namespace moxj::cli {

// Handlers may run at any time in any thread. They access only the slots and call only async-signal-safe functions. A
// slot is never freed, so a handler can walk along the list at any time; a path changes only while its slot is not
// live.
struct TemporaryFile::Slot {
  enum State { open, taken, live };
  std::atomic<State> state = taken;
  char path[PATH_MAX] = {};
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

void removeTemporaries() {
  ending = true;
  while (creators > 0) sched_yield();
  for (const Slot* slot = slots; slot; slot = slot->next)
    if (slot->state == Slot::live) unlink(slot->path);
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

TemporaryFile::~TemporaryFile() {
  if (slot_) slot_->state = Slot::open;
}

void TemporaryFile::watch(MoxcTarget& target) {
  if (!slot_) slot_ = claimSlot();
  target.temporaryChanged = [](void* file, MoxcTemporaryState state, const char* path) {
    static_cast<TemporaryFile*>(file)->changed(state, path);
  };
  target.temporaryContext = this;
}

void TemporaryFile::changed(MoxcTemporaryState state, const char* path) {
  switch (state) {
    case moxcTemporaryCreating: {
      sigset_t all;
      sigfillset(&all);
      pthread_sigmask(SIG_SETMASK, &all, &mask_);
      ++creators;
      if (ending) {
        --creators;
        waitForTheEnd();
      }
      if (std::strlen(path) >= sizeof slot_->path) return;  // too long for a file, too
      std::strcpy(slot_->path, path);
      slot_->state = Slot::live;
      return;
    }
    case moxcTemporaryCreated:
      --creators;
      pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
      return;
    case moxcTemporaryGone:
      if (ending) waitForTheEnd();  // a handler has removed the file: not an error to report
      slot_->state = Slot::taken;
  }
}

}  // namespace moxj::cli
