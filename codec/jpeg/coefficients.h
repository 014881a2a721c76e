// The quantised coefficients of a whole picture, for files with several scans.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "base/budget.h"
#include "base/bytes.h"
#include "jpeg/frame.h"
#include "moxj.h"

namespace moxj::jpeg {

// Blocks are 0 until they are written. Memory is used only for pages that are written (calloc), huge ones if large.
class Coefficients {
 public:
  // Charged to the budget first, which must outlive them. Throws Problem (limit) or std::bad_alloc.
  Coefficients(const Frame& frame, Budget& budget) : budget_(budget) {
    for (const FrameComponent& c : frame.components) {
      const std::size_t blocks = static_cast<std::size_t>(c.paddedWide) * static_cast<std::size_t>(c.paddedHigh);
      budget.charge(blocks, 64 * sizeof(Mox16s));
      charged_ += blocks * 64 * sizeof(Mox16s);
      Plane& plane = planes_.emplace_back();
      plane.blocksWide = c.paddedWide;
      plane.samples.reset(static_cast<Mox16s*>(std::calloc(blocks, 64 * sizeof(Mox16s))));
      if (!plane.samples) throw std::bad_alloc();
      preferHugePages(plane.samples.get(), blocks * 64 * sizeof(Mox16s));
    }
  }
  ~Coefficients() { budget_.release(charged_); }
  Coefficients(const Coefficients&) = delete;
  Coefficients& operator=(const Coefficients&) = delete;

  Mox16s* block(int component, int x, int y) {
    Plane& plane = planes_[component];
    return plane.samples.get() + (std::ptrdiff_t{y} * plane.blocksWide + x) * 64;
  }
  const Mox16s* block(int component, int x, int y) const {
    return const_cast<Coefficients*>(this)->block(component, x, y);
  }

 private:
  struct Free {
    void operator()(Mox16s* samples) const { std::free(samples); }
  };
  struct Plane {
    std::unique_ptr<Mox16s[], Free> samples;
    int blocksWide = 0;
  };
  Budget& budget_;
  std::uint64_t charged_ = 0;
  std::vector<Plane> planes_;
};

}  // namespace moxj::jpeg
