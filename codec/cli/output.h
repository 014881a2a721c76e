// Where outputs go: files, which the library writes, and standard output.
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "cli/interrupt.h"
#include "moxcodec.h"

namespace moxj::cli {

// What becomes of an existing target.
enum class Existing { replaced, kept };

// Standard output. All functions throw Failure (output); if it is a pipe that the reader has closed, the process ends
// by SIGPIPE instead.
class StandardOutput {
 public:
  // Small pieces are gathered.
  void write(std::string_view bytes);
  void flush(std::string_view last = {});  // writes what was gathered, and then this

 private:
  std::vector<char> gathered_;
};

// An output of the library, a file or "-" for standard output. It must outlive the call that writes to it.
class OutputTarget {
 public:
  OutputTarget(const std::string& path, Existing existing) : path_(path), existing_(existing) {}
  OutputTarget(const OutputTarget&) = delete;
  OutputTarget& operator=(const OutputTarget&) = delete;

  MoxcTarget target();
  // Rethrows what stopped standard output.
  void check() const {
    if (failure_) std::rethrow_exception(failure_);
  }
  // After a call that succeeded: everything is written. Throws Failure (output).
  void finish() { standard_.flush(); }

 private:
  static int write(void* target, const void* bytes, std::size_t size);

  std::string path_;
  Existing existing_;
  TemporaryFile temporary_;
  StandardOutput standard_;
  std::exception_ptr failure_;
};

// Writes to standard output.
void writeText(std::string_view text);

}  // namespace moxj::cli
