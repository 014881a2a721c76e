# The package where Debian's interpreter finds it, below the prefix. It uses the installed library.
execute_process(
  COMMAND ${Python_EXECUTABLE} -B -c "import build_backend, sys; print(build_backend.version());
build_backend.write_info(sys.argv[1])" ${CMAKE_CURRENT_BINARY_DIR}
  WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ERROR_IS_FATAL ANY)

set(packages lib/python3/dist-packages)
file(GLOB files CONFIGURE_DEPENDS moxj/*.py moxj/*.pyi moxj/py.typed)
install(TARGETS moxj-python LIBRARY DESTINATION ${packages}/moxj COMPONENT debian)
install(FILES ${files} DESTINATION ${packages}/moxj COMPONENT debian)
install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/moxj-${version}.dist-info DESTINATION ${packages} COMPONENT debian)
