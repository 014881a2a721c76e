// Reports, and the boundary that no exception crosses.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "base/outcome.h"
#include "base/problem.h"
#include "moxcodec.h"

struct MoxcReport {
  MoxcKind kind = moxcOk;
  MoxcAdvice advice = moxcAdviceNone;
  const char* text = "";  // a literal, or the characters of ownText
  std::string ownText, option, path;
  moxj::Outcome outcome;

  void clear() noexcept;
};

namespace moxj::api {

// The caller's mistake: a null pointer, a struct that is too small, pixels that make no sense.
struct BadArgument : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The kind of the exception that is being handled; the report, which may be null, gets the rest.
MoxcKind reportException(MoxcReport* report) noexcept;
void reportOutcome(MoxcReport* report, Outcome&& outcome) noexcept;

// Runs the body of a function of the interface. It returns an Outcome or nothing, and may throw anything.
template <class Body>
MoxcKind guarded(MoxcReport* report, Body&& body) noexcept {
  if (report) report->clear();
  try {
    if constexpr (std::is_void_v<decltype(body())>)
      body();
    else
      reportOutcome(report, body());
    return moxcOk;
  } catch (...) {
    return reportException(report);
  }
}

inline void need(const void* pointer, const char* name) {
  if (!pointer) throw BadArgument(std::string(name) + " is null");
}

}  // namespace moxj::api
