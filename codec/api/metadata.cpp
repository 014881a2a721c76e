// Metadata blocks: copies in, views out.
#include "api/metadata.h"

#include <cmath>
#include <cstring>
#include <utility>

#include "api/structs.h"

namespace moxj::api {

MetadataList::MetadataList(std::shared_ptr<const Metadata> metadata) : metadata_(std::move(metadata)) {
  if (metadata_)
    density_ = {metadata_->horizontalResolution, metadata_->verticalResolution, metadata_->ratioOnly ? 1 : 0};
}

std::size_t MetadataList::count() const {
  return metadata_ ? metadata_->blocks.size() + (metadata_->hasResolution() ? 1 : 0) : 0;
}

MoxcMetadata MetadataList::at(std::size_t index) const {
  if (index >= count()) throw BadArgument("there is no such block of metadata");
  if (index == metadata_->blocks.size()) return {moxcResolution, "", &density_, sizeof density_};
  const MetadataBlock& block = metadata_->blocks[index];
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

namespace {

void takeDensity(const MoxcMetadata& block, Metadata& metadata) {
  MoxcDensity density;
  if (block.byteCount != sizeof density) throw BadArgument("the bytes of a resolution are no MoxcDensity");
  std::memcpy(&density, block.bytes, sizeof density);
  const auto good = [](double number) { return std::isfinite(number) && number > 0; };
  if (!good(density.horizontal) || !good(density.vertical)) throw BadArgument("a resolution must be above 0");
  metadata.horizontalResolution = density.horizontal;
  metadata.verticalResolution = density.vertical;
  metadata.ratioOnly = density.ratioOnly != 0;
}

}  // namespace

std::shared_ptr<const Metadata> metadataOf(const MoxcMetadata* blocks, std::size_t count) {
  if (count == 0) return nullptr;
  need(blocks, "metadata");
  auto metadata = std::make_shared<Metadata>();
  for (std::size_t i = 0; i < count; ++i) {
    const MoxcMetadata& from = blocks[i];
    const int kind = numberOf(from.kind);
    if (kind < moxcIcc || kind > moxcResolution) throw BadArgument("there is no such kind of metadata");
    if (from.byteCount > 0) need(from.bytes, "the bytes of metadata");
    if (kind == moxcResolution) {
      takeDensity(from, *metadata);
      continue;
    }
    MetadataBlock& block = metadata->blocks.emplace_back();
    block.kind = static_cast<MetadataKind>(kind);
    if (from.name) block.name = from.name;
    const auto* const bytes = static_cast<const std::uint8_t*>(from.bytes);
    block.bytes.assign(bytes, bytes + from.byteCount);
  }
  return metadata;
}

}  // namespace moxj::api
