// What a file says about itself.
#include "api/metadata.h"
#include "api/objects.h"
#include "api/run.h"
#include "api/source.h"
#include "api/structs.h"

using namespace moxj::api;

MoxcKind moxcDescribe(const MoxcSource* source, const MoxcRun* run, MoxcDescription** description, MoxcReport* report) {
  return guarded(report, [&] {
    need(description, "description");
    *description = nullptr;
    moxj::Input input = inputOf(source);
    Run job(run);
    auto made = std::make_unique<MoxcDescription>();
    made->description = moxj::recognise(input).describe(input, job.work);
    made->metadata = MetadataList(made->description.metadata);
    job.complete();
    moxj::Outcome outcome = made->description;
    *description = made.release();
    return outcome;
  });
}

void moxcDescriptionFree(MoxcDescription* description) { delete description; }

MoxcKind moxcDescriptionFacts(const MoxcDescription* description, MoxcFacts* facts) {
  return guarded(nullptr, [&] {
    need(description, "description");
    const moxj::Description& from = description->description;
    MoxcFacts to = {};
    to.format = from.format.c_str();
    to.width = from.width;
    to.height = from.height;
    to.channels = from.channels;
    to.bits = from.bits;
    give(to, facts, "facts");
  });
}

const char* moxcDescriptionText(const MoxcDescription* description) {
  return description ? description->description.text.c_str() : "";
}

const char* moxcDescriptionJson(const MoxcDescription* description) {
  return description ? description->description.json.c_str() : "";
}

size_t moxcDescriptionMetadataCount(const MoxcDescription* description) {
  return description ? description->metadata.count() : 0;
}

MoxcKind moxcDescriptionMetadata(const MoxcDescription* description, size_t index, MoxcMetadata* metadata) {
  return guarded(nullptr, [&] {
    need(description, "description");
    need(metadata, "metadata");
    *metadata = description->metadata.at(index);
  });
}
