// What each failure becomes: a status and a line.
#include "cli/exit_status.h"

#include <gtest/gtest.h>

#include <new>
#include <system_error>

namespace moxj::cli {
namespace {

void expectEnding(const std::exception& exception, ExitStatus status, const std::string& text) {
  const Ending ending = endingOf(exception);
  EXPECT_EQ(ending.status, status) << text;
  EXPECT_EQ(ending.text, text);
}

TEST(ExitStatus, OfEveryKind) {
  for (const MoxcKind kind : {moxcNotThisFormat, moxcDamaged, moxcUnsupported, moxcInput, moxcBadOption})
    EXPECT_EQ(statusOf(kind), ExitStatus::refused) << kind;
  for (const MoxcKind kind : {moxcLimit, moxcNoMemory}) EXPECT_EQ(statusOf(kind), ExitStatus::limit) << kind;
  for (const MoxcKind kind : {moxcCancelled, moxcBadArgument, moxcInternal})
    EXPECT_EQ(statusOf(kind), ExitStatus::internal) << kind;
  EXPECT_EQ(statusOf(moxcOutput), ExitStatus::output);
  EXPECT_EQ(statusOf(moxcOk), ExitStatus::ok);
}

TEST(ExitStatus, OfExceptions) {
  expectEnding(Misuse("cause"), ExitStatus::usage, "cause");
  expectEnding(Failure(ExitStatus::output, "cause"), ExitStatus::output, "cause");
  expectEnding(std::bad_alloc(), ExitStatus::limit, "not enough memory");
  expectEnding(std::logic_error("cause"), ExitStatus::internal, "internal error: cause");
  const std::system_error threads(EAGAIN, std::system_category(), "thread");
  expectEnding(threads, ExitStatus::internal, std::string("internal error: ") + threads.what());
}

TEST(ExitStatus, TheFileOfAFailureIsNamed) {
  EXPECT_EQ(endingOf(Failure(ExitStatus::output, "cause")).file, "");
  EXPECT_EQ(endingOf(Failure(ExitStatus::output, "cause", "b.pgx")).file, "b.pgx");
}

TEST(ExitStatus, OfSeveralFiles) {
  using enum ExitStatus;
  EXPECT_EQ(firstOf({}), ok);
  EXPECT_EQ(firstOf({ok, incomplete, ok}), incomplete);
  EXPECT_EQ(firstOf({incomplete, limit, refused}), limit);
}

TEST(Message, AdviceNamesTheOption) {
  EXPECT_EQ(messageOf({moxcDamaged, "cause"}, ""), "cause");
  EXPECT_EQ(messageOf({moxcLimit, "too much", moxcAdviceMaxPixels}, ""), "too much (--max-pixels)");
  EXPECT_EQ(messageOf({moxcLimit, "too much", moxcAdviceMaxScans}, ""), "too much (--max-scans)");
  EXPECT_EQ(messageOf({moxcLimit, "too much", moxcAdviceMaxMemory}, ""), "too much (--max-memory)");
  EXPECT_EQ(messageOf({moxcLimit, "too much", moxcAdviceMaxMemoryOrTiles}, ""),
            "too much (--max-memory, or --tile to need less)");
  EXPECT_EQ(messageOf({moxcUnsupported, "no code", moxcAdviceOptimize}, ""), "no code (use --optimize)");
  EXPECT_EQ(messageOf({moxcInternal, "cause"}, ""), "internal error: cause");
}

TEST(Message, FieldsBecomeOptions) {
  const auto message = [](const char* text, const char* option) {
    return messageOf({moxcBadOption, text, moxcAdviceOption, option}, "");
  };
  EXPECT_EQ(message("quality is not for PNG files", "quality"), "--quality is not for PNG files");
  EXPECT_EQ(message("fastMcu is not for PNG files", "fastMcu"), "--fast-mcu is not for PNG files");
  EXPECT_EQ(message("reduce 6: no", "reduce"), "--reduce 6: no");
  EXPECT_EQ(message("no quality", "quality"), "no quality");
  EXPECT_EQ(message("components is not for PNG files", "components"), "--components is not for PNG files");
  EXPECT_EQ(message("3 components: a PGX file has one", "components"),
            "3 components: a PGX file has one; --components writes one file for each");
  for (const auto& [field, option] :
       std::initializer_list<std::pair<const char*, const char*>>{{"levelsPlus1", "--levels"},
                                                                  {"levels", "--levels"},
                                                                  {"blockWidth", "--block"},
                                                                  {"tileHeight", "--tile"},
                                                                  {"restartInRows", "--restart"},
                                                                  {"predictor", "--lossless"},
                                                                  {"nosmooth", "--nosmooth"}})
    EXPECT_EQ(optionOfField(field), option);
}

TEST(Message, TheScanScriptIsAFile) {
  const CallError error{moxcBadOption, "scans: line 3: bad", moxcAdviceOption, "scans"};
  EXPECT_EQ(messageOf(error, "scans.txt"), "scans.txt: line 3: bad");
  EXPECT_EQ(messageOf({moxcDamaged, "scans: line 3: bad"}, "scans.txt"), "scans: line 3: bad");
}

}  // namespace
}  // namespace moxj::cli
