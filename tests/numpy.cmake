# MOXJ_NUMPY_PYTHON: the first interpreter that has NumPy; empty without one.
set(MOXJ_NUMPY_PYTHON "")
foreach(candidate ${Python3_EXECUTABLE} /usr/bin/python3)
  execute_process(COMMAND ${candidate} -c "import numpy" RESULT_VARIABLE without_numpy OUTPUT_QUIET ERROR_QUIET)
  if(without_numpy EQUAL 0)
    set(MOXJ_NUMPY_PYTHON ${candidate})
    break()
  endif()
endforeach()
