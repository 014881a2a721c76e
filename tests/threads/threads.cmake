# In the thread sanitizer's build: what OpenMP orders is known to the sanitizer through libarcher alone, which clang's
# OpenMP runtime loads.
add_executable(row_sharing threads/row_sharing.cpp)
target_link_libraries(row_sharing PRIVATE moxj-internals OpenMP::OpenMP_CXX)
add_test(NAME row_sharing COMMAND row_sharing)
add_test(NAME row_overlap_is_reported COMMAND row_sharing overlap)
set_tests_properties(row_overlap_is_reported PROPERTIES PASS_REGULAR_EXPRESSION "ThreadSanitizer: data race")

get_filename_component(openmp_directory "${OpenMP_omp_LIBRARY}" REALPATH)
get_filename_component(openmp_directory "${openmp_directory}" DIRECTORY)
find_library(MOXJ_ARCHER archer HINTS ${openmp_directory} REQUIRED)
get_property(all_tests DIRECTORY PROPERTY TESTS)
set_property(TEST ${all_tests} APPEND PROPERTY ENVIRONMENT
  "MOX_NUM_THREADS=4;OMP_TOOL_LIBRARIES=${MOXJ_ARCHER};TSAN_OPTIONS=ignore_noninstrumented_modules=1")
