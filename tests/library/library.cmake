# The shared libraries and the headers as they are shipped; the sanitizers change them.
set(library_environment
  NM=${CMAKE_NM} READELF=${CMAKE_READELF} CC=${CMAKE_C_COMPILER} CXX=${CMAKE_CXX_COMPILER}
  EXPORTS=${CMAKE_CURRENT_SOURCE_DIR}/exports.txt INCLUDE=${PROJECT_SOURCE_DIR}/include
  MOXJ_LIBRARY=$<TARGET_FILE:moxj-shared> MOXCORE_LIBRARY=$<TARGET_FILE:moxcore-shared>
  MOXJ_ARCHIVE=$<TARGET_FILE:moxj-static>)
foreach(what names needs data headers)
  # Through the shell: an emulator for the tests of a cross build is not for scripts.
  add_test(NAME library-${what} COMMAND sh -c "exec ${CMAKE_CURRENT_SOURCE_DIR}/library/check ${what}")
  set_tests_properties(library-${what} PROPERTIES ENVIRONMENT "${library_environment}")
endforeach()

# The interfaces beside what they were, on the processor that the files were recorded on.
find_program(MOXJ_ABIDW abidw)
mark_as_advanced(MOXJ_ABIDW)
if(MOXJ_ABIDW AND MOXJ_X86_64 AND TARGET moxcodec-shared)
  add_test(NAME library-abi COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/abi/check $<TARGET_FILE:moxj-shared>
    $<TARGET_FILE:moxcore-shared> $<TARGET_FILE:moxcodec-shared>)
  set_tests_properties(library-abi PROPERTIES ENVIRONMENT "${library_environment}")
endif()

# The objects as the build links them, for other linkers. Bytecode for link-time optimisation is not for all of these.
if(NOT CMAKE_CROSSCOMPILING AND NOT CMAKE_INTERPROCEDURAL_OPTIMIZATION AND NOT CMAKE_CXX_FLAGS MATCHES "-flto")
  foreach(target IN LISTS MOXJ_TARGETS ITEMS frame)
    string(REPLACE kernels-frame frame objects moxj-kernels-${target})
    file(GENERATE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/objects-${target}
      CONTENT "$<JOIN:$<TARGET_OBJECTS:${objects}>,\n>\n")
  endforeach()
  list(JOIN MOXJ_TARGETS " " targets)
  list(JOIN MOXJ_DRIVER_OPTIONS " " driver_options)
  list(TRANSFORM MOXJ_OPENMP_LINK PREPEND -l REGEX "^[^/-]" OUTPUT_VARIABLE openmp_link)
  list(JOIN openmp_link " " openmp_link)
  set(merge_environment ${library_environment} OBJCOPY=${CMAKE_OBJCOPY} CMAKE=${CMAKE_COMMAND}
    CHECK_MERGED=${PROJECT_SOURCE_DIR}/cmake/CheckMerged.cmake EXPORTED=${PROJECT_SOURCE_DIR}/src/moxj.map
    OBJECTS=${CMAKE_CURRENT_BINARY_DIR} "TARGETS=${targets}" "DRIVER_OPTIONS=${driver_options}"
    "OPENMP_LINK=${openmp_link}" EXAMPLE=$<TARGET_FILE:readme_example>)
  add_test(NAME library-merge COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/library/merge)
  set_tests_properties(library-merge PROPERTIES ENVIRONMENT "${merge_environment}")
endif()
