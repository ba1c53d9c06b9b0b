# SPDX-License-Identifier: MIT
# The PC/SC driver by the names pcscd's USB hotplug gives, on the emulated
# USB reader (umockdev's preload library; usb.cmake builds the device).
if(TARGET orvex_fake_hid AND TARGET ifd_orvex AND TARGET orvexsim)
  add_executable(pcsc_usb_tests ${CMAKE_CURRENT_SOURCE_DIR}/pcsc/usb_test.cpp)
  target_include_directories(pcsc_usb_tests PRIVATE ${PROJECT_SOURCE_DIR}/pcsc/src
    $<TARGET_PROPERTY:PkgConfig::PCSCLITE,INTERFACE_INCLUDE_DIRECTORIES>)
  target_compile_definitions(pcsc_usb_tests PRIVATE ORVEX_IFD_PATH="$<TARGET_FILE:ifd_orvex>")
  target_link_libraries(pcsc_usb_tests PRIVATE orvex_fake_hid orvexsim GTest::gtest_main ${CMAKE_DL_LIBS})
  add_dependencies(pcsc_usb_tests ifd_orvex)
  gtest_discover_tests(pcsc_usb_tests TEST_PREFIX "pcsc_usb." TEST_LIST ORVEX_PCSC_USB_TESTS
    DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
  # The preload library, as for the other USB tests (set once the tests are known).
  set(env_file ${CMAKE_CURRENT_BINARY_DIR}/pcsc_usb_tests_env.cmake)
  file(WRITE ${env_file}
    "if(ORVEX_PCSC_USB_TESTS)\n"
    "  set_tests_properties(\${ORVEX_PCSC_USB_TESTS} PROPERTIES ENVIRONMENT\n"
    "    \"LD_PRELOAD=libumockdev-preload.so.0;ASAN_OPTIONS=verify_asan_link_order=0\")\n"
    "endif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${env_file})
endif()

# pcscd's own hotplug (libudev) finding the emulated reader, with the bundle
# mounted over the driver folder in a private mount namespace (root).
if(TARGET orvex_fake_hid AND TARGET ifd_orvex AND TARGET orvexsim AND NOT (ORVEX_SANITIZE OR ORVEX_TSAN OR ORVEX_FUZZ))
  find_program(ORVEX_PCSCD pcscd PATHS /usr/sbin)
  if(ORVEX_PCSCD)
    add_executable(pcsc_usb_hotplug_tests ${CMAKE_CURRENT_SOURCE_DIR}/pcsc/usb_hotplug_test.cpp)
    target_compile_definitions(pcsc_usb_hotplug_tests PRIVATE ORVEX_IFD_PATH="$<TARGET_FILE:ifd_orvex>"
      ORVEX_IFD_PLIST="${PROJECT_BINARY_DIR}/pcsc/Info.plist" PCSCD_PATH="${ORVEX_PCSCD}")
    target_link_libraries(pcsc_usb_hotplug_tests PRIVATE orvex_fake_hid orvexsim PkgConfig::PCSCLITE GTest::gtest_main)
    add_dependencies(pcsc_usb_hotplug_tests ifd_orvex)
    add_test(NAME pcsc.usb_hotplug COMMAND pcsc_usb_hotplug_tests)
    set_tests_properties(pcsc.usb_hotplug PROPERTIES LABELS pcsc TIMEOUT 120
      ENVIRONMENT "LD_PRELOAD=libumockdev-preload.so.0")
  endif()
endif()
