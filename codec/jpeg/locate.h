// Finds the pictures of a file: after bytes that do not belong to it, and one after another.
#pragma once

#include <cstddef>
#include <string>

#include "base/bytes.h"

namespace moxj::jpeg {

// How many bytes may come before the SOI marker of a picture.
inline constexpr std::size_t kMaxBytesBefore = std::size_t{64} << 10;

// The offset of the first picture at or after `from`, at most kMaxBytesBefore bytes later, or the size of `file`. A
// picture is an SOI marker that is followed by segments up to a frame header. If `cut` is set, `file` is only the
// beginning of a file, and segments may run past its end.
std::size_t findPicture(ByteSpan file, std::size_t from, bool cut = false);

struct LocatedPicture {
  std::size_t offset = 0;  // in the file
  ByteSpan bytes;          // from its SOI marker to the end of the file or, of a picture by number, to its EOI marker
  std::string note;        // about the bytes before it; may be empty
};

// The picture with a number, from 1; 0: the first one, with everything that follows it. A file that begins with SOI
// begins with a picture, damaged or not. Throws Problem: notThisFormat if there is none; badOption if there are fewer.
LocatedPicture locatePicture(ByteSpan file, int number);

// How many pictures follow each other in a file that begins with one. All but the last must be undamaged.
int countPictures(ByteSpan file);

}  // namespace moxj::jpeg
