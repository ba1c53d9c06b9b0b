# SPDX-License-Identifier: MIT
# The soak test runs against the simulated reader.
if(TARGET orvexsim)
  add_executable(soak_tests soak/soak_tests.cpp)
  target_link_libraries(soak_tests PRIVATE orvex orvexsim GTest::gtest_main)
  gtest_discover_tests(soak_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 600 LABELS soak)
endif()
