// Decides, in one place, what metadata a picture loses on its way into a format, and what is said about it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "pictures/metadata.h"
#include "pictures/picture.h"

namespace moxj {

// A note about the Exif data of a picture that has been turned upright.
inline constexpr const char* kThumbnailDropped = "Exif thumbnail dropped: it is not turned";

// What a format (with the options of a run) has a place for.
struct HeldMetadata {
  bool (*block)(const MetadataBlock& block) = nullptr;  // whether for this one; null: for everything
  bool resolution = true;                               // in samples per metre
  bool ratio = true;                                    // as a ratio alone
  bool resolutionWithInks = true;                       // also beside inks
  bool bare = false;                                    // for nothing: only what changes the look is noted
  bool restrictedProfiles = false;                      // of ICC profiles, only for those of matrix and curves or inks
  Colour profileColour = Colour::unknown;               // not unknown: that of the file, where the writer changes it
  MetadataSet stripped = {};  // not wanted: dropped without a note, unless it changes the look
  bool silent = false;        // no notes at all
  bool given = false;         // by the caller, who knows of the orientation if it is kept

  // Of a format without metadata.
  static HeldMetadata none() {
    HeldMetadata held;
    held.block = [](const MetadataBlock&) { return false; };
    held.resolution = held.ratio = false;
    held.bare = true;
    return held;
  }
};

// The metadata that the output gets. Null if there are none. `upright`: the pixels are turned as the Exif orientation
// says. Losses that change how the picture looks (colour profile, orientation) have a note each, all others one
// together.
std::shared_ptr<const Metadata> fitMetadata(const Picture& from, const Picture& to, bool upright,
                                            const HeldMetadata& held, std::vector<std::string>& notes);

}  // namespace moxj
