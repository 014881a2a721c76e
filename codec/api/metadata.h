// Metadata blocks of the interface.
#pragma once

#include <cstdint>
#include <memory>

#include "moxcodec.h"
#include "pictures/metadata.h"

namespace moxj::api {

// Metadata as the interface shows it: blocks, of which the resolution is the last.
class MetadataList {
 public:
  MetadataList() = default;
  explicit MetadataList(std::shared_ptr<const Metadata> metadata);  // may be null

  std::size_t count() const;
  // Throws BadArgument if there is no such block. It lives as long as the list.
  MoxcMetadata at(std::size_t index) const;

 private:
  std::shared_ptr<const Metadata> metadata_;
  MoxcDensity density_ = {};
};

// Copies of the caller's blocks; null if there are none. Throws BadArgument.
std::shared_ptr<const Metadata> metadataOf(const MoxcMetadata* blocks, std::size_t count);

// What a sum of moxcStrip values means. Throws Problem (badOption).
MetadataSet stripOf(std::int32_t bits);

}  // namespace moxj::api
