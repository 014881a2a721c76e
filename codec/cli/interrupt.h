// What must not outlive the process: temporary files, whatever ends it.
#pragma once

#include <string>

namespace moxj {

// Installs the handlers: SIGINT, SIGTERM and SIGHUP remove the temporary files and then end the process as they
// would have; so does SIGBUS, with a message and the status of a refused input, because it says that an input file
// was cut short while it was in use. Signals that would only say what a failed write says (closed pipe, file size
// limit) are switched off.
void watchSignals();

// A new file that is to vanish with this object or with the process, unless it was given its final name before.
class TemporaryFile {
 public:
  // Creates the file, which must not exist yet, and opens it for writing. descriptor() is -1 where that failed; errno
  // says why.
  TemporaryFile(const std::string& path, unsigned mode);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  int descriptor() const { return descriptor_; }
  bool close();                              // false: errno says why
  bool renameTo(const std::string& target);  // likewise

 private:
  void forget();

  int slot_ = -1;
  int descriptor_ = -1;
  bool exists_ = false;
};

}  // namespace moxj
