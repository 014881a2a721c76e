// A file that is either complete or not there at all.
#pragma once

#include <sys/stat.h>

#include <string>

#include "base/input.h"

namespace moxj::api {

// Writes to a temporary file in the directory of the target, which finish() renames to the target and which is removed
// without finish().
//
//   the target is a symbolic link      the link stays, the file it points to is replaced
//   the target exists                  the new file gets its permissions; a write-protected file is not replaced
//   the target is a device or a pipe   written to directly
//
// All functions throw Problem (output).
class OutputFile : public Output {
 public:
  explicit OutputFile(const std::string& path);
  ~OutputFile() override;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  void write(ByteSpan first, ByteSpan second = {}) override;
  // Ends writing: the file is not yet renamed to its target.
  void close();
  void finish();

 private:
  void openBeside(const std::string& path, const struct stat* existing);

  std::string target_, temporary_;  // empty if the target is written to directly
  int descriptor_ = -1;
};

}  // namespace moxj::api
