/* What scripts/bench-python compares the Python package with: the same calls of the C interface, without Python. They
 * are loaded into the same process, so that both meet the same memory. */
#include <moxcodec.h>

/* Decodes a file into a picture of the library's; returns the kind of the failure. */
int benchDecode(const void* bytes, size_t byteCount) {
  const MoxcSource source = moxcMemorySource(bytes, byteCount);
  MoxcPicture* picture = NULL;
  const MoxcKind kind = moxcDecode(&source, NULL, NULL, NULL, &picture, NULL);
  moxcPictureFree(picture);
  return kind;
}

/* Decodes a file into the caller's array. */
int benchDecodeInto(const void* bytes, size_t byteCount, int layout, int width, int height, int bits, void* samples) {
  const MoxcSource source = moxcMemorySource(bytes, byteCount);
  MoxcPixels pixels = moxcPixels((MoxcLayout)layout, width, height, bits, samples, 0);
  return moxcDecodeInto(&source, NULL, &pixels, NULL, NULL);
}

/* Encodes an array into memory. `ratio` 0: the format's default. */
int benchEncode(int layout, int width, int height, int bits, void* samples, const char* format, double ratio) {
  const MoxcPixels pixels = moxcPixels((MoxcLayout)layout, width, height, bits, samples, 0);
  void* bytes = NULL;
  size_t byteCount = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &byteCount);
  MoxcWriteOptions options;
  moxcWriteOptionsInit(&options);
  options.ratio = ratio;
  const MoxcKind kind = moxcEncode(&pixels, format, &options, NULL, 0, &target, NULL, NULL);
  moxcFree(bytes);
  return kind;
}
