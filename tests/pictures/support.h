// Pictures of every layout, files in memory, and sinks that watch what they get.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/input.h"
#include "formats/formats.h"
#include "pictures/rows.h"

namespace moxj::test {

inline void set(const Plane& plane, int x, int y, std::int32_t value) {
  visitRow(plane, y,
           [&]<class Type>(Type* row) { row[std::ptrdiff_t{x} * plane.pixelStep] = static_cast<Type>(value); });
}

// Random samples; each plane has a sample for so many columns and rows of pixels.
inline Picture sampledPicture(int width, int height, std::initializer_list<std::pair<int, int>> sampling, int bits) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  for (const auto& [dx, dy] : sampling)
    picture.planes.push_back(Plane::of((width + dx - 1) / dx, (height + dy - 1) / dy, bits, false, dx, dy));
  picture.allocate();
  std::mt19937 random(1);
  for (const Plane& plane : picture.planes)
    for (int y = 0; y < plane.height; ++y)
      visitRow(plane, y, [&](auto* row) {
        for (std::ptrdiff_t x = 0; x < plane.width; ++x)
          row[x * plane.pixelStep] = static_cast<std::remove_pointer_t<decltype(row)>>(random() % (1u << bits));
      });
  return picture;
}

// Random samples from the minimum to the maximum value; both occur.
inline void fill(const Picture& picture, unsigned seed = 1) {
  std::mt19937 random(seed);
  for (const Plane& plane : picture.planes) {
    std::uniform_int_distribution<std::int32_t> value(plane.minval(), plane.maxval);
    for (int y = 0; y < plane.height; ++y)
      for (int x = 0; x < plane.width; ++x) set(plane, x, y, value(random));
    set(plane, 0, 0, plane.maxval);
    set(plane, plane.width - 1, plane.height - 1, plane.minval());
  }
}

inline Picture filled(Picture layout, unsigned seed = 1) {
  layout.allocate();
  fill(layout, seed);
  return layout;
}

inline bool equalRows(const Picture& a, const Picture& b, int rows) {
  if (a.planes.size() != b.planes.size()) return false;
  for (std::size_t i = 0; i < a.planes.size(); ++i)
    for (int y = 0; y < std::min(rows, a.planes[i].height); ++y)
      for (int x = 0; x < a.planes[i].width; ++x)
        if (a.planes[i].at(x, y) != b.planes[i].at(x, y)) return false;
  return true;
}

inline bool equalLayout(const Picture& a, const Picture& b) {
  if (a.width != b.width || a.height != b.height || a.colour != b.colour || a.opacity != b.opacity) return false;
  if (a.planes.size() != b.planes.size()) return false;
  for (std::size_t i = 0; i < a.planes.size(); ++i) {
    const Plane &p = a.planes[i], &q = b.planes[i];
    if (p.width != q.width || p.height != q.height || p.dx != q.dx || p.dy != q.dy || p.bits != q.bits ||
        p.isSigned != q.isSigned || p.maxval != q.maxval || p.element != q.element)
      return false;
  }
  return true;
}

inline bool equal(const Picture& a, const Picture& b) { return equalLayout(a, b) && equalRows(a, b, a.height); }

// Pushes a picture in bands of some rows.
inline void pushBands(const Picture& picture, int rows, RowSink& sink) {
  Picture layout = picture;
  for (Plane& plane : layout.planes) plane.samples = nullptr;
  layout.owner = nullptr;
  sink.begin(layout);
  for (int y = 0; y < picture.height; y += rows) {
    Picture band = picture.band(y, rows);
    band.owner = nullptr;
    sink.rows(band);
  }
  sink.end();
}

inline const Format& format(const char* name) { return *formatNamed(name); }

// A picture as a file.
inline std::string fileOf(const Picture& picture, const char* name, int bandRows = 1 << 30) {
  Work work;
  MemoryOutput output;
  std::vector<std::string> notes;
  pushBands(picture, bandRows, *format(name).create(output, {}, work, notes));
  return std::string(output.bytes.begin(), output.bytes.end());
}

inline ByteSpan spanOf(const std::string& file) {
  return {reinterpret_cast<const std::uint8_t*>(file.data()), file.size()};
}

// An input that gives at most `step` bytes at once.
inline Input dripping(ByteSpan bytes, std::size_t step) {
  return Input::callback([bytes, step, at = std::size_t{0}](std::uint8_t* to, std::size_t size) mutable {
    const std::size_t count = std::min({size, step, bytes.size() - at});
    if (count > 0) std::memcpy(to, bytes.data() + at, count);
    at += count;
    return count;
  });
}

struct Read {
  Outcome outcome;
  Picture picture;
};

inline Read readFrom(Input input, Work& work) {
  PictureCollector collector(&work.budget);
  const Format& from = recognise(input);
  Outcome outcome = from.open(input, {}, work)->push(collector);
  // The samples of an input in memory may be its bytes.
  Picture picture = collector.picture();
  EXPECT_TRUE(picture.owner);
  return {std::move(outcome), picture};
}

inline Read readFile(const std::string& file) {
  Work work;
  return readFrom(Input::memory(spanOf(file)), work);
}

// Runs `work` with a callback that cancels at its 1st, 2nd ... call, until it is not reached. Returns the calls of a
// whole run.
inline int cancelAtEveryCall(const std::function<void(Work&)>& action) {
  for (int last = 1;; ++last) {
    int calls = 0;
    Work work({}, [&](std::uint64_t done, std::uint64_t total) {
      EXPECT_LE(done, total);
      return ++calls < last;
    });
    try {
      action(work);
      EXPECT_LT(calls, last);
      return calls;
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.kind, Kind::cancelled) << problem.what();
      EXPECT_EQ(calls, last);  // none after the one that cancelled
    }
  }
}

}  // namespace moxj::test
