#include "call.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace moxj::python {

namespace {

bool namesFile(const py::object& object) {
  return py::isinstance<py::str>(object) || py::hasattr(object, "__fspath__");
}

std::string pathIn(const py::object& object) {
  PyObject* encoded = nullptr;
  if (!PyUnicode_FSConverter(object.ptr(), &encoded)) throw py::error_already_set();
  return py::reinterpret_steal<py::bytes>(encoded);
}

constexpr size_t kFirstCapacity = size_t{1} << 16;

// How often a call without a progress callback looks for signals such as Ctrl-C.
constexpr std::chrono::milliseconds kSignalInterval{50};

}  // namespace

Source::Source(const py::object& from) {
  if (namesFile(from)) {
    path_ = pathIn(from);
    source_ = moxcFileSource(path_.c_str());
  } else if (PyObject_CheckBuffer(from.ptr())) {
    if (PyObject_GetBuffer(from.ptr(), &view_, PyBUF_SIMPLE) != 0) throw py::error_already_set();
    // No bytes are an empty file, and not a source that is missing.
    source_ = moxcMemorySource(view_.buf ? view_.buf : "", static_cast<size_t>(view_.len));
  } else if (py::hasattr(from, "read")) {
    file_ = from;
    source_ = moxcStreamSource(read, this);
  } else {
    throw py::type_error("a picture file must be given as bytes, a path or a file object, not " +
                         std::string(Py_TYPE(from.ptr())->tp_name));
  }
}

Source::~Source() { PyBuffer_Release(&view_); }

ptrdiff_t Source::read(void* self, void* to, size_t size) {
  auto& source = *static_cast<Source*>(self);
  ptrdiff_t got = -1;
  source.raised_.run([&] {
    const py::object piece = source.file_.attr("read")(size);
    Py_buffer view;
    if (PyObject_GetBuffer(piece.ptr(), &view, PyBUF_SIMPLE) != 0) throw py::error_already_set();
    const size_t length = static_cast<size_t>(view.len);
    if (length > 0 && length <= size) std::memcpy(to, view.buf, length);
    PyBuffer_Release(&view);
    if (length > size) throw py::value_error("read() returned more bytes than it was asked for");
    got = static_cast<ptrdiff_t>(length);
  });
  return got;
}

Target::Target(const py::object& to, size_t expected) {
  if (to.is_none()) {
    if (!resize(kFirstCapacity + expected)) throw py::error_already_set();
    target_ = moxcStreamTarget(keep, this);
  } else if (namesFile(to)) {
    path_ = pathIn(to);
    target_ = moxcFileTarget(path_.c_str());
  } else if (py::hasattr(to, "write")) {
    file_ = to;
    target_ = moxcStreamTarget(write, this);
  } else {
    throw py::type_error("the output must be None, a path or a file object, not " +
                         std::string(Py_TYPE(to.ptr())->tp_name));
  }
}

// A raw file may take fewer bytes than it is given.
int Target::write(void* self, const void* bytes, size_t size) {
  auto& target = *static_cast<Target*>(self);
  const bool well = target.raised_.run([&] {
    for (const char* next = static_cast<const char*>(bytes); size > 0;) {
      const py::object taken = target.file_.attr("write")(py::bytes(next, size));
      const size_t count = taken.is_none() ? size : std::min(taken.cast<size_t>(), size);
      next += count;
      size -= count;
    }
  });
  return well ? 0 : 1;
}

bool Target::resize(size_t capacity) {
  if (!bytes_) {
    bytes_ = PyBytes_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(capacity));
  } else {
    _PyBytes_Resize(&bytes_, static_cast<Py_ssize_t>(capacity));
  }
  capacity_ = bytes_ ? capacity : 0;
  return bytes_ != nullptr;
}

int Target::keep(void* self, const void* bytes, size_t size) {
  auto& target = *static_cast<Target*>(self);
  if (size > target.capacity_ - target.size_) {
    const size_t capacity = std::max(target.size_ + size, target.capacity_ * 2);
    const bool well = target.raised_.run([&] {
      if (!target.resize(capacity)) throw py::error_already_set();
    });
    if (!well) return 1;
  }
  std::memcpy(PyBytes_AS_STRING(target.bytes_) + target.size_, bytes, size);
  target.size_ += size;
  return 0;
}

py::object Target::result() {
  if (!bytes_) return py::none();
  if (!resize(size_)) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(std::exchange(bytes_, nullptr));
}

Call::Call(const py::tuple& running) : report_(moxcReportNew()), asked_(std::chrono::steady_clock::now()) {
  if (!report_) throw std::bad_alloc();
  limits_.structSize = sizeof limits_;
  limits_.maxPixels = running[1].cast<uint64_t>();
  limits_.maxMemory = running[2].cast<uint64_t>();
  limits_.maxScans = running[3].cast<int32_t>();
  run_.structSize = sizeof run_;
  run_.limits = &limits_;
  run_.threads = running[0].cast<int32_t>();
  if (!running[4].is_none()) progress_ = running[4];
  run_.progress = progressed;
  run_.progressContext = this;
}

int Call::progressed(void* self, uint64_t done, uint64_t total) {
  auto& call = *static_cast<Call*>(self);
  const auto now = std::chrono::steady_clock::now();
  if (!call.progress_ && now - call.asked_ < kSignalInterval) return 0;
  call.asked_ = now;
  const bool well = call.raised_.run([&] {
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    if (call.progress_) call.progress_(done, total);
  });
  return well ? 0 : 1;
}

py::tuple Call::outcomeOf(const MoxcReport* report) {
  py::list notes;
  for (size_t i = 0; i < moxcReportNoteCount(report); ++i) notes.append(textOf(moxcReportNote(report, i)));
  return py::make_tuple(textOf(moxcReportComplete(report) ? "" : moxcReportWarning(report)), notes);
}

std::string Call::pathOf(MoxcKind kind, const Source* source, const Target* target) {
  if (kind == moxcInput && source) return source->path();
  if (kind == moxcOutput && target) return target->path();
  return "";
}

void Call::fail(MoxcKind kind, const MoxcReport* report, const std::string& path) {
  const py::object make = py::module_::import("moxj._errors").attr("make");
  const py::object error = make(static_cast<int>(kind), textOf(moxcReportText(report)),
                                static_cast<int>(moxcReportAdvice(report)), moxcReportOption(report), py::bytes(path));
  PyErr_SetObject(py::type::handle_of(error).ptr(), error.ptr());
  throw py::error_already_set();
}

}  // namespace moxj::python
