// Parses and checks scan scripts; makes the default scans.
#include "jpeg/script.h"

#include <algorithm>
#include <charconv>

#include "base/problem.h"
#include "jpeg/progression.h"

namespace moxj::jpeg {

namespace {

constexpr int kMaxBlocks = 10;  // in an MCU (T.81 B.2.3)
constexpr int kMaxComponents = 4;

class Parser {
 public:
  Parser(std::string_view text, const std::string& name) : left_(text), name_(name) {}

  Script parse() {
    Script script{name_, {}};
    for (skipSpace(); !left_.empty(); skipSpace()) {
      const int line = line_;
      script.entries.push_back({parseScan(), line});
    }
    if (script.entries.empty()) fail(line_, "the script has no scans");
    return script;
  }

  [[noreturn]] void fail(int line, const std::string& cause) const {
    throw Problem(Kind::badOption, name_ + ": line " + std::to_string(line) + ": " + cause);
  }

 private:
  ScanHeader parseScan() {
    ScanHeader scan;
    do {
      scan.components.push_back({number("a component"), 0, 0});
      skip(",");
    } while (!left_.empty() && left_[0] != ':' && left_[0] != ';');
    if (!take(':')) return end(scan);
    scan.spectralStart = number("the first coefficient");
    skip(",-");
    scan.spectralEnd = number("the last coefficient");
    skip(",-");
    scan.approxHigh = number("the previous bit");
    skip(",-");
    scan.approxLow = number("the lowest bit");
    return end(scan);
  }
  ScanHeader end(const ScanHeader& scan) {
    skipSpace();
    if (!left_.empty() && !take(';')) fail(line_, "a scan must end with ';'");
    return scan;
  }

  int number(const char* what) {
    skipSpace();
    int value = 0;
    const auto [end, error] = std::from_chars(left_.data(), left_.data() + left_.size(), value);
    if (error != std::errc() || value < 0 || value > 255)
      fail(line_, std::string(what) + " is not a whole number from 0 to 255");
    left_.remove_prefix(static_cast<std::size_t>(end - left_.data()));
    skipSpace();
    return value;
  }
  bool take(char wanted) {
    if (left_.empty() || left_[0] != wanted) return false;
    left_.remove_prefix(1);
    return true;
  }
  void skip(std::string_view separators) {
    skipSpace();
    if (!left_.empty() && separators.find(left_[0]) != separators.npos) left_.remove_prefix(1);
    skipSpace();
  }
  // Also skips comments, which extend to the end of the line.
  void skipSpace() {
    bool comment = false;
    for (; !left_.empty(); left_.remove_prefix(1)) {
      if (left_[0] == '#') comment = true;
      if (left_[0] == '\n') {
        comment = false;
        ++line_;
      } else if (!comment && left_[0] != ' ' && left_[0] != '\t' && left_[0] != '\r') {
        return;
      }
    }
  }

  std::string_view left_;
  const std::string& name_;
  int line_ = 1;
};

bool whole(const ScanHeader& scan) {
  return scan.spectralStart == 0 && scan.spectralEnd == 63 && scan.approxHigh == 0 && scan.approxLow == 0;
}

// What is wrong with the components of a scan, or null.
const char* componentsFault(const ScanHeader& scan) {
  if (scan.components.size() > kMaxComponents) return "a scan has at most 4 components";
  for (std::size_t i = 0; i < scan.components.size(); ++i) {
    if (scan.components[i].component >= kMaxComponents) return "components are 0 to 3";
    if (i > 0 && scan.components[i].component <= scan.components[i - 1].component)
      return "the components of a scan must be in ascending order";
  }
  return nullptr;
}

void check(const Script& script, const Parser& parser) {
  Progression progression;
  int components = 0;
  for (const Script::Entry& entry : script.entries) {
    const auto failIf = [&](const char* fault, const char* before = "") {
      if (fault) parser.fail(entry.line, std::string(before) + fault);
    };
    failIf(componentsFault(entry.scan));
    if (script.progressive()) failIf(Progression::fault(entry.scan), "the scan has ");
    failIf(progression.take(entry.scan) ? nullptr : "the scan does not continue where the earlier scans ended");
    components = std::max(components, entry.scan.components.back().component + 1);
  }
  for (int i = 0; i < components; ++i) {
    if (!progression.begun(i))
      parser.fail(script.entries.back().line, "component " + std::to_string(i) + " is in no scan");
  }
}

int blocksOfMcu(const Frame& frame, const ScanHeader& scan) {
  int blocks = 0;
  for (const ScanHeader::Selector& selector : scan.components) {
    const FrameComponent& c = frame.components[selector.component];
    blocks += c.horizontal * c.vertical;
  }
  return blocks;
}

// Builds a list of scans.
class List {
 public:
  explicit List(const Frame& frame) : frame_(frame), components_(static_cast<int>(frame.components.size())) {}

