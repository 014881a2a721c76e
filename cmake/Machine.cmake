# What machine the build is for: its kernel targets, and the options that every object of the libraries shares.
include(CheckCXXSourceCompiles)

set(CMAKE_REQUIRED_FLAGS "${MOXJ_MACHINE_OPTIONS}")
check_cxx_source_compiles("#if !defined(__x86_64__)\n#error\n#endif\nint main() {}" MOXJ_X86_64)
check_cxx_source_compiles("#if !defined(__i386__)\n#error\n#endif\nint main() {}" MOXJ_I386)
check_cxx_source_compiles("#if !defined(__aarch64__)\n#error\n#endif\nint main() {}" MOXJ_AARCH64)
unset(CMAKE_REQUIRED_FLAGS)

# From the plainest to the best; the last one that the processor runs is chosen when the library is loaded.
if(MOXJ_X86_64 OR MOXJ_I386)
  set(default_targets scalar sse2 sse41 avx2 avx512)
elseif(MOXJ_AARCH64)
  set(default_targets scalar neon)
else()
  set(default_targets scalar)
endif()
set(MOXJ_TARGETS "${default_targets}" CACHE STRING
  "Kernel targets to build, from the plainest (scalar, always built) to the best")
if(NOT "scalar" IN_LIST MOXJ_TARGETS)
  message(FATAL_ERROR "MOXJ_TARGETS must name scalar: it is the definition")
endif()

set(MOXJ_TARGET_OPTIONS_scalar "")
set(MOXJ_TARGET_OPTIONS_neon "")
set(MOXJ_TARGET_OPTIONS_sse2 -msse2)
set(MOXJ_TARGET_OPTIONS_sse41 -msse4.1)
set(MOXJ_TARGET_OPTIONS_avx2 -mavx2 -mbmi -mbmi2 -mlzcnt -mpopcnt)
# The AVX-512 headers of g++ 12 use undefined values on purpose and are warned about.
set(MOXJ_TARGET_OPTIONS_avx512 ${MOXJ_TARGET_OPTIONS_avx2} -mavx512f -mavx512bw -mavx512dq -mavx512vl -mavx512vnni
  -mavx512vbmi -mavx512vbmi2 -Wno-uninitialized $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)

set(MOXJ_LIBRARY_OPTIONS -fno-exceptions -fno-rtti -fno-math-errno)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Without it inline constants come out as unique symbols, which no version script hides.
  list(APPEND MOXJ_LIBRARY_OPTIONS -fno-gnu-unique)
endif()
if(MOXJ_I386)
  # The x87 would give other float bits.
  list(APPEND MOXJ_LIBRARY_OPTIONS -msse2 -mfpmath=sse)
endif()

# Sanitizers bring a runtime that the libraries leave undefined.
if(NOT MOXJ_SANITIZE)
  set(MOXJ_NO_UNDEFINED -Wl,--no-undefined)
endif()

find_package(OpenMP REQUIRED COMPONENTS CXX)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(MOXJ_OPENMP_LINK gomp)
else()
  set(MOXJ_OPENMP_LINK ${OpenMP_CXX_LIBRARIES})
endif()
# The libraries are linked by the C driver and need no C++ runtime.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES_FOR_PROGRAMS ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
