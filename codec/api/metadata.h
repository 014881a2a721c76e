// Metadata blocks of the interface.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "moxcodec.h"
#include "pictures/metadata.h"

namespace moxj::api {

std::size_t metadataCount(const Metadata* metadata);
// Throws BadArgument if there is no such block.
MoxcMetadata metadataAt(const Metadata* metadata, std::size_t index);

// Copies of the caller's blocks; null if there are none. Throws BadArgument.
std::shared_ptr<const Metadata> metadataOf(const MoxcMetadata* blocks, std::size_t count);

// A note for each block. No format writes any yet.
void noteDropped(const Metadata* metadata, std::vector<std::string>& notes);

}  // namespace moxj::api
