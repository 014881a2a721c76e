# The Debian package python3-moxj, made by cpack in the build directory. It uses the library of the package libmoxj.
execute_process(
  COMMAND ${Python_EXECUTABLE} -B -c "import build_backend, sys; print(build_backend.version());
build_backend.write_info(sys.argv[1])" ${PROJECT_BINARY_DIR}
  WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ERROR_IS_FATAL ANY)

set(packages lib/python3/dist-packages)
file(GLOB files CONFIGURE_DEPENDS moxj/*.py moxj/*.pyi moxj/py.typed)
install(TARGETS moxj-python LIBRARY DESTINATION ${packages}/moxj COMPONENT debian)
install(FILES ${files} DESTINATION ${packages}/moxj COMPONENT debian)
install(DIRECTORY ${PROJECT_BINARY_DIR}/moxj-${version}.dist-info DESTINATION ${packages} COMPONENT debian)

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL debian)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_NAME python3-moxj)
set(CPACK_DEBIAN_DEBIAN_PACKAGE_NAME python3-moxj)
set(CPACK_PACKAGE_VERSION ${version})
set(CPACK_PACKAGE_CONTACT "the libmoxj maintainers <maintainers@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "JPEG and JPEG 2000 files to and from NumPy arrays")
set(CPACK_DEBIAN_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libmoxj (= ${version}), python3-numpy, \
python3 (>= ${Python_VERSION_MAJOR}.${Python_VERSION_MINOR}~)")
math(EXPR next "${Python_VERSION_MINOR} + 1")
string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS ", python3 (<< ${Python_VERSION_MAJOR}.${next})")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3-numcodecs, python3-zarr, python3-distributed")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
include(CPack)
