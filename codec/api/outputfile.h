// A file that is either complete or not there at all.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

#include "base/input.h"
#include "moxcodec.h"

namespace moxj::api {

// Writes to a temporary file in the directory of the target, which finish() renames to the target and which is removed
// without finish(). Nothing is created before the first bytes come, so that a refused input leaves no trace.
//
//   the target is a symbolic link      the link stays, the file it points to is replaced
//   the target exists                  the new file gets its permissions; a write-protected file is not replaced
//   the target is a device or a pipe   written to directly
//
// All functions throw Problem (output), which names the target.
class OutputFile : public Output {
 public:
  // `target` has a path.
  explicit OutputFile(const MoxcTarget& target);
  ~OutputFile() override;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Small pieces are gathered.
  void write(ByteSpan first, ByteSpan second = {}) override;
  // Ends writing: the file is not yet renamed to its target.
  void close();
  void finish();

 private:
  void open();
  void flush(ByteSpan first = {}, ByteSpan second = {});  // writes what was gathered, and then these
  void openBeside(const struct stat* existing);
  void copyPermissions(const struct stat& from);
  void report(MoxcTemporaryState state) const;
  [[noreturn]] void failToWrite(const char* what = "cannot be written") const;  // by errno

  std::string path_;
  bool keepsExisting_;
  MoxcTemporary temporaryChanged_;
  void* context_;
  std::string target_, temporary_;  // empty if the target is written to directly
  int descriptor_ = -1;
  bool opened_ = false;
  std::vector<std::uint8_t> gathered_;
};

// Throws Problem (output) if the target must not be replaced and is there.
void checkExisting(const MoxcTarget& target);

}  // namespace moxj::api
