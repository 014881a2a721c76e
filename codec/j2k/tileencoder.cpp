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
      blocks_(planes.size()),
      transformed_(planes.size()) {
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
          if (!block.coded) block.coded = &coded.emplace_back();
          tasks_.push_back({c, &block, &band, jobs.of(block, band), block.coded});
        }
      }
}

void TileEncoder::transform(const Task& task) {
  const std::unique_ptr<Countdown, void (*)(Countdown*)> done(&left_[task.component], [](Countdown* c) { c->done(); });
  transformForward(planes_[task.component], tile_.components[task.component]);
}

void TileEncoder::encode(int worker, const Task& task, double slope) {
  left_[task.component].wait();
  TilePlane& plane = planes_[task.component];
  const Coefficients from = {plane.row(task.block->y) + task.block->x, plane.step()};
  BlockJob job = task.job;
  job.slope = slope;
  CodedBlock coded = encoders_[static_cast<std::size_t>(worker)]->encode(from, *task.block, *task.band,
                                                                         tile_.components[task.component], job);
  coded.component = static_cast<int>(task.component);
  coded.taken = std::move(task.coded->taken);
  coded.packetChanged = task.coded->packetChanged;
  *task.coded = std::move(coded);
}

void TileEncoder::work(int worker, const Task& task) {
  if (task.block == nullptr) return transform(task);
  if (size_.exceeded()) return left_[task.component].wait();
  encode(worker, task, 0);
  size_.bytes += task.coded->data.size();
  if (--blocks_[task.component] == 0)
    planes_[task.component] = {};  // gives its memory to the blocks of the next component
}

void TileEncoder::runSome(const Choice& choice, TileProgress& progress, Coord index) {
  std::vector<bool> needed(planes_.size());
  std::vector<const Task*> tasks;
  for (const Task& task : tasks_) {
    if (!task.block || !choice.wanted(*task.coded)) continue;
    needed[task.component] = true;
    tasks.push_back(&task);
  }
  std::vector<const Task*> transforms;
  for (std::size_t c = 0; c < planes_.size(); ++c) {
    if (needed[c] && !transformed_[c]) transforms.push_back(&tasks_[c]);
    transformed_[c] = transformed_[c] || needed[c];
  }
  tasks.insert(tasks.begin(), transforms.begin(), transforms.end());
  workers_.forEach(
      tasks.size(),
      [&](int worker, std::size_t i) {
        tasks[i]->block ? encode(worker, *tasks[i], choice.slope) : transform(*tasks[i]);
      },
      progress.within(index, tasks_.size()));
}

// One block of 17 from each resolution of a component, in the order of the blocks, or the middle one of fewer.
std::vector<TileEncoder::Sample> TileEncoder::sample() const {
  constexpr std::size_t kOf = 17;
  std::vector<Sample> sample;
  const auto area = [](const Task& task) { return task.block->width * task.block->height; };
  const auto resolutionOf = [](const Task& task) { return (task.band->index + 2) / 3; };
  for (std::size_t begin = 0, end; begin < tasks_.size(); begin = end) {
    const auto alike = [&](const Task& task) {
      return task.block && task.component == tasks_[begin].component &&
             resolutionOf(task) == resolutionOf(tasks_[begin]);
    };
    end = begin + 1;
    if (!tasks_[begin].block) continue;
    while (end < tasks_.size() && alike(tasks_[end])) ++end;
    const std::size_t first = sample.size(), count = end - begin;
    double all = 0, sampled = 0;
    for (std::size_t i = 0; i < count; ++i) {
      all += area(tasks_[begin + i]);
      if (i % kOf != std::min(kOf, count) / 2) continue;
      sampled += area(tasks_[begin + i]);
      sample.push_back({tasks_[begin + i].coded, 1});
    }
    for (std::size_t i = first; i < sample.size(); ++i) sample[i].share = all / sampled;
  }
  return sample;
}

}  // namespace moxj::j2k
