# SPDX-License-Identifier: MIT
# The manual pages render with groff's man macros without a single warning.
find_program(GROFF_PROGRAM groff)
if(GROFF_PROGRAM)
  foreach(page orvex.1 orvex-sim.1)
    add_test(NAME man_page_${page}
             COMMAND sh -c "out=$(\"$0\" -man -Tutf8 -ww -z \"$1\" 2>&1) && [ -z \"$out\" ] || { echo \"$out\"; exit 1; }"
                     ${GROFF_PROGRAM} ${PROJECT_SOURCE_DIR}/tools/man/${page})
  endforeach()
else()
  message(WARNING "groff not found: the manual page tests are not built (scripts/install-deps installs it)")
endif()
