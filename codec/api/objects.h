// The objects of the interface that hold pictures.
#pragma once

#include "formats/formats.h"
#include "moxcodec.h"

struct MoxcPicture {
  moxj::Picture picture;  // owns the samples and has the metadata
  MoxcPixels pixels = {};
};

struct MoxcDescription {
  moxj::Description description;
};
