// Files as a whole: what came in, and what is to go out.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "bytes.h"

namespace moxj {

// A file that was read or mapped. The bytes may be written to, which does not change the file, so that a picture
// whose samples lie in the file as they are can use them in place.
struct Source {
  std::span<std::uint8_t> bytes;
  std::shared_ptr<void> owner;  // keeps the bytes alive
};

// A file to be written: `head`, then `body`, which lies in memory that `owner` keeps alive.
struct Content {
  Bytes head;
  std::span<const std::uint8_t> body;
  std::shared_ptr<void> owner;
};

}  // namespace moxj
