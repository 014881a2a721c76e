// The objects of the interface that hold pictures.
#pragma once

#include "api/metadata.h"
#include "formats/formats.h"
#include "moxcodec.h"

struct MoxcPicture {
  moxj::Picture picture;  // owns the samples
  MoxcPixels pixels = {};
  moxj::api::MetadataList metadata;
};

struct MoxcDescription {
  moxj::Description description;
  moxj::api::MetadataList metadata;
};
