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
