// Names of formats, and the planning of outputs.
#include "cli/plan.h"

#include <gtest/gtest.h>

#include "cli/formats.h"

namespace moxj::cli {
namespace {

TEST(Formats, Lists) {
  EXPECT_EQ(formatNames(false), "png, ppm, pgm, pnm, pam, pbm, pgx, bmp, tif, raw or rawl");
  EXPECT_EQ(formatNames(true), "jpg, jp2 or j2k");
  EXPECT_STREQ(formatOf("jp2").label, "JPEG 2000");
  EXPECT_STREQ(formatOf("pgx").name, "pgx");
}

TEST(Plan, OneInput) {
  Settings settings;
  settings.command = Command::encode;
  settings.files = {"a.png", "-"};
  const std::vector<Job> jobs = planOf(settings);
  ASSERT_EQ(jobs.size(), 1u);
  EXPECT_STREQ(jobs[0].format, "jpg");
  settings.command = Command::decode;
  EXPECT_STREQ(planOf(settings)[0].format, "pnm");
  settings.files[1] = "b.ppm";
  EXPECT_STREQ(planOf(settings)[0].format, "ppm");
  settings.format = "png";
  EXPECT_STREQ(planOf(settings)[0].format, "png");
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

TEST(Plan, StandardOutputIsNeverInTheWay) {
  Settings settings;
  settings.command = Command::encode;
  settings.files = {"a.png", "-"};
  settings.existing = Existing::kept;
  EXPECT_THROW(planOf(settings), Misuse);
}

}  // namespace
}  // namespace moxj::cli
