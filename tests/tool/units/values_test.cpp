// The values of options.
#include "cli/values.h"

#include <gtest/gtest.h>

namespace moxj::cli {
namespace {

constexpr std::uint64_t kMax = std::uint64_t{1} << 40;

// 0 if the text is refused.
std::uint64_t scaled(std::string_view text, std::uint64_t thousand) {
  std::uint64_t value = 0;
  return useScaled(text, thousand, kMax, value).empty() ? value : 0;
}

TEST(Values, Units) {
  EXPECT_EQ(scaled("7", 1000), 7u);
  EXPECT_EQ(scaled("7k", 1000), 7000u);
  EXPECT_EQ(scaled("7K", 1024), 7168u);
  EXPECT_EQ(scaled("3m", 1000), 3000000u);
  EXPECT_EQ(scaled("3M", 1024), 3u << 20);
  EXPECT_EQ(scaled("2G", 1024), std::uint64_t{2} << 30);
  EXPECT_EQ(scaled("2g", 1000), 2000000000u);
  EXPECT_EQ(scaled("1024G", 1024), kMax);
}

TEST(Values, WhatIsNoNumberWithUnit) {
  for (const char* text : {"", "k", "0", "0k", "-1", "1.5G", "1kk", "1 k", "1T", "1kB", "1025G", "1099511627777",
                           "18446744073709551616", "18014398509481985k"})
    EXPECT_EQ(scaled(text, 1024), 0u) << text;
}

TEST(Values, Sizes) {
  MoxcWriteOptions options;
  moxcWriteOptionsInit(&options);
  EXPECT_EQ(useTile("300x2147483647", options), "");
  EXPECT_EQ(options.tileWidth, 300);
  EXPECT_EQ(options.tileHeight, INT32_MAX);
  for (const char* text : {"", "x", "3", "3x", "x3", "0x3", "3x0", "3x3x3", "3X3", "-3x3", "3x2147483648"})
    EXPECT_NE(useTile(text, options), "") << text;
  EXPECT_EQ(useBlock("1024x4", options), "");
  for (const char* text : {"1024x8", "2x64", "48x48", "2048x2"}) EXPECT_NE(useBlock(text, options), "") << text;
  EXPECT_EQ(options.blockWidth, 1024);
}

TEST(Values, Restarts) {
  std::int32_t restart = 0, inRows = 0;
  EXPECT_EQ(useRestart("65535B", restart, inRows), "");
  EXPECT_EQ(restart, 65535);
  EXPECT_EQ(inRows, 1);
  EXPECT_EQ(useRestart("0B", restart, inRows), "");
  EXPECT_EQ(restart, 0);
  EXPECT_EQ(inRows, 0);  // alone it would have no effect
}

TEST(Values, Names) {
  std::int32_t modes = 0;
  EXPECT_EQ(useModes("causal,bypass", modes), "");
  EXPECT_EQ(modes, moxcModeCausal | moxcModeBypass);
  for (const char* text : {"", "causal,", ",causal", "causal bypass", "Causal"}) EXPECT_NE(useModes(text, modes), "");
  MoxcProgression progression = moxcProgressionDefault;
  EXPECT_EQ(useProgression("CPRL", progression), "");
  EXPECT_EQ(progression, moxcCprl);
  EXPECT_NE(useProgression("lrcp", progression), "");
  MoxcSample sample = moxcSampleDefault;
  std::string factors;
  EXPECT_EQ(useSampling("4:2:2", sample, factors), "");
  EXPECT_EQ(sample, moxcSample422);
  EXPECT_EQ(factors, "");
  EXPECT_EQ(useSampling("2x1,1x1,1x1", sample, factors), "");
  EXPECT_EQ(sample, moxcSampleDefault);
  EXPECT_EQ(factors, "2x1,1x1,1x1");
  for (const char* text : {"", "5x1", "2x1,", "4:2:1", "1x1,1x1,1x1,1x1,1x1"})
    EXPECT_NE(useSampling(text, sample, factors), "") << text;
}

}  // namespace
}  // namespace moxj::cli
