// The output buffer, restart markers, and the end of a scan.
#include "jpeg/scanwriter.h"

#include <algorithm>
#include <limits>

#include "base/problem.h"
#include "jpeg/markers.h"

namespace moxj::jpeg {

ScanWriter::ScanWriter(Writer& writer, ScanKind kind, const ScanHeader& scan, const Codes& codes, int restartInterval)
    : writer_(writer),
      file_(writer.pending()),
      kind_(kind),
      scan_(scan),
      start_(file_.size()),
      state_(makeEncodeState()),
      restartInterval_(restartInterval),
      mcusToRestart_(restartInterval) {
  const auto specOf = [&](TableClass tableClass, int index) {
    EncodeSpec& spec = specs_[tableClass][index];
    if (!spec) spec = makeEncodeSpec(codes[tableClass][index]);
    return spec.get();
  };
  for (std::size_t i = 0; i < scan.components.size(); ++i) {
    if (usesTable(kind, kDc)) coders_[i].dc = specOf(kDc, scan.components[i].dcTable);
    if (usesTable(kind, kAc)) coders_[i].ac = specOf(kAc, scan.components[i].acTable);
  }
}

void ScanWriter::makeRoom() {
  file_.resize(start_ + position_);
  writer_.makeRoom(kMaxMcuBytes);
  start_ = file_.size();
  position_ = 0;
  room_ = static_cast<std::int32_t>(
      std::min<std::size_t>(file_.capacity() - start_, std::numeric_limits<std::int32_t>::max()));
}

void ScanWriter::failed(MoxStatus status) {
  if (status == moxStatusCoefficientRange) fail(Kind::unsupported, "a coefficient is too large for this kind of scan");
  if (status == moxStatusHuffTable)
    fail(Kind::unsupported, "the Annex K tables have no code for a coefficient", Setting::optimize);
  require(status, "the coding of a block");
  fail(Kind::internal, "the coding of a block");
}

// Writes the pending end-of-band run and pads the last byte with ones.
void ScanWriter::flush() {
  if (room_ - position_ < kMaxMcuBytes) makeRoom();
  forKind(kind_, [&](auto kind) {
    const MoxStatus status = code<kind()>(coders_[0], nullptr, 1);
    if (status < 0) failed(status);
  });
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

void ScanWriter::begin(const LastDc& lastDc) {
  start_ = file_.size();
  position_ = room_ = 0;
  for (std::size_t i = 0; i < coders_.size(); ++i) coders_[i].lastDc = lastDc[i];
}

// A refining DC scan codes a coefficient of 0 as one bit.
void ScanWriter::cut() {
  static constexpr Mox16s kZero[64] = {};
  if (room_ - position_ < kMaxMcuBytes) makeRoom();
  require(
      moxiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(kZero, file_.data() + start_, room_, &position_, 0, state_.get(), 0),
      "the end of a segment");
  end();
}

}  // namespace moxj::jpeg
