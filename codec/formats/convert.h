// The one road of a picture from file to file, file to memory and memory to file.
#pragma once

#include <functional>

#include "formats/formats.h"

namespace moxj {

// Reads a picture of any format and gives its rows to a sink, converted to what the sink holds. An outcome that is not
// complete has a picture with missing parts. Throws Problem.
Outcome read(Input& input, const ReadOptions& options, const Holds& holds, RowSink& sink, Work& work);

// Reads a picture of any format and writes it in another one.
Outcome convert(Input& input, const ReadOptions& reading, const Format& to, const WriteOptions& writing, Output& output,
                Work& work);

// Writes each plane of the picture to a file of its own, as grey. `open` gives the output of each.
Outcome convertComponents(Input& input, const ReadOptions& reading, const Format& to, const WriteOptions& writing,
                          const std::function<Output&(int index, int count)>& open, Work& work);

}  // namespace moxj
