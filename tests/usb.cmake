# SPDX-License-Identifier: MIT
# USB HID tests: the library's real libusb-1.0 calls against an emulated
# reader (support/fake_hid, on umockdev's testbed). The programs run with
# umockdev's preload library, which gives them the emulated /sys and /dev.
pkg_check_modules(UMOCKDEV REQUIRED IMPORTED_TARGET umockdev-1.0)

add_library(orvex_fake_hid STATIC ${CMAKE_CURRENT_SOURCE_DIR}/support/fake_hid.cpp)
target_include_directories(orvex_fake_hid PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/support)
target_link_libraries(orvex_fake_hid PUBLIC orvex_test_support PkgConfig::UMOCKDEV PkgConfig::LIBUSB)

add_executable(usb_hid_tests ${CMAKE_CURRENT_SOURCE_DIR}/usb/usb_hid_tests.cpp)
# The serial redirection keeps the failed-serial-open cases off the host's ports.
target_link_libraries(usb_hid_tests PRIVATE orvex_fake_hid orvex_ttys_redirect GTest::gtest_main)
gtest_discover_tests(usb_hid_tests TEST_LIST ORVEX_USB_HID_TESTS
  DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)

add_executable(usb_links_tests ${CMAKE_CURRENT_SOURCE_DIR}/usb/usb_links_tests.cpp)
target_link_libraries(usb_links_tests PRIVATE orvex_fake_hid orvexsim GTest::gtest_main)
target_compile_definitions(usb_links_tests PRIVATE ORVEX_TOOL="$<TARGET_FILE:orvex_tool>")
add_dependencies(usb_links_tests orvex_tool)
gtest_discover_tests(usb_links_tests TEST_LIST ORVEX_USB_LINKS_TESTS
  DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)

# The environment is set once the discovered tests are known (a list value
# does not survive gtest_discover_tests' PROPERTIES). Under the sanitizers
# the preload library is loaded before the ASan runtime; that is expected.
set(ORVEX_USB_ENV_FILE ${CMAKE_CURRENT_BINARY_DIR}/usb_hid_tests_env.cmake)
file(WRITE ${ORVEX_USB_ENV_FILE}
  "foreach(list ORVEX_USB_HID_TESTS ORVEX_USB_LINKS_TESTS)\n"
  "  if(\${list})\n"
  "    set_tests_properties(\${\${list}} PROPERTIES ENVIRONMENT\n"
  "      \"LD_PRELOAD=libumockdev-preload.so.0;ASAN_OPTIONS=verify_asan_link_order=0\")\n"
  "  endif()\n"
  "endforeach()\n")
set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${ORVEX_USB_ENV_FILE})
