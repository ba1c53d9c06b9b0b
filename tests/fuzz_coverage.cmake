# SPDX-License-Identifier: MIT
add_test(NAME fuzz_covers_every_method
  COMMAND ${CMAKE_COMMAND} -DHEADER=${PROJECT_SOURCE_DIR}/include/orvex.h
          -DTABLE=${PROJECT_SOURCE_DIR}/fuzz/fuzz_methods.h
          -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_fuzz_coverage.cmake)
