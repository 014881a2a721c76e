// Exported functions beside what libjpeg-turbo offers of the same through its public interfaces: one thread, in turns,
// processor time. usage: peer_bench PPM; a line for each row: name, item, nanoseconds of both, ratio, agreement.
//
//   colour    its conversions between pixels and planes (tjEncodeYUVPlanes, tjDecodeYUVPlanes)
//   Huffman   its coding of a file from coefficients in memory and back (jpeg_write_coefficients,
//             jpeg_read_coefficients), of one component; headers and its arrays included, so its share is a few percent
//             more than the coding alone
#include <cstdio>  // jpeglib.h needs it, and does not include it

#include <jpeglib.h>
#include <time.h>
#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "moxj.h"

namespace {

using Bytes = std::vector<Mox8u>;
using Work = std::function<void()>;

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "peer_bench: %s\n", what.c_str());
  std::exit(1);
}
void require(bool done, const char* what) {
  if (!done) fail(std::string(what) + " failed");
}

double processorTime() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) * 1e9 + static_cast<double>(t.tv_nsec);
}

double timed(const Work& work, int runs) {
  const double start = processorTime();
  for (int i = 0; i < runs; i++) work();
  return (processorTime() - start) / runs;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void row(const char* name, const char* item, double items, const Work& ours, const Work& peer, bool agree) {
  constexpr int kSamples = 11;
  constexpr double kSample = 2e6;  // nanoseconds
  ours();
  peer();
  const int ourRuns = 1 + static_cast<int>(kSample / timed(ours, 1));
  const int peerRuns = 1 + static_cast<int>(kSample / timed(peer, 1));
  std::vector<double> our, its, ratio;
  for (int i = 0; i < kSamples; i++) {
    our.push_back(timed(ours, ourRuns));
    its.push_back(timed(peer, peerRuns));
    ratio.push_back(its.back() / our.back());
  }
  std::printf("%s|%s|%.3f|%.3f|%.2f|%s\n", name, item, median(our) / items, median(its) / items, median(ratio),
              agree ? "ok" : "DIFFERS");
}

struct Picture {
  int width, height;
  Bytes rgb;
};

// The upper left part of a binary PPM picture, repeated where the picture is smaller.
Picture load(const char* path, int width, int height) {
  std::FILE* const file = std::fopen(path, "rb");
  int w = 0, h = 0, maximum = 0;
  if (!file || std::fscanf(file, "P6 %d %d %d", &w, &h, &maximum) != 3 || maximum != 255) fail("not a PPM picture");
  std::fgetc(file);
  Bytes all(size_t{3} * static_cast<size_t>(w) * static_cast<size_t>(h));
  if (std::fread(all.data(), 1, all.size(), file) != all.size()) fail("the picture is cut off");
  std::fclose(file);
  Picture picture{width, height, Bytes(size_t{3} * static_cast<size_t>(width) * static_cast<size_t>(height))};
  for (int y = 0; y < height; y++)
    for (int x = 0; x < width; x++)
      std::memcpy(&picture.rgb[3 * (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x))],
                  &all[3 * (static_cast<size_t>(y % h) * static_cast<size_t>(w) + static_cast<size_t>(x % w))], 3);
  return picture;
}

bool close(const Bytes& a, const Bytes& b, int tolerance) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [=](int x, int y) { return std::abs(x - y) <= tolerance; });
}

// ---- Colour --------------------------------------------------------------------------------------------------------

struct Planes {
  std::array<Bytes, 3> bytes;
  std::array<Mox8u*, 3> first;
  explicit Planes(size_t size) : bytes{Bytes(size), Bytes(size), Bytes(size)} {
    for (size_t i = 0; i < 3; i++) first[i] = bytes[i].data();
  }
};

