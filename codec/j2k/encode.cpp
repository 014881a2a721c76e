// Codes a picture that is in memory, and again without loss if that is what its goal amounts to.
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>

#include "j2k/encoder.h"
#include "j2k/j2k.h"
#include "j2k/quality.h"

namespace moxj::j2k {

namespace {

// A requested size may suffice for the lossless file if it is at least this fraction of the estimated 9/7 file without
// truncation: 1/2 for text and other drawings, about 1 for photographs.
constexpr std::uint64_t kLosslessFrom = 2;

// The last steps of a job may end at any time: progress stays at 100 %, and they can be cancelled.
Progress atTheEnd(const Work& work) {
  if (!work.progress) return {};
  return [&work](std::uint64_t, std::uint64_t total) { return work.progress(total, total); };
}

// The PSNR of the first layers of a file.
double measured(const Picture& picture, const MemoryOutput& file, int layers, Work& work) {
  const std::uint64_t before = work.budget.used();
  const Progress progress = std::exchange(work.progress, {});
  const Decoded decoded = decode({file.bytes.data(), file.bytes.size()}, {.layers = layers, .components = true}, work);
  work.progress = progress;
  work.budget.restore(before);
  return psnrOf(picture, decoded.picture);
}

// The search for the estimate of a layer's PSNR that gives the wanted one: a bisection, as soon as there are bounds.
class Aim {
 public:
  explicit Aim(double wanted) : wanted_(wanted), next_(wanted) {}

  double next() const { return next_; }
  // Takes what was found with the last aim. True if another one is to be tried.
  bool take(double found) {
    constexpr double kBelow = 0.05, kAbove = 0.2, kMinGap = 0.02, kMaxStep = 3;
    const double more = wanted_ - found;
    const bool enough = more <= kBelow;
    (enough ? high_ : low_) = next_;
    if ((enough && more >= -kAbove) || (enough && high_ - low_ < kMinGap)) return false;
    if (std::isfinite(high_ - low_))
      next_ = high_ - low_ < kMinGap ? high_ : (low_ + high_) / 2;
    else  // what is far too little may need everything
      next_ += enough ? std::max(more, -kMaxStep) : 2 * more;
    return true;
  }
  // The least aim that is known to suffice, if any.
  void settle() { next_ = std::isfinite(high_) ? high_ : next_; }

