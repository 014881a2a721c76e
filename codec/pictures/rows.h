// The road of a picture: bands of rows go from a reader, through conversions, to a writer.
#pragma once

#include "base/outcome.h"
#include "base/progress.h"
#include "pictures/picture.h"

namespace moxj {

// Receives a picture from top to bottom. All functions throw Problem, after which no other function is called.
class RowSink {
 public:
  virtual ~RowSink() = default;
  // Once, before any rows: the layout of the picture.
  virtual void begin(const Picture& layout) = 0;
  // The next rows, one band; valid only during the call. A band has any number of rows. If planes are sub-sampled, all
  // bands but the last have a multiple of each dy.
  virtual void rows(const Picture& band) = 0;
  // The same for rows that stay valid until end() has returned.
  virtual void stayingRows(const Picture& band) { rows(band); }
  // Once, after the last row.
  virtual void end() = 0;
  // Whether a picture in memory had better come as one band, which is shared or copied as a whole. Asked after begin().
  virtual bool takesWhole() const { return false; }
  // How many rows of a picture in memory had better come as one band: 0 or less than rowsOfBand() for any number. Asked
  // after begin().
  virtual int rowsWanted() const { return 0; }
  // Whether bands of RGB may have blue first (Picture::interleavedBgr). Asked after begin().
  virtual bool takesBgr() const { return false; }
};

// Gives a picture to a sink: begin(), all rows, end(). Rows that cannot be decoded are given too, black or grey.
class RowSource {
 public:
  virtual ~RowSource() = default;
  virtual Outcome push(RowSink& sink) = 0;
};

// Keeps all rows. A picture that comes as one band with an owner is shared, not copied.
class PictureCollector : public RowSink {
 public:
  explicit PictureCollector(Budget* budget = nullptr) : budget_(budget) {}
  void begin(const Picture& layout) override;
  void rows(const Picture& band) override;
  void end() override {}
  bool takesWhole() const override { return true; }
  const Picture& picture() const { return picture_; }

 private:
  Budget* budget_;
  Picture picture_;
  int filled_ = 0;  // rows
};

// How many rows of a picture a band should have: what fits the processor's cache, and whole MCU rows unless the picture
// is very wide.
int rowsOfBand(const Picture& layout);
// The smallest number of rows that a band other than the last may have (a multiple of every dy), or the height.
int rowMultiple(const Picture& layout);

// Gives the rows of a picture in memory to a sink, after begin(): as one band if the sink takes it, otherwise in
// several, with progress.
void pushBands(const Picture& picture, RowSink& sink, const Progress& progress);
// The same for a picture that stays valid until end() has returned.
void pushStayingBands(const Picture& picture, RowSink& sink, const Progress& progress);

// The same with begin() and end().
void pushPicture(const Picture& picture, RowSink& sink, const Progress& progress = {});

}  // namespace moxj
