// Metadata in descriptions of files.
#pragma once

#include <string>

#include "formats/json.h"
#include "pictures/metadata.h"

namespace moxj {

// Lines for people; none without metadata.
std::string metadataText(const Metadata* metadata);

// A member "metadata" for programs; none without metadata.
void addMetadata(Json& json, const Metadata* metadata);

}  // namespace moxj
