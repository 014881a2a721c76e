// Two files, read at their own depth and compared at the larger one.
#include "pictures/compare.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "api/run.h"
#include "api/source.h"
#include "api/structs.h"
#include "formats/convert.h"

namespace moxj::api {

namespace {

constexpr int kMaxChannels = 16;

// Texts that live as long as the library.
constexpr const char* kNames[] = {
    "grey",    "red",      "green",    "blue",     "opacity",  "cyan",     "magenta",  "yellow",   "black",
    "plane 0", "plane 1",  "plane 2",  "plane 3",  "plane 4",  "plane 5",  "plane 6",  "plane 7",  "plane 8",
    "plane 9", "plane 10", "plane 11", "plane 12", "plane 13", "plane 14", "plane 15", "plane 16",
};

const char* nameOf(std::string_view name) {
  const auto* const found = std::ranges::find(kNames, name, [](const char* known) { return std::string_view(known); });
  return found == std::end(kNames) ? "" : *found;
}

Outcome readFor(const MoxcSource* source, PictureCollector& collector, Work& work) {
  Holds holds;
  holds.colours = {Colour::unknown, Colour::cmyk, Colour::grey, Colour::rgb};
  holds.metadata.silent = true;
  holds.opacity = holds.anyMaxval = holds.isSigned = holds.otherInks = true;
  ReadOptions options;
  options.inks = true;
  Input input = inputOf(source);
  return read(input, options, holds, collector, work);
}

// Beside other colours, inks become RGB: not silently.
Picture withoutInks(const Picture& picture, const Picture& other, Outcome& outcome, Work& work) {
  if (picture.colour != Colour::cmyk || other.colour == Colour::cmyk || hasFurtherPlanes(other)) return picture;
  Holds holds;
  holds.colours = {Colour::rgb};
  holds.metadata.silent = true;
  holds.opacity = holds.anyMaxval = holds.isSigned = true;
  return fitted(picture, holds, outcome.notes, work.budget);
}

MoxcDifference differenceOf(const Difference& from) { return {from.meanSquare, from.psnr, from.ssim, from.max}; }

MoxcShape shapeOf(const Picture& picture) {
  return {static_cast<std::uint64_t>(picture.width), static_cast<std::uint64_t>(picture.height),
          static_cast<std::int32_t>(picture.planes.size())};
}

// What is known before the pictures are compared.
MoxcComparison shapesOf(const Picture& a, const Picture& b) {
  MoxcComparison shapes = {};
  shapes.a = shapeOf(a);
  shapes.b = shapeOf(b);
  return shapes;
}

MoxcComparison comparisonOf(const Comparison& from, const Picture& a, const Picture& b) {
  if (from.channels.size() > kMaxChannels)
    fail(Kind::unsupported, std::to_string(from.channels.size()) + " planes are more than can be compared");
  MoxcComparison to = shapesOf(a, b);
  to.width = static_cast<std::uint64_t>(from.width);
  to.height = static_cast<std::uint64_t>(from.height);
  to.channels = static_cast<std::int32_t>(from.channels.size());
  to.bits = from.bits;
  for (std::size_t i = 0; i < from.channels.size(); ++i) {
    to.names[i] = nameOf(from.names[i]);
    to.channel[i] = differenceOf(from.channels[i]);
  }
  to.all = differenceOf(from.all);
  return to;
}

}  // namespace

}  // namespace moxj::api

using namespace moxj::api;

MoxcKind moxcCompare(const MoxcSource* a, const MoxcSource* b, const MoxcRun* run, MoxcComparison* comparison,
                     MoxcReport* reportA, MoxcReport* reportB) {
  std::optional<Run> job;
  std::optional<moxj::PictureCollector> pictureA, pictureB;
  if (reportB) reportB->clear();
  moxj::Outcome outcomeA;
  MoxcKind kind = guarded(reportA, [&] {
    need(comparison, "comparison");
    give(MoxcComparison{}, comparison, "comparison");
    job.emplace(run);
    pictureA.emplace(&job->work.budget);
    return readFor(a, *pictureA, job->work);
  });
  if (kind != moxcOk) return kind;
  const bool sameReport = reportA && reportA == reportB;
  if (sameReport) outcomeA = std::move(reportA->outcome);
  kind = guarded(reportB, [&] {
    pictureB.emplace(&job->work.budget);
    moxj::Outcome outcome = readFor(b, *pictureB, job->work);
    const moxj::Picture &givenA = pictureA->picture(), &givenB = pictureB->picture();
    give(shapesOf(givenA, givenB), comparison, "comparison");
    const moxj::Picture first =
        withoutInks(givenA, givenB, reportA && !sameReport ? reportA->outcome : outcomeA, job->work);
    const moxj::Picture second = withoutInks(givenB, givenA, outcome, job->work);
    give(comparisonOf(moxj::compare(first, second, job->work), first, second), comparison, "comparison");
    job->complete();
    // The outcome of both in one report.
    if (!outcomeA.complete) outcome.incomplete(outcomeA.warning);
    outcome.notes.insert(outcome.notes.begin(), outcomeA.notes.begin(), outcomeA.notes.end());
    return outcome;
  });
  return kind;
}
