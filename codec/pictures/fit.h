// Decides, in one place, what a picture loses on its way into a format, and makes the conversion.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "pictures/metadata_fit.h"
#include "pictures/rows.h"

namespace moxj {

// What full intensity of an ink means: as it comes, 0 is no ink, or (inverted) the maximum value is no ink.
enum class Inks { any, plain, inverted };

// A picture whose inks become RGB has no profile that says how, or it is not applied.
inline constexpr const char* kInksByFormula = "inks converted to RGB by a simple formula: the colours are approximate";

// What a format (with the options of a run) can hold. The writer receives nothing else.
struct Holds {
  std::vector<Colour> colours = {};  // empty: any. Otherwise a picture of another model is converted to the last one
                                     // that is possible: to RGB, to grey or, from grey, to RGB
  bool opacity = false;              // otherwise it is dropped, with a note
  bool premultiplied = false;        // otherwise colours that were multiplied by the opacity are divided by it
  int maxPlanes = 0;                 // opacity included; 0: any number
  int minBits = 1, maxBits = 31;     // other depths are scaled, with a note where bits are lost
  std::vector<int> depths = {};  // not empty: only these, ascending; the next larger is taken, otherwise the largest
  bool anyMaxval = false;        // otherwise samples are scaled to the full range of their bits, with a note
  bool isSigned = false;         // otherwise signed samples are moved to 0 and above
  bool subsampled = false;       // otherwise sub-sampled planes are up-sampled by repetition
  bool mixedDepths = false;      // planes may differ in depth; otherwise they all get the largest one
  bool upright = false;          // pictures with another Exif orientation than 1 are turned
  Inks inks = Inks::any;         // those of CMYK
  bool otherInks = false;        // planes of inks other than CMYK; otherwise they are refused
  HeldMetadata metadata = {};    // other metadata is dropped, with notes
};

// Returns the layout that `from` becomes, and adds notes for everything that is lost. Throws Problem (unsupported) for
// what cannot be shown rightly.
Picture fit(const Picture& from, const Holds& holds, std::vector<std::string>& notes);

// A sink that converts rows to what `holds` says and passes on the part that is wanted. Rows that need no conversion go
// through untouched. `notes` gets the notes of fit() at begin().
std::unique_ptr<RowSink> fitting(RowSink& next, Holds holds, std::vector<std::string>& notes, Budget& budget);

// The same for a whole picture; shares the samples if nothing changes.
Picture fitted(const Picture& picture, const Holds& holds, std::vector<std::string>& notes, Budget& budget);

}  // namespace moxj
