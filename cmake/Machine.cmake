# What machine the build is for: its kernel targets, and the options that every object of the libraries shares.
include(CheckCXXSourceCompiles)

if(APPLE OR (WIN32 AND NOT (MINGW AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")))
  message(FATAL_ERROR
    "libmoxj's kernels are isolated by tools for ELF files (Linux), or by those of MinGW-w64 with g++ (Windows)")
endif()
if(NOT CMAKE_NM OR NOT CMAKE_OBJCOPY)
  message(FATAL_ERROR "libmoxj needs nm and objcopy (GNU's or LLVM's) to isolate its kernels")
endif()

list(JOIN MOXJ_MACHINE_OPTIONS " " CMAKE_REQUIRED_FLAGS)
check_cxx_source_compiles("#if !defined(__x86_64__)\n#error\n#endif\nint main() {}" MOXJ_X86_64)
check_cxx_source_compiles("#if !defined(__i386__)\n#error\n#endif\nint main() {}" MOXJ_I386)
check_cxx_source_compiles("#if !defined(__aarch64__)\n#error\n#endif\nint main() {}" MOXJ_AARCH64)
# Options of the build type are not tried by themselves.
string(TOUPPER "${CMAKE_BUILD_TYPE}" build_type)
set(CMAKE_REQUIRED_FLAGS ${CMAKE_CXX_FLAGS_${build_type}})
unset(MOXJ_EXACT_MATHS CACHE)  # the options may have changed
check_cxx_source_compiles("#if defined(__FAST_MATH__) || defined(__ASSOCIATIVE_MATH__) || defined(__RECIPROCAL_MATH__)
#error
#endif
int main() {}" MOXJ_EXACT_MATHS)
if(NOT MOXJ_EXACT_MATHS)
  message(FATAL_ERROR
    "libmoxj's results are exact to the bit: it cannot be built with -ffast-math, -Ofast or a part of them")
endif()
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

if(WIN32)
  # The stack is aligned to 16 bytes only, and g++ stores whole vectors there with aligned moves.
  foreach(target avx2 avx512)
    list(APPEND MOXJ_TARGET_OPTIONS_${target} -Wa,-muse-unaligned-vector-move)
  endforeach()
endif()

set(MOXJ_LIBRARY_OPTIONS -fno-exceptions -fno-rtti -fno-math-errno)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Without it inline constants come out as unique symbols, which no version script hides.
  list(APPEND MOXJ_LIBRARY_OPTIONS -fno-gnu-unique)
endif()
if(CMAKE_CXX_FLAGS MATCHES "_GLIBCXX_ASSERTIONS")
  # They report through the C++ runtime, which the libraries do without.
  list(APPEND MOXJ_LIBRARY_OPTIONS -U_GLIBCXX_ASSERTIONS -Wp,-U_GLIBCXX_ASSERTIONS)
endif()
if(MOXJ_I386)
  # The x87 would give other float bits.
  list(APPEND MOXJ_LIBRARY_OPTIONS -msse2 -mfpmath=sse)
endif()

# Sanitizers bring a runtime that the libraries leave undefined.
if(NOT MOXJ_SANITIZE)
  set(MOXJ_NO_UNDEFINED -Wl,--no-undefined)
endif()

# What compiles the OpenMP pragma, and what its runtime is linked with; without OpenMP there is one thread.
set(MOXJ_OPENMP_OPTIONS -Wno-unknown-pragmas)
set(MOXJ_OPENMP_LINK "")
if(MOXJ_OPENMP)
  find_package(OpenMP QUIET COMPONENTS CXX)
endif()
if(MOXJ_OPENMP AND OpenMP_CXX_FOUND)
  separate_arguments(MOXJ_OPENMP_OPTIONS UNIX_COMMAND "${OpenMP_CXX_FLAGS}")
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set(MOXJ_OPENMP_LINK gomp)
  else()
    set(MOXJ_OPENMP_LINK ${OpenMP_CXX_LIBRARIES})
  endif()
else()
  message(STATUS "libmoxj without OpenMP: its functions stay on the calling thread")
endif()

# The machine and the linker that the C driver, which links the library, is given from outside.
set(MOXJ_DRIVER_OPTIONS ${MOXJ_MACHINE_OPTIONS})
if(CMAKE_C_COMPILER_TARGET AND CMAKE_C_COMPILE_OPTIONS_TARGET)
  list(APPEND MOXJ_DRIVER_OPTIONS ${CMAKE_C_COMPILE_OPTIONS_TARGET}${CMAKE_C_COMPILER_TARGET})
endif()
if(CMAKE_SYSROOT AND CMAKE_C_COMPILE_OPTIONS_SYSROOT)
  list(APPEND MOXJ_DRIVER_OPTIONS ${CMAKE_C_COMPILE_OPTIONS_SYSROOT}${CMAKE_SYSROOT})
endif()
separate_arguments(given UNIX_COMMAND "${CMAKE_C_FLAGS} ${CMAKE_SHARED_LINKER_FLAGS}")
set(machine "-m(32|64|x32|abi=.*|(big|little)-endian)|--(target|sysroot|gcc-toolchain)=.*")
set(linker "-fuse-ld=.*|--ld-path=.*|-B.+")
set(before_value "-target|--sysroot|-B")
set(previous "")
foreach(option IN LISTS given)
  if(option MATCHES "^(${machine}|${linker}|${before_value})$" OR previous MATCHES "^(${before_value})$")
    list(APPEND MOXJ_DRIVER_OPTIONS ${option})
  endif()
  set(previous ${option})
endforeach()
