// Compares the checksums of every exported function, on every target that this machine runs, with checksums.txt.
// With --update it writes the scalar definition's checksums there instead.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <string>

#include "kernels/entropy/state.h"
#include "proof/golden_huffman.h"
#include "support/targets.h"

namespace test {
namespace {

static_assert(LayoutOf<MoxEncodeHuffmanSpec>::kSize == sizeof(MoxEncodeHuffmanSpec));
static_assert(LayoutOf<MoxDecodeHuffmanSpec>::kSize == sizeof(MoxDecodeHuffmanSpec));
static_assert(LayoutOf<MoxEncodeHuffmanState>::kSize == sizeof(MoxEncodeHuffmanState));
static_assert(LayoutOf<MoxDecodeHuffmanState>::kSize == sizeof(MoxDecodeHuffmanState));

using Checksums = std::map<std::string, std::string>;

Checksums compute() {
  Checksums sums;
  for (const GoldenCase& golden : goldenCases()) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(checksumOf(golden)));
    sums[golden.function] = text;
  }
  return sums;
}

Checksums read(const std::string& path) {
  Checksums sums;
  std::ifstream file(path);
  std::string function, sum;
  while (file >> function >> sum) sums[function] = sum;
  return sums;
}

int differences(const Checksums& expected, const Checksums& actual, const char* target) {
  int count = 0;
  for (const auto& [function, sum] : actual) {
    const auto found = expected.find(function);
    if (found != expected.end() && found->second == sum) continue;
    std::printf("%s on %s: %s, expected %s\n", function.c_str(), target, sum.c_str(),
                found == expected.end() ? "nothing" : found->second.c_str());
    count++;
  }
  for (const auto& [function, sum] : expected) {
    if (actual.count(function)) continue;
    std::printf("%s is in the file but has no case\n", function.c_str());
    count++;
  }
  return count;
}

}  // namespace
}  // namespace test

int main(int argc, char** argv) {
  using namespace test;
  if (argc < 2) return std::fprintf(stderr, "usage: golden_test checksums.txt [--update]\n"), 2;
  const std::string path = argv[1];
  if (argc > 2 && !std::strcmp(argv[2], "--update")) {
    mox::kernels::active = mox::targets().first->kernels;
    std::ofstream file(path);
    for (const auto& [function, sum] : compute()) file << function << ' ' << sum << '\n';
    return file.good() ? 0 : 1;
  }
  const Checksums expected = read(path);
  int failures = 0;
  for (const mox::Target& target : mox::targets())
    if (!target.runsHere()) std::printf("target %-7s SKIPPED (this processor lacks it)\n", target.name);
  forEachTarget([&](const mox::Target& target) {
    const int found = differences(expected, compute(), target.name);
    std::printf("target %-7s RAN, %zu functions, %d differences\n", target.name, goldenCases().size(), found);
    failures += found;
  });
  return failures ? 1 : 0;
}
