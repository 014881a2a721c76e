# The documents: links, options of the tool, and every example, run with an installed copy.
set(check "exec ${Python3_EXECUTABLE} -B ${CMAKE_CURRENT_SOURCE_DIR}/documents/check.py")
add_test(NAME documents-links COMMAND sh -c "${check} links")
add_test(NAME documents-package COMMAND sh -c "${check} package")
add_test(NAME documents-self COMMAND sh -c "${check} --self")
if(TARGET moxj)
  add_test(NAME documents-options COMMAND sh -c "${check} options $<TARGET_FILE:moxj>")
  add_test(NAME documents-formats COMMAND sh -c "${check} formats $<TARGET_FILE:moxj>")
endif()

add_test(NAME documents-plot COMMAND sh -c
  "exec ${Python3_EXECUTABLE} -B ${PROJECT_SOURCE_DIR}/scripts/python/plot.py --check")

# The site: no warning of Doxygen, no link that leads nowhere.
add_test(NAME documents-site-self COMMAND sh -c
  "exec ${Python3_EXECUTABLE} -B ${PROJECT_SOURCE_DIR}/scripts/python/site.py --self")
add_test(NAME documents-site COMMAND sh -c
  "command -v doxygen >/dev/null || { echo skipped: needs doxygen; exit 0; }
   exec ${PROJECT_SOURCE_DIR}/scripts/site ${CMAKE_CURRENT_BINARY_DIR}/site")
set_tests_properties(documents-site PROPERTIES SKIP_REGULAR_EXPRESSION "^skipped")

if(NOT TARGET moxj OR NOT MOXJ_INSTALL OR MOXJ_SANITIZE OR CMAKE_CROSSCOMPILING OR MOXJ_MACHINE_OPTIONS)
  return()  # the examples are built as their readers build them
endif()

set(prefix ${CMAKE_CURRENT_BINARY_DIR}/documents-prefix)
add_test(NAME documents-install COMMAND ${CMAKE_COMMAND} --install ${PROJECT_BINARY_DIR} --prefix ${prefix})
set_tests_properties(documents-install PROPERTIES FIXTURES_SETUP documents_prefix)

# An interpreter that has NumPy, if there is one.
set(interpreter ${Python3_EXECUTABLE})
if(MOXJ_NUMPY_PYTHON)
  set(interpreter ${MOXJ_NUMPY_PYTHON})
endif()

function(add_document_test name argument)
  add_test(NAME ${name} COMMAND ${interpreter} -B ${CMAKE_CURRENT_SOURCE_DIR}/documents/run.py ${argument})
  set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED documents_prefix SKIP_REGULAR_EXPRESSION "^skipped"
    TIMEOUT 300 ENVIRONMENT "PREFIX=${prefix};LIBDIR=${CMAKE_INSTALL_LIBDIR};CC=${CMAKE_C_COMPILER}\
;CMAKE=${CMAKE_COMMAND};PYTHONPATH=${PROJECT_BINARY_DIR}/python")
endfunction()

add_document_test(documents-run-self --self)
file(GLOB documents CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/*.md
  ${PROJECT_SOURCE_DIR}/*/*.md ${PROJECT_SOURCE_DIR}/docs/tutorials/*.md)
foreach(document IN LISTS documents)
  file(STRINGS ${PROJECT_SOURCE_DIR}/${document} examples REGEX "^```(c|python|sh|cmake)$")
  if(examples AND NOT document MATCHES "^(build|demo-output)/")
    string(REGEX REPLACE "^docs/|\\.md$" "" name ${document})
    string(MAKE_C_IDENTIFIER ${name} name)
    string(REPLACE "_" "-" name ${name})
    string(TOLOWER documents-run-${name} name)
    add_document_test(${name} ${PROJECT_SOURCE_DIR}/${document})
  endif()
endforeach()
