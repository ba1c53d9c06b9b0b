# SPDX-License-Identifier: MIT
# Tests of the simulated reader.
#  tests/sim/*_test.cpp      the simulator's own parts and card models, against
#                            published facts; linked with orvexsim alone.
#  tests/sim/e2e/*_test.cpp  end-to-end flows: the public API of liborvex.so
#                            against the simulated reader on a pseudo-terminal.
if(TARGET orvexsim)
  file(GLOB ORVEX_SIM_TESTS CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/sim/*_test.cpp)
  foreach(src ${ORVEX_SIM_TESTS})
    get_filename_component(name ${src} NAME_WE)
    add_executable(sim_${name} ${src})
    target_link_libraries(sim_${name} PRIVATE orvexsim GTest::gtest_main)
    gtest_discover_tests(sim_${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
  endforeach()

  file(GLOB ORVEX_E2E_TESTS CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/sim/e2e/*_test.cpp)
  foreach(src ${ORVEX_E2E_TESTS})
    get_filename_component(name ${src} NAME_WE)
    add_executable(e2e_${name} ${src})
    target_include_directories(e2e_${name} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/sim/e2e)
    target_link_libraries(e2e_${name} PRIVATE orvex orvexsim GTest::gtest_main)
    gtest_discover_tests(e2e_${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
  endforeach()
endif()

