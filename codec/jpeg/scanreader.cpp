// Builds the Huffman tables of a scan and the list of blocks of an MCU.
#include "jpeg/scanreader.h"

#include <algorithm>

#include "base/problem.h"

namespace moxj::jpeg {

ScanReader::ScanReader(const Frame& frame, const ScanHeader& scan, const Tables& tables, ByteSpan data)
    : EntropyReader(frame, scan, tables, data), scan_(scan), kind_(kindOf(frame, scan)) {
  const auto specOf = [&](TableClass tableClass, int index) {
    DecodeSpec& spec = specs_[tableClass][index];
    if (!spec) {
      const HuffmanCode& code = codeOf(tables, tableClass, index);
      if (tableClass == kDc && std::any_of(code.values.begin(), code.values.end(), [](int v) { return v > 15; })) {
        fail(Kind::damaged, "a Huffman table has DC categories above 15");
      }
      spec = makeDecodeSpec(code);
    }
    return spec.get();
  };
  for (const ScanGeometry::Block& block : geometry_.blocks) {
    const ScanHeader::Selector& selector = scan.components[block.selector];
    blocks_.push_back({block, &lastDc_[block.selector], usesTable(kind_, kDc) ? specOf(kDc, selector.dcTable) : nullptr,
                       usesTable(kind_, kAc) ? specOf(kAc, selector.acTable) : nullptr});
  }
}

}  // namespace moxj::jpeg
