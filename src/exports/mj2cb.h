// What the code-block encoder and decoders share: the tags of their states, and their options.
#pragma once

#include <cstdint>

namespace mox {

// The tags are ASCII, first character in the lowest byte: "DSML" and "jSML".
inline constexpr uint32_t kEncodeTag = 0x4C4D5344, kDecodeTag = 0x4C4D536A;

constexpr bool has(int32_t options, int32_t option) { return (options & option) != 0; }

}  // namespace mox
