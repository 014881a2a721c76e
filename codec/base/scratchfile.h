// A temporary file for what does not fit into memory. It has no name, so nothing is left over however the program ends.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"

namespace moxj {

class ScratchFile {
 public:
  ScratchFile() = default;
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile();

  // Creates it in the directory that TMPDIR names, or else in /var/tmp, which unlike /tmp is never in memory. False if
  // there can be none.
  bool open();
  // Returns the offset of the bytes. Throws Problem (output).
  std::uint64_t append(ByteSpan bytes);
  // Throws Problem (output).
  void read(std::uint64_t offset, std::uint8_t* to, std::size_t size) const;

 private:
  int descriptor_ = -1;
  std::uint64_t size_ = 0;
};

}  // namespace moxj
