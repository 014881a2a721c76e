// Converts pictures between colour and grey.
#pragma once

#include "pictures/picture.h"

namespace moxj {

// The luminance of a colour picture as JFIF defines it. A grey picture is returned unchanged.
Picture toGrey(const Picture& picture);

// A grey picture with its channel repeated three times. A colour picture is returned unchanged.
Picture toColour(const Picture& picture);

}  // namespace moxj
