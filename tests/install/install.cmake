# An installed copy, used as its users would: through pkg-config, through CMake, and the Debian package.
set(install_environment CC=${CMAKE_C_COMPILER} CMAKE=${CMAKE_COMMAND} CPACK=${CMAKE_CPACK_COMMAND}
  EXAMPLE=${CMAKE_CURRENT_BINARY_DIR}/readme_example.c SOURCE=${PROJECT_SOURCE_DIR} BUILD=${PROJECT_BINARY_DIR}
  BUILD_TYPE=${CMAKE_BUILD_TYPE})
add_test(NAME install COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/check)
set_tests_properties(install PROPERTIES ENVIRONMENT "${install_environment}")
