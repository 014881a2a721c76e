// What each option means, as a field of the settings.
#include "cli/option_table.h"

#include "cli/formats.h"
#include "cli/limits.h"

namespace moxj::cli {

namespace {

constexpr unsigned kEncode = setOf(Command::encode);
constexpr unsigned kDecode = setOf(Command::decode);
constexpr unsigned kTranscode = setOf(Command::transcode);
constexpr unsigned kConversions = kEncode | kDecode | kTranscode;
constexpr unsigned kShows =
    setOf(Command::info) | setOf(Command::compare) | setOf(Command::selftest) | setOf(Command::bench);
constexpr unsigned kPixelReaders = kEncode | kDecode | setOf(Command::compare);
constexpr unsigned kReaders = kConversions | setOf(Command::compare);

constexpr unsigned kBench = setOf(Command::bench);
constexpr unsigned kProofs = kBench | setOf(Command::selftest);

// For options without a value.
Complaint given(std::int32_t& field) {
  field = 1;
  return "";
}

Complaint given(bool& field) {
  field = true;
  return "";
}

Complaint useLossless(const std::string& text, Settings& settings) {
  settings.writing.lossless = 1;
  if (text.empty()) return "";
  settings.onlyJpeg = "--lossless with a predictor";
  return usePredictor(text, settings.writing);
}

Complaint useScans(const std::string& text, Settings& settings) {
  settings.scansFile = text;
  return text.empty() ? "is not a file name" : "";
}

Complaint useRestarts(const std::string& text, Settings& settings) {
  Complaint complaint = useRestart(text, settings.writing.restart, settings.writing.restartInRows);
  settings.transcoding.restart = settings.writing.restart;
  settings.transcoding.restartInRows = settings.writing.restartInRows;
  return complaint;
}

Complaint useStripping(const std::string& text, Settings& settings) {
  Complaint complaint = useStrip(text, settings.writing.strip);
  settings.transcoding.strip = settings.writing.strip;
  return complaint;
}

Complaint usePicture(const std::string& text, Settings& settings) {
  Complaint complaint = useNumber(text, 1, INT32_MAX, settings.reading.picture);
  settings.transcoding.picture = settings.reading.picture;
  return complaint;
}

Complaint useTileNumber(const std::string& text, Settings& settings) {
  int tile = 0;
  Complaint complaint = useNumber(text, 0, kMaxTile, tile);
  settings.reading.tilePlus1 = tile + 1;
  return complaint;
}

Complaint useLevels(const std::string& text, Settings& settings) {
  int levels = 0;
  Complaint complaint = useNumber(text, 0, kMaxLevels, levels);
  settings.writing.levelsPlus1 = levels + 1;
  return complaint;
}

// For options that turn or mirror the picture.
Complaint transformed(Settings& settings, std::string_view option, const Complaint& complaint = "") {
  settings.transformedBy.push_back(option);
  return complaint;
}

Complaint useFormat(const std::string& text, Settings& settings) {
  const bool coded = settings.command == Command::encode;
  settings.format = moxcFormatNamed(text.c_str());
  return settings.format && formatOf(settings.format).coded == coded ? "" : "is not " + formatNames(coded);
}

using S = Settings;
using Text = const std::string&;

constexpr Option kOptions[] = {
    {kEncode, "--quality", "Q[,Q...]", "From 1 (smallest file) to 100 (best picture); default 75",
     [](S& s, Text text) { return useQuality(text, s.writing.quality, s.qualities); }, Of::dct},
    {kEncode, "--sample", "4:2:0|HxV,...", "Chroma subsampling, or factors of each component; default 4:2:0",
     [](S& s, Text text) { return useSampling(text, s.writing.sample, s.factors); }, Of::dct},
    {kEncode, "--rgb", "", "Code red, green and blue as they are, not as YCbCr",
     [](S& s, Text) { return given(s.writing.rgb); }, Of::dct},
    {kEncode, "--depth", "8|12", "Bits per sample; default 8",
     [](S& s, Text text) { return useDepth(text, s.writing.depth); }, Of::dct},
    {kEncode | kTranscode, "--grayscale", "", "Keep only the luminance",
     [](S& s, Text) { return given(s.writing.grayscale), given(s.transcoding.grayscale); }, Of::dct},
    {kTranscode, "--rotate", "90|180|270", "Rotate clockwise",
     [](S& s, Text text) { return transformed(s, "--rotate", useRotation(text, s.transcoding.transform)); }, Of::jpeg},
    {kTranscode, "--flip", "h|v", "Mirror: h: left and right, v: top and bottom",
     [](S& s, Text text) { return transformed(s, "--flip", useFlip(text, s.transcoding.transform)); }, Of::jpeg},
    {kTranscode, "--transpose", "", "Mirror at the diagonal from the upper left corner",
     [](S& s, Text) { return s.transcoding.transform = moxcTranspose, transformed(s, "--transpose"); }, Of::jpeg},
    {kTranscode, "--transverse", "", "Mirror at the diagonal from the upper right corner",
     [](S& s, Text) { return s.transcoding.transform = moxcTransverse, transformed(s, "--transverse"); }, Of::jpeg},
    {kTranscode, "--trim", "", "Drop edges that cannot be mirrored: MCUs that are not full",
     [](S& s, Text) { return given(s.transcoding.trim); }, Of::jpeg},
    {kTranscode, "--perfect", "", "Refuse pictures with such edges",
     [](S& s, Text) { return given(s.transcoding.perfect); }, Of::jpeg},
    {kTranscode, "--crop", "WxH+X+Y", "Keep this rectangle, enlarged to an MCU at its upper left corner",
     [](S& s, Text text) { return useCrop(text, s.transcoding); }, Of::jpeg},
    {kEncode | kTranscode, "--progressive", "", "Progressive, with the same scans as cjpeg",
     [](S& s, Text) { return given(s.writing.progressive), given(s.transcoding.progressive); }, Of::dct},
    {kEncode | kTranscode, "--scans", "FILE", "The scans listed in FILE, a scan script as for cjpeg",
     [](S& s, Text text) { return useScans(text, s); }, Of::dct},
    {kTranscode, "--sequential", "", "Sequential; Annex K Huffman tables unless --optimize is given",
     [](S& s, Text) { return given(s.transcoding.sequential); }, Of::jpeg},
    {kEncode | kTranscode, "--optimize", "", "Optimise the Huffman tables (always on for progressive)",
     [](S& s, Text) { return given(s.writing.optimize), given(s.transcoding.optimize); }, Of::dct},
    {kEncode, "--cmyk", "", "Code CMYK as it is; default YCCK", [](S& s, Text) { return given(s.writing.cmyk); },
     Of::dct},
    {kEncode, "--fast-mcu", "", "Convert and subsample colours MCU by MCU, slightly less accurate",
     [](S& s, Text) { return given(s.writing.fastMcu); }, Of::dct},
    {kDecode, "--fast-mcu", "", "Decode 4:2:0, 4:2:2 and 4:4:4 MCU by MCU, without interpolation",
     [](S& s, Text) { return given(s.reading.fastMcu); }, Of::jpeg},
    {kConversions, "--strip", "[LIST]", "Drop metadata: all, or icc,exif,xmp,iptc,comment,other,resolution",
     [](S& s, Text text) { return useStripping(text, s); }},
    {kConversions, "--orient", "", "Turn the picture upright, as its Exif orientation says",
     [](S& s, Text) { return given(s.reading.orient), given(s.transcoding.orient), transformed(s, "--orient"); }},
    {kConversions, "--picture", "N", "Picture N of a JPEG file that has several; default the first",
     [](S& s, Text text) { return usePicture(text, s); }},
    {kEncode | kDecode, "--srgb", "", "Convert colours to sRGB, by profile, colour space or gamma",
     [](S& s, Text) { return given(s.reading.srgb); }},
    {kEncode | kTranscode, "--restart", "N|NB", "Restart marker every N MCUs or, with NB, every N MCU rows",
     [](S& s, Text text) { return useRestarts(text, s); }, Of::jpeg},
    {kEncode, "--lossless", "[P[,T]]", "Lossless; for JPEG, predictor P (1-7, default: best), T bits dropped",
     [](S& s, Text text) { return useLossless(text, s); }},
    {kEncode, "--ratio", "R[,R...]", "Lossy (9/7), to 1/R of the samples; of each layer, the last may be 1",
     [](S& s, Text text) { return useReals(text, 1, kMaxRatio, s.ratios); }, Of::jpeg2000},
    {kEncode, "--bpp", "B[,B...]", "Lossy (9/7), to B bits per pixel; of each layer",
     [](S& s, Text text) { return useReals(text, 1e-6, 1e6, s.bpps); }, Of::jpeg2000},
    {kEncode, "--psnr", "DB[,DB...]", "Lossy (9/7), to this PSNR in dB; of each layer, the last may be 0",
     [](S& s, Text text) { return useReals(text, 1, kMaxPsnr, s.psnrs); }, Of::jpeg2000},
    {kEncode, "--levels", "0..32", "Decomposition levels; default 5",
     [](S& s, Text text) { return useLevels(text, s); }, Of::jpeg2000},
    {kEncode, "--block", "WxH", "Code-block size; default 64x64",
     [](S& s, Text text) { return useBlock(text, s.writing); }, Of::jpeg2000},
    {kEncode, "--tile", "WxH", "Tile size; default the whole picture",
     [](S& s, Text text) { return useTile(text, s.writing); }, Of::jpeg2000},
    {kEncode, "--progression", "ORDER", "Packet order: LRCP, RLCP, RPCL, PCRL or CPRL; default LRCP",
     [](S& s, Text text) { return useProgression(text, s.writing.progression); }, Of::jpeg2000},
    {kEncode, "--layers", "N", "Quality layers, the last of the requested size; default 1",
     [](S& s, Text text) { return useNumber(text, 1, kMaxWrittenLayers, s.writing.layers); }, Of::jpeg2000},
    {kEncode, "--precincts", "W,H[,W,H...]", "Precinct sizes from the highest resolution down; default one each",
     [](S& s, Text text) { return usePrecincts(text, s.precincts); }, Of::jpeg2000},
    {kEncode, "--tile-parts", "R|L|C", "Begin tile-parts at each resolution, layer or component",
     [](S& s, Text text) { return useTileParts(text, s.writing.tileParts); }, Of::jpeg2000},
    {kEncode, "--sop", "", "Markers at the start of packets", [](S& s, Text) { return given(s.writing.sop); },
     Of::jpeg2000},
    {kEncode, "--eph", "", "Markers after packet headers", [](S& s, Text) { return given(s.writing.eph); },
     Of::jpeg2000},
    {kEncode, "--plt", "", "Packet lengths, in tile-part headers", [](S& s, Text) { return given(s.writing.plt); },
     Of::jpeg2000},
    {kEncode, "--tlm", "", "Tile-part lengths, in the main header", [](S& s, Text) { return given(s.writing.tlm); },
     Of::jpeg2000},
    {kEncode, "--roi", "X,Y,W,H", "Region of interest, coded before everything else (max-shift)",
     [](S& s, Text text) { return useRoi(text, s.writing); }, Of::jpeg2000},
    {kEncode, "--visual", "", "Spend the bytes where the eye sees them",
     [](S& s, Text) { return given(s.writing.visual); }, Of::jpeg2000},
    {kEncode, "--comment", "TEXT", "Add a comment",
     [](S& s, Text text) { return s.comment = text, Complaint(text.empty() ? "is not a text" : ""); }},
    {kEncode, "--modes", "LIST", "Any of bypass,reset,termall,causal,pterm,segsym; default none",
     [](S& s, Text text) { return useModes(text, s.writing.modes); }, Of::jpeg2000},
    {kEncode, "--format", "jpg|jp2|j2k", "Output format, whatever the extension",
     [](S& s, Text text) { return useFormat(text, s); }},
    {kDecode, "--format", "NAME", "Output format, whatever the extension (pnm: ppm or pgm); see below",
     [](S& s, Text text) { return useFormat(text, s); }},
    {kDecode, "--words", "555|565", "BMP of 16 bits a pixel, 5 or 6 of green",
     [](S& s, Text text) { return useWords(text, s.writing.words); }},
    {kDecode, "--nosmooth", "", "Upsample by repeating samples instead of interpolating",
     [](S& s, Text) { return given(s.reading.nosmooth); }, Of::jpeg},
    {kEncode | kDecode, "--region", "X,Y,W,H", "Only these pixels of the picture, before it is reduced or turned",
     [](S& s, Text text) { return useRegion(text, s.reading); }},
    {kEncode | kDecode, "--reduce", "N", "Halve the picture N times, JPEG at most 3 times",
     [](S& s, Text text) { return useNumber(text, 0, kMaxLevels, s.reading.reduce); }},
    {kDecode, "--tile", "N", "Only this tile of the picture, counted from 0",
     [](S& s, Text text) { return useTileNumber(text, s); }, Of::jpeg2000},
    {kDecode, "--layers", "N", "Quality layers to decode; default all",
     [](S& s, Text text) { return useNumber(text, 1, kMaxReadLayers, s.reading.layers); }, Of::jpeg2000},
    {kDecode, "--components", "", "Write each component or ink to its own PGX or PGM file: OUT_0 ...",
     [](S& s, Text) { return given(s.reading.components); }},
    {kDecode, "--upsample", "", "Show sub-sampled components at the size of the reference grid",
     [](S& s, Text) { return given(s.reading.upsample); }, Of::jpeg2000},
    {kReaders, "--max-scans", "N", "Refuse JPEG files with more scans; default 500",
     [](S& s, Text text) { return useNumber(text, 1, kMaxScans, s.limits.maxScans); }},
    {kConversions, "--no-clobber", "", "Refuse to replace existing files",
     [](S& s, Text) { return s.existing = Existing::kept, Complaint(); }},
    {kConversions, "--output-dir", "DIR", "Write the outputs to DIR, created if missing",
     [](S& s, Text text) { return s.outputDirectory = text, Complaint(); }},
    {kConversions, "--jobs", "N", "Files coded in parallel with --output-dir; default one per processor",
     [](S& s, Text text) { return useNumber(text, 1, kMaxJobs, s.jobs); }},
    {kShows, "--json", "", "Write JSON", [](S& s, Text) { return given(s.json); }},
    {kReaders, "--max-pixels", "N[k|M|G]", "Refuse larger pictures; k, M, G: powers of 1000; default 268435456",
     [](S& s, Text text) { return useScaled(text, 1000, kMaxPixels, s.limits.maxPixels); }},
    {kReaders, "--max-memory", "N[k|M|G]", "Memory limit in bytes; k, M, G: powers of 1024; default 1G",
     [](S& s, Text text) { return useScaled(text, 1024, kMaxMemory, s.limits.maxMemory); }},
    {kPixelReaders, "--threads", "N", "Threads per picture; default one per processor",
     [](S& s, Text text) { return useNumber(text, 1, kMaxThreads, s.threads); }},
    {kBench, "--family", "NAME[,NAME...]", "Only these families of functions, as the table names them",
     [](S& s, Text text) { return useWords(text, s.families); }},
    {kBench, "--seconds", "S", "Time to spend, on all measurements together; default 10",
     [](S& s, Text text) { return useReal(text, 0.01, 86400, s.seconds); }},
    {kBench, "--threads", "N", "Threads that do the same at once, or that code each file; default 1",
     [](S& s, Text text) { return useNumber(text, 1, kMaxThreads, s.threads); }},
    {kBench, "--compare", "FILE", "Compare with an earlier measurement, made with --json",
     [](S& s, Text text) { return s.comparedWith = text, Complaint(text.empty() ? "is not a file name" : ""); }},
    {kBench, "--threshold", "PERCENT", "With --compare: how much slower is too slow; default 10",
     [](S& s, Text text) { return useReal(text, 0, 100000, s.threshold); }},
    {kProofs, "--target", "NAME[,NAME...]", "Only these: scalar, sse2, sse41, avx2, avx512, neon",
     [](S& s, Text text) { return useWords(text, s.targets); }},
    {kProofs, "--quiet", "", "No progress", [](S& s, Text) { return given(s.quiet); }},
    {kReaders, "--quiet", "", "Print warnings and errors only, no notes and no progress",
     [](S& s, Text) { return given(s.quiet); }},
};

}  // namespace

std::span<const Option> options() { return kOptions; }

}  // namespace moxj::cli
