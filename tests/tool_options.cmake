# SPDX-License-Identifier: MIT
# The tool's option variables start from their defaults on every run.
find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
  add_test(NAME tool_options_reset
           COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tests/scripts/check_option_resets.py
                   ${PROJECT_SOURCE_DIR}/tools/orvex)
endif()
