// Recovery from damage: missing data, restart markers out of sequence, early ends.
#include "jpeg/entropyreader.h"

#include <algorithm>
#include <limits>

#include "base/problem.h"

namespace moxj::jpeg {

// Files without DHT segments (frames of Motion JPEG) use the tables of Annex K.
const HuffmanCode& codeOf(const Tables& tables, TableClass tableClass, int index) {
  if (tables.codes[tableClass][index]) return *tables.codes[tableClass][index];
  if (index < 2) return kAnnexKCodes[tableClass][index];
  fail(Kind::damaged, "the scan uses Huffman table " + std::to_string(index) + ", which is not defined");
}

EntropyReader::EntropyReader(const Frame& frame, const ScanHeader& scan, const Tables& tables, ByteSpan data,
                             int unreadBytes)
    : geometry_(frame, scan),
      state_(makeDecodeState()),
      restartInterval_(tables.restartInterval),
      data_(data),
      unreadBytes_(static_cast<std::size_t>(unreadBytes)),
      mcusToRestart_(tables.restartInterval) {
  if (scan.components.size() > 1 && geometry_.blocks.size() > 10) {
    fail(Kind::damaged, "an MCU of " + std::to_string(geometry_.blocks.size()) + " blocks: T.81 allows at most 10");
  }
}

void EntropyReader::begin(ByteSpan data, int row, int restart) {
  data_ = data;
  windowStart_ = 0;
  position_ = 0;
  row_ = row;
  goodMcus_ = 0;
  mcusToRestart_ = restartInterval_;
  nextRestart_ = restart % 8;
  exhausted_ = false;
  damage_.clear();
  resume();
}

void EntropyReader::continueAt(std::size_t position, int row) {
  windowStart_ = position;
  position_ = 0;
  marker_ = 0;
  row_ = row;
  goodMcus_ = std::int64_t{row} * geometry_.mcusWide;
  mcusToRestart_ = 0;
  nextRestart_ = static_cast<int>((goodMcus_ / restartInterval_ + 7) % 8);
}

void EntropyReader::moveWindow() {
  windowStart_ += position_;
  position_ = 0;
  if (windowStart_ == data_.size() && windowStart_ > 0) {  // the progressive decoders reject an empty source
    --windowStart_;
    position_ = 1;
  }
  windowLength_ =
      static_cast<std::int32_t>(std::min<std::size_t>(data_.size() - windowStart_, std::numeric_limits<int>::max()));
}

bool EntropyReader::unitFailed(MoxStatus status) {
  if (status == moxStatusError) {  // more coefficients than fit in a block
    damaged("damaged data");
    return true;
  }
  if (status != moxStatusOutOfBuffer && !data_.empty()) require(status, "the decoding of a unit");
  if (marker::isReserved(marker_)) {  // has no meaning, so probably a damaged data byte
    damaged("damaged data");
    marker_ = 0;
    return true;
  }
  skipping_ = true;
  const bool restartsLater = restartInterval_ != 0 && marker::isRestart(marker_);
  if (!restartsLater) exhausted_ = true;
  damaged(marker_ == 0    ? "the file ends within the picture"
          : restartsLater ? "data is missing"
                          : "the picture's data ends early");
  return true;
}

void EntropyReader::lose(const char* what, bool atEnd) {
  skipping_ = true;
  if (atEnd || restartInterval_ == 0) exhausted_ = true;
  damaged(what);
}

void EntropyReader::startInterval() {
  mcusToRestart_ = restartInterval_ - 1;
  const int due = nextRestart_;
  nextRestart_ = (nextRestart_ + 1) % 8;
  skipping_ = true;
  while (!exhausted_) {
    if (!seekMarker()) {
      exhausted_ = true;
      damaged("the file ends within the picture");
      return;
    }
    if (marker::isRestart(marker_)) {
      const int ahead = (marker_ - marker::rst0 - due) & 7;
      if (ahead == 0) return resume();
      damaged("restart marker out of sequence");
      // The distance from the expected number decides (modulo 8):
      //   +1, +2   markers were lost; this one is kept until its interval is reached
      //   -1, -2   this one is late; it is skipped
      //   others   its number may be damaged; decoding resumes here as the best guess
      if (ahead <= 2) return;
      if (ahead < 6) return resume();
    } else if (!marker::isReserved(marker_)) {
      exhausted_ = true;
      damaged("the picture's data ends early");
      return;
    }
    marker_ = 0;
  }
}

// Makes `marker_` the next marker, unless it is already set. False if there is none.
bool EntropyReader::seekMarker() {
  if (marker_ != 0) return true;
  const std::size_t from = windowStart_ + position_;
  const std::size_t at = findMarker(data_, from);
  // An encoder may pad with zeros or ones. Any other bytes are unread coefficients, so something before them was
  // misread.
  const auto isFill = [](int byte) { return byte == 0 || byte == 0xFF; };
  if (at - from > unreadBytes_ && !std::all_of(data_.begin() + from, data_.begin() + at, isFill))
    damaged("extra data before a marker");
  if (at == data_.size()) return false;
  marker_ = data_[at + 1];
  windowStart_ = at + 2;
  position_ = 0;
  moveWindow();
  return true;
}

void EntropyReader::resume() {
  marker_ = 0;
  skipping_ = false;
  restarted();
  require(moxiDecodeHuffmanStateInit_JPEG_8u(state_.get()), "the start of a restart interval");
}

void EntropyReader::damaged(const char* what) {
  if (!damage_.empty()) return;
  const int row = std::min(row_ + 1, geometry_.mcusHigh);
  damage_ =
      std::string(what) + " (in MCU row " + std::to_string(row) + " of " + std::to_string(geometry_.mcusHigh) + ")";
}

std::size_t EntropyReader::end() {
  if (!seekMarker()) return data_.size();
  return windowStart_ + position_ - 2;
}

}  // namespace moxj::jpeg
