#include "kernels/entropy/lossless.h"

#include "kernels/entropy/losslesscode.h"
#include "support/coder_cases.h"
#include "support/kernel_case.h"

namespace test {
namespace {

template <int Predictor>
void differ(const mox::Kernels& k, Feed& f, int n) {
  const Mox16s *const src = f.in<Mox16s>(n), *const above = f.in<Mox16s>(n);
  k.lossless->differ(src, above, f.out<Mox16s>(n), n, Predictor);
}

template <int Predictor>
void rebuild(const mox::Kernels& k, Feed& f, int n) {
  const Mox16s *const differences = f.in<Mox16s>(n), *const above = f.in<Mox16s>(n);
  k.lossless->rebuild(differences, above, f.out<Mox16s>(n), n, Predictor);
}

// Codes of 2 to 10 bits for the categories 0 to 16, the small ones shortest.
RawTable codes() {
  const RawTable table{{0, 2, 1, 2, 1, 1, 1, 1, 1, 7}, {2, 3, 1, 0, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};
  if (EncodeTable(table).status != moxStatusOk) std::abort();
  return table;
}

// Differences as a photograph has them, or any.
void differences(Random& random, Mox16s* values, int n) {
  for (int i = 0; i < n; i++)
    values[i] = random.oneIn(50) ? random.extreme<Mox16s>()
                                 : static_cast<Mox16s>(random.any<Mox16s>() >> random.between(9, 15));
}

void encode(const mox::Kernels& k, Feed& f, int n) {
  static EncodeTable table(codes());
  const Mox16s* const src = f.in<Mox16s>(n, [n](Random& random, Mox16s* values) { differences(random, values, n); });
  auto* const state = encoderState(f);
  const int32_t length = 4 * n + 1;  // few rows are longer, and then the destination is full
  Mox8u* const dst = f.out<Mox8u>(length);
  int32_t position = 0;
  for (int i = 0; i < n; i++) k.losslessCode->encode(src[i], dst, length, &position, table.get(), state);
  *f.out<int32_t>(1) = position;
}

void decode(const mox::Kernels& k, Feed& f, int n) {
  static EncodeTable encoder(codes());
  static DecodeTable table(codes());
  const int32_t length = 4 * n + 1;
  const Mox8u* const src = f.in<Mox8u>(length, [n, length](Random& random, Mox8u* bytes) {
    std::vector<Mox16s> values(n);
    differences(random, values.data(), n);
    EncoderState state;
    int32_t position = 0;
    for (const Mox16s value : values)
      moxiEncodeHuffmanOne_JPEG_16s1u_C1(&value, bytes, length, &position, encoder.get(), state.get(), 0);
    moxiEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, bytes, length, &position, nullptr, state.get(), 1);
    std::memset(bytes + position, 0, static_cast<size_t>(length - position));
  });
  auto* const state = decoderState(f);
  Mox16s* const dst = f.out<Mox16s>(n);
  int32_t position = 0, marker = 0;
  for (int i = 0; i < n; i++) k.losslessCode->decode(src, length, &position, dst + i, &marker, table.get(), state);
  *f.out<int32_t>(1) = position;
}

const AddKernelCases cases{
    {"lossless.differFirst", "samples", 1, 200, 1920,
     [](const mox::Kernels& k, Feed& f, int n) {
       k.lossless->differFirst(f.in<Mox16s>(n), f.out<Mox16s>(n), n, static_cast<Mox16s>(1 << n % 16));
     }},
    {"lossless.differ1", "samples", 1, 200, 1920, differ<1>},
    {"lossless.differ2", "samples", 1, 200, 1920, differ<2>},
    {"lossless.differ3", "samples", 1, 200, 1920, differ<3>},
    {"lossless.differ4", "samples", 1, 200, 1920, differ<4>},
    {"lossless.differ5", "samples", 1, 200, 1920, differ<5>},
    {"lossless.differ6", "samples", 1, 200, 1920, differ<6>},
    {"lossless.differ7", "samples", 1, 200, 1920, differ<7>},
    {"lossless.rebuildFirst", "samples", 1, 200, 1920,
     [](const mox::Kernels& k, Feed& f, int n) {
       k.lossless->rebuildFirst(f.in<Mox16s>(n), f.out<Mox16s>(n), n, static_cast<Mox16s>(1 << n % 16));
     }},
    {"lossless.rebuild1", "samples", 1, 200, 1920, rebuild<1>},
    {"lossless.rebuild2", "samples", 1, 200, 1920, rebuild<2>},
    {"lossless.rebuild3", "samples", 1, 200, 1920, rebuild<3>},
    {"lossless.rebuild4", "samples", 1, 200, 1920, rebuild<4>},
    {"lossless.rebuild5", "samples", 1, 200, 1920, rebuild<5>},
    {"lossless.rebuild6", "samples", 1, 200, 1920, rebuild<6>},
    {"lossless.rebuild7", "samples", 1, 200, 1920, rebuild<7>},
    {"losslessCode.encode", "samples", 1, 200, 1920, encode},
    {"losslessCode.decode", "samples", 1, 200, 1920, decode},
};

}  // namespace
}  // namespace test
