// Reports of work in progress, called a moderate number of times (once an MCU row, say) from the calling thread.
#pragma once

#include <cstdint>
#include <functional>

namespace moxj {

using Progress = std::function<void(std::uint64_t done, std::uint64_t total)>;

}  // namespace moxj
