// The version of the library.
#include "moxcodec.h"
#include "moxj.h"

const char* moxcVersion(void) { return MOXJ_VERSION_STRING; }
