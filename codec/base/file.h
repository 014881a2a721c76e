// Whole files in memory: one that was read, and one to be written.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "bytes.h"

namespace moxj {

// A file that was read or mapped. The bytes are writable (which does not change the file), so that a picture can use
// raw samples in place.
struct Source {
  std::span<std::uint8_t> bytes;
  std::shared_ptr<void> owner;  // keeps the bytes alive
};

// A file to be written: `head`, then `body`, which `owner` keeps alive.
struct Content {
  Bytes head;
  ByteSpan body;
  std::shared_ptr<void> owner;
};

}  // namespace moxj
