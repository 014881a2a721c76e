// Limits of the tool itself.
#pragma once

namespace moxj {

constexpr int kMaxJobs = 256;
constexpr int kMaxThreads = 1024;

}  // namespace moxj
