# SPDX-License-Identifier: MIT
# The bash completion installed with the tools completes subcommands and
# options from the orvex built.
if(TARGET orvex_tool)
  add_test(NAME bash_completion
           COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_completion.sh
                   ${PROJECT_SOURCE_DIR}/tools/completion/orvex $<TARGET_FILE_DIR:orvex_tool>)
endif()
