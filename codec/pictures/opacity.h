// Opacity that colours have been multiplied by.
#pragma once

#include "pictures/picture.h"

namespace moxj {

// Divides all colours of a band by its last plane, opacity. Where that is 0, they become 0.
void divideByOpacity(const Picture& band);

}  // namespace moxj