  void one(int component, int start, int end, int high, int low) {
    scans_.push_back({{{component, 0, 0}}, start, end, high, low});
  }
  void each(int start, int end, int high, int low) {
    for (int i = 0; i < components_; ++i) one(i, start, end, high, low);
  }
  void all(int start, int end, int high, int low) {
    ScanHeader scan{{}, start, end, high, low};
    for (int i = 0; i < components_; ++i) scan.components.push_back({i, 0, 0});
    if (components_ > 1 && blocksOfMcu(frame_, scan) > kMaxBlocks) return each(start, end, high, low);
    scans_.push_back(scan);
  }
  std::vector<ScanHeader> take() { return std::move(scans_); }

 private:
  const Frame& frame_;
  int components_;
  std::vector<ScanHeader> scans_;
};

}  // namespace

bool Script::progressive() const {
  return !std::all_of(entries.begin(), entries.end(), [](const Entry& entry) { return whole(entry.scan); });
}

Script parseScript(std::string_view text, const std::string& name) {
  Parser parser(text, name);
  Script script = parser.parse();
  check(script, parser);
  return script;
}

std::vector<ScanHeader> scansOf(const Script& script, const Frame& frame) {
  const int components = static_cast<int>(frame.components.size());
  std::vector<ScanHeader> scans;
  int last = 0;
  for (const Script::Entry& entry : script.entries) {
    const auto fail = [&](const std::string& cause) {
      throw Problem(Kind::badOption, script.name + ": line " + std::to_string(entry.line) + ": " + cause);
    };
    const int highest = entry.scan.components.back().component;
    if (highest >= components)
      fail("there is no component " + std::to_string(highest) + " in a picture of " + std::to_string(components));
    if (entry.scan.components.size() > 1 && blocksOfMcu(frame, entry.scan) > kMaxBlocks)
      fail("an MCU has more than 10 blocks");
    last = std::max(last, highest);
    scans.push_back(entry.scan);
  }
  if (last + 1 < components)
    throw Problem(Kind::badOption, script.name + ": line " + std::to_string(script.entries.back().line) +
                                       ": component " + std::to_string(last + 1) + " of the picture is in no scan");
  return scans;
}

std::vector<ScanHeader> sequentialScans(const Frame& frame) {
  List list(frame);
  list.all(0, 63, 0, 0);
  return list.take();
}

std::vector<ScanHeader> progressiveScans(const Frame& frame, bool ycbcr) {
  List list(frame);
  list.all(0, 0, 0, 1);
  if (ycbcr && frame.components.size() == 3) {
    list.one(0, 1, 5, 0, 2);
    list.one(2, 1, 63, 0, 1);
    list.one(1, 1, 63, 0, 1);
    list.one(0, 6, 63, 0, 2);
    list.one(0, 1, 63, 2, 1);
    list.all(0, 0, 1, 0);
    list.one(2, 1, 63, 1, 0);
    list.one(1, 1, 63, 1, 0);
    list.one(0, 1, 63, 1, 0);
  } else {
    list.each(1, 5, 0, 2);
    list.each(6, 63, 0, 2);
    list.each(1, 63, 2, 1);
    list.all(0, 0, 1, 0);
    list.each(1, 63, 1, 0);
  }
  return list.take();
}

}  // namespace moxj::jpeg
