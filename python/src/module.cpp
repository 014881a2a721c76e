// moxj._native: the functions of moxcodec.h with Python's objects. The package's Python files give them names, defaults
// and documentation; no other module should import this one.
#include <moxcodec.h>
#include <pybind11/pybind11.h>

#include <algorithm>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "call.h"
#include "options.h"
#include "pixels.h"

namespace moxj::python {
namespace {

py::tuple decode(const py::object& from, const py::dict& options, int layout, int bits, const py::tuple& running) {
  const ReadOptions reading(options);
  const MoxcWanted wanted{sizeof wanted, static_cast<MoxcLayout>(layout), bits};
  Source source(from);
  Call call(running);
  MoxcPicture* picture = nullptr;
  call([&] { return moxcDecode(source.get(), &reading, &wanted, call.run(), &picture, call.report()); }, &source);
  return py::make_tuple(std::make_unique<Picture>(picture), call.outcome());
}

py::tuple decodeInto(const py::object& from, const py::dict& options, const py::list& arrays, const py::tuple& form,
                     const py::tuple& running) {
  const ReadOptions reading(options);
  const MoxcPixels pixels = pixelsOf(arrays, form, py::list(), true);
  Source source(from);
  Call call(running);
  call([&] { return moxcDecodeInto(source.get(), &reading, &pixels, call.run(), call.report()); }, &source);
  return call.outcome();
}

bool isCoded(const std::string& name) {
  MoxcFormat format{};
  format.structSize = sizeof format;
  for (size_t i = 0; moxcFormatAt(i, &format) == moxcOk; ++i) {
    if (name == format.name) return format.coded != 0;
  }
  return false;
}

size_t bytesOf(const py::list& arrays) {
  size_t bytes = 0;
  for (const py::handle& array : arrays) bytes += static_cast<size_t>(array.cast<py::array>().nbytes());
  return bytes;
}

py::tuple encode(const py::list& arrays, const py::tuple& form, const py::list& sampling, const std::string& format,
                 const py::dict& options, const py::list& blocks, const py::object& to, const py::tuple& running) {
  const WriteOptions writing(options);
  const Metadata metadata(blocks);
  const MoxcPixels pixels = pixelsOf(arrays, form, sampling, false);
  Target target(to, isCoded(format) ? 0 : bytesOf(arrays));
  Call call(running);
  call(
      [&] {
        return moxcEncode(&pixels, format.c_str(), &writing, metadata.data(), metadata.size(), target.get(), call.run(),
                          call.report());
      },
      nullptr, &target);
  return py::make_tuple(target.result(), call.outcome());
}

py::tuple convert(const py::object& from, const py::dict& readOptions, const std::string& format,
                  const py::dict& writeOptions, const py::object& to, const py::tuple& running) {
  const ReadOptions reading(readOptions);
  const WriteOptions writing(writeOptions);
  Source source(from);
  Target target(to);
  Call call(running);
  call(
      [&] {
        return moxcConvert(source.get(), &reading, format.c_str(), &writing, target.get(), call.run(), call.report());
      },
      &source, &target);
  return py::make_tuple(target.result(), call.outcome());
}

py::tuple transcode(const py::object& from, const py::dict& options, const py::object& to, const py::tuple& running) {
  const TranscodeOptions coding(options);
  Source source(from);
  Target target(to);
  Call call(running);
  call([&] { return moxcTranscode(source.get(), &coding, target.get(), call.run(), call.report()); }, &source, &target);
  return py::make_tuple(target.result(), call.outcome());
}

py::object probe(const py::object& from, const py::tuple& running) {
  Source source(from);
  Call call(running);
  const char* format = nullptr;
  call([&] { return moxcProbe(source.get(), &format, call.report()); }, &source);
  return py::cast(format);
}

struct FreeDescription {
  void operator()(MoxcDescription* description) const { moxcDescriptionFree(description); }
};

py::tuple describe(const py::object& from, const py::tuple& running) {
  Source source(from);
  Call call(running);
  MoxcDescription* made = nullptr;
  call([&] { return moxcDescribe(source.get(), call.run(), &made, call.report()); }, &source);
  const std::unique_ptr<MoxcDescription, FreeDescription> description(made);
  py::list metadata;
  for (size_t i = 0; i < moxcDescriptionMetadataCount(made); ++i) {
    MoxcMetadata block{};
    if (moxcDescriptionMetadata(made, i, &block) == moxcOk) metadata.append(tupleOf(block));
  }
  MoxcFacts facts{};
  facts.structSize = sizeof facts;
  moxcDescriptionFacts(made, &facts);
  return py::make_tuple(textOf(moxcDescriptionJson(made)), textOf(moxcDescriptionText(made)), metadata,
                        py::make_tuple(facts.width, facts.height, facts.channels, facts.bits));
}

py::tuple tupleOf(const MoxcDifference& difference) {
  return py::make_tuple(difference.meanSquare, difference.psnr, difference.ssim, difference.max);
}

py::tuple compare(const py::object& a, const py::object& b, const py::tuple& running) {
  Source first(a), second(b);
  Call call(running), other(running);
  MoxcComparison comparison{};
  comparison.structSize = sizeof comparison;
  const MoxcKind kind = call.attempt(
      [&] { return moxcCompare(first.get(), second.get(), call.run(), &comparison, call.report(), other.report()); });
  first.rethrow();
  second.rethrow();
  if (kind != moxcOk) {
    const bool inSecond = moxcReportKind(call.report()) == moxcOk;
    Call::fail(kind, inSecond ? other.report() : call.report(),
               kind == moxcInput ? (inSecond ? second : first).path() : "");
  }
  py::list channels;
  for (int i = 0; i < comparison.channels; ++i) {
    channels.append(py::make_tuple(comparison.names[i], tupleOf(comparison.channel[i])));
  }
  return py::make_tuple(comparison.width, comparison.height, comparison.bits, channels, tupleOf(comparison.all),
                        call.outcome(), other.outcome());
}

py::list formats() {
  py::list all;
  for (size_t i = 0; i < moxcFormatCount(); ++i) {
    MoxcFormat format{};
    format.structSize = sizeof format;
    if (moxcFormatAt(i, &format) == moxcOk) {
      all.append(py::make_tuple(format.name, format.label, format.extensions, format.coded != 0));
    }
  }
  return all;
}

// Numbers of the library by the names that Python uses.
py::dict named(std::initializer_list<std::pair<const char*, int>> numbers) {
  py::dict names;
  for (const auto& [name, number] : numbers) names[name] = number;
  return names;
}

}  // namespace

PYBIND11_MODULE(_native, module) {
  module.doc() = "The functions of libmoxcodec; use the package moxj.";
  py::class_<Picture>(module, "Picture")
      .def_property_readonly("layout", [](const Picture& picture) { return static_cast<int>(picture.pixels().layout); })
      .def_property_readonly("width", [](const Picture& picture) { return picture.pixels().width; })
      .def_property_readonly("height", [](const Picture& picture) { return picture.pixels().height; })
      .def_property_readonly("max_value", [](const Picture& picture) { return picture.pixels().maxValue; })
      .def_property_readonly(
          "planes",
          [](const Picture& picture) {
            py::list planes;  // (bits, dx, dy)
            for (int i = 0; i < std::max(picture.pixels().planeCount, 1); ++i) {
              const MoxcPlane& plane = picture.pixels().planes[i];
              planes.append(py::make_tuple(plane.bits, std::max(plane.dx, 1), std::max(plane.dy, 1)));
            }
            return planes;
          })
      .def_property_readonly("metadata", &Picture::metadata)
      .def_property_readonly("arrays", [](const py::object& self) { return Picture::arrays(self); });

  module.def("decode", decode);
  module.def("decode_into", decodeInto);
  module.def("encode", encode);
  module.def("convert", convert);
  module.def("transcode", transcode);
  module.def("probe", probe);
  module.def("describe", describe);
  module.def("compare", compare);
  module.def("formats", formats);
  module.def("format_named", [](const std::string& name) { return moxcFormatNamed(name.c_str()); });
  module.def("format_of_path", [](const std::string& path) { return moxcFormatOfPath(path.c_str()); });
  module.def("version", moxcVersion);

  module.attr("LAYOUTS") = named({{"grey", moxcGrey},
                                  {"grey-alpha", moxcGreyAlpha},
                                  {"rgb", moxcRgb},
                                  {"bgr", moxcBgr},
                                  {"rgba", moxcRgba},
                                  {"bgra", moxcBgra},
                                  {"cmyk", moxcCmyk},
                                  {"ycbcr", moxcYCbCr},
                                  {"planes", moxcPlanes},
                                  {"rgb565", moxcRgb565},
                                  {"rgb555", moxcRgb555}});
  module.attr("SAMPLES") = named({{"4:4:4", moxcSample444},
                                  {"4:2:2", moxcSample422},
                                  {"4:2:0", moxcSample420},
                                  {"4:4:0", moxcSample440},
                                  {"4:1:1", moxcSample411},
                                  {"4:1:0", moxcSample410}});
  module.attr("TRANSFORMS") = named({{"flip-horizontal", moxcFlipHorizontal},
                                     {"flip-vertical", moxcFlipVertical},
                                     {"transpose", moxcTranspose},
                                     {"transverse", moxcTransverse},
                                     {"rotate-90", moxcRotate90},
                                     {"rotate-180", moxcRotate180},
                                     {"rotate-270", moxcRotate270}});
  module.attr("PROGRESSIONS") =
      named({{"LRCP", moxcLrcp}, {"RLCP", moxcRlcp}, {"RPCL", moxcRpcl}, {"PCRL", moxcPcrl}, {"CPRL", moxcCprl}});
  module.attr("TILE_PARTS") = named({{"resolutions", moxcTilePartsResolutions},
                                     {"layers", moxcTilePartsLayers},
                                     {"components", moxcTilePartsComponents}});
  module.attr("MODES") = named({{"bypass", moxcModeBypass},
                                {"reset", moxcModeReset},
                                {"termall", moxcModeTermall},
                                {"causal", moxcModeCausal},
                                {"pterm", moxcModePterm},
                                {"segsym", moxcModeSegsym}});
  module.attr("METADATA") = named({{"icc", moxcIcc},
                                   {"exif", moxcExif},
                                   {"xmp", moxcXmp},
                                   {"iptc", moxcIptc},
                                   {"comment", moxcComment},
                                   {"other", moxcOtherMetadata},
                                   {"resolution", moxcResolution}});
  module.attr("STRIP") = named({{"all", moxcStripAll},
                                {"icc", moxcStripIcc},
                                {"exif", moxcStripExif},
                                {"xmp", moxcStripXmp},
                                {"iptc", moxcStripIptc},
                                {"comment", moxcStripComment},
                                {"other", moxcStripOther},
                                {"resolution", moxcStripResolution}});
  module.attr("KINDS") = named({{"NotThisFormat", moxcNotThisFormat},
                                {"Damaged", moxcDamaged},
                                {"Unsupported", moxcUnsupported},
                                {"InputError", moxcInput},
                                {"BadOption", moxcBadOption},
                                {"LimitExceeded", moxcLimit},
                                {"OutOfMemory", moxcNoMemory},
                                {"OutputError", moxcOutput},
                                {"Cancelled", moxcCancelled},
                                {"BadArgument", moxcBadArgument},
                                {"InternalError", moxcInternal}});
  module.def("kind_name", [](int kind) { return moxcKindName(static_cast<MoxcKind>(kind)); });
  module.attr("ADVICE") = named({{"max_pixels", moxcAdviceMaxPixels},
                                 {"max_memory", moxcAdviceMaxMemory},
                                 {"max_memory or tile", moxcAdviceMaxMemoryOrTiles},
                                 {"max_scans", moxcAdviceMaxScans},
                                 {"optimize", moxcAdviceOptimize},
                                 {"option", moxcAdviceOption}});
}

}  // namespace moxj::python
