# SPDX-License-Identifier: MIT
# Interoperability with third-party implementations of the formats the SDK
# speaks: the NDEF layer against the npm package "ndef" (installed from the
# npm registry into the build tree by the first test).
find_program(ORVEX_NODE node)
find_program(ORVEX_NPM npm)
if(ORVEX_NODE AND ORVEX_NPM)
  add_test(NAME ndef_npm_install
           COMMAND ${ORVEX_NPM} install --no-audit --no-fund --prefix ${CMAKE_CURRENT_BINARY_DIR}/npm ndef@0.2.0)
  set_tests_properties(ndef_npm_install PROPERTIES FIXTURES_SETUP ndef_npm TIMEOUT 300)
  add_test(NAME ndef_npm_crosscheck
           COMMAND ${ORVEX_NODE} ${CMAKE_CURRENT_SOURCE_DIR}/interop/ndef_npm_crosscheck.js
                   $<TARGET_FILE:orvex_tool> ${CMAKE_CURRENT_BINARY_DIR}/npm/node_modules)
  set_tests_properties(ndef_npm_crosscheck PROPERTIES FIXTURES_REQUIRED ndef_npm TIMEOUT 120
                       PASS_REGULAR_EXPRESSION "ndef cross-check: [0-9]+ checks passed")
else()
  # Not skipped quietly: the cross-check is part of the tests.
  add_test(NAME ndef_npm_crosscheck COMMAND sh -c "echo 'node and npm are needed (scripts/install-deps installs them)'; exit 1")
endif()
