# SPDX-License-Identifier: MIT
# The shared library exports exactly the public surface listed in
# exported_symbols.txt (demangled, one a line), nothing more, nothing less.
add_test(NAME exported_symbols
  COMMAND ${CMAKE_COMMAND} -DLIB=$<TARGET_FILE:orvex>
          -DEXPECTED=${CMAKE_CURRENT_SOURCE_DIR}/exported_symbols.txt
          -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_exports.cmake)
