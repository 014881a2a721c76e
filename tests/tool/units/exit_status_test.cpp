// What each exception becomes: a status and a line.
#include "cli/exit_status.h"

#include <gtest/gtest.h>

#include <new>
#include <system_error>

namespace moxj {
namespace {

void expectEnding(const std::exception& exception, ExitStatus status, const std::string& text) {
  const Ending ending = endingOf(exception);
  EXPECT_EQ(ending.status, status) << text;
  EXPECT_EQ(ending.text, text);
}

TEST(ExitStatus, OfEveryKind) {
  using enum Kind;
  for (const Kind kind : {notThisFormat, damaged, unsupported, input, badOption})
    expectEnding(Problem(kind, "cause"), ExitStatus::refused, "cause");
  for (const Kind kind : {limit, noMemory}) expectEnding(Problem(kind, "cause"), ExitStatus::limit, "cause");
  expectEnding(Problem(output, "cause"), ExitStatus::output, "cause");
  expectEnding(Problem(internal, "cause"), ExitStatus::internal, "internal error: cause");
}

TEST(ExitStatus, OfOtherExceptions) {
  expectEnding(Misuse("cause"), ExitStatus::usage, "cause");
  expectEnding(std::bad_alloc(), ExitStatus::limit, "not enough memory");
  expectEnding(std::logic_error("cause"), ExitStatus::internal, "internal error: cause");
  const std::system_error threads(EAGAIN, std::system_category(), "thread");
  expectEnding(threads, ExitStatus::internal, std::string("internal error: ") + threads.what());
}

TEST(ExitStatus, OptionsAreNamed) {
  expectEnding(Problem(Kind::limit, "too much", Setting::maxPixels), ExitStatus::limit, "too much (--max-pixels)");
  expectEnding(Problem(Kind::limit, "too much", Setting::maxScans), ExitStatus::limit, "too much (--max-scans)");
  expectEnding(Problem(Kind::limit, "too much", Setting::maxMemory), ExitStatus::limit, "too much (--max-memory)");
  expectEnding(Problem(Kind::limit, "too much", Setting::maxMemoryOrTiles), ExitStatus::limit,
               "too much (--max-memory, or --tile to need less)");
  expectEnding(Problem(Kind::unsupported, "no code", Setting::optimize), ExitStatus::refused,
               "no code (use --optimize)");
  expectEnding(Problem(Kind::badOption, "reduce 6: no", Setting::reduce), ExitStatus::refused, "--reduce 6: no");
}

TEST(ExitStatus, OneOfSeveralOutputsIsNamed) {
  EXPECT_EQ(endingOf(Problem(Kind::output, "cause")).output, "");
  EXPECT_EQ(endingOf(OutputProblem(Problem(Kind::output, "cause"), "b.pgx")).output, "b.pgx");
}

}  // namespace
}  // namespace moxj
