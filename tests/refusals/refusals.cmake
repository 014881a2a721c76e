# What must not compile, with sources that do: a pixel store without a value for each sample, inexact arithmetic.
foreach(target sse2 neon)
  if(NOT target IN_LIST MOXJ_TARGETS)
    continue()
  endif()
  set(source ${CMAKE_CURRENT_SOURCE_DIR}/refusals/pixel_orders.cpp)
  set(definitions MOX_TARGET=${target} MOX_TARGET_IS_${target} MOXJ_STATIC)
  add_executable(pixel_orders ${source})
  target_include_directories(pixel_orders PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  target_compile_definitions(pixel_orders PRIVATE ${definitions})
  target_compile_options(pixel_orders PRIVATE ${MOXJ_TARGET_OPTIONS_${target}})
  add_test(NAME pixel_orders COMMAND pixel_orders)

  list(TRANSFORM definitions PREPEND -D)
  set(command ${CMAKE_CXX_COMPILER} ${MOXJ_MACHINE_OPTIONS} ${MOXJ_TARGET_OPTIONS_${target}} -std=c++20 ${definitions}
    -I${PROJECT_SOURCE_DIR}/include -I${PROJECT_SOURCE_DIR}/src)
  function(add_refusal name more text)
    add_test(NAME refused_${name} COMMAND ${CMAKE_COMMAND} "-DSOURCE=${source}" "-DCOMMAND=${command}" "-DMORE=${more}"
      "-DMESSAGE=${text}" -P ${CMAKE_CURRENT_SOURCE_DIR}/refusals/refused.cmake)
  endfunction()
  add_refusal(missing_sample -DMOX_TEST_REFUSED "a pixel store needs a value for every sample of the pixel")
  add_refusal(fast_math -ffast-math "build it without -ffast-math")
endforeach()
