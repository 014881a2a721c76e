/*
 * A code-block of a photograph, decoded pass by pass (ISO/IEC 15444-1, Annex D), as its data would arrive: with every
 * bit-plane the picture comes closer, and with the last pass it is exact.
 *
 * usage: passes [FILE]
 */
#include "photo.h"

enum { kBlock = 64, kMaxPasses = 91 };

static Mox32s words[kBlock * kBlock], decoded[kBlock * kBlock];
static Mox8u data[kBlock * kBlock * 8];
static int32_t bitPlanes, passes, lengths[kMaxPasses];
static int width, height;

/* Signs and magnitudes. */
static Mox32s wordOf(int number) { return number < 0 ? (Mox32s)(0x80000000u | (Mox32u)-number) : number; }
static int numberOf(Mox32s word) {
  const int magnitude = (int)((Mox32u)word & 0x7FFFFFFFu);
  return word < 0 ? -magnitude : magnitude;
}

/* The first block of the luminance; every pass is a segment of its own. */
static void encode(const Photo* photo) {
  const MoxRoiSize size = {photo->width, photo->height};
  Mox8u* grey = room(pixelsOf(photo));
  int32_t length = sizeof data, notFinished, segments;
  MoxJ2KEncodeState* state;
  int x, y, i;
  width = photo->width < kBlock ? photo->width : kBlock;
  height = photo->height < kBlock ? photo->height : kBlock;
  must(moxiRGBToY_JPEG_8u_C3C1R(photo->rgb, 3 * photo->width, grey, photo->width, size), "the luminance");
  for (y = 0; y < height; y++)
    for (x = 0; x < width; x++) words[y * kBlock + x] = wordOf(grey[y * photo->width + x] - 128);
  must(moxiEncodeInitAlloc_JPEG2K(&state, kBlock, kBlock), "the encoder");
  must(moxiEncodeLoadCodeBlock_JPEG2K_32s_C1R(words, kBlock * sizeof *words, width, height, state, moxJ2KSubbandLL, 31,
                                              moxJ2KTermPredictable, 0, moxJ2KTermAll, &bitPlanes, &passes, &segments),
       "the coding of a block");
  must(moxiEncodeStoreBits_JPEG2K_1u(data, &length, state, &notFinished), "the code string");
  if (notFinished || segments != passes) failed = 1;
  for (i = 0; i < passes; i++) must(moxiEncodeGetTermPassLen_JPEG2K(state, i, &lengths[i]), "the length of a pass");
  moxiEncodeFree_JPEG2K(state);
  free(grey);
}

static double errorNow(void) {
  double sum = 0;
  int x, y;
  for (y = 0; y < height; y++)
    for (x = 0; x < width; x++) {
      const double error = numberOf(words[y * kBlock + x]) - numberOf(decoded[y * kBlock + x]);
      sum += error * error;
    }
  return sqrt(sum / (width * height));
}

static void decode(MoxJ2KDecodeState* state) {
  const Mox8u* segment = data;
  int pass;
  must(moxiDecodeCBProgrAttach_JPEG2K_32s_C1R(decoded, kBlock * sizeof *decoded, width, height, state, moxJ2KSubbandLL,
                                              bitPlanes, moxJ2KTermAll),
       "the start of a block");
  must(moxiDecodeCBProgrSetPassCounter_JPEG2K(passes, state), "the number of passes");
  for (pass = 0; pass < passes; segment += lengths[pass++]) {
    int32_t left, plane;
    must(moxiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(state, &plane), "the bit-plane");
    must(moxiDecodeCBProgrStep_JPEG2K(segment, lengths[pass], state), "a pass");
    must(moxiDecodeCBProgrGetPassCounter_JPEG2K(state, &left), "the passes that are left");
    if (left != passes - 1 - pass) failed = 1;
    if (pass % 3 == 0) { /* a bit-plane is complete */
      printf("bit-plane %d: error %.2f\n", (int)plane, errorNow());
      if (errorNow() > (double)(1 << plane)) failed = 1;
    }
  }
  if (errorNow() > 0) failed = 1;
}

int main(int argc, char** argv) {
  const Photo photo = photoOf(argc, argv);
  const MoxLibraryVersion* version = moxjGetLibVersion();
  MoxJ2KDecodeState* state;
  int32_t bytes;
  printf("functions of %s %s\n", version->name, version->version);
  encode(&photo);
  must(moxiDecodeCBProgrInitAlloc_JPEG2K(&state, kBlock, kBlock), "the decoder");
  decode(state);
  must(moxiDecodeCBProgrFree_JPEG2K(state), "the decoder");
  /* The same with memory of the program's own. */
  must(moxiDecodeCBProgrGetStateSize_JPEG2K(kBlock, kBlock, &bytes), "the size of a decoder");
  state = room((size_t)bytes);
  must(moxiDecodeCBProgrInit_JPEG2K(state), "the decoder");
  decode(state);
  free(state);
  free(photo.rgb);
  return failed;
}
