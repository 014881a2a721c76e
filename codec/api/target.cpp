// Memory, files and callbacks as outputs.
#include "api/target.h"

#include "api/outputfile.h"
#include "api/structs.h"

namespace moxj::api {

namespace {

class MemoryTarget : public Target {
 public:
  MemoryTarget(void** bytes, std::size_t* byteCount) : to_(bytes), toCount_(byteCount) {}
  void write(ByteSpan first, ByteSpan second) override {
    bytes_.append(first);
    bytes_.append(second);
  }
  void finish() override {
    *toCount_ = bytes_.size();
    *to_ = bytes_.detach();
  }

 private:
  void** to_;
  std::size_t* toCount_;
  Bytes bytes_;
};

class FileTarget : public Target {
 public:
  explicit FileTarget(const MoxcTarget& target) : file_(target) {}
  void write(ByteSpan first, ByteSpan second) override { file_.write(first, second); }
  void close() override { file_.close(); }
  void finish() override { file_.finish(); }

 private:
  OutputFile file_;
};

class StreamTarget : public Target {
 public:
  StreamTarget(MoxcWrite write, void* context) : write_(write), context_(context) {}
  void write(ByteSpan first, ByteSpan second) override {
    writeOne(first);
    writeOne(second);
  }

 private:
  void writeOne(ByteSpan bytes) {
    if (!bytes.empty() && write_(context_, bytes.data(), bytes.size()) != 0) fail(Kind::output, "cannot be written");
  }
  MoxcWrite write_;
  void* context_;
};

}  // namespace

MoxcTarget preparedTarget(const MoxcTarget* target) {
  const MoxcTarget to = needed(target, "target");
  if (to.bytes) *to.bytes = nullptr;
  if (to.byteCount) *to.byteCount = 0;
  if ((to.bytes != nullptr) + (to.path != nullptr) + (to.write != nullptr) != 1)
    throw BadArgument("a target needs one of bytes, path and write");
  if (to.bytes) need(to.byteCount, "byteCount");
  if (to.keepExisting < 0 || to.keepExisting > 1) failOption("keepExisting", "is not 0 or 1");
  if (!to.path && to.keepExisting) failOption("keepExisting", "is for targets with a path");
  if (!to.path && to.temporaryChanged) throw BadArgument("temporaryChanged is for targets with a path");
  checkExisting(to);
  return to;
}

std::unique_ptr<Target> targetOf(const MoxcTarget& target) {
  if (target.path) return std::make_unique<FileTarget>(target);
  if (target.write) return std::make_unique<StreamTarget>(target.write, target.context);
  return std::make_unique<MemoryTarget>(target.bytes, target.byteCount);
}

}  // namespace moxj::api

void moxcFree(void* bytes) { moxj::freeBytes(bytes); }
