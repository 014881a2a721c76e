// The entry of TIFF in the table of formats.
#include "formats/tiff.h"

#include "formats/tiff_directory.h"
#include "formats/tiff_metadata.h"

namespace moxj {

namespace {

constexpr std::string_view kReadOptions[] = {"components"};
constexpr int kMaxPlanes = 16;

}  // namespace

extern const Format kTiffFormat;

constinit const Format kTiffFormat = {
    .label = "TIFF",
    .names = {"tif", "tiff"},
    .sniff = [](ByteSpan first) { return tiff::File::of(first).has_value(); },
    .describe = tiff::describe,
    .open = [](Input& input, const ReadOptions& options, Work& work) { return tiff::reader(input, options, work); },
    .create = [](Output& output, const WriteOptions&, Work& work,
                 std::vector<std::string>&) { return tiff::writer(output, work); },
    .holds =
        [](const WriteOptions&) {
          return Holds{.colours = {Colour::unknown, Colour::cmyk, Colour::grey, Colour::rgb},
                       .opacity = true,
                       .premultiplied = true,
                       .maxPlanes = kMaxPlanes,
                       .depths = {8, 16},
                       .isSigned = true,
                       .metadata = {.block = tiff::hasPlaceFor}};
        },
    .readOptions = kReadOptions,
};

}  // namespace moxj
