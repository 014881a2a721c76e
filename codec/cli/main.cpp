#include <fcntl.h>
#include <unistd.h>

#include "cli/interrupt.h"
#include "cli/tool.h"

// A standard stream that is closed would let the next file that is opened take its number, and messages would go into
// a picture. What takes its place cannot be written to, so that a closed standard output is still an error.
static void keepStandardStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

int main(int argc, char** argv) {
  keepStandardStreams();
  moxj::watchSignals();
  return moxj::runTool(argc, argv);
}
