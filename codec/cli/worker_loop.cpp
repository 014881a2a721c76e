// What a worker does: one answer of one line to each line that it is sent.
//   target                   the target in use
//   golden I                 the checksum of function I of the golden cases
//   time I SECONDS THREADS   nanoseconds of a run of workload I
//   copy I SECONDS THREADS   of a copy of as many bytes
//   file I SECONDS THREADS   of work I of the files, and the samples of its picture
// Work that fails is answered by "error" and a text.
#include <iostream>
#include <map>
#include <sstream>

#include "cli/file_work.h"
#include "cli/stopwatch.h"
#include "cli/threads.h"
#include "cli/worker.h"
#include "proof/golden.h"
#include "proof/targets.h"

namespace moxj::cli {

namespace {

struct Request {
  std::string what;
  std::size_t index = 0;
  double seconds = 0;
  int threads = 1;
};

class Loop {
 public:
  explicit Loop(const std::vector<std::string>& names) : names_(names), files_(names.size()) {}

  std::string answer(const std::string& line) {
    Request request;
    std::istringstream(line) >> request.what >> request.index >> request.seconds >> request.threads;
    try {
      return answer(request);
    } catch (const std::exception& exception) {
      return std::string("error ") + exception.what();
    }
  }

 private:
  std::string answer(const Request& request) {
    if (request.what == "target") return proof::activeTarget();
    if (request.what == "golden") return std::to_string(test::checksumOf(golden_.at(request.index)));
    if (request.what == "time") return measure(request, workloads_.at(request.index).make);
    if (request.what == "copy")
      return measure(request, [bytes = workloads_.at(request.index).bytes] { return proof::copyOf(bytes); });
    if (request.what == "file") return measureFile(request);
    return "error unknown request";
  }

  template <class Make>
  std::string measure(const Request& request, const Make& make) {
    Stopwatch& stopwatch = stopwatches_.try_emplace({request.what, request.index}, make).first->second;
    return std::to_string(stopwatch.measure(request.seconds, request.threads));
  }

  std::string measureFile(const Request& request) {
    const std::size_t file = request.index / kFileWork.size(), work = request.index % kFileWork.size();
    if (!files_.at(file)) files_[file] = std::make_unique<FileWork>(names_[file]);
    const auto make = [&picture = *files_[file], work, threads = request.threads] {
      return picture.run(work, threads);
    };
    Stopwatch& stopwatch = stopwatches_.try_emplace({request.what, request.index}, make).first->second;
    const double time =
        request.threads == 1 ? stopwatch.measure(request.seconds, 1) : stopwatch.measureElapsed(request.seconds);
    return std::to_string(time) + " " + std::to_string(files_[file]->samples());
  }

  const std::vector<std::string>& names_;
  const std::vector<test::GoldenCase> golden_ = test::goldenCases();
  const std::vector<proof::Workload> workloads_ = proof::workloads();
  std::vector<std::unique_ptr<FileWork>> files_;
  std::map<std::pair<std::string, std::size_t>, Stopwatch> stopwatches_;
};

}  // namespace

int runWorker(const std::vector<std::string>& files) {
  oneThreadForRows();
  Loop loop(files);
  for (std::string line; std::getline(std::cin, line);) std::cout << loop.answer(line) << std::endl;
  return 0;
}

}  // namespace moxj::cli
