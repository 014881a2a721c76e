// Argument checks as a chain: the order of its links is the order in which a function tests its arguments.
#pragma once

#include <cstdint>
#include <cstring>

#include "moxj.h"

namespace mox {

// Each link tests one group of arguments and does nothing once an earlier link has failed; the chain converts to the
// status of the first failure:
//   if (const MoxStatus bad = Check().pointers(pSrc, pDst).steps(srcStep, dstStep).size(roi)) return bad;
// A link that takes the address of a value reads it only if no earlier link has failed: the pointers() that tests the
// address is a link of the same chain.
class Check {
 public:
  constexpr operator MoxStatus() const { return status_; }

  template <class... Pointers>
  constexpr Check& pointers(const Pointers*... given) {
    return require((... && (given != nullptr)), moxStatusNullPointer);
  }

  // The pointers in an array of planes.
  template <int Count, class Plane>
  constexpr Check& planes(const Plane* const* given) {
    for (int i = 0; i < Count && open(); i++) pointers(given[i]);
    return *this;
  }

  template <class... Steps>
  constexpr Check& steps(Steps... given) {
    return require((... && (given >= 1)), moxStatusBadStep);
  }

  // The steps of as many planes.
  template <int Count>
  constexpr Check& stepsOf(const int32_t* given) {
    for (int i = 0; i < Count && open(); i++) steps(given[i]);
    return *this;
  }

  constexpr Check& length(int32_t given) { return require(given >= 1, moxStatusBadSize); }
  constexpr Check& size(MoxRoiSize roi) { return length(roi.width).length(roi.height); }
  constexpr Check& size(const MoxRect* roi) { return open() ? length(roi->width).length(roi->height) : *this; }

  // An image, where each of a function's images has its own size.
  constexpr Check& region(const Mox8u* first, int32_t step, MoxRoiSize roi) {
    return pointers(first).steps(step).size(roi);
  }

  // Whether a scalar argument has one of its allowed values.
  constexpr Check& argument(bool allowed) { return require(allowed, moxStatusBadArgument); }

  constexpr Check& atLeast(const int32_t* value, int32_t least, MoxStatus otherwise) {
    return open() ? require(*value >= least, otherwise) : *this;
  }

  // The tag that a state begins with. The state may lie at any address.
  Check& tag(const void* state, uint32_t expected) {
    if (!open()) return *this;
    uint32_t tag;
    std::memcpy(&tag, state, sizeof tag);
    return require(tag == expected, moxStatusContextMismatch);
  }

  // The links that follow do nothing if `skipped`.
  constexpr Check& unless(bool skipped) {
    done_ = done_ || skipped;
    return *this;
  }

  constexpr Check& require(bool holds, MoxStatus otherwise) {
    if (open() && !holds) status_ = otherwise;
    return *this;
  }

  // A condition that looks through pointers or into a state: evaluated only if no earlier link has failed.
  template <class Condition>
  constexpr Check& holds(const Condition& condition, MoxStatus otherwise) {
    return open() ? require(condition(), otherwise) : *this;
  }

 private:
  // Whether later links are still tested: no link has failed, and unless() has not ended the chain.
  constexpr bool open() const { return status_ == moxStatusOk && !done_; }

  MoxStatus status_ = moxStatusOk;
  bool done_ = false;
};

}  // namespace mox
