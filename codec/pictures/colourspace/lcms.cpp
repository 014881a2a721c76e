// Loads lcms2 and makes its transforms.
//
// lcms2 would replace the steps of a transform by a table that it interpolates: five times as fast, but for inks wrong
// by up to 14 of 255 near black (measured with a profile for print). So its steps are computed one by one. Profiles of
// curves and a matrix, by far the most frequent ones, are only read here; pixelmap.cpp computes them itself, as fast as
// a table. For grey, a table has every sample.
#include "pictures/colourspace/lcms.h"

#include <lcms2.h>
#include <lcms2_plugin.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/problem.h"
#include "base/sharedobject.h"
#include "pictures/colourspace/space.h"
#include "pictures/icc.h"

namespace moxj {

namespace {

// No profile needs more; beyond it the claims of a damaged one are not believed.
constexpr std::uint64_t kMaxBytes = std::uint64_t{256} << 20;

// clang-format off
#define MOXJ_LCMS_FUNCTIONS(use)                                                                        \
  use(cmsCreateContext) use(cmsDeleteContext) use(cmsGetContextUserData) use(cmsOpenProfileFromMemTHR)  \
  use(cmsCloseProfile) use(cmsIsTag)                                                                    \
  use(cmsReadTag) use(cmsIsMatrixShaper) use(cmsEvalToneCurveFloat) use(cmsBuildParametricToneCurve)    \
  use(cmsFreeToneCurve) use(cmsCreate_sRGBProfileTHR) use(cmsCreateGrayProfileTHR) use(cmsD50_xyY)      \
  use(cmsCreateTransformTHR) use(cmsDeleteTransform) use(cmsDoTransform) use(cmsGetEncodedCMMversion)
#define MOXJ_LCMS_SIGNATURES(use) use(cmsGetColorSpace) use(cmsGetPCS) use(cmsGetDeviceClass)
// clang-format on

struct Library {
  // Those of a damaged profile are no values of the enumerations that lcms2 declares.
#define MOXJ_MEMBER(name) cmsUInt32Number (*name)(cmsHPROFILE) = nullptr;
  MOXJ_LCMS_SIGNATURES(MOXJ_MEMBER)
#undef MOXJ_MEMBER
#define MOXJ_MEMBER(name) decltype(&::name) name = nullptr;
  MOXJ_LCMS_FUNCTIONS(MOXJ_MEMBER)
#undef MOXJ_MEMBER
  Library() {
    const SharedObject object("liblcms2.so.2", "the colours cannot be converted to sRGB");
#define MOXJ_FIND(name) object.find(#name, name);
    MOXJ_LCMS_SIGNATURES(MOXJ_FIND)
    MOXJ_LCMS_FUNCTIONS(MOXJ_FIND)
#undef MOXJ_FIND
  }
};

// Loaded once, when it is needed first.
const Library& lcms() {
  static const Library library;
  return library;
}

// ---- Memory --------------------------------------------------------------------------------------------------------

// What a context may allocate.
struct Allowance {
  std::uint64_t limit = 0;
  std::atomic<std::uint64_t> used = 0;
  std::atomic<bool> exceeded = false;
};

// Before each block of memory.
struct alignas(std::max_align_t) BlockHead {
  Allowance* allowance;
  std::size_t size;
};

void* blockOf(Allowance* allowance, std::size_t size) {
  if (allowance && allowance->used.fetch_add(size) + size > allowance->limit) {
    allowance->used -= size;
    allowance->exceeded = true;
    return nullptr;
  }
  auto* const head = static_cast<BlockHead*>(std::malloc(sizeof(BlockHead) + size));
  if (!head) return nullptr;
  *head = {allowance, size};
  return head + 1;
}

// While a context is made, it has no user data yet.
void* allocate(cmsContext context, cmsUInt32Number size) {
  return blockOf(static_cast<Allowance*>(lcms().cmsGetContextUserData(context)), size);
}

void release(cmsContext, void* block) {
  if (!block) return;
  BlockHead* const head = static_cast<BlockHead*>(block) - 1;
  if (head->allowance) head->allowance->used -= head->size;
  std::free(head);
}

void* reallocate(cmsContext context, void* block, cmsUInt32Number size) {
  void* const moved = allocate(context, size);
  if (moved && block) {
    std::memcpy(moved, block, std::min<std::size_t>((static_cast<BlockHead*>(block) - 1)->size, size));
    release(context, block);
  }
  return moved;
}

class Context {
 public:
  explicit Context(Budget& budget) {
    allowance_.limit = std::min(budget.left(), kMaxBytes);
    cmsPluginMemHandler memory = {};
    memory.base = {cmsPluginMagicNumber, 2060, cmsPluginMemHandlerSig, nullptr};
    memory.MallocPtr = allocate;
    memory.FreePtr = release;
    memory.ReallocPtr = reallocate;
    context_ = lcms().cmsCreateContext(&memory, &allowance_);
    if (!context_) failMemory(budget);
  }
  ~Context() { lcms().cmsDeleteContext(context_); }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  cmsContext get() const { return context_; }
  std::uint64_t used() const { return allowance_.used; }
  // Throws Problem (limit) if something failed because the budget was too small.
  void check(Budget& budget) const {
    if (allowance_.exceeded && allowance_.limit < kMaxBytes) failMemory(budget);
  }

