# SPDX-License-Identifier: MIT
# Links an application owns: the connection-string parser, the link object's
# options and failures, scopes, and threads. The threading tests are also
# built with ThreadSanitizer (ORVEX_TSAN) by scripts/test.
add_executable(link_open_probe ${CMAKE_CURRENT_SOURCE_DIR}/links/open_probe.cpp)
target_link_libraries(link_open_probe PRIVATE orvex)

add_executable(owned_link_tests
  ${CMAKE_CURRENT_SOURCE_DIR}/links/connection_test.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/links/owned_link_test.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/links/discovery_test.cpp)
target_compile_definitions(owned_link_tests PRIVATE ORVEX_OPEN_PROBE="$<TARGET_FILE:link_open_probe>")
target_link_libraries(owned_link_tests PRIVATE orvex_test_support GTest::gtest_main)
add_dependencies(owned_link_tests link_open_probe)
gtest_discover_tests(owned_link_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
# The cases where threads meet a link also run under ThreadSanitizer.
gtest_discover_tests(owned_link_tests TEST_FILTER "*Cancel*:*Closed*:*Scope*:*SecondProcess*"
  TEST_PREFIX "threads." DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120 LABELS threads)

add_executable(link_threads_tests ${CMAKE_CURRENT_SOURCE_DIR}/links/threads_test.cpp)
target_link_libraries(link_threads_tests PRIVATE orvex_test_support orvexsim GTest::gtest_main)
gtest_discover_tests(link_threads_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 LABELS threads)
