// Every progression is a sort of the precincts, combined with a loop over the layers:
//
//   RPCL, PCRL, CPRL   sort by resolution, position and component; the layers are the inner loop
//   LRCP               sort by resolution and component; the layers are the outer loop
//   RLCP               the same, with the loop over the layers inside each resolution
#include "j2k/packetorder.h"

#include <algorithm>
#include <array>

namespace moxj::j2k {

namespace {

struct Entry {
  Coord x, y;  // position on the reference grid, for progressions by position
  PacketPlace place;
};

// The coordinate of a precinct on the reference grid (B.12.1.3). Precinct 0 is at the tile's start, unless the
// resolution starts on the precinct grid.
Coord positionOf(Coord number, Coord resolutionStart, Coord tileStart, int precinctLog, int levels, int subsampling) {
  const bool onGrid = (resolutionStart & ((Coord{1} << precinctLog) - 1)) == 0;
  if (number == 0 && !onGrid) return tileStart;
  return ((((resolutionStart >> precinctLog) + number) << precinctLog) << levels) * subsampling;
}

class Walk {
 public:
  Walk(Tile& tile, const Siz& siz, const std::function<bool(const PacketPlace&)>& visit)
      : tile_(tile), siz_(siz), visit_(visit) {}

  bool run(const Progression& progression) {
    collect(progression);
    sort(progression.order);
    const int layers = std::min(progression.endLayer, tile_.style.layers);
    switch (progression.order) {
      case Order::lrcp:
        for (int layer = 0; layer < layers; ++layer)
          if (!visitLayer(entries_.begin(), entries_.end(), layer)) return false;
        return true;
      case Order::rlcp:
        return visitResolutions(layers);
      default:
        for (const Entry& entry : entries_)
          for (int layer = 0; layer < layers; ++layer)
            if (!visitOne(entry, layer)) return false;
        return true;
    }
  }

 private:
  using Entries = std::vector<Entry>;

  void collect(const Progression& progression) {
    entries_.clear();
    const int components = static_cast<int>(tile_.components.size());
    for (int c = progression.firstComponent; c < std::min(progression.endComponent, components); ++c) {
      const TileComponent& component = tile_.components[static_cast<std::size_t>(c)];
      const int end = std::min(progression.endResolution, component.coding.levels + 1);
      for (int r = progression.firstResolution; r < end; ++r) collect(c, r);
    }
  }

  void collect(int c, int r) {
    const TileComponent& component = tile_.components[static_cast<std::size_t>(c)];
    const Resolution& resolution = component.resolutions[static_cast<std::size_t>(r)];
    const ComponentSize& size = siz_.components[static_cast<std::size_t>(c)];
    const int levels = component.coding.levels - r;
    for (std::uint32_t k = 0; k < resolution.precincts.size(); ++k) {
      const Coord px = k % resolution.precinctsWide, py = k / resolution.precinctsWide;
      entries_.push_back(
          {positionOf(px, resolution.rect.x0, tile_.rect.x0, resolution.precinctWidthLog, levels, size.dx),
           positionOf(py, resolution.rect.y0, tile_.rect.y0, resolution.precinctHeightLog, levels, size.dy),
           {c, r, k, 0}});
    }
  }

  void sort(Order order) {
    const auto keys = [order](const Entry& e) -> std::array<Coord, 5> {
      const Coord c = e.place.component, r = e.place.resolution, k = e.place.precinct;
      switch (order) {
        case Order::rpcl:
          return {r, e.y, e.x, c, k};
        case Order::pcrl:
          return {e.y, e.x, c, r, k};
        case Order::cprl:
          return {c, e.y, e.x, r, k};
        default:
          return {r, c, k, 0, 0};
      }
    };
    std::sort(entries_.begin(), entries_.end(), [&](const Entry& a, const Entry& b) { return keys(a) < keys(b); });
  }

  bool visitResolutions(int layers) {
    for (auto begin = entries_.begin(); begin != entries_.end();) {
      const auto end = std::find_if(
          begin, entries_.end(), [&](const Entry& entry) { return entry.place.resolution != begin->place.resolution; });
      for (int layer = 0; layer < layers; ++layer)
        if (!visitLayer(begin, end, layer)) return false;
      begin = end;
    }
    return true;
  }

  bool visitLayer(Entries::const_iterator begin, Entries::const_iterator end, int layer) {
    for (auto entry = begin; entry != end; ++entry)
      if (!visitOne(*entry, layer)) return false;
    return true;
  }

  // Packets of an earlier progression are not repeated.
  bool visitOne(const Entry& entry, int layer) {
    PacketPlace place = entry.place;
    TileComponent& component = tile_.components[static_cast<std::size_t>(place.component)];
    Precinct& precinct = component.resolutions[static_cast<std::size_t>(place.resolution)].precincts[place.precinct];
    if (layer != precinct.layersDone) return true;
    place.layer = layer;
    ++precinct.layersDone;
    return visit_(place);
  }

  Tile& tile_;
  const Siz& siz_;
  const std::function<bool(const PacketPlace&)>& visit_;
  Entries entries_;
};

std::uint64_t precinctsOf(const Tile& tile) {
  std::uint64_t count = 0;
  for (const TileComponent& component : tile.components)
    for (const Resolution& resolution : component.resolutions) count += resolution.precincts.size();
  return count;
}

}  // namespace

void forEachPacket(Tile& tile, const Siz& siz, Budget& budget, const std::function<bool(const PacketPlace&)>& visit) {
  const std::uint64_t before = budget.used();
  budget.charge(2 * precinctsOf(tile), sizeof(Entry));  // a growing vector has up to twice the capacity it needs
  Walk walk(tile, siz, visit);
  for (const Progression& progression : tile.progressions)
    if (!walk.run(progression)) break;
  budget.restore(before);
}

}  // namespace moxj::j2k
