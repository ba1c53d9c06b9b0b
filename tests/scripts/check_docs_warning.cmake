# SPDX-License-Identifier: MIT
# -DDOXYGEN -DDOXYFILE the build's configuration -DHEADER include/orvex.h
# -DWORK scratch directory
cmake_minimum_required(VERSION 3.25)
file(READ ${HEADER} header)
set(anchor "  int OV_GetDLLVersion();")
string(FIND "${header}" "${anchor}" at)
if(at EQUAL -1)
  message(FATAL_ERROR "OV_GetDLLVersion() not found in ${HEADER}")
endif()

function(expect_failure name replacement expected)
  set(dir ${WORK}/${name})
  file(REMOVE_RECURSE ${dir})
  file(MAKE_DIRECTORY ${dir})
  string(REPLACE "${anchor}" "${replacement}" changed "${header}")
  file(WRITE ${dir}/orvex.h "${changed}")
  file(READ ${DOXYFILE} config)
  # Later settings win: the changed header alone, into the scratch directory.
  file(WRITE ${dir}/Doxyfile "${config}\nINPUT = ${dir}/orvex.h\nUSE_MDFILE_AS_MAINPAGE =\nOUTPUT_DIRECTORY = ${dir}/out\n")
  execute_process(COMMAND ${DOXYGEN} ${dir}/Doxyfile RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(rc EQUAL 0)
    message(FATAL_ERROR "${name}: doxygen passed a header with a documentation fault:\n${out}${err}")
  endif()
  if(NOT "${out}${err}" MATCHES "${expected}")
    message(FATAL_ERROR "${name}: doxygen failed, but not with '${expected}':\n${out}${err}")
  endif()
  message(STATUS "${name}: doxygen fails (${rc}): ${expected}")
endfunction()

# The unchanged header passes with the same settings, so the failures below
# come from the changes.
set(dir ${WORK}/unchanged)
file(REMOVE_RECURSE ${dir})
file(MAKE_DIRECTORY ${dir})
file(READ ${DOXYFILE} config)
file(WRITE ${dir}/Doxyfile "${config}\nINPUT = ${HEADER}\nUSE_MDFILE_AS_MAINPAGE =\nOUTPUT_DIRECTORY = ${dir}/out\n")
execute_process(COMMAND ${DOXYGEN} ${dir}/Doxyfile RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "doxygen fails on the header as it stands:\n${out}${err}")
endif()

expect_failure(undocumented "${anchor}\n  int OV_NewlyAdded(int ReaderID);"
               "OV_NewlyAdded.*is not documented")
expect_failure(wrong_parameter
               "${anchor}\n  /** Beeps. @param Count how often */\n  int OV_NewlyAdded(int ReaderID);"
               "argument 'Count' of command @param is not found")
