// Recognition of formats by name and content, the pixel limit, and the planning of outputs.
#include "cli/plan.h"

#include <gtest/gtest.h>

namespace moxj {
namespace {

std::optional<Format> sniffed(std::string_view text) {
  return sniff({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

TEST(Format, ByName) {
  EXPECT_EQ(formatNamed("jpg"), Format::jpeg);
  EXPECT_EQ(formatNamed("JFIF"), Format::jpeg);
  EXPECT_EQ(formatNamed("pnm"), Format::pnm);
  EXPECT_EQ(formatNamed(""), std::nullopt);
  EXPECT_EQ(formatNamed("jpgx"), std::nullopt);
  EXPECT_EQ(formatOfPath("a.b/c"), std::nullopt);
  EXPECT_EQ(formatOfPath("a.png/"), std::nullopt);
  EXPECT_EQ(formatOfPath("a.b/c.d.Png"), Format::png);
  EXPECT_EQ(formatOfPath(".png"), Format::png);
  EXPECT_EQ(formatNames(FormatKind::picture), "png, ppm, pgm, pnm or pgx");
  EXPECT_EQ(formatNames(FormatKind::coded), "jpg, jp2 or j2k");
  for (const Format format : {Format::jpeg, Format::png, Format::ppm, Format::pgm, Format::pnm})
    EXPECT_EQ(formatNamed(extensionOf(format)), format);
}

TEST(Format, ByContent) {
  EXPECT_EQ(sniffed("\xFF\xD8\xFF"), Format::jpeg);
  EXPECT_EQ(sniffed("\x89PNG"), Format::png);
  EXPECT_EQ(sniffed("P6 "), Format::pnm);
  EXPECT_EQ(sniffed("P1#"), Format::pnm);
  EXPECT_EQ(sniffed("P63"), std::nullopt);
  EXPECT_EQ(sniffed("P8 "), std::nullopt);
  EXPECT_EQ(sniffed("P6"), std::nullopt);
  EXPECT_EQ(sniffed(""), std::nullopt);
}

TEST(Limits, CountsPixelsWithoutOverflow) {
  const Limits limits{100};
  EXPECT_NO_THROW(limits.check(10, 10));
  EXPECT_THROW(limits.check(101, 1), Problem);
  EXPECT_THROW(limits.check(std::uint64_t{1} << 32, std::uint64_t{1} << 32), Problem);
  EXPECT_THROW(limits.check(UINT64_MAX, UINT64_MAX), Problem);
  EXPECT_NO_THROW(Limits{UINT64_MAX}.check(UINT64_MAX, 1));
}

TEST(Plan, OneInput) {
  Settings settings;
  settings.command = Command::encode;
  settings.files = {"a.png", "-"};
  const std::vector<Job> jobs = planOf(settings);
  ASSERT_EQ(jobs.size(), 1u);
  EXPECT_EQ(jobs[0].format, Format::jpeg);
  settings.command = Command::decode;
  EXPECT_EQ(planOf(settings)[0].format, Format::pnm);
  settings.files[1] = "b.ppm";
  settings.format = Format::png;
  EXPECT_EQ(planOf(settings)[0].format, Format::png);
}

TEST(Plan, Batch) {
  Settings settings;
  settings.command = Command::encode;
  settings.outputDirectory = "/";
  settings.files = {"x/a.b.png", "..", "a.c.png"};
  const std::vector<Job> jobs = planOf(settings);
  ASSERT_EQ(jobs.size(), 3u);
  EXPECT_EQ(jobs[0].output, "/a.b.jpg");
  EXPECT_EQ(jobs[2].output, "/a.c.jpg");
  EXPECT_EQ(jobs[2].input, "a.c.png");
  settings.files.push_back("y/a.b.ppm");
  EXPECT_THROW(planOf(settings), Misuse);
}

}  // namespace
}  // namespace moxj
