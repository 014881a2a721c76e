// A band is cut by moving the pointers of its planes. Only where a region begins between the samples of a sub-sampled
// plane are samples copied.
#include "pictures/region.h"

#include <algorithm>

#include "base/arithmetic.h"
#include "base/problem.h"

namespace moxj {

namespace {

struct Range {
  int begin, end;
};

// The samples of a plane that pixels `first` to `last` show. The last sample stands for all pixels beyond it.
Range samplesOf(int first, int last, int subsampling, int count) {
  const int begin = std::clamp(first / subsampling, 0, std::max(count - 1, 0));
  return {begin, std::clamp(last / subsampling + 1, std::min(begin + 1, count), count)};
}

bool beginsBetweenSamples(const Picture& picture, const Region& region) {
  return std::ranges::any_of(picture.planes,
                             [&](const Plane& plane) { return region.x % plane.dx != 0 || region.y % plane.dy != 0; });
}

Picture withoutSamples(Picture picture) {
  for (Plane& plane : picture.planes) plane.samples = nullptr;
  picture.owner = nullptr;
  return picture;
}

// Rows `first` to `last` of a band, cut to the columns of the region.
Picture cut(const Picture& band, const Region& region, int first, int last) {
  Picture part = band;
  part.width = region.width;
  part.height = last - first + 1;
  for (Plane& plane : part.planes) {
    const Range columns = samplesOf(region.x, region.x + region.width - 1, plane.dx, plane.width);
    const Range rows = samplesOf(first, last, plane.dy, plane.height);
    plane.width = columns.end - columns.begin;
    plane.height = rows.end - rows.begin;
    if (plane.samples)
      plane.samples +=
          plane.step * rows.begin + std::ptrdiff_t{columns.begin} * plane.pixelStep * sizeOf(plane.element);
  }
  return part;
}

// Row `y` of a band, from column `x` on, at the size of the picture.
void expandRow(const Plane& from, int x, int y, const Plane& to, int toY) {
  const int row = std::min(y / from.dy, from.height - 1);
  visitRow(to, toY, [&]<class Sample>(Sample* target) {
    const Sample* const source = from.row<Sample>(row);
    for (int i = 0; i < to.width; ++i)
      target[std::ptrdiff_t{i} * to.pixelStep] =
          source[std::ptrdiff_t{std::min((x + i) / from.dx, from.width - 1)} * from.pixelStep];
  });
}

class CuttingSink : public RowSink {
 public:
  CuttingSink(RowSink& next, const Region& region, Budget& budget) : next_(next), region_(region), budget_(budget) {}

  void begin(const Picture& layout) override {
    layout_ = withoutSamples(layout);
    layout_.width = region_.width;
    layout_.height = region_.height;
    expands_ = beginsBetweenSamples(layout, region_);
    if (expands_) {
      for (Plane& plane : layout_.planes) {
        plane.width = region_.width;
        plane.height = region_.height;
        plane.dx = plane.dy = 1;
      }
    } else {
      layout_.planes = cut(layout, region_, region_.y, region_.y + region_.height - 1).planes;
      for (Plane& plane : layout_.planes) plane.samples = nullptr;
    }
    next_.begin(layout_);
  }

  void rows(const Picture& band) override {
    const int first = std::max(region_.y - y_, 0);
    const int last = std::min(region_.y + region_.height - y_, band.height) - 1;
    y_ += band.height;
    if (first > last) return;
    if (!expands_) return next_.rows(cut(band, region_, first, last));
    for (int y = first; y <= last; y += buffer_.height) {
      if (!buffer_.hasSamples()) allocateBuffer();
      const Picture made = buffer_.band(0, last - y + 1);
      for (int row = 0; row < made.height; ++row)
        for (std::size_t i = 0; i < made.planes.size(); ++i)
          expandRow(band.planes[i], region_.x, y + row, made.planes[i], row);
      next_.rows(made);
    }
  }

  void end() override { next_.end(); }
  bool takesWhole() const override { return next_.takesWhole(); }

 private:
  void allocateBuffer() {
    buffer_ = layout_.band(0, rowsOfBand(layout_));
    buffer_.allocate(&budget_);
  }

  RowSink& next_;
  const Region region_;
  Budget& budget_;
  Picture layout_;  // of the region
  bool expands_ = false;
  Picture buffer_;
  int y_ = 0;  // of the next band in the picture
};

class WantingSink : public RowSink {
 public:
  WantingSink(RowSink& next, const Region& region, std::vector<std::string>& notes)
      : next_(next), region_(region), notes_(notes) {}
  void begin(const Picture& layout) override {
    Picture wanted = layout;
    wanted.wanted = clipped(region_, layout.width, layout.height, notes_);
    next_.begin(wanted);
  }
  void rows(const Picture& band) override { next_.rows(band); }
  void end() override { next_.end(); }
  bool takesWhole() const override { return next_.takesWhole(); }

 private:
  RowSink& next_;
  const Region region_;
  std::vector<std::string>& notes_;
};

}  // namespace

Region clipped(const Region& region, int width, int height, std::vector<std::string>& notes) {
  if (region.x >= width || region.y >= height)
    failOption("region",
               "lies outside the picture of " + std::to_string(width) + " x " + std::to_string(height) + " pixels");
  const int right = width - region.x, below = height - region.y;
  const Region part{region.x, region.y, region.width == 0 ? right : std::min(region.width, right),
                    region.height == 0 ? below : std::min(region.height, below)};
  if (region.width > right || region.height > below)
    notes.push_back("the region reaches beyond the picture and becomes " + std::to_string(part.width) + " x " +
                    std::to_string(part.height) + " pixels");
  return part;
}

void failEmptyRegion(std::string_view option) { failOption(option, "has no pixels at that resolution"); }

std::unique_ptr<RowSink> cutting(RowSink& next, const Region& region, Budget& budget) {
  return std::make_unique<CuttingSink>(next, region, budget);
}

std::unique_ptr<RowSink> wanting(RowSink& next, const Region& region, std::vector<std::string>& notes) {
  return std::make_unique<WantingSink>(next, region, notes);
}

}  // namespace moxj
