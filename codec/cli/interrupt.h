// Temporary files that must not outlive the process, however it ends, and the signal handlers that remove them.
#pragma once

#include <signal.h>

#include "moxcodec.h"

namespace moxj::cli {

// Installs the signal handlers:
//   SIGINT, SIGTERM, SIGHUP   remove the temporary files, then end the process as by default
//   SIGBUS                    the same, with a message and the status of a refused input: the signal means that a
//                             mapped input file was truncated while in use
//   SIGPIPE, SIGXFSZ          ignored: the write that caused them reports the error
void watchSignals();

// Ends the process as SIGPIPE does by default, after removing the temporary files: for a closed standard output.
// Returns if SIGPIPE was already ignored when the process started.
void endByClosedPipe();

// The temporary file of one target of the library: it is removed when a signal ends the process. Must outlive the call
// that writes to the target.
class TemporaryFile {
 public:
  TemporaryFile() = default;
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  // Makes the library report the file here.
  void watch(MoxcTarget& target);

  struct Slot;  // where the signal handlers find its path

 private:
  void changed(MoxcTemporaryState state, const char* path);

  Slot* slot_ = nullptr;
  sigset_t mask_ = {};  // while the file is being created
};

}  // namespace moxj::cli
