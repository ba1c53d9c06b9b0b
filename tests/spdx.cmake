# SPDX-License-Identifier: MIT
# Every source file carries the licence's SPDX line (scripts/spdx adds it).
find_package(Python3 COMPONENTS Interpreter)
find_program(ORVEX_GIT git)
if(Python3_FOUND AND ORVEX_GIT AND EXISTS ${PROJECT_SOURCE_DIR}/.git)
  add_test(NAME spdx_lines COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/scripts/spdx --check)
endif()
