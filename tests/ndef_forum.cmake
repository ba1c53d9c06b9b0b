# SPDX-License-Identifier: MIT
# The NFC Forum NDEF layer (src/ndef/forum): records, messages, tag areas.
file(GLOB ORVEX_NDEF_FORUM_TESTS CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/ndef_forum/*.cpp)
add_executable(ndef_forum_tests ${ORVEX_NDEF_FORUM_TESTS})
target_link_libraries(ndef_forum_tests PRIVATE orvex_ndef GTest::gtest_main)
gtest_discover_tests(ndef_forum_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 60)
