// The interface through which a decoder turns blocks into a picture.
#pragma once

#include "moxj.h"
#include "pictures/picture.h"

namespace moxj::jpeg {

class Painter {
 public:
  virtual ~Painter() = default;

  // A block of the current MCU row; (x, y) in blocks of the whole component.
  virtual void put(int component, int x, int y, const Mox16s* coefficients) = 0;
  // Ends the current MCU row.
  virtual void finishRow() = 0;
  // Ends the picture. Missing MCU rows are painted as if all their blocks were empty.
  virtual void finish() = 0;
  // Empty if there is a sink.
  virtual Picture picture() const = 0;
};

}  // namespace moxj::jpeg