void colour(const Picture& picture) {
  const int width = picture.width, height = picture.height;
  int steps[] = {width, width, width};
  const MoxRoiSize size{width, height};
  const double pixels = static_cast<double>(width) * height;
  const tjhandle coder = tjInitCompress(), decoder = tjInitDecompress();
  Planes our(picture.rgb.size() / 3), its(picture.rgb.size() / 3);
  Bytes ourPixels(picture.rgb.size()), itsPixels(picture.rgb.size());
  const auto itsPlanes = [&](int sampling) {
    require(tjEncodeYUVPlanes(coder, picture.rgb.data(), width, 3 * width, height, TJPF_RGB, its.first.data(), steps,
                              sampling, 0) == 0,
            "tjEncodeYUVPlanes");
  };
  const Work luma = [&] {
    require(moxiRGBToY_JPEG_8u_C3C1R(picture.rgb.data(), 3 * width, our.first[0], width, size) == moxStatusOk,
            "RGBToY");
  };
  const Work planes = [&] {
    require(moxiRGBToYCbCr_JPEG_8u_C3P3R(picture.rgb.data(), 3 * width, our.first.data(), width, size) == moxStatusOk,
            "RGBToYCbCr");
  };
  const Work back = [&] {
    require(moxiYCbCrToRGB_JPEG_8u_P3C3R(our.first.data(), width, ourPixels.data(), 3 * width, size) == moxStatusOk,
            "YCbCrToRGB");
  };
  const Work itsBack = [&] {
    require(tjDecodeYUVPlanes(decoder, const_cast<const Mox8u**>(our.first.data()), steps, TJSAMP_444, itsPixels.data(),
                              width, 3 * width, height, TJPF_RGB, 0) == 0,
            "tjDecodeYUVPlanes");
  };
  const auto agree = [&](size_t count) {
    return std::equal(our.bytes.begin(), our.bytes.begin() + static_cast<ptrdiff_t>(count), its.bytes.begin(),
                      [](const Bytes& a, const Bytes& b) { return close(a, b, 1); });
  };
  luma();
  itsPlanes(TJSAMP_GRAY);
  row(
      "RGB to Y", "pixel", pixels, luma, [&] { itsPlanes(TJSAMP_GRAY); }, agree(1));
  planes();
  itsPlanes(TJSAMP_444);
  row(
      "RGB to YCbCr", "pixel", pixels, planes, [&] { itsPlanes(TJSAMP_444); }, agree(3));
  back();
  itsBack();
  row("YCbCr to RGB", "pixel", pixels, back, itsBack, close(ourPixels, itsPixels, 2));
  tjDestroy(coder);
  tjDestroy(decoder);
}

// ---- Huffman coding ------------------------------------------------------------------------------------------------

// A grey file of the peer, its coefficients, and its scan.
class GreyFile {
 public:
  GreyFile(const Picture& picture, int quality) {
    const tjhandle coder = tjInitCompress();
    require(tjCompress2(coder, picture.rgb.data(), picture.width, 3 * picture.width, picture.height, TJPF_RGB, &bytes_,
                        &length_, TJSAMP_GRAY, quality, TJFLAG_ACCURATEDCT) == 0,
            "tjCompress2");
    tjDestroy(coder);
    reader_.err = jpeg_std_error(&errors_);
    jpeg_create_decompress(&reader_);
    startReading();
    arrays_ = jpeg_read_coefficients(&reader_);
    const jpeg_component_info& component = reader_.comp_info[0];
    blocks_ = size_t{component.width_in_blocks} * component.height_in_blocks;
    for (JDIMENSION y = 0; y < component.height_in_blocks; y++) {
      const JBLOCKARRAY rows =
          reader_.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&reader_), arrays_[0], y, 1, FALSE);
      const Mox16s* const first = &rows[0][0][0];
      coefficients_.insert(coefficients_.end(), first, first + size_t{64} * component.width_in_blocks);
    }
    for (size_t at = 2; bytes_[at + 1] != 0xDA; at += 2 + size_t{256} * bytes_[at + 2] + bytes_[at + 3])
      scan_ = at + 2 + size_t{256} * bytes_[at + 2] + bytes_[at + 3];
    scan_ += 2 + size_t{bytes_[scan_ + 3]};
  }
  ~GreyFile() {
    jpeg_destroy_decompress(&reader_);
    tjFree(bytes_);
  }
  GreyFile(const GreyFile&) = delete;

  size_t blocks() const { return blocks_; }
  const std::vector<Mox16s>& coefficients() const { return coefficients_; }
  const Mox8u* scan() const { return bytes_ + scan_; }
  size_t scanLength() const { return length_ - scan_ - 2; }  // without EOI
  const JHUFF_TBL& table(bool ac) const { return ac ? *reader_.ac_huff_tbl_ptrs[0] : *reader_.dc_huff_tbl_ptrs[0]; }

  void write() {
    jpeg_compress_struct writer;
    writer.err = &errors_;
    jpeg_create_compress(&writer);
    Mox8u* out = nullptr;
    unsigned long length = 0;
    jpeg_mem_dest(&writer, &out, &length);
    jpeg_copy_critical_parameters(&reader_, &writer);
    jpeg_write_coefficients(&writer, arrays_);
    jpeg_finish_compress(&writer);
    jpeg_destroy_compress(&writer);
    std::free(out);
  }
  void read() const {
    jpeg_error_mgr errors;
    jpeg_decompress_struct reader;
    reader.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&reader);
    jpeg_mem_src(&reader, bytes_, length_);
    jpeg_read_header(&reader, TRUE);
    jpeg_read_coefficients(&reader);
    jpeg_destroy_decompress(&reader);
  }

 private:
  void startReading() {
    jpeg_mem_src(&reader_, bytes_, length_);
    jpeg_read_header(&reader_, TRUE);
  }

  Mox8u* bytes_ = nullptr;
  unsigned long length_ = 0;
  jpeg_error_mgr errors_{};
  jpeg_decompress_struct reader_{};
  jvirt_barray_ptr* arrays_ = nullptr;
  size_t blocks_ = 0, scan_ = 2;
  std::vector<Mox16s> coefficients_;
};

