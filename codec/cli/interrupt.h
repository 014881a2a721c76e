// Temporary files that must not outlive the process, however it ends, and the signal handlers that remove them.
#pragma once

#include <string>

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

// A new file that is removed with this object or when the process ends, unless renameTo() gave it its final name.
class TemporaryFile {
 public:
  // Creates the file, which must not exist yet, and opens it for writing. On failure descriptor() is -1, and errno
  // has the cause.
  TemporaryFile(const std::string& path, unsigned mode);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  int descriptor() const { return descriptor_; }
  bool close();  // on failure false, with the cause in errno
  // Likewise. Unless `replace`, an existing target is kept: that is a failure with EEXIST.
  bool renameTo(const std::string& target, bool replace);

  struct Slot;  // where the signal handlers find its path

 private:
  Slot* slot_ = nullptr;
  int descriptor_ = -1;
  bool exists_ = false;
};

}  // namespace moxj::cli
