// One scan after the other leaves all threads but one idle. Here a scan may decode some MCU rows as soon as all earlier
// scans of the same components have decoded them. A thread takes the latest scan that can go on: all scans advance
// together, coefficients are still in the cache when the next scan needs them, and the last scan, often the longest,
// does not wait for a thread. The first incomplete scan can always go on, so a thread that finds none waits for another
// one that is at work.
//
// Scans of different coefficients of one component could decode the same rows side by side, but share cache lines.
#include "jpeg/scanpipeline.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "base/arithmetic.h"

namespace moxj::jpeg {

namespace {

bool shareComponents(const ScanHeader& a, const ScanHeader& b) {
  return std::ranges::any_of(a.components, [&](const ScanHeader::Selector& selector) {
    return std::ranges::find(b.components, selector.component, &ScanHeader::Selector::component) != b.components.end();
  });
}

}  // namespace

bool ScanPipeline::Stage::goesOn() const {
  return !taken && done < parts && std::ranges::all_of(before, [&](const Stage* earlier) {
    return earlier->done > done || earlier->done == earlier->parts;
  });
}

void ScanPipeline::add(Scan scan) {
  Stage stage;
  for (const Stage& earlier : stages_) {
    if (shareComponents(earlier.scan.header, scan.header)) stage.before.push_back(&earlier);
  }
  stage.parts = static_cast<std::size_t>(ceilDiv(scan.rows, mcuRowsOfPart_ * scan.rowsOfMcuRow));
  stage.scan = std::move(scan);
  stages_.push_back(std::move(stage));
}

bool ScanPipeline::run(Workers& workers, const Report& report) {
  std::size_t parts = 0;
  for (const Stage& stage : stages_) parts += stage.parts;
  workers.forEach(
      parts, [this](int, std::size_t) { decodePart(); }, [&](std::size_t done) { report(done, parts); });
  return !failed_;
}

void ScanPipeline::decodePart() {
  std::unique_lock lock(mutex_);
  Stage* stage = nullptr;
  changed_.wait(lock, [&] { return failed_ || (stage = take()); });
  if (failed_) return;
  lock.unlock();
  const bool good = read(stage->scan, stage->done);
  lock.lock();
  stage->taken = false;
  ++stage->done;
  failed_ |= !good;
  changed_.notify_all();
}

ScanPipeline::Stage* ScanPipeline::take() {
  const auto found = std::find_if(stages_.rbegin(), stages_.rend(), [](const Stage& stage) { return stage.goesOn(); });
  if (found == stages_.rend()) return nullptr;
  found->taken = true;
  return &*found;
}

bool ScanPipeline::read(Scan& scan, std::size_t part) const try {
  const int rows = mcuRowsOfPart_ * scan.rowsOfMcuRow;
  const int first = static_cast<int>(part) * rows;
  for (int row = first; row < std::min(first + rows, scan.rows); ++row) scan.readRow();
  return scan.reader->damage().empty();
} catch (const std::exception&) {
  return false;
}

}  // namespace moxj::jpeg
