/*
 * The luminance of a photograph through one level of every wavelet function of JPEG 2000 (ISO/IEC 15444-1, Annex F) and
 * back: pictures in place or as four bands, rows, columns, and rows as they come.
 *
 * usage: wavelets [FILE]
 */
#include "photo.h"

/* Functions that do not extend their lines read around them: the picture has a margin, mirrored at its edges. */
enum { kMargin = 24 };

static int mirrored(int at, int size) {
  while (at < 0 || at >= size) at = at < 0 ? -at : 2 * (size - 1) - at;
  return at;
}

static Photo photo;
static Mox8u* grey;

static void show(const char* what, const Mox8u* back, int exact) {
  compare(what, back, grey, pixelsOf(&photo), exact ? INFINITY : 45);
}

static Mox8u sampleOf(double value) {
  const double sample = floor(value + 128.5);
  return (Mox8u)(sample < 0 ? 0 : sample > 255 ? 255 : sample);
}

/*
 * The same functions for each type of samples, which are multiplied by `scale`: the 9/7 wavelet rounds, and so needs
 * fraction bits.
 */
/* Rows, columns and steps. */
#define LINES(Type, name)                                                                                             \
  typedef MoxStatus (*Forward##name)(const Type*, int32_t, Type*, int32_t, Type*, int32_t, MoxRoiSize, uint32_t);     \
  typedef MoxStatus (*Inverse##name)(const Type*, int32_t, const Type*, int32_t, MoxRoiSize, Type*, int32_t,          \
                                     uint32_t);                                                                       \
  typedef MoxStatus (*ForwardStep97##name)(const Type*, const Type*, const Type*, Type*, Type*, Type*, Type*, Type*,  \
                                           int32_t);                                                                  \
  typedef MoxStatus (*InverseStep97##name)(const Type*, const Type*, const Type*, Type*, Type*, const Type*, Type*,   \
                                           Type*, int32_t);                                                           \
                                                                                                                      \
  /* A plane with its margin; `first` is the first sample of the picture. */                                          \
  typedef struct Plane##name {                                                                                        \
    Type *memory, *first;                                                                                             \
    int stride;                                                                                                       \
  } Plane##name;                                                                                                      \
  static Plane##name plane##name(void) {                                                                              \
    Plane##name plane;                                                                                                \
    plane.stride = photo.width + 2 * kMargin;                                                                         \
    plane.memory = room((size_t)plane.stride * (photo.height + 2 * kMargin) * sizeof(Type));                          \
    plane.first = plane.memory + kMargin * plane.stride + kMargin;                                                    \
    return plane;                                                                                                     \
  }                                                                                                                   \
  static Plane##name picture##name(double scale) {                                                                    \
    const Plane##name plane = plane##name();                                                                          \
    int x, y;                                                                                                         \
    for (y = -kMargin; y < photo.height + kMargin; y++)                                                               \
      for (x = -kMargin; x < photo.width + kMargin; x++)                                                              \
        plane.first[y * plane.stride + x] =                                                                           \
            (Type)((grey[mirrored(y, photo.height) * photo.width + mirrored(x, photo.width)] - 128) * scale);         \
    return plane;                                                                                                     \
  }                                                                                                                   \
  static void check##name(const char* what, const Plane##name* plane, double scale, int exact) {                      \
    Mox8u* back = room(pixelsOf(&photo));                                                                             \
    int x, y;                                                                                                         \
    for (y = 0; y < photo.height; y++)                                                                                \
      for (x = 0; x < photo.width; x++)                                                                               \
        back[y * photo.width + x] = sampleOf((double)plane->first[y * plane->stride + x] / scale);                    \
    show(what, back, exact);                                                                                          \
    free(back);                                                                                                       \
  }                                                                                                                   \
                                                                                                                      \
  /* Coefficients of the margin are computed too: the inverse reads some of them. */                                  \
  static void lines##name(const char* what, int columns, Forward##name forward, Inverse##name inverse, double scale,  \
                          int exact) {                                                                                \
    enum { kMore = 4 };                                                                                               \
    const Plane##name plane = picture##name(scale), low = plane##name(), high = plane##name();                        \
    const int32_t step = plane.stride * (int32_t)sizeof(Type);                                                        \
    const int one = columns ? plane.stride : 1;                                                                       \
    MoxRoiSize size = {columns ? photo.width : photo.width / 2, columns ? photo.height / 2 : photo.height};           \
    MoxRoiSize wider = size;                                                                                          \
    *(columns ? &wider.height : &wider.width) += 2 * kMore;                                                           \
    must(forward(plane.first - 2 * kMore * one, step, low.first - kMore * one, step, high.first - kMore * one, step,  \
                 wider, 0),                                                                                           \
         what);                                                                                                       \
    must(inverse(low.first, step, high.first, step, size, plane.first, step, 0), what);                               \
    check##name(what, &plane, scale, exact);                                                                          \
    free(plane.memory), free(low.memory), free(high.memory);                                                          \
  }                                                                                                                   \
                                                                                                                      \
  /* Rows are finished some steps after they came: until then they are in the rows of even and of odd places. */      \
  static void steps97##name(const char* what, ForwardStep97##name forward, InverseStep97##name inverse,               \
                            double scale) {                                                                           \
    const Plane##name plane = picture##name(scale), even = plane##name(), odd = plane##name(), even2 = plane##name(), \
                      odd2 = plane##name();                                                                           \
    const int stride = plane.stride, pairs = photo.height / 2;                                                        \
    Type* const x = plane.first;                                                                                      \
    int k;                                                                                                            \
    for (k = -8; k <= pairs + 6; k++)                                                                                 \
      must(forward(x + 2 * k * stride, x + (2 * k + 1) * stride, x + (2 * k + 2) * stride,                            \
                   even.first + (k - 1) * stride, even.first + k * stride, odd.first + (k - 2) * stride,              \
                   odd.first + (k - 1) * stride, odd.first + k * stride, photo.width),                                \
           what);                                                                                                     \
    for (k = -3; k <= pairs + 3; k++)                                                                                 \
      must(inverse(odd.first + (k - 1) * stride, even.first + k * stride, odd.first + k * stride,                     \
                   even2.first + k * stride, even2.first + (k - 1) * stride, even2.first + (k - 2) * stride,          \
                   odd2.first + (k - 1) * stride, odd2.first + (k - 2) * stride, photo.width),                        \
           what);                                                                                                     \
    for (k = 0; k < pairs; k++) {                                                                                     \
      memcpy(x + 2 * k * stride, even2.first + k * stride, (size_t)photo.width * sizeof(Type));                       \
      memcpy(x + (2 * k + 1) * stride, odd2.first + k * stride, (size_t)photo.width * sizeof(Type));                  \
    }                                                                                                                 \
    check##name(what, &plane, scale, 0);                                                                              \
    free(plane.memory), free(even.memory), free(odd.memory), free(even2.memory), free(odd2.memory);                   \
  }

