# SPDX-License-Identifier: MIT
# Tests of the orvex command-line tool: the real program run against the
# simulated reader built into it, its output and exit status checked. Every
# tests/cli/*_test.cpp file joins the one test program.
if(TARGET orvex_tool)
  find_package(nlohmann_json 3 REQUIRED)
  pkg_check_modules(CLI_TEST_LIBPNG REQUIRED IMPORTED_TARGET libpng)
  file(GLOB CLI_TEST_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/cli/*_test.cpp)
  # The scripted fake reader (self-contained) for answers no simulated card gives.
  add_executable(cli_test ${CLI_TEST_SOURCES} ${CMAKE_CURRENT_SOURCE_DIR}/support/fake_reader.cpp)
  target_include_directories(cli_test PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/support)
  target_compile_definitions(cli_test PRIVATE ORVEX_TOOL="$<TARGET_FILE:orvex_tool>"
                             ORVEX_SIM_TOOL="$<TARGET_FILE:orvex-sim>"
                             ORVEX_MAN_DIR="${PROJECT_SOURCE_DIR}/tools/man"
                             ORVEX_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  target_link_libraries(cli_test PRIVATE GTest::gtest_main nlohmann_json::nlohmann_json
                        PkgConfig::CLI_TEST_LIBPNG orvexsim orvexsim_files orvex)
  add_dependencies(cli_test orvex_tool orvex-sim)
  gtest_discover_tests(cli_test DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
  # The hostile-reader tests run every command once for each command code it
  # sends: several hundred runs of the tool, minutes in the sanitizer build
  # when other tests share the processors. Their time limit is set once the
  # tests above are discovered (this file runs after the discovery's).
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/cli_test_timeouts.cmake
       "set_tests_properties(Hostile.EveryCommandWithAnswersStretchedToTheLongestDataField\n"
       "  Hostile.EveryCommandWithAnswersCutToNothing Hostile.EveryCommandWithAnswersCutToOneByte\n"
       "  PROPERTIES TIMEOUT 900)\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_CURRENT_BINARY_DIR}/cli_test_timeouts.cmake)
endif()
