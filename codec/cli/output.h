// Writes outputs: a file is either complete or not there at all.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/file.h"
#include "cli/interrupt.h"

namespace moxj {

// Writes a file completely or not at all: to a temporary file in the directory of the target, which finish() renames
// to the target and which is removed without finish().
//
//   the target is a symbolic link      the link stays, the file it points to is replaced
//   the target exists                  the new file gets its permissions; a write-protected file is not replaced
//   the target is a device or a pipe   written to directly
//   "-"                                standard output, written to directly
//
// All functions throw Problem (output). A closed pipe as standard output ends the process by SIGPIPE instead.
class OutputFile {
 public:
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Writes two pieces, one after the other, in as few system calls as possible.
  void write(std::span<const std::uint8_t> first, std::span<const std::uint8_t> second = {});
  // Ends writing: the file is not yet renamed to its target.
  void close();
  void finish();

 private:
  void replace(const std::string& path, const struct stat* existing);

  std::string target_;
  std::optional<TemporaryFile> temporary_;
  int direct_ = -1;  // descriptor of a target that is written to directly
};

// Whether an unfinished output to this path leaves no trace.
bool canBeDiscarded(const std::string& path);

void writeFile(const std::string& path, const Content& content);

// Writes to standard output; the text of a Problem includes that name.
void writeText(std::string_view text);

}  // namespace moxj
