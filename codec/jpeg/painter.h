// What a decoder hands the blocks of a picture to.
#pragma once

#include "moxj.h"
#include "pictures/picture.h"

namespace moxj::jpeg {

class Painter {
 public:
  virtual ~Painter() = default;

  // A block of the current MCU row; (x, y) in blocks of the whole component.
  virtual void put(int component, int x, int y, const Mox16s* coefficients) = 0;
  // All blocks of the current MCU row are there.
  virtual void finishRow() = 0;
  // There are no more blocks: what is left of the picture is as if they were empty.
  virtual void finish() = 0;
  // Empty where there is a sink.
  virtual Picture picture() const = 0;
};

}  // namespace moxj::jpeg
