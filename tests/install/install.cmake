# An installed copy, used as its users would: through pkg-config and through CMake.
list(TRANSFORM MOXJ_OPENMP_LINK PREPEND -l REGEX "^[^/-]" OUTPUT_VARIABLE openmp_link)
list(JOIN openmp_link " " openmp_link)
set(install_environment CC=${CMAKE_C_COMPILER} CMAKE=${CMAKE_COMMAND}
  EXAMPLE=${CMAKE_CURRENT_BINARY_DIR}/readme_example.c CODEC_EXAMPLE=${CMAKE_CURRENT_SOURCE_DIR}/codec/c99_test.c
  CXX=${CMAKE_CXX_COMPILER} SOURCE=${PROJECT_SOURCE_DIR} BUILD=${PROJECT_BINARY_DIR}
  BUILD_TYPE=${CMAKE_BUILD_TYPE} READELF=${CMAKE_READELF} "OPENMP_LINK=${openmp_link}")
add_test(NAME install COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/check)
set_tests_properties(install PROPERTIES ENVIRONMENT "${install_environment}")

# Projects that contain this one.
add_test(NAME install-parents COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/parents)
set_tests_properties(install-parents PROPERTIES ENVIRONMENT
  "${install_environment};CXX=${CMAKE_CXX_COMPILER}")

add_test(NAME install-rpath COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/rpath)
set_tests_properties(install-rpath PROPERTIES ENVIRONMENT "${install_environment}")