void huffman(const Picture& picture, int quality) {
  GreyFile file(picture, quality);
  const size_t blocks = file.blocks();
  MoxEncodeHuffmanSpec* coding[2];
  MoxDecodeHuffmanSpec* decoding[2];
  for (int ac = 0; ac < 2; ac++) {
    const JHUFF_TBL& table = file.table(ac != 0);
    require(moxiEncodeHuffmanSpecInitAlloc_JPEG_8u(table.bits + 1, table.huffval, &coding[ac]) == moxStatusOk &&
                moxiDecodeHuffmanSpecInitAlloc_JPEG_8u(table.bits + 1, table.huffval, &decoding[ac]) == moxStatusOk,
            "a Huffman table");
  }
  MoxEncodeHuffmanState* encoder;
  MoxDecodeHuffmanState* decoder;
  require(moxiEncodeHuffmanStateInitAlloc_JPEG_8u(&encoder) == moxStatusOk &&
              moxiDecodeHuffmanStateInitAlloc_JPEG_8u(&decoder) == moxStatusOk,
          "a state");
  Bytes out(blocks * 256 + 64);
  std::vector<Mox16s> decoded(blocks * 64);
  int32_t written = 0;
  const Work encode = [&] {
    Mox16s last = 0;
    written = 0;
    for (size_t i = 0; i < blocks; i++)
      moxiEncodeHuffman8x8_JPEG_16s1u_C1(&file.coefficients()[64 * i], out.data(), static_cast<int32_t>(out.size()),
                                         &written, &last, coding[0], coding[1], encoder, 0);
    moxiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, out.data(), static_cast<int32_t>(out.size()), &written, &last,
                                       coding[0], coding[1], encoder, 1);
  };
  const Work decode = [&] {
    Mox16s last = 0;
    int32_t at = 0, marker = 0;
    moxiDecodeHuffmanStateInit_JPEG_8u(decoder);
    for (size_t i = 0; i < blocks; i++)
      moxiDecodeHuffman8x8_JPEG_1u16s_C1(file.scan(), static_cast<int32_t>(file.scanLength()), &at, &decoded[64 * i],
                                         &last, &marker, decoding[0], decoding[1], decoder);
  };
  const double items = static_cast<double>(blocks);
  const std::string quoted = ", quality " + std::to_string(quality);
  encode();
  const bool same =
      static_cast<size_t>(written) == file.scanLength() && std::memcmp(out.data(), file.scan(), file.scanLength()) == 0;
  row(("Huffman coding" + quoted).c_str(), "block", items, encode, [&] { file.write(); }, same);
  decode();
  row(("Huffman decoding into arrays" + quoted).c_str(), "block", items, decode, [&] { file.read(); },
      decoded == file.coefficients());
  for (int ac = 0; ac < 2; ac++) {
    moxiEncodeHuffmanSpecFree_JPEG_8u(coding[ac]);
    moxiDecodeHuffmanSpecFree_JPEG_8u(decoding[ac]);
  }
  moxiEncodeHuffmanStateFree_JPEG_8u(encoder);
  moxiDecodeHuffmanStateFree_JPEG_8u(decoder);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) fail("usage: peer_bench PPM");
  colour(load(arguments[1], 1920, 64));
  for (const int quality : {75, 95}) huffman(load(arguments[1], 1920, 1088), quality);
}
