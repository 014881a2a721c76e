// The interface through which a decoder turns blocks into the rows of a picture, which go to a sink in bands.
#pragma once

#include "moxj.h"
#include "pictures/rows.h"

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
};

// The picture without its samples.
inline Picture layoutOf(const Picture& picture) {
  Picture layout = picture;
  for (Plane& plane : layout.planes) plane.samples = nullptr;
  layout.owner = nullptr;
  return layout;
}

// The first rows of the memory of a painter, as a band for a sink. A sink may keep the memory of a whole picture; that
// of a part will be used again.
inline Picture bandOf(const Picture& memory, int rows, int height) {
  Picture band = memory.band(0, rows);
  if (rows < height) band.owner = nullptr;
  return band;
}

}  // namespace moxj::jpeg
