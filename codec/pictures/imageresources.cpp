// A walk through the resources.
#include "pictures/imageresources.h"

#include <cstring>

#include "base/bigendian.h"
#include "base/problem.h"

namespace moxj {

namespace {

constexpr char kSignature[] = {'8', 'B', 'I', 'M'};
constexpr int kIptcResource = 0x0404;

// Takes the first resource from the bytes. Throws Problem.
void take(ByteSpan& left, ImageResources& resources) {
  ByteReader in(left, "image resources");
  const bool known = isImageResources(in.take(sizeof kSignature));
  const int number = in.u16(), name = in.u8();
  in.take(static_cast<std::size_t>(name | 1));
  const std::size_t size = in.u32();
  const ByteSpan data = in.take(size);
  if (size % 2 == 1 && !in.empty()) in.take(1);
  const ByteSpan whole = left.first(left.size() - in.left());
  left = left.subspan(whole.size());
  if (!known || number != kIptcResource)
    resources.others.insert(resources.others.end(), whole.begin(), whole.end());
  else if (resources.iptc.empty())
    resources.iptc = data;
  else
    resources.repeated = true;
}

}  // namespace

bool isImageResources(ByteSpan bytes) {
  return bytes.size() >= sizeof kSignature && std::memcmp(bytes.data(), kSignature, sizeof kSignature) == 0;
}

ImageResources imageResourcesOf(ByteSpan bytes) {
  ImageResources resources;
  try {
    while (bytes.size() >= sizeof kSignature) take(bytes, resources);
  } catch (const Problem&) {
    resources.damaged = true;
  }
  return resources;
}

Bytes iptcResource(ByteSpan iptc) {
  Bytes resource;
  ByteWriter out(resource);
  resource.append(kSignature, sizeof kSignature);
  out.u16(kIptcResource);
  out.u16(0);  // no name
  out.u32(iptc.size());
  resource.append(iptc);
  if (iptc.size() % 2 == 1) out.u8(0);
  return resource;
}

}  // namespace moxj
