// The largest values of options.
#pragma once

#include <cstdint>

namespace moxj::cli {

constexpr int kMaxJobs = 256;
constexpr int kMaxThreads = 1024;
constexpr int kMaxScans = 1000000;
constexpr std::uint64_t kMaxPixels = std::uint64_t{1} << 40;
constexpr std::uint64_t kMaxMemory = std::uint64_t{1} << 40;
constexpr double kMaxRatio = 1e6, kMaxPsnr = 200;
constexpr int kMaxLevels = 32;   // of decomposition
constexpr int kMaxTile = 65534;  // they are counted from 0
constexpr int kMaxReadLayers = 65535;
constexpr int kMaxWrittenLayers = 100;

}  // namespace moxj::cli
