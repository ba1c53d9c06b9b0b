# SPDX-License-Identifier: MIT
# The same end-to-end flows over USB HID: the simulator behind the emulated
# USB reader device (support/fake_hid on umockdev's testbed), the library
# reached through liborvex.so and its real libusb calls. The device emulation
# is built here on its own, without the internal library, so that every
# call the flows make goes into the shared library.
# (Included after sim.cmake and usb.cmake: it needs the list of end-to-end
# sources and the umockdev package.)
if(TARGET orvexsim AND TARGET orvex_fake_hid)
  add_library(orvex_e2e_fake_hid STATIC
    ${CMAKE_CURRENT_SOURCE_DIR}/support/fake_hid.cpp
    ${CMAKE_CURRENT_SOURCE_DIR}/support/fake_reader.cpp)
  target_include_directories(orvex_e2e_fake_hid PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/support)
  target_link_libraries(orvex_e2e_fake_hid PUBLIC PkgConfig::UMOCKDEV PkgConfig::LIBUSB
    GTest::gtest Threads::Threads)

  set(ORVEX_E2E_HID_TESTS "")
  foreach(src ${ORVEX_E2E_TESTS})
    get_filename_component(name ${src} NAME_WE)
    add_executable(e2e_hid_${name} ${src})
    target_compile_definitions(e2e_hid_${name} PRIVATE ORVEX_E2E_HID=1)
    target_include_directories(e2e_hid_${name} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/sim/e2e)
    target_link_libraries(e2e_hid_${name} PRIVATE orvex orvexsim orvex_e2e_fake_hid GTest::gtest_main)
    gtest_discover_tests(e2e_hid_${name} TEST_PREFIX "Hid." TEST_LIST ORVEX_E2E_HID_${name}
      DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
    list(APPEND ORVEX_E2E_HID_TESTS ORVEX_E2E_HID_${name})
  endforeach()

  # The preload library gives the programs the emulated /sys and /dev; the
  # environment is set once the discovered tests are known.
  set(ORVEX_E2E_HID_ENV_FILE ${CMAKE_CURRENT_BINARY_DIR}/e2e_hid_env.cmake)
  file(WRITE ${ORVEX_E2E_HID_ENV_FILE} "")
  foreach(list_var ${ORVEX_E2E_HID_TESTS})
    file(APPEND ${ORVEX_E2E_HID_ENV_FILE}
      "if(${list_var})\n"
      "  set_tests_properties(\${${list_var}} PROPERTIES ENVIRONMENT\n"
      "    \"LD_PRELOAD=libumockdev-preload.so.0;ASAN_OPTIONS=verify_asan_link_order=0\")\n"
      "endif()\n")
  endforeach()
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${ORVEX_E2E_HID_ENV_FILE})
endif()
