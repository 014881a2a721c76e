# GoogleTest: its sources where they are (Debian's libgtest-dev), so that it has the machine and the sanitizers of the
# rest; otherwise an installed one, which builds for this machine without the thread sanitizer can do with.
set(MOXJ_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest's sources")
if(EXISTS ${MOXJ_GOOGLETEST_SOURCE}/CMakeLists.txt)
  set(CMAKE_POLICY_DEFAULT_CMP0069 NEW)  # it may be built with link-time optimisation
  set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)  # its options are set here
  set(INSTALL_GTEST OFF)
  set(BUILD_GMOCK OFF)
  add_subdirectory(${MOXJ_GOOGLETEST_SOURCE} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  foreach(name gtest gtest_main)
    target_compile_options(${name} PRIVATE -O0)
    if(NOT TARGET GTest::${name})
      add_library(GTest::${name} ALIAS ${name})
    endif()
  endforeach()
else()
  find_package(GTest QUIET)
endif()
