// What the road has to deliver for each layout.
#include "api/reading.h"

#include <algorithm>
#include <optional>

#include "api/checks.h"
#include "api/source.h"
#include "api/structs.h"
#include "formats/convert.h"

namespace moxj::api {

namespace {

Holds everything() {
  Holds holds;
  holds.opacity = holds.anyMaxval = holds.isSigned = holds.subsampled = holds.mixedDepths = true;
  return holds;
}

void setBits(Holds& holds, const Wish& wish) {
  if (wish.bits == 0) return;
  holds.minBits = holds.maxBits = wish.bits;
  holds.mixedDepths = holds.anyMaxval = false;
}

Holds holdsFor(const Wish& wish) {
  Holds holds = everything();
  holds.isSigned = wish.isSigned;
  holds.anyMaxval = wish.anyMaxval;
  if (const LayoutFacts* const facts = factsOf(wish.layout)) {
    holds.colours = {facts->colour};
    holds.opacity = facts->opacity;
    holds.subsampled = holds.mixedDepths = false;
  } else if (wish.layout == moxcYCbCr) {
    holds.colours = {Colour::ycbcr};
    holds.opacity = holds.isSigned = holds.mixedDepths = false;
  }
  if (isWords(wish.layout)) {
    holds.minBits = holds.maxBits = 8;
    holds.anyMaxval = false;
  }
  setBits(holds, wish);
  return holds;
}

// A picture with a known meaning gets one of the interleaved layouts, others their planes.
Holds holdsForPicture(const Picture& layout, const Wish& wish, bool components) {
  Holds holds = everything();
  setBits(holds, wish);
  if (components || layout.colour == Colour::unknown) return holds;
  holds.colours = {Colour::cmyk, Colour::grey, Colour::rgb};
  holds.subsampled = holds.mixedDepths = false;
  return holds;
}

// Chooses the conversion when the picture is known.
class ChosenByPicture : public RowSink {
 public:
  ChosenByPicture(RowSink& next, const Wish& wish, bool components, Budget& budget)
      : next_(next), wish_(wish), components_(components), budget_(budget) {}
  void begin(const Picture& layout) override {
    fitting_ = fitting(next_, holdsForPicture(layout, wish_, components_), notes, budget_);
    fitting_->begin(layout);
  }
  void rows(const Picture& band) override { fitting_->rows(band); }
  void end() override { fitting_->end(); }
  bool takesWhole() const override { return fitting_->takesWhole(); }

  std::vector<std::string> notes;

 private:
  RowSink& next_;
  Wish wish_;
  bool components_;
  Budget& budget_;
  std::unique_ptr<RowSink> fitting_;
};

// Whether a file is JPEG whose planes of YCbCr can become words directly.
bool isFullJpeg(Input& input, const ReadOptions& options, Work& work) {
  const Format& format = recognise(input);
  return format.names[0] == "jpg" && givesFullYcbcr(format, input, options, work);
}

}  // namespace

Wish wishOf(const MoxcWanted* wanted) {
  const MoxcWanted from = given(wanted, "wanted");
  if (numberOf(from.layout) != 0) checkLayout(from.layout);
  if (from.bits < 0 || from.bits > 31) throw BadArgument("samples of " + std::to_string(from.bits) + " bits");
  if (from.bits && isWords(from.layout)) throw BadArgument("words have a depth of their own");
  Wish wish;
  wish.layout = from.layout;
  wish.bits = from.bits;
  return wish;
}

Outcome readPixels(const MoxcSource* source, const ReadOptions& options, PixelSink& sink, Work& work) {
  Input input = inputOf(source);
  const Wish& wish = sink.wish_;
  if (wish.layout == 0) {
    ChosenByPicture chosen(sink, wish, options.components, work.budget);
    Outcome outcome = read(input, options, everything(), chosen, work);
    for (std::string& note : chosen.notes)
      if (std::ranges::find(outcome.notes, note) == outcome.notes.end()) outcome.notes.push_back(std::move(note));
    return outcome;
  }
  ReadOptions reading = options;
  Holds holds = holdsFor(wish);
  if (wish.layout == moxcYCbCr || wish.layout == moxcCmyk) reading.native = true;
  if (isWords(wish.layout) && isFullJpeg(input, options, work)) {
    reading.native = true;
    holds.colours.insert(holds.colours.begin(), Colour::ycbcr);
  }
  return read(input, reading, holds, sink, work);
}

}  // namespace moxj::api
