// Input files as the library takes them.
#pragma once

#include <cstddef>
#include <string>

#include "moxcodec.h"

namespace moxj::cli {

// A file, or "-" for standard input, which is read as the library asks for it.
class Input {
 public:
  // Throws Failure if no file can have this name.
  explicit Input(const std::string& path);
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  const MoxcSource* source() const { return &source_; }
  // Throws Failure, with the cause, if standard input could not be read.
  void check() const;

 private:
  static std::ptrdiff_t readStandardInput(void* context, void* to, std::size_t size);

  std::string path_;
  MoxcSource source_;
  int error_ = 0;  // of read()
};

}  // namespace moxj::cli
