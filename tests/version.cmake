# SPDX-License-Identifier: MIT
# The version is written in three places a release changes together: the
# CMake project, the header's ORVEX_VERSION_* macros and debian/changelog.
# This test reads all three, and asks the built tool and library too.
add_test(NAME versions_agree
  COMMAND ${CMAKE_COMMAND}
    -DSOURCE=${PROJECT_SOURCE_DIR}
    -DTOOL=$<TARGET_FILE:orvex_tool>
    -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_versions.cmake)
