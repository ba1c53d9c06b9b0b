# SPDX-License-Identifier: MIT
# The PC/SC driver (pcsc/), when it is built.
#  pcsc_driver_tests      its logic through GoogleTest: ATRs, device names,
#                         the configuration, the pseudo-APDUs against a fake
#                         card, the reader against the simulated one and a
#                         silent one, and libifd_orvex.so's entry points.
#  pcsc.*                 pcscd itself, in private mount and PID namespaces,
#                         with orvex-sim readers and pyscard and pcsc-tools
#                         as clients (label pcsc). They need root and
#                         unshare, and are skipped (status 77) without.
if(NOT TARGET ifd_orvex OR NOT TARGET orvexsim)
  return()
endif()

add_executable(pcsc_driver_tests
  ${CMAKE_CURRENT_SOURCE_DIR}/pcsc/atr_test.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/pcsc/pseudo_apdu_test.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/pcsc/reader_test.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/pcsc/ifdhandler_test.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/support/fake_reader.cpp)
target_include_directories(pcsc_driver_tests PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/support)
target_compile_definitions(pcsc_driver_tests PRIVATE ORVEX_IFD_PATH="$<TARGET_FILE:ifd_orvex>")
target_link_libraries(pcsc_driver_tests PRIVATE orvex_ifd orvexsim GTest::gtest_main ${CMAKE_DL_LIBS})
add_dependencies(pcsc_driver_tests ifd_orvex)
gtest_discover_tests(pcsc_driver_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)

# pcscd (not built with the sanitizers) cannot load a driver that is: the
# sanitizer builds leave these to the plain one.
if(ORVEX_SANITIZE OR ORVEX_TSAN OR ORVEX_FUZZ)
  return()
endif()
foreach(name cards apdu storage removal control two_readers readme)
  add_test(NAME pcsc.${name}
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/pcsc/run_pcscd_test.sh ${CMAKE_CURRENT_SOURCE_DIR}/pcsc/test_${name}.py)
  set_tests_properties(pcsc.${name} PROPERTIES
    LABELS pcsc
    SKIP_RETURN_CODE 77
    TIMEOUT 120
    ENVIRONMENT "ORVEX_SIM=$<TARGET_FILE:orvex-sim>;ORVEX_IFD=$<TARGET_FILE:ifd_orvex>;PYTHONDONTWRITEBYTECODE=1")
endforeach()