 private:
  double wanted_, next_;
  double low_ = -HUGE_VAL, high_ = HUGE_VAL;
};

// Chooses again until the PSNR of each layer, as a decoder gives it, is what is wanted. False if it is out of reach.
bool refine(Encoder& encoder, const Picture& picture, const EncodeOptions& options, Work& work) {
  constexpr int kTries = 12;
  const std::vector<double>& goals = options.goals.values;
  std::vector<Aim> aims(goals.begin(), goals.end());
  const auto choose = [&] {
    std::vector<double> values = goals;
    for (std::size_t i = 0; i < goals.size(); ++i)
      if (goals[i] != Goals::kEverything) values[i] = aims[i].next();
    encoder.chooseAgain(values);
  };
  for (int tries = 1; tries <= kTries && encoder.reached(); ++tries) {
    MemoryOutput file;
    encoder.write(file);
    bool good = true;
    for (std::size_t i = 0; i < goals.size(); ++i) {
      const int layers = goals.size() == 1 ? options.layers : static_cast<int>(i) + 1;
      if (goals[i] != Goals::kEverything && aims[i].take(measured(picture, file, layers, work))) good = false;
    }
    if (good) return true;
    choose();
  }
  if (!encoder.reached()) return false;
  for (Aim& aim : aims) aim.settle();
  choose();
  return true;
}

// The PSNR is estimated from the errors of the code-blocks, then corrected.
std::vector<std::string> encodeToPsnr(const Picture& picture, const EncodeOptions& options, Work& work,
                                      Output& output) {
  const std::uint64_t before = work.budget.used();
  std::optional<Encoder> encoder(std::in_place, picture, options, work, work.progress);
  encoder->code(picture, {});
  if (refine(*encoder, picture, options, work)) {
    encoder->write(output);
    encoder->finish();
    return {};
  }
  encoder.reset();
  work.budget.restore(before);
  EncodeOptions lossless = options;
  lossless.lossless = true;
  lossless.goals.values.back() = Goals::kEverything;
  if (lossless.goals.values.size() == 1) lossless.goals = {};
  const Progress progress = atTheEnd(work);
  encoder.emplace(picture, lossless, work, progress);
  encoder->code(picture, {});
  if (lossless.goals.given()) refine(*encoder, picture, lossless, work);
  encoder->write(output);
  return {"the 9/7 wavelet does not reach the requested PSNR: written without loss"};
}

// Lossy, unless the file without loss is not larger.
std::vector<std::string> encodeToSize(const Picture& picture, const EncodeOptions& options, Work& work,
                                      Output& output) {
  const std::uint64_t before = work.budget.used();
  std::optional<Encoder> encoder(std::in_place, picture, options, work, work.progress);
  encoder->code(picture, {});
  const std::uint64_t wanted = encoder->wantedSize(options.goals.values.back());
  if (wanted < encoder->wholeSize() / kLosslessFrom) {
    encoder->write(output);
    encoder->finish();
    return {};
  }
  MemoryOutput lossy;
  encoder->write(lossy);
  encoder->finish();
  encoder.reset();
  work.budget.restore(before);
  work.budget.charge(1, lossy.bytes.size());
  EncodeOptions lossless = options;
  lossless.lossless = true;
  lossless.goals.values.back() = Goals::kEverything;
  if (lossless.goals.values.size() == 1) lossless.goals = {};
  const Progress progress = atTheEnd(work);
  encoder.emplace(picture, lossless, work, progress);
  MemoryOutput exact;
  bool fits = encoder->code(picture, {}, wanted);
  if (fits) {
    encoder->write(exact);
    fits = exact.bytes.size() - encoder->metadataBytes() <= wanted;
  }
  const Bytes& file = fits ? exact.bytes : lossy.bytes;
  output.write({file.data(), file.size()});
  if (!fits) return {};
  return {"the requested size is larger than the lossless file: written without loss"};
}

}  // namespace

bool isOnGrid(const Picture& picture) {
  return std::ranges::all_of(picture.planes, [&](const Plane& p) {
    return p.width == ceilDiv(picture.width, p.dx) && p.height == ceilDiv(picture.height, p.dy);
  });
}

void checkWritable(const Picture& layout, const EncodeOptions& options) {
  const std::size_t count = layout.planes.size();
  if (count > kMaxWrittenComponents)
    fail(Kind::unsupported, std::to_string(count) + " components: at most " + std::to_string(kMaxWrittenComponents) +
                                " can be written to JPEG 2000");
  const InterestRegion& roi = options.roi;
  if (!roi.empty() && (roi.x >= layout.width || roi.y >= layout.height)) failOption("roi", "lies outside the picture");
  const int max = options.lossless ? kMaxLosslessBits : kMaxLossyBits;
  for (const Plane& plane : layout.planes) {
    if (options.lossless && plane.bits > kMaxTransformedBits && options.levels > 0)
      failOption("levels", "must be 0 for samples of more than " + std::to_string(kMaxTransformedBits) + " bits");
    if (plane.bits > max)
      fail(Kind::unsupported, "samples of " + std::to_string(plane.bits) + " bits: at most " + std::to_string(max) +
                                  " can be written to JPEG 2000 " + (options.lossless ? "without" : "with") + " loss");
  }
}

std::vector<std::string> encode(const Picture& picture, const EncodeOptions& options, Work& work, Output& output,
                                const std::function<void()>& loaded) {
  checkWritable(picture, options);
  work.limits.check(static_cast<std::uint64_t>(picture.width), static_cast<std::uint64_t>(picture.height));
  std::vector<std::string> notes;
  adviseTiles(options, [&] {
    if (options.goals.kind == Goals::psnr) {
      notes = encodeToPsnr(picture, options, work, output);
      return;
    }
    if (options.goals.given() && !options.lossless) {
      notes = encodeToSize(picture, options, work, output);
      return;
    }
    Encoder encoder(picture, options, work, work.progress);
    encoder.code(picture, loaded);
    encoder.write(output);
    encoder.finish();
  });
  return notes;
}

}  // namespace moxj::j2k
