// Writes outputs: a file is either complete or not there at all.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/interrupt.h"
#include "moxcodec.h"

namespace moxj::cli {

// What becomes of an existing target.
enum class Existing { replaced, kept };

// Writes a file completely or not at all: to a temporary file in the directory of the target, which finish() renames
// to the target and which is removed without finish().
//
//   the target is a symbolic link      the link stays, the file it points to is replaced
//   the target exists                  the new file gets its permissions; a write-protected file is not replaced
//   the target is a device or a pipe   written to directly
//   "-"                                standard output, written to directly
//
// All functions throw Failure (output), which names the target. A closed pipe as standard output ends the process by
// SIGPIPE instead.
class OutputFile {
 public:
  explicit OutputFile(const std::string& path, Existing existing = Existing::replaced);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Small pieces are gathered.
  void write(std::string_view bytes);
  // Ends writing: the file is not yet renamed to its target.
  void close();
  void finish();

 private:
  void replace(const std::string& path, const struct stat* existing);
  void flush(std::string_view last = {});  // writes what was gathered, and then this
  [[noreturn]] void fail(const std::string& what, int error) const;
  [[noreturn]] void fail(const std::string& what) const;  // by errno

  std::string name_;  // for messages
  Existing existing_;
  std::string target_;
  std::optional<TemporaryFile> temporary_;
  int direct_ = -1;  // descriptor of a target that is written to directly
  std::vector<char> gathered_;
};

// An output of the library: the file is created when the first bytes come, so that a refused input leaves no trace.
class OutputStream {
 public:
  OutputStream(const std::string& path, Existing existing) : path_(path), existing_(existing) {}
  OutputStream(const OutputStream&) = delete;
  OutputStream& operator=(const OutputStream&) = delete;

  // Must outlive the call that writes to it.
  MoxcTarget target() { return moxcStreamTarget(write, this); }
  // Rethrows what stopped a write.
  void check() const {
    if (failure_) std::rethrow_exception(failure_);
  }
  void close() { file().close(); }
  void finish() { file().finish(); }

 private:
  OutputFile& file() { return file_ ? *file_ : file_.emplace(path_, existing_); }
  static int write(void* stream, const void* bytes, std::size_t size);

  std::string path_;
  Existing existing_;
  std::optional<OutputFile> file_;
  std::exception_ptr failure_;
};

// Throws Failure (output) if there is a file of this name, which must not be replaced then.
void refuseExisting(const std::string& path);

// Writes to standard output.
void writeText(std::string_view text);

}  // namespace moxj::cli
