# SPDX-License-Identifier: MIT
# Installs the library into a scratch prefix and builds a small program
# against the installed copy, through pkg-config and through find_package.
set(ORVEX_INSTALL_TEST_FLAGS "")
if(ORVEX_SANITIZE)
  set(ORVEX_INSTALL_TEST_FLAGS "-fsanitize=address,undefined")
endif()
add_test(NAME install_and_use
  COMMAND ${CMAKE_COMMAND}
    -DBUILD_DIR=${PROJECT_BINARY_DIR}
    -DPREFIX=${CMAKE_CURRENT_BINARY_DIR}/install-test/prefix
    -DWORK=${CMAKE_CURRENT_BINARY_DIR}/install-test/work
    -DLIBDIR=${CMAKE_INSTALL_LIBDIR}
    -DCONSUMER=${CMAKE_CURRENT_SOURCE_DIR}/install/consumer
    -DEXAMPLES=${PROJECT_SOURCE_DIR}/examples
    -DCXX=${CMAKE_CXX_COMPILER}
    -DFLAGS=${ORVEX_INSTALL_TEST_FLAGS}
    -P ${CMAKE_CURRENT_SOURCE_DIR}/install/install_and_use.cmake)
set_tests_properties(install_and_use PROPERTIES TIMEOUT 300)
