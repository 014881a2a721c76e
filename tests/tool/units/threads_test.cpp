// The tool divides its work itself: the functions of libmoxj do not share rows among threads of their own.
#include "cli/threads.h"

#include <gtest/gtest.h>

#include "cli/tool.h"

namespace moxj::cli {
namespace {

TEST(Threads, TheToolKeepsRowsOnOneThread) {
  moxSetNumThreads(4);
  char name[] = "moxj", command[] = "info", path[] = "no-such-file";
  char* arguments[] = {name, command, path};
  testing::internal::CaptureStderr();
  EXPECT_NE(runTool(3, arguments), 0);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(moxGetNumThreads(), 1);
}

TEST(Threads, TheDefaultStaysWhatItWas) {
  const int count = defaultThreads();
  EXPECT_GE(count, 1);
  moxSetNumThreads(count + 1);
  EXPECT_EQ(defaultThreads(), count);
  moxSetNumThreads(1);
}

}  // namespace
}  // namespace moxj::cli
