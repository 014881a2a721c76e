# Installed files, and the packages that find them.
include(CMakePackageConfigHelpers)

install(TARGETS moxj-shared moxj-static moxcore-shared moxcore-static EXPORT moxj-targets)
install(FILES include/moxj.h include/moxcore.h TYPE INCLUDE)
if(MOXJ_BUILD_TOOL)
  install(TARGETS moxj)
endif()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/moxj)
install(EXPORT moxj-targets NAMESPACE moxj:: DESTINATION ${package_dir})
configure_package_config_file(cmake/moxj-config.cmake.in moxj-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(moxj-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/moxj-config.cmake ${PROJECT_BINARY_DIR}/moxj-config-version.cmake
  DESTINATION ${package_dir})
# Relative, so that an installed copy may be moved.
file(RELATIVE_PATH prefix_from_pkgconfig /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
# A library by its name is linked as -lNAME, one by its path as it is.
list(TRANSFORM MOXJ_OPENMP_LINK PREPEND -l REGEX "^[^/-]" OUTPUT_VARIABLE private_libraries)
list(JOIN private_libraries " " private_libraries)
foreach(name moxj moxcore)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
