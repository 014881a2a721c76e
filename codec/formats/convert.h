// The one road of a picture from file to file, file to memory and memory to file.
#pragma once

#include <functional>

#include "formats/formats.h"

namespace moxj {

// Reads a picture of any format and gives its rows to a sink, converted to what the sink holds. An outcome that is not
// complete has a picture with missing parts. Throws Problem.
Outcome read(Input& input, const ReadOptions& options, const Holds& holds, RowSink& sink, Work& work);

// Whether ReadOptions::native gives planes of YCbCr of 8 bits and full size that may become words as they are. Not of a
// part of the picture, whose columns would be rounded as those of another picture, nor of colours that are converted.
bool givesFullYcbcr(const Format& format, Input& input, const ReadOptions& options, Work& work);

// Reads a picture of any format and writes it in another one.
Outcome convert(Input& input, const ReadOptions& reading, const Format& to, const WriteOptions& writing, Output& output,
                Work& work);

// Writes each plane of the picture to a file of its own, as grey. `open` gives the output of each.
Outcome convertComponents(Input& input, const ReadOptions& reading, const Format& to, const WriteOptions& writing,
                          const std::function<Output&(int index, int count)>& open, Work& work);

}  // namespace moxj
