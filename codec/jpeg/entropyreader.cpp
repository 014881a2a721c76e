#include "jpeg/entropyreader.h"

#include <algorithm>
#include <limits>

#include "failure.h"

namespace moxj::jpeg {

// Files without DHT segments (frames of Motion JPEG) are meant to be read with the tables of Annex K.
const HuffmanCode& codeOf(const Tables& tables, TableClass tableClass, int index) {
  if (tables.codes[tableClass][index]) return *tables.codes[tableClass][index];
  if (index < 2) return kAnnexKCodes[tableClass][index];
  refuse("the scan uses Huffman table " + std::to_string(index) + ", which is not defined");
}

EntropyReader::EntropyReader(const Frame& frame, const ScanHeader& scan, const Tables& tables, ByteSpan data)
    : geometry_(frame, scan),
      state_(makeDecodeState()),
      restartInterval_(tables.restartInterval),
      data_(data),
      mcusToRestart_(tables.restartInterval) {
  if (scan.components.size() > 1 && geometry_.blocks.size() > 10) {
    refuse("an MCU of " + std::to_string(geometry_.blocks.size()) + " blocks, of which T.81 allows 10");
  }
}

void EntropyReader::moveWindow() {
  windowStart_ += position_;
  position_ = 0;
  if (windowStart_ == data_.size() && windowStart_ > 0) {  // the progressive decoders take no empty source
    --windowStart_;
    position_ = 1;
  }
  windowLength_ =
      static_cast<std::int32_t>(std::min<std::size_t>(data_.size() - windowStart_, std::numeric_limits<int>::max()));
}

bool EntropyReader::unitFailed(MoxStatus status) {
  if (status == moxStatusError) {  // more coefficients than a block has
    damaged("damaged data");
    return true;
  }
  if (status != moxStatusOutOfBuffer && !data_.empty()) require(status, "the decoding of a unit");
  if (marker::isReserved(marker_)) {  // of no meaning, so likely a damaged byte of the data
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
      damaged("a restart marker out of sequence");
      // One or two ahead: markers are lost, and this one waits until its interval is due. One or two behind: it was
      // to come earlier and is passed over. Others: its number may be damaged; there is nothing better than to go on
      // here.
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

// Makes `marker_` the next marker, if it is not there already. False where there is none.
bool EntropyReader::seekMarker() {
  if (marker_ != 0) return true;
  const std::size_t from = windowStart_ + position_;
  const std::size_t at = findMarker(data_, from);
  // An encoder may fill up with zeros or ones; other bytes were coefficients, and something ahead of them was
  // misread.
  const auto isFill = [](int byte) { return byte == 0 || byte == 0xFF; };
  if (!std::all_of(data_.begin() + from, data_.begin() + at, isFill)) damaged("data that belongs to no block");
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
