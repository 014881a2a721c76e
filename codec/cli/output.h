// Writing a finished file.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "cli/interrupt.h"
#include "file.h"

namespace moxj {

// Writes a file in whole or not at all: into a temporary file beside the target, which takes the target's name in
// finish() and vanishes without it. A symbolic link stays and its target is replaced; a file that is replaced keeps
// its permissions, and a write-protected one stays as it is. What is no regular file (a device, a pipe) is written to
// directly, "-" stands for standard output. All functions throw Failure (output).
class OutputFile {
 public:
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Two pieces, one after the other, by as few calls as the system allows.
  void write(std::span<const std::uint8_t> first, std::span<const std::uint8_t> second = {});
  void finish();

 private:
  void replace(const std::string& path, const struct stat* existing);

  std::string target_;
  std::optional<TemporaryFile> temporary_;
  int direct_ = -1;  // descriptor of what is written to directly
};

// What goes to this path can be thrown away as long as it is not finished.
bool canBeDiscarded(const std::string& path);

void writeFile(const std::string& path, const Content& content);

// To standard output, which the text of the failure names.
void writeText(std::string_view text);

}  // namespace moxj
