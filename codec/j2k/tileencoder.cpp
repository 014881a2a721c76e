// The transforms are tasks like the code-blocks, which wait for that of their component: so the blocks of the first
// component are coded while the second is transformed.
#include "j2k/tileencoder.h"

#include <algorithm>

#include "j2k/norms.h"
#include "j2k/roi.h"
#include "j2k/visual.h"
#include "j2k/wavelet.h"
#include "j2k/writeparams.h"

namespace moxj::j2k {

ComponentJobs::ComponentJobs(const TileComponent& component, int number, const ComponentSize& size, bool transformed,
                             const EncodeOptions& options)
    : component_(component), number_(number), size_(size), transformed_(transformed), options_(options) {
  if (!options.roi.empty()) region_ = coefficientsOf(options.roi, size, component);
}

BlockJob ComponentJobs::of(const Block& block, const Band& band) const {
  const bool reversible = component_.coding.reversible;
  const BandPlace place = bandPlace(band.index, component_.coding.levels);
  const double norm = bandNorm(reversible, place.orientation, place.levels) *
                      componentNorm(transformed_, reversible, number_) * band.step;
  BlockJob job = {.weight = norm * norm, .measured = options_.goals.kind == Goals::psnr};
  if (options_.visual) {
    const bool chroma = transformed_ && (number_ == 1 || number_ == 2);
    job.weight *= visualWeight(chroma ? Vision::chroma : Vision::luminance, place.orientation, place.levels, size_);
  }
  if (region_.empty()) return job;
  const Rect& region = region_[static_cast<std::size_t>(band.index)];
  const Coord x = band.rect.x0 + block.x - band.planeX, y = band.rect.y0 + block.y - band.planeY;
  job.region = {std::max(region.x0 - x, Coord{0}), std::max(region.y0 - y, Coord{0}),
                std::min(region.x1 - x, Coord{block.width}), std::min(region.y1 - y, Coord{block.height})};
  return job;
}

TileEncoder::TileEncoder(Tile& tile, const Siz& siz, const EncodeOptions& options, std::span<TilePlane> planes,
                         std::deque<CodedBlock>& coded, Workers& workers,
                         std::span<const std::unique_ptr<BlockEncoder>> encoders, CodedSize& size)
    : tile_(tile),
      planes_(planes),
      workers_(workers),
      encoders_(encoders),
      size_(size),
      left_(planes.size()),
      blocks_(planes.size()) {
  for (std::size_t c = 0; c < planes.size(); ++c) {
    left_[c].set(1);
    tasks_.push_back({c, nullptr, nullptr, {}, nullptr});
  }
  for (std::size_t c = 0; c < planes.size(); ++c) {
    const std::size_t before = tasks_.size();
    const ComponentJobs jobs(tile.components[c], static_cast<int>(c), siz.components[c], tile.style.transform, options);
    addBlocks(c, jobs, coded);
    blocks_[c] = tasks_.size() - before;
  }
}

void TileEncoder::run(TileProgress& progress, Coord index) {
  workers_.forEach(
      tasks_.size(), [&](int worker, std::size_t task) { work(worker, tasks_[task]); },
      progress.within(index, tasks_.size()));
}

void TileEncoder::addBlocks(std::size_t c, const ComponentJobs& jobs, std::deque<CodedBlock>& coded) {
  for (Resolution& resolution : tile_.components[c].resolutions)
    for (Precinct& precinct : resolution.precincts)
      for (PrecinctBand& part : precinct.bands) {
        const Band& band = resolution.bands[static_cast<std::size_t>(part.band)];
        for (Block& block : part.blocks) {
          block.coded = &coded.emplace_back();
          tasks_.push_back({c, &block, &band, jobs.of(block, band), &coded.back()});
        }
      }
}

void TileEncoder::work(int worker, const Task& task) {
  TilePlane& plane = planes_[task.component];
  const TileComponent& component = tile_.components[task.component];
  if (task.block == nullptr) {
    const std::unique_ptr<Countdown, void (*)(Countdown*)> done(&left_[task.component],
                                                                [](Countdown* c) { c->done(); });
    transformForward(plane, component);
    return;
  }
  left_[task.component].wait();
  if (size_.exceeded()) return;
  const Coefficients from = {plane.row(task.block->y) + task.block->x, plane.step()};
  *task.coded = encoders_[static_cast<std::size_t>(worker)]->encode(from, *task.block, *task.band, component, task.job);
  task.coded->component = static_cast<int>(task.component);
  size_.bytes += task.coded->data.size();
  if (--blocks_[task.component] == 0) plane = {};  // gives its memory to the blocks of the next component
}

}  // namespace moxj::j2k
