// Metadata blocks of the interface.
#pragma once

#include <cstdint>
#include <memory>

#include "moxcodec.h"
#include "pictures/metadata.h"

namespace moxj::api {

std::size_t metadataCount(const Metadata* metadata);
// Throws BadArgument if there is no such block.
MoxcMetadata metadataAt(const Metadata* metadata, std::size_t index);

// Copies of the caller's blocks; null if there are none. Throws BadArgument.
std::shared_ptr<const Metadata> metadataOf(const MoxcMetadata* blocks, std::size_t count);

// What a sum of moxcStrip values means. Throws Problem (badOption).
MetadataSet stripOf(std::int32_t bits);

}  // namespace moxj::api
