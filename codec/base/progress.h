// A callback that reports progress. It is called at a moderate rate (once per MCU row, for example), always from the
// thread that called the coder.
#pragma once

#include <cstdint>
#include <functional>

namespace moxj {

using Progress = std::function<void(std::uint64_t done, std::uint64_t total)>;

}  // namespace moxj
