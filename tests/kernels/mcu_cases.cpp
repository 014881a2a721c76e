#include "kernels/colour/mcu.h"

#include "support/kernel_case.h"

namespace test {
namespace {

using mox::McuDecodeKernels;
using mox::McuEncodeKernels;

// The n-th of several fillings, steps and contents: every row of pixels ends at a guard page, or none does.
constexpr int kFillings = 64;

struct Shape {
  int across, down;
};
constexpr Shape kShapes[] = {{1, 1}, {2, 1}, {2, 2}};

// Rows with a gap of a few bytes.
template <class Sample>
int stepOf(int width, int n) {
  return static_cast<int>(sizeof(Sample)) * (width + (n % 3) * 5);
}

template <class Sample>
size_t samples(int width, int rows, int step) {
  return static_cast<size_t>(rows - 1) * (static_cast<size_t>(step) / sizeof(Sample)) + static_cast<size_t>(width);
}

// Values as the inverse transform gives them, or any.
const Mox16s* blocks(Feed& f, int n, int count) {
  if (n % 2) return f.in<Mox16s>(static_cast<size_t>(64) * count);
  return f.in<Mox16s>(static_cast<size_t>(64) * count, [count](Random& random, Mox16s* values) {
    const int bound = random.oneIn(2) ? 128 : 1024;
    for (int i = 0; i < 64 * count; i++) values[i] = static_cast<Mox16s>(random.between(-bound, bound - 1));
  });
}

template <class Sample, int Samples, int Sampling, class Kernel>
void encode(Feed& f, int n, Kernel kernel) {
  const Shape s = kShapes[Sampling];
  const int width = 8 * s.across * Samples, step = stepOf<Sample>(width, n), luma = s.across * s.down;
  const Sample* const src = f.in<Sample>(samples<Sample>(width, 8 * s.down, step));
  Mox16s* const dst[] = {f.out<Mox16s>(64 * luma), f.out<Mox16s>(64), f.out<Mox16s>(64),
                         Samples == 4 ? f.out<Mox16s>(64 * luma) : nullptr};
  kernel(src, step, dst);
}

template <class Sample, int Samples, int Sampling, class Kernel>
void decode(Feed& f, int n, Kernel kernel) {
  const Shape s = kShapes[Sampling];
  const int width = 8 * s.across * Samples, step = stepOf<Sample>(width, n), luma = s.across * s.down;
  const Mox16s* const src[] = {blocks(f, n, luma), blocks(f, n, 1), blocks(f, n, 1),
                               Samples == 4 ? blocks(f, n, luma) : nullptr};
  kernel(src, f.out<Sample>(samples<Sample>(width, 8 * s.down, step)), step);
}

template <class Sample, int Samples, int Sampling, auto Family>
void encoder(const mox::Kernels& k, Feed& f, int n) {
  encode<Sample, Samples, Sampling>(f, n, (k.mcuEncode->*Family)[Sampling]);
}
template <class Sample, int Samples, int Sampling, auto Family>
void decoder(const mox::Kernels& k, Feed& f, int n) {
  decode<Sample, Samples, Sampling>(f, n, (k.mcuDecode->*Family)[Sampling]);
}

template <class Sample, int Samples, auto Encode, auto Decode>
struct AddFormat {
  AddFormat(const char* const (&names)[6]) {
    AddKernelCases{
        {names[0], "MCUs", 1, kFillings, 1, encoder<Sample, Samples, 0, Encode>},
        {names[1], "MCUs", 1, kFillings, 1, encoder<Sample, Samples, 1, Encode>},
        {names[2], "MCUs", 1, kFillings, 1, encoder<Sample, Samples, 2, Encode>},
        {names[3], "MCUs", 1, kFillings, 1, decoder<Sample, Samples, 0, Decode>},
        {names[4], "MCUs", 1, kFillings, 1, decoder<Sample, Samples, 1, Decode>},
        {names[5], "MCUs", 1, kFillings, 1, decoder<Sample, Samples, 2, Decode>},
    };
  }
};

using E = McuEncodeKernels;
using D = McuDecodeKernels;

const AddFormat<Mox8u, 3, &E::rgb, &D::rgb> rgb({"mcu.rgbTo444", "mcu.rgbTo422", "mcu.rgbTo411", "mcu.444ToRgb",
                                                 "mcu.422ToRgb", "mcu.411ToRgb"});
const AddFormat<Mox8u, 3, &E::bgr, &D::bgr> bgr({"mcu.bgrTo444", "mcu.bgrTo422", "mcu.bgrTo411", "mcu.444ToBgr",
                                                 "mcu.422ToBgr", "mcu.411ToBgr"});
const AddFormat<Mox16u, 1, &E::bgr555, &D::bgr555> bgr555({"mcu.bgr555To444", "mcu.bgr555To422", "mcu.bgr555To411",
                                                           "mcu.444ToBgr555", "mcu.422ToBgr555", "mcu.411ToBgr555"});
const AddFormat<Mox16u, 1, &E::bgr565, &D::bgr565> bgr565({"mcu.bgr565To444", "mcu.bgr565To422", "mcu.bgr565To411",
                                                           "mcu.444ToBgr565", "mcu.422ToBgr565", "mcu.411ToBgr565"});
const AddFormat<Mox8u, 4, &E::cmyk, &D::cmyk> cmyk({"mcu.cmykTo444", "mcu.cmykTo422", "mcu.cmykTo411", "mcu.444ToCmyk",
                                                    "mcu.422ToCmyk", "mcu.411ToCmyk"});
const AddFormat<Mox8u, 3, &E::sampleDown, &D::sampleUp> sampling({"mcu.sampleDown444", "mcu.sampleDown422",
                                                                  "mcu.sampleDown411", "mcu.sampleUp444",
                                                                  "mcu.sampleUp422", "mcu.sampleUp411"});
const AddKernelCases pairs{
    {"mcu.split422", "MCUs", 1, kFillings, 1,
     [](const mox::Kernels& k, Feed& f, int n) { encode<Mox8u, 2, 1>(f, n, k.mcuEncode->split422); }},
    {"mcu.join422", "MCUs", 1, kFillings, 1,
     [](const mox::Kernels& k, Feed& f, int n) { decode<Mox8u, 2, 1>(f, n, k.mcuDecode->join422); }},
};

}  // namespace
}  // namespace test
