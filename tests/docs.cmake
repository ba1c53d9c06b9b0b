# SPDX-License-Identifier: MIT
# The API reference's documentation warnings are errors: a copy of the
# header with one undocumented method added, and one whose documentation
# names a parameter the method does not have, each fail doxygen with the
# build's own configuration.
if(NOT ORVEX_BUILD_DOCS)
  return()
endif()
add_test(NAME api_docs_fail_on_warning
  COMMAND ${CMAKE_COMMAND}
    -DDOXYGEN=${DOXYGEN_EXECUTABLE}
    -DDOXYFILE=${PROJECT_BINARY_DIR}/Doxyfile
    -DHEADER=${PROJECT_SOURCE_DIR}/include/orvex.h
    -DWORK=${CMAKE_CURRENT_BINARY_DIR}/docs-warning
    -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_docs_warning.cmake)
