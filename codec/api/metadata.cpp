// Metadata blocks: copies in, views out.
#include "api/metadata.h"

#include "api/structs.h"

namespace moxj::api {

namespace {

std::string nameOf(const MetadataBlock& block) {
  switch (block.kind) {
    case MetadataKind::icc:
      return "ICC profile";
    case MetadataKind::exif:
      return "Exif data";
    case MetadataKind::xmp:
      return "XMP packet";
    case MetadataKind::iptc:
      return "IPTC data";
    case MetadataKind::comment:
      return "comment";
    case MetadataKind::other:
      break;
  }
  return block.name.empty() ? "metadata" : "metadata " + block.name;
}

}  // namespace

std::size_t metadataCount(const Metadata* metadata) { return metadata ? metadata->blocks.size() : 0; }

MoxcMetadata metadataAt(const Metadata* metadata, std::size_t index) {
  if (index >= metadataCount(metadata)) throw BadArgument("there is no such block of metadata");
  const MetadataBlock& block = metadata->blocks[index];
  return {static_cast<MoxcMetadataKind>(block.kind), block.name.c_str(), block.bytes.data(), block.bytes.size()};
}

std::shared_ptr<const Metadata> metadataOf(const MoxcMetadata* blocks, std::size_t count) {
  if (count == 0) return nullptr;
  need(blocks, "metadata");
  auto metadata = std::make_shared<Metadata>();
  for (std::size_t i = 0; i < count; ++i) {
    const MoxcMetadata& from = blocks[i];
    const int kind = numberOf(from.kind);
    if (kind < moxcIcc || kind > moxcOtherMetadata) throw BadArgument("there is no such kind of metadata");
    if (from.byteCount > 0) need(from.bytes, "the bytes of metadata");
    MetadataBlock& block = metadata->blocks.emplace_back();
    block.kind = static_cast<MetadataKind>(kind);
    if (from.name) block.name = from.name;
    const auto* const bytes = static_cast<const std::uint8_t*>(from.bytes);
    block.bytes.assign(bytes, bytes + from.byteCount);
  }
  return metadata;
}

void noteDropped(const Metadata* metadata, std::vector<std::string>& notes) {
  if (!metadata) return;
  for (const MetadataBlock& block : metadata->blocks) notes.push_back(nameOf(block) + " dropped");
}

}  // namespace moxj::api
