// The library's version record.
#include "moxj.h"

// A fixed record that is part of the interface: callers compare it. It does not describe this build.
static constexpr MoxLibraryVersion kVersion = {5, 1, 80, 195, {'a', '6'}, "moxja6-5.1.dll", "v5.1", "Feb 28 2006"};

const MoxLibraryVersion* moxjGetLibVersion(void) { return &kVersion; }
