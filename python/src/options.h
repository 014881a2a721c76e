// The library's option structs from dicts, whose keys are the names of the fields.
#pragma once

#include <moxcodec.h>
#include <pybind11/pybind11.h>

#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace moxj::python {

// Their texts live as long as the struct.
struct WriteOptions : MoxcWriteOptions {
  explicit WriteOptions(const pybind11::dict& given);
  WriteOptions(const WriteOptions&) = delete;
  std::string script, factorsText, qualitiesText, text;
  std::deque<std::vector<double>> goals;
  std::vector<int32_t> sizes;

 private:
  bool setList(std::string_view name, pybind11::handle value);
};

struct ReadOptions : MoxcReadOptions {
  explicit ReadOptions(const pybind11::dict& given);
};

struct TranscodeOptions : MoxcTranscodeOptions {
  explicit TranscodeOptions(const pybind11::dict& given);
  std::string script;
};

}  // namespace moxj::python
