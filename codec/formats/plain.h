// What descriptions of files of plain samples have in common.
#pragma once

#include <string>

#include "formats/formats.h"
#include "formats/json.h"
#include "formats/metadata_text.h"
#include "formats/text.h"

namespace moxj {

// Adds text and JSON to the facts, which may have metadata. `kind`: "RGB, interlaced"; `bytes`: the size of the file.
inline Description describePlain(Description facts, const std::string& kind, std::uint64_t bytes) {
  using text::counted;
  facts.text =
      text::line("format", facts.format + ", " + kind) +
      text::line("size", std::to_string(facts.width) + " x " + std::to_string(facts.height) + " pixels, " +
                             counted(static_cast<std::uint64_t>(facts.channels), "channel") + " of " +
                             counted(static_cast<std::uint64_t>(facts.bits), "bit") + ", " + counted(bytes, "byte"));
  facts.text += metadataText(facts.metadata.get());
  Json json = {{"format", facts.format}, {"kind", kind},           {"bytes", bytes},
               {"width", facts.width},   {"height", facts.height}, {"channels", facts.channels},
               {"bits", facts.bits}};
  addMetadata(json, facts.metadata.get());
  facts.json = jsonText(json);
  return facts;
}

}  // namespace moxj
