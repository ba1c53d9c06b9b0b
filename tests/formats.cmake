# SPDX-License-Identifier: MIT
# The tool's shared data formats (tools/formats).
if(TARGET orvex_formats)
  add_executable(formats_tests ${CMAKE_CURRENT_SOURCE_DIR}/formats_unit.cpp ${CMAKE_CURRENT_SOURCE_DIR}/apdu_script_unit.cpp)
  target_link_libraries(formats_tests PRIVATE orvex_formats GTest::gtest_main)
  gtest_discover_tests(formats_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 60)
endif()

# Simulated MIFARE Classic cards from and to dump files (sim/files).
if(TARGET orvexsim_files)
  target_sources(formats_tests PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/sim_files_unit.cpp)
  target_link_libraries(formats_tests PRIVATE orvexsim_files)
endif()
