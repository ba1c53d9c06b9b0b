# SPDX-License-Identifier: MIT
cmake_minimum_required(VERSION 3.25)
# fuzz/fuzz_methods.h is exactly what fuzz/gen_methods.py writes from the
# header as it stands.
execute_process(COMMAND ${PYTHON} ${GENERATOR} OUTPUT_VARIABLE generated RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "fuzz/gen_methods.py failed (${rc})")
endif()
file(READ ${TABLE} table)
if(NOT generated STREQUAL table)
  message(FATAL_ERROR "fuzz/fuzz_methods.h is out of date: run fuzz/gen_methods.py > fuzz/fuzz_methods.h")
endif()
message(STATUS "fuzz/fuzz_methods.h is current")
