# SPDX-License-Identifier: MIT
# -DSOURCE the source tree   -DTOOL the built orvex tool
cmake_minimum_required(VERSION 3.25)

file(READ ${SOURCE}/CMakeLists.txt cmakelists)
if(NOT cmakelists MATCHES "project\\(Orvex VERSION ([0-9]+\\.[0-9]+\\.[0-9]+)")
  message(FATAL_ERROR "no project(Orvex VERSION x.y.z) in CMakeLists.txt")
endif()
set(project_version ${CMAKE_MATCH_1})

file(READ ${SOURCE}/include/orvex.h header)
foreach(part MAJOR MINOR PATCH)
  if(NOT header MATCHES "#define ORVEX_VERSION_${part} ([0-9]+)")
    message(FATAL_ERROR "no ORVEX_VERSION_${part} in include/orvex.h")
  endif()
  set(${part} ${CMAKE_MATCH_1})
endforeach()
set(header_version "${MAJOR}.${MINOR}.${PATCH}")

# The first entry of the changelog is the package version: [epoch:]upstream[-revision].
file(STRINGS ${SOURCE}/debian/changelog first LIMIT_COUNT 1)
if(NOT first MATCHES "^orvex \\(([^)]+)\\) ")
  message(FATAL_ERROR "debian/changelog does not start with an orvex entry: ${first}")
endif()
set(package_version ${CMAKE_MATCH_1})
string(REGEX REPLACE "^[0-9]+:" "" upstream "${package_version}")
string(REGEX REPLACE "-[^-]*$" "" upstream "${upstream}")

execute_process(COMMAND ${TOOL} --version OUTPUT_VARIABLE tool_out RESULT_VARIABLE rc)
string(STRIP "${tool_out}" tool_out)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "orvex --version exited with ${rc}")
endif()

message(STATUS "CMake project ${project_version}, header ${header_version}, "
               "debian/changelog ${package_version}, tool '${tool_out}'")
if(NOT header_version STREQUAL project_version)
  message(FATAL_ERROR "include/orvex.h says ${header_version}, CMakeLists.txt ${project_version}")
endif()
if(NOT upstream STREQUAL project_version)
  message(FATAL_ERROR "debian/changelog says ${package_version}, CMakeLists.txt ${project_version}")
endif()
# The tool prints what the library it loaded reports.
if(NOT tool_out STREQUAL "orvex ${project_version}")
  message(FATAL_ERROR "orvex --version printed '${tool_out}', not 'orvex ${project_version}'")
endif()
