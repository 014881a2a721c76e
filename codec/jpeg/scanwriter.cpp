#include "jpeg/scanwriter.h"

#include <algorithm>
#include <limits>

#include "jpeg/markers.h"

namespace moxj::jpeg {

ScanWriter::ScanWriter(Bytes& file, const ScanHeader& scan, const std::array<std::array<HuffmanCode, 2>, 2>& codes,
                       int restartInterval)
    : file_(file),
      start_(file.size()),
      state_(makeEncodeState()),
      restartInterval_(restartInterval),
      mcusToRestart_(restartInterval) {
  const auto specOf = [&](TableClass tableClass, int index) {
    EncodeSpec& spec = specs_[tableClass][index];
    if (!spec) spec = makeEncodeSpec(codes[tableClass][index]);
    return spec.get();
  };
  for (std::size_t i = 0; i < scan.components.size(); ++i) {
    coders_[i].dc = specOf(kDc, scan.components[i].dcTable);
    coders_[i].ac = specOf(kAc, scan.components[i].acTable);
  }
}

void ScanWriter::makeRoom() {
  start_ += position_;
  position_ = 0;
  file_.resize(start_);
  if (file_.capacity() - start_ < kMostMcuBytes)
    file_.reserve(file_.capacity() + file_.capacity() / 2 + kMostMcuBytes);
  room_ = static_cast<std::int32_t>(
      std::min<std::size_t>(file_.capacity() - start_, std::numeric_limits<std::int32_t>::max()));
}

// Fills up the last byte with ones.
void ScanWriter::flush() {
  if (room_ - position_ < kMostMcuBytes) makeRoom();
  require(moxiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, file_.data() + start_, room_, &position_, nullptr, nullptr,
                                             nullptr, state_.get(), 1),
          "the end of an interval");
}

void ScanWriter::restart() {
  flush();
  std::uint8_t* const to = file_.data() + start_ + position_;
  to[0] = 0xFF;
  to[1] = static_cast<std::uint8_t>(marker::rst0 + nextRestart_);
  position_ += 2;
  nextRestart_ = (nextRestart_ + 1) % 8;
  mcusToRestart_ = restartInterval_ - 1;
  for (Coder& coder : coders_) coder.lastDc = 0;
}

void ScanWriter::end() {
  flush();
  start_ += position_;
  position_ = 0;
  file_.resize(start_);
}

}  // namespace moxj::jpeg