 private:
  [[noreturn]] static void failMemory(Budget& budget) {
    budget.charge(1, budget.left() + 1);
    fail(Kind::noMemory, "not enough memory for the conversion to sRGB");
  }

  Allowance allowance_;
  cmsContext context_ = nullptr;
};

struct CloseProfile {
  void operator()(void* profile) const { lcms().cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, CloseProfile>;

struct FreeCurve {
  void operator()(cmsToneCurve* curve) const { lcms().cmsFreeToneCurve(curve); }
};
using ToneCurve = std::unique_ptr<cmsToneCurve, FreeCurve>;

struct DeleteTransform {
  void operator()(void* transform) const { lcms().cmsDeleteTransform(transform); }
};

// ---- Profiles ------------------------------------------------------------------------------------------------------

constexpr int kParametric = 4;  // the kind of curve that Curve describes

Profile srgbGrey(const Context& context) {
  const double parameters[] = {kSrgbCurve.g, kSrgbCurve.a, kSrgbCurve.b, kSrgbCurve.c, kSrgbCurve.d};
  const ToneCurve curve(lcms().cmsBuildParametricToneCurve(context.get(), kParametric, parameters));
  return curve ? Profile(lcms().cmsCreateGrayProfileTHR(context.get(), lcms().cmsD50_xyY(), curve.get())) : nullptr;
}

// The tags D2B0 to D2B3 are chains of any number of steps, which take any time. They get other names, so that the
// tables A2B0 to A2B2 are used, which every profile has that needs them.
std::vector<std::uint8_t> withoutChains(ByteSpan profile) {
  constexpr std::size_t kCountAt = 128, kTagBytes = 12;
  std::vector<std::uint8_t> bytes(profile.begin(), profile.end());
  for (std::size_t at = kCountAt + 4; at + kTagBytes <= bytes.size(); at += kTagBytes) {
    if ((at - kCountAt - 4) / kTagBytes >= kMaxIccTags) break;
    if (std::memcmp(&bytes[at], "D2B", 3) == 0) bytes[at] = 'x';
  }
  return bytes;
}

cmsUInt32Number signatureOf(Colour colour) {
  return colour == Colour::grey ? cmsSigGrayData : colour == Colour::cmyk ? cmsSigCmykData : cmsSigRgbData;
}

// A profile of a device or a colour space, for pixels of these colours.
bool isUsable(const Profile& profile, Colour colour) {
  const cmsUInt32Number kind = lcms().cmsGetDeviceClass(profile.get());
  const bool known = kind == cmsSigInputClass || kind == cmsSigDisplayClass || kind == cmsSigOutputClass ||
                     kind == cmsSigColorSpaceClass;
  const cmsUInt32Number connection = lcms().cmsGetPCS(profile.get());
  return known && lcms().cmsGetColorSpace(profile.get()) == signatureOf(colour) &&
         (connection == cmsSigXYZData || connection == cmsSigLabData);
}

// Null if it cannot be used.
Profile openProfile(const Context& context, ByteSpan profile, Colour colour, Budget& budget) {
  budget.charge(1, profile.size());
  const std::vector<std::uint8_t> bytes = withoutChains(profile);
  Profile opened(
      lcms().cmsOpenProfileFromMemTHR(context.get(), bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
  budget.release(profile.size());
  if (!opened) context.check(budget);
  return opened && isUsable(opened, colour) ? std::move(opened) : nullptr;
}

bool isMatrix(const Profile& profile) {
  if (!lcms().cmsIsMatrixShaper(profile.get()) || lcms().cmsGetPCS(profile.get()) != cmsSigXYZData) return false;
  for (const cmsTagSignature table : {cmsSigAToB0Tag, cmsSigAToB1Tag, cmsSigAToB2Tag})
    if (lcms().cmsIsTag(profile.get(), table)) return false;
  return true;
}

// ---- Transforms ----------------------------------------------------------------------------------------------------

cmsUInt32Number formatOf(Colour colour, int bits, bool opacity) {
  const cmsUInt32Number shape = BYTES_SH(bits / 8) | EXTRA_SH(opacity ? 1 : 0);
  if (colour == Colour::grey) return COLORSPACE_SH(PT_GRAY) | CHANNELS_SH(1) | shape;
  if (colour == Colour::cmyk) return COLORSPACE_SH(PT_CMYK) | CHANNELS_SH(4) | shape;
  return COLORSPACE_SH(PT_RGB) | CHANNELS_SH(3) | shape;
}

// Of pixels that are interleaved; the table is that of the samples without opacity.
template <class Sample>
void lookUp(const std::vector<std::uint16_t>& table, const Sample* from, Sample* to, int width, bool opacity) {
  const int channels = opacity ? 2 : 1;
  for (std::ptrdiff_t x = 0; x < width; ++x, from += channels, to += channels) {
    to[0] = static_cast<Sample>(table[from[0]]);
    if (opacity) to[1] = from[1];
  }
}

}  // namespace

struct ColourTransform::State {
  State(const Layout& l, Budget& budget) : layout(l), context(budget) {}

  // False if lcms2 cannot do it.
  bool make(ByteSpan profile, Budget& budget) {
    const Profile from = openProfile(context, profile, layout.from, budget);
    if (!from) return false;
    const bool grey = layout.from == Colour::grey;
    const Profile to = grey ? srgbGrey(context) : Profile(lcms().cmsCreate_sRGBProfileTHR(context.get()));
    const int bits = grey ? 16 : layout.bits;
    const bool opacity = layout.opacity && !grey;
    const cmsUInt32Number flags =
        cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_NOOPTIMIZE | (opacity ? cmsFLAGS_COPY_ALPHA : 0);
    if (to)
      transform.reset(lcms().cmsCreateTransformTHR(context.get(), from.get(), formatOf(layout.from, bits, opacity),
                                                   to.get(), formatOf(grey ? Colour::grey : Colour::rgb, bits, opacity),
                                                   INTENT_RELATIVE_COLORIMETRIC, flags));
    context.check(budget);
    if (!transform) return false;
    if (grey) makeTable();
    budget.charge(1, context.used() + table.size() * sizeof table[0]);
    return true;
  }

  void makeTable() {
    const int max = (1 << layout.bits) - 1;
    std::vector<std::uint16_t> samples(static_cast<std::size_t>(max) + 1);
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<std::uint16_t>(i * (65535u / max));
    table.resize(samples.size());
    lcms().cmsDoTransform(transform.get(), samples.data(), table.data(), static_cast<cmsUInt32Number>(max) + 1);
    if (max == 255)
      for (std::uint16_t& value : table) value = static_cast<std::uint16_t>((value + 128) / 257);
  }

  const Layout layout;
  Context context;
  std::unique_ptr<void, DeleteTransform> transform;
  std::vector<std::uint16_t> table;  // of grey
};

ColourTransform::ColourTransform(std::unique_ptr<State> state) : state_(std::move(state)) {}
ColourTransform::~ColourTransform() = default;

// 2140 is 2.14.
std::string lcmsVersion() {
  const int version = lcms().cmsGetEncodedCMMversion(), minor = version % 1000 / 10, patch = version % 10;
  return std::to_string(version / 1000) + "." + std::to_string(minor) + (patch ? "." + std::to_string(patch) : "");
}

std::unique_ptr<ColourTransform> ColourTransform::from(ByteSpan profile, const Layout& layout, Budget& budget) {
  auto state = std::make_unique<State>(layout, budget);
  if (!state->make(profile, budget)) return nullptr;
  return std::unique_ptr<ColourTransform>(new ColourTransform(std::move(state)));
}

void ColourTransform::run(const void* from, void* to, int width) const {
  const State& state = *state_;
  if (state.table.empty())
    return lcms().cmsDoTransform(state.transform.get(), from, to, static_cast<cmsUInt32Number>(width));
  if (state.layout.bits == 8)
    return lookUp(state.table, static_cast<const std::uint8_t*>(from), static_cast<std::uint8_t*>(to), width,
                  state.layout.opacity);
  lookUp(state.table, static_cast<const std::uint16_t*>(from), static_cast<std::uint16_t*>(to), width,
         state.layout.opacity);
}

std::optional<MatrixProfile> matrixProfileOf(ByteSpan profile, int bits, Budget& budget) {
  constexpr cmsTagSignature kCurves[] = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
  constexpr cmsTagSignature kColorants[] = {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag};
  const Context context(budget);
  const Profile opened = openProfile(context, profile, Colour::rgb, budget);
  if (!opened || !isMatrix(opened)) return std::nullopt;
  const int max = (1 << bits) - 1;
  budget.charge(3 * sizeof(float), static_cast<std::uint64_t>(max) + 1);
  MatrixProfile matrix;
  for (std::size_t i = 0; i < 3; ++i) {
    const auto* const curve = static_cast<const cmsToneCurve*>(lcms().cmsReadTag(opened.get(), kCurves[i]));
    const auto* const colorant = static_cast<const cmsCIEXYZ*>(lcms().cmsReadTag(opened.get(), kColorants[i]));
    if (!curve || !colorant) return context.check(budget), std::nullopt;
    matrix.colorants[i] = {colorant->X, colorant->Y, colorant->Z};
    for (int sample = 0; sample <= max; ++sample)
      matrix.light[i].push_back(
          lcms().cmsEvalToneCurveFloat(curve, static_cast<float>(sample) / static_cast<float>(max)));
    if (matrix.light[i][0] != 0) return std::nullopt;
  }
  return matrix;
}

}  // namespace moxj
