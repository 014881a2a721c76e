// A call of the library from Python: its inputs and outputs, limits, threads, and callbacks that take the interpreter
// lock, which is released while the library works.
#pragma once

#include <moxcodec.h>
#include <pybind11/pybind11.h>

#include <chrono>
#include <cstring>
#include <exception>
#include <memory>
#include <string>

namespace moxj::python {

namespace py = pybind11;

// The first exception that a callback threw during a call. The library gets a failure, and the call rethrows it.
class Raised {
 public:
  // Runs a callback that may use Python; returns whether it went well.
  template <class Callback>
  bool run(Callback&& callback) {
    const py::gil_scoped_acquire locked;
    try {
      callback();
      return true;
    } catch (...) {
      if (!thrown_) thrown_ = std::current_exception();
      return false;
    }
  }
  void rethrow() const {
    if (thrown_) std::rethrow_exception(thrown_);
  }

 private:
  std::exception_ptr thrown_;
};

// Text of the library, which should be UTF-8.
inline py::str textOf(const char* text) {
  return py::reinterpret_steal<py::str>(
      PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::strlen(text)), "replace"));
}

// Reads from an object that holds bytes, names a file or has a method `read`.
class Source {
 public:
  explicit Source(const py::object& from);
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  ~Source();

  const MoxcSource* get() const { return &source_; }
  const std::string& path() const { return path_; }  // "" unless it is a file
  void rethrow() const { raised_.rethrow(); }

 private:
  static ptrdiff_t read(void* self, void* to, size_t size);

  MoxcSource source_;
  std::string path_;
  py::object file_;
  Py_buffer view_{};
  Raised raised_;
};

// Writes to memory (None), to the file that an object names, or by its method `write`.
class Target {
 public:
  // `expected`: about the size of the file, as far as it is known.
  explicit Target(const py::object& to, size_t expected = 0);
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;
  ~Target() { Py_XDECREF(bytes_); }

  const MoxcTarget* get() const { return &target_; }
  const std::string& path() const { return path_; }
  void rethrow() const { raised_.rethrow(); }
  py::object result();  // the bytes; None if they went elsewhere

 private:
  static int write(void* self, const void* bytes, size_t size);
  static int keep(void* self, const void* bytes, size_t size);
  bool resize(size_t capacity);

  MoxcTarget target_;
  std::string path_;
  py::object file_;
  // The result grows in place, so that it is never copied. Until it is complete nobody else knows the object, and only
  // its allocation needs the interpreter lock.
  PyObject* bytes_ = nullptr;
  size_t size_ = 0, capacity_ = 0;
  Raised raised_;
};

// How a call runs and how it went. `running` is (threads, maxPixels, maxMemory, maxScans, progress or None).
class Call {
 public:
  explicit Call(const py::tuple& running);
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  const MoxcRun* run() const { return &run_; }
  MoxcReport* report() const { return report_.get(); }

  // Runs `work` without the interpreter lock and returns its result. Raises what the progress callback raised.
  template <class Work>
  MoxcKind attempt(Work&& work) {
    MoxcKind kind;
    {
      const py::gil_scoped_release unlocked;
      kind = work();
    }
    raised_.rethrow();
    return kind;
  }

  // The same for work that must succeed. On failure raises what a callback raised, or the class of moxj.Error for the
  // kind.
  template <class Work>
  void operator()(Work&& work, const Source* source = nullptr, const Target* target = nullptr) {
    const MoxcKind kind = attempt(work);
    if (source) source->rethrow();
    if (target) target->rethrow();
    if (kind != moxcOk) fail(kind, report(), pathOf(kind, source, target));
  }

  py::tuple outcome() const { return outcomeOf(report()); }
  static py::tuple outcomeOf(const MoxcReport* report);  // (warning, notes); no warning: complete
  [[noreturn]] static void fail(MoxcKind kind, const MoxcReport* report, const std::string& path);

 private:
  struct FreeReport {
    void operator()(MoxcReport* report) const { moxcReportFree(report); }
  };

  static std::string pathOf(MoxcKind kind, const Source* source, const Target* target);
  static int progressed(void* self, uint64_t done, uint64_t total);

  std::unique_ptr<MoxcReport, FreeReport> report_;
  MoxcLimits limits_{};
  MoxcRun run_{};
  py::object progress_;
  std::chrono::steady_clock::time_point asked_;  // when signals were last looked for
  Raised raised_;
};

}  // namespace moxj::python
