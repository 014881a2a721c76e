# The programs of examples/, built and run.
foreach(name baseline progressive lossless jpeg2000 jpeg2000_lossy)
  add_executable(example_${name} ${PROJECT_SOURCE_DIR}/examples/${name}.c)
  set_target_properties(example_${name} PROPERTIES C_STANDARD 99 C_EXTENSIONS OFF)
  target_compile_options(example_${name} PRIVATE -pedantic-errors -Werror)
  target_link_libraries(example_${name} PRIVATE moxj-shared)
  add_test(NAME example-${name} COMMAND example_${name})
endforeach()
