// Cuts regions out of pictures.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "pictures/rows.h"

namespace moxj {

// The library's colour conversions treat whole groups of so many columns, and the columns that are left at the end of a
// row, differently. A reader that gives more than a region gives whole groups, the same as those of the picture.
inline constexpr int kColumnGroup = 4;

// The part of a region that lies in a picture of this size; its width and height are not 0. Adds a note if the region
// reaches beyond the picture. Throws Problem (badOption) if it lies outside.
Region clipped(const Region& region, int width, int height, std::vector<std::string>& notes);

// The error of a region that has no pixels in a picture that is reduced.
[[noreturn]] void failEmptyRegion(std::string_view option = "region");

// A sink that passes on a region, which lies in the picture. Planes keep their sub-sampling if the region begins at
// samples of all of them; otherwise they are up-sampled by repetition. A band that is passed on shares its samples.
std::unique_ptr<RowSink> cutting(RowSink& next, const Region& region, Budget& budget);

// A sink that passes on whole pictures with a layout that wants a region: clipped().
std::unique_ptr<RowSink> wanting(RowSink& next, const Region& region, std::vector<std::string>& notes);

}  // namespace moxj
