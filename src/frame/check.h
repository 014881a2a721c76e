// Argument checks as a chain: the order of its links is the order in which a function tests its arguments.
#pragma once

#include <cstdint>
#include <cstring>

#include "moxj.h"

namespace mox {

// Each link tests one group of arguments and does nothing once an earlier link has failed; the chain converts to the
// status of the first failure:
//   if (const MoxStatus bad = Check().pointers(pSrc, pDst).steps(srcStep, dstStep).size(roi)) return bad;
class Check {
 public:
  constexpr operator MoxStatus() const { return status_; }

  template <class... Pointers>
  constexpr Check& pointers(const Pointers*... given) {
    return require((... && (given != nullptr)), moxStatusNullPointer);
  }

  // The pointers inside an array of planes; the array itself has passed pointers() by then.
  template <int Count, class Plane>
  constexpr Check& planes(const Plane* const* given) {
    for (int i = 0; i < Count && status_ == moxStatusOk; i++) pointers(given[i]);
    return *this;
  }

  template <class... Steps>
  constexpr Check& steps(Steps... given) {
    return require((... && (given >= 1)), moxStatusBadStep);
  }

  // An image with a size of its own.
  constexpr Check& region(const Mox8u* first, int32_t step, MoxRoiSize roi) {
    return pointers(first).steps(step).size(roi);
  }

  // The steps of as many planes, in an array that has passed pointers() by then.
  template <int Count>
  constexpr Check& stepsOf(const int32_t* given) {
    for (int i = 0; i < Count && status_ == moxStatusOk; i++) steps(given[i]);
    return *this;
  }

  constexpr Check& size(MoxRoiSize roi) { return length(roi.width).length(roi.height); }
  // A rectangle that has passed pointers() by then.
  constexpr Check& size(const MoxRect* roi) {
    return status_ == moxStatusOk ? length(roi->width).length(roi->height) : *this;
  }
  constexpr Check& length(int32_t given) { return require(given >= 1, moxStatusBadSize); }

  // A scalar argument's set of values.
  constexpr Check& argument(bool allowed) { return require(allowed, moxStatusBadArgument); }

  // The tag that a state begins with. The state may lie at any address.
  Check& tag(const void* state, uint32_t expected) {
    if (status_ != moxStatusOk) return *this;
    uint32_t tag;
    std::memcpy(&tag, state, sizeof tag);
    return require(tag == expected, moxStatusContextMismatch);
  }

  // A condition that looks through pointers or into a state: it is evaluated only if nothing has failed before.
  template <class Condition>
  constexpr Check& holds(const Condition& condition, MoxStatus otherwise) {
    return status_ == moxStatusOk ? require(condition(), otherwise) : *this;
  }

  constexpr Check& require(bool holds, MoxStatus otherwise) {
    if (status_ == moxStatusOk && !holds) status_ = otherwise;
    return *this;
  }

 private:
  MoxStatus status_ = moxStatusOk;
};

}  // namespace mox
