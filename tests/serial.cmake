# SPDX-License-Identifier: MIT
# Serial port tests that open ports by their real names ("/dev/ttyS<N>"):
# the test program itself defines open() and friends (support/ttys_redirect)
# and exports them, so that the opens of the library, linked in or loaded as
# liborvex.so, land on the test's pseudo-terminals. No root, and the host's
# serial ports are never touched.
add_library(orvex_ttys_redirect OBJECT ${CMAKE_CURRENT_SOURCE_DIR}/support/ttys_redirect.cpp)
target_include_directories(orvex_ttys_redirect PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/support)
foreach(fn open open64 openat openat64 __open_2 __open64_2)
  target_link_options(orvex_ttys_redirect INTERFACE -Wl,--export-dynamic-symbol=${fn})
endforeach()
target_link_libraries(orvex_ttys_redirect INTERFACE ${CMAKE_DL_LIBS})

# Against the internal library.
add_executable(serial_port_tests ${CMAKE_CURRENT_SOURCE_DIR}/serial/serial_port_tests.cpp)
target_link_libraries(serial_port_tests PRIVATE orvex_ttys_redirect orvex_test_support GTest::gtest_main)
gtest_discover_tests(serial_port_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)

# Against the shared library, through its PLT: only the public surface.
add_executable(serial_shared_library_tests
  ${CMAKE_CURRENT_SOURCE_DIR}/serial/shared_library_tests.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/support/fake_reader.cpp)
target_include_directories(serial_shared_library_tests PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/support)
target_link_libraries(serial_shared_library_tests PRIVATE
  orvex_ttys_redirect orvex GTest::gtest_main Threads::Threads)
gtest_discover_tests(serial_shared_library_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
