// What no caller can see through the header: the boundary for exceptions, and structs of older programs.
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>

#include "api/report.h"
#include "api/structs.h"

namespace {

using moxj::Kind;
using moxj::Outcome;
using moxj::Problem;
using moxj::api::guarded;

struct Thrown {
  MoxcReport report;
  template <class Throw>
  MoxcKind operator()(Throw&& body) {
    return guarded(&report, [&] { body(); });
  }
};

TEST(Boundary, TurnsEveryExceptionIntoAKind) {
  Thrown thrown;
  EXPECT_EQ(moxcInternal, thrown([] { throw 42; }));
  EXPECT_STREQ("an exception of unknown type", moxcReportText(&thrown.report));
  EXPECT_EQ(moxcInternal, thrown([] { throw std::logic_error("broken"); }));
  EXPECT_STREQ("broken", moxcReportText(&thrown.report));
  EXPECT_EQ(moxcNoMemory, thrown([] { throw std::bad_alloc(); }));
  EXPECT_STREQ("not enough memory", moxcReportText(&thrown.report));
  EXPECT_EQ(moxcBadArgument, thrown([] { throw moxj::api::BadArgument("no"); }));
  const struct {
    Kind kind;
    MoxcKind expected;
  } kinds[] = {{Kind::notThisFormat, moxcNotThisFormat}, {Kind::damaged, moxcDamaged},
               {Kind::unsupported, moxcUnsupported},     {Kind::input, moxcInput},
               {Kind::badOption, moxcBadOption},         {Kind::limit, moxcLimit},
               {Kind::noMemory, moxcNoMemory},           {Kind::output, moxcOutput},
               {Kind::cancelled, moxcCancelled},         {Kind::internal, moxcInternal}};
  for (const auto& [kind, expected] : kinds) {
    EXPECT_EQ(expected, thrown([&] { moxj::fail(kind, "cause"); }));
    EXPECT_EQ(expected, moxcReportKind(&thrown.report));
    EXPECT_STREQ("cause", moxcReportText(&thrown.report));
  }
  EXPECT_EQ(moxcOk, thrown([] {}));
  EXPECT_EQ(moxcOk, moxcReportKind(&thrown.report));
  EXPECT_STREQ("", moxcReportText(&thrown.report));
}

TEST(Boundary, NamesTheSettingToChange) {
  using moxj::Setting;
  const struct {
    Setting setting;
    MoxcAdvice expected;
  } settings[] = {{Setting::none, moxcAdviceNone},           {Setting::maxPixels, moxcAdviceMaxPixels},
                  {Setting::maxMemory, moxcAdviceMaxMemory}, {Setting::maxMemoryOrTiles, moxcAdviceMaxMemoryOrTiles},
                  {Setting::maxScans, moxcAdviceMaxScans},   {Setting::optimize, moxcAdviceOptimize},
                  {Setting::option, moxcAdviceOption}};
  Thrown thrown;
  for (const auto& [setting, expected] : settings) {
    thrown([&] { moxj::fail(Kind::limit, "too much", setting); });
    EXPECT_EQ(expected, moxcReportAdvice(&thrown.report));
  }
  thrown([] { moxj::failOption("reduce", "is too large"); });
  EXPECT_STREQ("reduce", moxcReportOption(&thrown.report));
  EXPECT_STREQ("reduce is too large", moxcReportText(&thrown.report));
}

TEST(Boundary, NeedsNoReport) {
  EXPECT_EQ(moxcInternal, guarded(nullptr, [] { throw 42; }));
  EXPECT_EQ(moxcOk, guarded(nullptr, [] { return Outcome(); }));
}

// A struct that has grown by a field since its first version.
struct Grown {
  std::size_t structSize;
  std::int64_t first, added;
};

}  // namespace

template <>
inline constexpr std::size_t moxj::api::kFirstSize<Grown> = offsetof(Grown, added);

namespace {

TEST(GrownStructs, OfOldProgramsLackTheNewFields) {
  struct {
    std::size_t structSize = offsetof(Grown, added);
    std::int64_t first = 5, beyond = 77;
  } old;
  auto* const seen = reinterpret_cast<Grown*>(&old);
  const Grown copy = moxj::api::given<Grown>(seen, "options");
  EXPECT_EQ(5, copy.first);
  EXPECT_EQ(0, copy.added);
  moxj::api::give(Grown{0, 8, 9}, seen, "options");
  EXPECT_EQ(offsetof(Grown, added), old.structSize);
  EXPECT_EQ(8, old.first);
  EXPECT_EQ(77, old.beyond);
  old.structSize = offsetof(Grown, added) - 1;
  EXPECT_THROW(moxj::api::given<Grown>(seen, "options"), moxj::api::BadArgument);
  EXPECT_THROW(moxj::api::give(Grown(), seen, "options"), moxj::api::BadArgument);
}

TEST(GrownStructs, MayBeMissing) {
  const Grown copy = moxj::api::given<Grown>(nullptr, "options");
  EXPECT_EQ(sizeof copy, copy.structSize);
  EXPECT_EQ(0, copy.first);
  EXPECT_THROW(moxj::api::needed<Grown>(nullptr, "options"), moxj::api::BadArgument);
}

}  // namespace