/* Whole pictures, and steps of the 5/3 wavelet. */
#define PICTURES(Type, name)                                                                                           \
  typedef MoxStatus (*Size##name)(const MoxRect*, int32_t*);                                                           \
  typedef MoxStatus (*InPlace##name)(Type*, int32_t, const MoxRect*, Mox8u*);                                          \
  typedef MoxStatus (*Split##name)(const Type*, int32_t, const MoxRect*, Type* const[4], const int32_t[4], Mox8u*);    \
  typedef MoxStatus (*Join##name)(const Type* const[4], const int32_t[4], Type*, int32_t, const MoxRect*, Mox8u*);     \
  typedef MoxStatus (*ForwardStep53##name)(const Type*, const Type*, const Type*, Type*, const Type*, Type*, int32_t); \
  typedef MoxStatus (*InverseStep53##name)(const Type*, const Type*, const Type*, const Type*, Type*, Type*, int32_t); \
                                                                                                                       \
  static void inPlace##name(const char* what, Size##name size, InPlace##name forward, InPlace##name inverse,           \
                            double scale, int exact) {                                                                 \
    const MoxRect region = {0, 0, photo.width, photo.height};                                                          \
    const Plane##name plane = picture##name(scale);                                                                    \
    const int32_t step = plane.stride * (int32_t)sizeof(Type);                                                         \
    int32_t bytes;                                                                                                     \
    Mox8u* buffer;                                                                                                     \
    must(size(&region, &bytes), "the size of a buffer");                                                               \
    buffer = room((size_t)bytes + 1);                                                                                  \
    must(forward(plane.first, step, &region, buffer), what);                                                           \
    must(inverse(plane.first, step, &region, buffer), what);                                                           \
    check##name(what, &plane, scale, exact);                                                                           \
    free(buffer), free(plane.memory);                                                                                  \
  }                                                                                                                    \
                                                                                                                       \
  static void bands##name(const char* what, Size##name size, Split##name split, Join##name join, double scale,         \
                          int exact) {                                                                                 \
    const MoxRect region = {0, 0, photo.width, photo.height};                                                          \
    const Plane##name plane = picture##name(scale);                                                                    \
    const int32_t step = plane.stride * (int32_t)sizeof(Type), quarter = photo.width / 2 * (int32_t)sizeof(Type);      \
    const int32_t steps[4] = {quarter, quarter, quarter, quarter};                                                     \
    const size_t count = pixelsOf(&photo) / 4;                                                                         \
    Type* memory = room(4 * count * sizeof(Type));                                                                     \
    Type* const four[4] = {memory, memory + count, memory + 2 * count, memory + 3 * count};                            \
    int32_t bytes;                                                                                                     \
    Mox8u* buffer;                                                                                                     \
    must(size(&region, &bytes), "the size of a buffer");                                                               \
    buffer = room((size_t)bytes + 1);                                                                                  \
    must(split(plane.first, step, &region, four, steps, buffer), what);                                                \
    must(join((const Type* const*)four, steps, plane.first, step, &region, buffer), what);                             \
    check##name(what, &plane, scale, exact);                                                                           \
    free(memory), free(buffer), free(plane.memory);                                                                    \
  }                                                                                                                    \
                                                                                                                       \
  /* Two rows come, a low and a high one go. The margin fills the pipeline. */                                         \
  static void steps53##name(const char* what, ForwardStep53##name forward, InverseStep53##name inverse,                \
                            double scale) {                                                                            \
    const Plane##name plane = picture##name(scale), low = plane##name(), high = plane##name();                         \
    const int stride = plane.stride, pairs = photo.height / 2;                                                         \
    Type* const x = plane.first;                                                                                       \
    int k;                                                                                                             \
    for (k = -2; k <= pairs; k++)                                                                                      \
      must(forward(x + 2 * k * stride, x + (2 * k + 1) * stride, x + (2 * k + 2) * stride, low.first + k * stride,     \
                   high.first + (k - 1) * stride, high.first + k * stride, photo.width),                               \
           what);                                                                                                      \
    memset(plane.memory, 0, (size_t)stride*(photo.height + 2 * kMargin) * sizeof(Type));                               \
    for (k = -1; k <= pairs; k++)                                                                                      \
      must(inverse(low.first + k * stride, high.first + (k - 1) * stride, high.first + k * stride,                     \
                   x + (2 * k - 2) * stride, x + (2 * k - 1) * stride, x + 2 * k * stride, photo.width),               \
           what);                                                                                                      \
    check##name(what, &plane, scale, 1);                                                                               \
    free(plane.memory), free(low.memory), free(high.memory);                                                           \
  }

LINES(Mox16s, 16s)
LINES(Mox32s, 32s)
LINES(Mox32f, 32f)
PICTURES(Mox16s, 16s)
PICTURES(Mox32s, 32s)

static void reversible(void) {
  inPlace16s("5/3, 16 bits, in place", moxiWTGetBufSize_B53_JPEG2K_16s_C1IR, moxiWTFwd_B53_JPEG2K_16s_C1IR,
             moxiWTInv_B53_JPEG2K_16s_C1IR, 1, 1);
  bands16s("5/3, 16 bits, bands", moxiWTGetBufSize_B53_JPEG2K_16s_C1R, moxiWTFwd_B53_JPEG2K_16s_C1R,
           moxiWTInv_B53_JPEG2K_16s_C1R, 1, 1);
  lines16s("5/3, 16 bits, rows", 0, moxiWTFwdRow_B53_JPEG2K_16s_C1R, moxiWTInvRow_B53_JPEG2K_16s_C1R, 1, 1);
  lines16s("5/3, 16 bits, columns", 1, moxiWTFwdCol_B53_JPEG2K_16s_C1R, moxiWTInvCol_B53_JPEG2K_16s_C1R, 1, 1);
  steps5316s("5/3, 16 bits, as rows come", moxiWTFwdColLift_B53_JPEG2K_16s_C1, moxiWTInvColLift_B53_JPEG2K_16s_C1, 1);
  inPlace32s("5/3, 32 bits, in place", moxiWTGetBufSize_B53_JPEG2K_32s_C1IR, moxiWTFwd_B53_JPEG2K_32s_C1IR,
             moxiWTInv_B53_JPEG2K_32s_C1IR, 1, 1);
  bands32s("5/3, 32 bits, bands", moxiWTGetBufSize_B53_JPEG2K_32s_C1R, moxiWTFwd_B53_JPEG2K_32s_C1R,
           moxiWTInv_B53_JPEG2K_32s_C1R, 1, 1);
  lines32s("5/3, 32 bits, rows", 0, moxiWTFwdRow_B53_JPEG2K_32s_C1R, moxiWTInvRow_B53_JPEG2K_32s_C1R, 1, 1);
  lines32s("5/3, 32 bits, columns", 1, moxiWTFwdCol_B53_JPEG2K_32s_C1R, moxiWTInvCol_B53_JPEG2K_32s_C1R, 1, 1);
  steps5332s("5/3, 32 bits, as rows come", moxiWTFwdColLift_B53_JPEG2K_32s_C1, moxiWTInvColLift_B53_JPEG2K_32s_C1, 1);
}

static void irreversible(void) {
  const double few = 16, many = 4096; /* 4 and 12 fraction bits */
  inPlace16s("9/7, 16 bits, in place", moxiWTGetBufSize_D97_JPEG2K_16s_C1IR, moxiWTFwd_D97_JPEG2K_16s_C1IR,
             moxiWTInv_D97_JPEG2K_16s_C1IR, few, 0);
  bands16s("9/7, 16 bits, bands", moxiWTGetBufSize_D97_JPEG2K_16s_C1R, moxiWTFwd_D97_JPEG2K_16s_C1R,
           moxiWTInv_D97_JPEG2K_16s_C1R, few, 0);
  lines16s("9/7, 16 bits, rows", 0, moxiWTFwdRow_D97_JPEG2K_16s_C1R, moxiWTInvRow_D97_JPEG2K_16s_C1R, few, 0);
  steps9716s("9/7, 16 bits, as rows come", moxiWTFwdColLift_D97_JPEG2K_16s_C1, moxiWTInvColLift_D97_JPEG2K_16s_C1, few);
  inPlace32s("9/7, 32 bits, in place", moxiWTGetBufSize_D97_JPEG2K_32s_C1IR, moxiWTFwd_D97_JPEG2K_32s_C1IR,
             moxiWTInv_D97_JPEG2K_32s_C1IR, many, 0);
  bands32s("9/7, 32 bits, bands", moxiWTGetBufSize_D97_JPEG2K_32s_C1R, moxiWTFwd_D97_JPEG2K_32s_C1R,
           moxiWTInv_D97_JPEG2K_32s_C1R, many, 0);
  lines32s("9/7, 32 bits, rows", 0, moxiWTFwdRow_D97_JPEG2K_32s_C1R, moxiWTInvRow_D97_JPEG2K_32s_C1R, many, 0);
  steps9732s("9/7, 32 bits, as rows come", moxiWTFwdColLift_D97_JPEG2K_32s_C1, moxiWTInvColLift_D97_JPEG2K_32s_C1,
             many);
  lines32f("9/7, single precision, rows", 0, moxiWTFwdRow_D97_JPEG2K_32f_C1R, moxiWTInvRow_D97_JPEG2K_32f_C1R, 1, 0);
  lines32f("9/7, single precision, columns", 1, moxiWTFwdCol_D97_JPEG2K_32f_C1R, moxiWTInvCol_D97_JPEG2K_32f_C1R, 1, 0);
  steps9732f("9/7, as rows come", moxiWTFwdColLift_D97_JPEG2K_32f_C1, moxiWTInvColLift_D97_JPEG2K_32f_C1, 1);
}

int main(int argc, char** argv) {
  MoxRoiSize size;
  photo = photoOf(argc, argv);
  size.width = photo.width;
  size.height = photo.height;
  grey = room(pixelsOf(&photo));
  must(moxiRGBToY_JPEG_8u_C3C1R(photo.rgb, 3 * photo.width, grey, photo.width, size), "the luminance");
  reversible();
  irreversible();
  free(grey), free(photo.rgb);
  return failed;
}
