// The process: standard streams, signals, and the tool.
#include <fcntl.h>
#include <unistd.h>

#include "cli/interrupt.h"
#include "cli/tool.h"

// If a standard stream is closed, the next file opened gets its descriptor, and messages would be written into a
// picture. So a closed stream is replaced by a descriptor with the wrong access mode: reading from a closed standard
// input and writing to a closed standard output remain errors.
static void keepStandardStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

int main(int argc, char** argv) {
  keepStandardStreams();
  moxj::cli::watchSignals();
  return moxj::cli::runTool(argc, argv);
}
