// Metadata blocks: copies in, views out.
#include "api/metadata.h"

#include "api/structs.h"

namespace moxj::api {

std::size_t metadataCount(const Metadata* metadata) { return metadata ? metadata->blocks.size() : 0; }

MoxcMetadata metadataAt(const Metadata* metadata, std::size_t index) {
  if (index >= metadataCount(metadata)) throw BadArgument("there is no such block of metadata");
  const MetadataBlock& block = metadata->blocks[index];
  return {static_cast<MoxcMetadataKind>(block.kind), block.name.c_str(), block.bytes.data(), block.bytes.size()};
}

MetadataSet stripOf(std::int32_t bits) {
  if (bits < 0 || bits >= 2 * moxcStripResolution) failOption("strip", "is not a sum of moxcStrip values");
  if (bits & moxcStripAll) return MetadataSet::all();
  constexpr struct {
    std::int32_t bit;
    MetadataKind kind;
  } kKinds[] = {{moxcStripIcc, MetadataKind::icc},         {moxcStripExif, MetadataKind::exif},
                {moxcStripXmp, MetadataKind::xmp},         {moxcStripIptc, MetadataKind::iptc},
                {moxcStripComment, MetadataKind::comment}, {moxcStripOther, MetadataKind::other}};
  MetadataSet set;
  for (const auto& known : kKinds)
    if (bits & known.bit) set = set.with(known.kind);
  return bits & moxcStripResolution ? set.withResolution() : set;
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

}  // namespace moxj::api
