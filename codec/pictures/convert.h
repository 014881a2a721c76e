// Between colour and grey.
#pragma once

#include "pictures/picture.h"

namespace moxj {

// The luminance of a colour picture as JFIF defines it; a grey picture as it is.
Picture toGrey(const Picture& picture);

// A grey picture with its channel three times; a colour picture as it is.
Picture toColour(const Picture& picture);

}  // namespace moxj
