#include "options.h"

#include <algorithm>
#include <limits>
#include <string_view>

namespace moxj::python {

namespace py = pybind11;

namespace {

template <class Struct>
struct Field {
  std::string_view name;
  int32_t Struct::*place;
};

constexpr Field<MoxcReadOptions> kReadFields[]{
    {"reduce", &MoxcReadOptions::reduce},         {"layers", &MoxcReadOptions::layers},
    {"nosmooth", &MoxcReadOptions::nosmooth},     {"fastMcu", &MoxcReadOptions::fastMcu},
    {"components", &MoxcReadOptions::components}, {"orient", &MoxcReadOptions::orient},
    {"picture", &MoxcReadOptions::picture},       {"upsample", &MoxcReadOptions::upsample},
    {"regionX", &MoxcReadOptions::regionX},       {"regionWidth", &MoxcReadOptions::regionWidth},
    {"regionY", &MoxcReadOptions::regionY},       {"regionHeight", &MoxcReadOptions::regionHeight},
    {"tilePlus1", &MoxcReadOptions::tilePlus1},   {"srgb", &MoxcReadOptions::srgb}};

constexpr Field<MoxcWriteOptions> kWriteFields[]{{"quality", &MoxcWriteOptions::quality},
                                                 {"grayscale", &MoxcWriteOptions::grayscale},
                                                 {"progressive", &MoxcWriteOptions::progressive},
                                                 {"optimize", &MoxcWriteOptions::optimize},
                                                 {"fastMcu", &MoxcWriteOptions::fastMcu},
                                                 {"restart", &MoxcWriteOptions::restart},
                                                 {"lossless", &MoxcWriteOptions::lossless},
                                                 {"restartInRows", &MoxcWriteOptions::restartInRows},
                                                 {"predictor", &MoxcWriteOptions::predictor},
                                                 {"point", &MoxcWriteOptions::point},
                                                 {"levelsPlus1", &MoxcWriteOptions::levelsPlus1},
                                                 {"blockWidth", &MoxcWriteOptions::blockWidth},
                                                 {"blockHeight", &MoxcWriteOptions::blockHeight},
                                                 {"tileWidth", &MoxcWriteOptions::tileWidth},
                                                 {"tileHeight", &MoxcWriteOptions::tileHeight},
                                                 {"layers", &MoxcWriteOptions::layers},
                                                 {"modes", &MoxcWriteOptions::modes},
                                                 {"strip", &MoxcWriteOptions::strip},
                                                 {"sop", &MoxcWriteOptions::sop},
                                                 {"eph", &MoxcWriteOptions::eph},
                                                 {"plt", &MoxcWriteOptions::plt},
                                                 {"tlm", &MoxcWriteOptions::tlm},
                                                 {"roiX", &MoxcWriteOptions::roiX},
                                                 {"roiY", &MoxcWriteOptions::roiY},
                                                 {"roiWidth", &MoxcWriteOptions::roiWidth},
                                                 {"roiHeight", &MoxcWriteOptions::roiHeight},
                                                 {"visual", &MoxcWriteOptions::visual},
                                                 {"rgb", &MoxcWriteOptions::rgb},
                                                 {"depth", &MoxcWriteOptions::depth},
                                                 {"cmyk", &MoxcWriteOptions::cmyk},
                                                 {"words", &MoxcWriteOptions::words}};

constexpr Field<MoxcTranscodeOptions> kTranscodeFields[]{{"optimize", &MoxcTranscodeOptions::optimize},
                                                         {"progressive", &MoxcTranscodeOptions::progressive},
                                                         {"sequential", &MoxcTranscodeOptions::sequential},
                                                         {"strip", &MoxcTranscodeOptions::strip},
                                                         {"restart", &MoxcTranscodeOptions::restart},
                                                         {"restartInRows", &MoxcTranscodeOptions::restartInRows},
                                                         {"trim", &MoxcTranscodeOptions::trim},
                                                         {"perfect", &MoxcTranscodeOptions::perfect},
                                                         {"grayscale", &MoxcTranscodeOptions::grayscale},
                                                         {"cropWidth", &MoxcTranscodeOptions::cropWidth},
                                                         {"cropX", &MoxcTranscodeOptions::cropX},
                                                         {"cropHeight", &MoxcTranscodeOptions::cropHeight},
                                                         {"cropY", &MoxcTranscodeOptions::cropY},
                                                         {"orient", &MoxcTranscodeOptions::orient},
                                                         {"picture", &MoxcTranscodeOptions::picture}};

// A number that a field has no room for is as impossible as the field's largest one, which the library refuses.
int32_t numberIn(py::handle value) {
  int overflow = 0;
  const py::object number = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
  if (!number) throw py::error_already_set();
  const long long wide = PyLong_AsLongLongAndOverflow(number.ptr(), &overflow);
  using Range = std::numeric_limits<int32_t>;
  if (overflow != 0) return overflow > 0 ? Range::max() : Range::min();
  return static_cast<int32_t>(std::clamp<long long>(wide, Range::min(), Range::max()));
}

template <class Struct, size_t count>
bool setNumber(Struct& options, const Field<Struct> (&fields)[count], std::string_view name, py::handle value) {
  const auto field = std::find_if(fields, fields + count, [&](const auto& each) { return each.name == name; });
  if (field == fields + count) return false;
  options.*field->place = numberIn(value);
  return true;
}

[[noreturn]] void unknown(const std::string& name) { throw py::type_error("no option is called " + name); }

}  // namespace

ReadOptions::ReadOptions(const py::dict& given) {
  moxcReadOptionsInit(this);
  for (const auto& [key, value] : given) {
    const auto name = key.cast<std::string>();
    if (!setNumber<MoxcReadOptions>(*this, kReadFields, name, value)) unknown(name);
  }
}

WriteOptions::WriteOptions(const py::dict& given) {
  moxcWriteOptionsInit(this);
  for (const auto& [key, value] : given) {
    const auto name = key.cast<std::string>();
    if (setNumber<MoxcWriteOptions>(*this, kWriteFields, name, value)) continue;
    if (setList(name, value)) continue;
    if (name == "ratio") {
      ratio = value.cast<double>();
    } else if (name == "bpp") {
      bpp = value.cast<double>();
    } else if (name == "sample") {
      sample = static_cast<MoxcSample>(value.cast<int>());
    } else if (name == "tileParts") {
      tileParts = static_cast<MoxcTileParts>(value.cast<int>());
    } else if (name == "comment") {
      text = value.cast<std::string>();
      comment = text.c_str();
    } else if (name == "progression") {
      progression = static_cast<MoxcProgression>(value.cast<int>());
    } else if (name == "scans") {
      script = value.cast<std::string>();
      scans = script.c_str();
    } else if (name == "factors") {
      factorsText = value.cast<std::string>();
      factors = factorsText.c_str();
    } else if (name == "qualities") {
      qualitiesText = value.cast<std::string>();
      qualities = qualitiesText.c_str();
    } else {
      unknown(name);
    }
  }
}

// Arrays, which live as long as the struct.
bool WriteOptions::setList(std::string_view name, py::handle value) {
  const auto use = [&](const double*& list, int32_t& count) {
    std::vector<double>& goal = goals.emplace_back();
    for (const py::handle item : value) goal.push_back(item.cast<double>());
    list = goal.data();
    count = static_cast<int32_t>(goal.size());
    return true;
  };
  if (name == "ratios") return use(ratios, ratioCount);
  if (name == "bpps") return use(bpps, bppCount);
  if (name == "psnrs") return use(psnrs, psnrCount);
  if (name != "precincts") return false;
  for (const py::handle item : value) sizes.push_back(numberIn(item));
  precincts = sizes.data();
  precinctCount = static_cast<int32_t>(sizes.size());
  return true;
}

TranscodeOptions::TranscodeOptions(const py::dict& given) {
  moxcTranscodeOptionsInit(this);
  for (const auto& [key, value] : given) {
    const auto name = key.cast<std::string>();
    if (setNumber<MoxcTranscodeOptions>(*this, kTranscodeFields, name, value)) continue;
    if (name == "transform") {
      transform = static_cast<MoxcTransform>(value.cast<int>());
    } else if (name == "scans") {
      script = value.cast<std::string>();
      scans = script.c_str();
    } else {
      unknown(name);
    }
  }
}

}  // namespace moxj::python
