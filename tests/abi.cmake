# SPDX-License-Identifier: MIT
# The library's ABI against the committed baseline (abi/liborvex.so.1.abi),
# and proof that the check catches a break: a variant of liborvex.so.1 built
# from the same objects, except that one exported method takes a long where
# the baseline's takes an int, must fail it.
find_program(ORVEX_ABIDIFF abidiff)
if(NOT ORVEX_ABIDIFF)
  message(WARNING "abidiff not found: the ABI tests are not built (scripts/install-deps installs abigail-tools)")
  return()
endif()
if(ORVEX_SANITIZE OR ORVEX_TSAN OR ORVEX_FUZZ)
  return()  # the baseline describes the release library
endif()

add_test(NAME abi_matches_baseline
  COMMAND ${PROJECT_SOURCE_DIR}/scripts/abi-check $<TARGET_FILE:orvex>)

# The variant: src/orvex.cpp compiled against a copy of the header in which
# OV_ComInitial's Bound is a long, linked with every other object of the
# library as it stands.
set(variant_dir ${CMAKE_CURRENT_BINARY_DIR}/abi-variant)
file(READ ${PROJECT_SOURCE_DIR}/include/orvex.h header)
file(READ ${PROJECT_SOURCE_DIR}/src/orvex.cpp source)
set(from_decl "int OV_ComInitial(int PortIndex, int Bound);")
set(from_def "int Orvex::OV_ComInitial(int PortIndex, int Bound)")
string(FIND "${header}" "${from_decl}" at_decl)
string(FIND "${source}" "${from_def}" at_def)
if(at_decl EQUAL -1 OR at_def EQUAL -1)
  message(FATAL_ERROR "tests/abi.cmake: OV_ComInitial(int, int) not found to change; pick another method")
endif()
string(REPLACE "${from_decl}" "int OV_ComInitial(int PortIndex, long Bound);" header "${header}")
string(REPLACE "${from_def}" "int Orvex::OV_ComInitial(int PortIndex, long Bound)" source "${source}")
# Every "orvex.h" the file includes is this copy.
# (written only when they change, so that a reconfigure rebuilds nothing)
file(WRITE ${variant_dir}/orvex.h.new "${header}")
file(WRITE ${variant_dir}/orvex.cpp.new "${source}")
configure_file(${variant_dir}/orvex.h.new ${variant_dir}/orvex.h COPYONLY)
configure_file(${variant_dir}/orvex.cpp.new ${variant_dir}/orvex.cpp COPYONLY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/include/orvex.h ${PROJECT_SOURCE_DIR}/src/orvex.cpp)

add_library(orvex_abi_variant SHARED ${variant_dir}/orvex.cpp
  "$<FILTER:$<TARGET_OBJECTS:orvex_objects>,EXCLUDE,/src/orvex\\.cpp\\.o$>")
target_include_directories(orvex_abi_variant PRIVATE ${variant_dir} ${PROJECT_SOURCE_DIR}/src)
target_compile_definitions(orvex_abi_variant PRIVATE ORVEX_BUILDING_LIBRARY)
target_link_libraries(orvex_abi_variant PRIVATE PkgConfig::LIBUSB)
set_target_properties(orvex_abi_variant PROPERTIES
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON
  LIBRARY_OUTPUT_DIRECTORY ${variant_dir}
  OUTPUT_NAME orvex
  SOVERSION 1
  LINK_DEPENDS ${PROJECT_SOURCE_DIR}/src/liborvex.map)
target_link_options(orvex_abi_variant PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/src/liborvex.map)

add_test(NAME abi_check_fails_on_changed_parameter
  COMMAND sh -c "out=$(\"$0\" \"$1\" 2>&1); rc=$?; echo \"$out\"; [ $rc -eq 1 ] && echo \"$out\" | grep -q 'INCOMPATIBLE'"
          ${PROJECT_SOURCE_DIR}/scripts/abi-check $<TARGET_FILE:orvex_abi_variant>)

# A second variant adds an exported function and changes nothing else: the
# check tells that apart from a break (compatible, but not yet recorded).
file(WRITE ${variant_dir}/added.cpp.new
  "// One exported function more than the library has.\n"
  "__attribute__((visibility(\"default\"))) int OrvexCheckConnectionAddedForTest() { return 1; }\n")
configure_file(${variant_dir}/added.cpp.new ${variant_dir}/added.cpp COPYONLY)
add_library(orvex_abi_addition SHARED ${variant_dir}/added.cpp $<TARGET_OBJECTS:orvex_objects>)
target_link_libraries(orvex_abi_addition PRIVATE PkgConfig::LIBUSB)
set_target_properties(orvex_abi_addition PROPERTIES
  LIBRARY_OUTPUT_DIRECTORY ${variant_dir}/addition
  OUTPUT_NAME orvex
  SOVERSION 1
  LINK_DEPENDS ${PROJECT_SOURCE_DIR}/src/liborvex.map)
target_link_options(orvex_abi_addition PRIVATE -Wl,--version-script=${PROJECT_SOURCE_DIR}/src/liborvex.map)
add_test(NAME abi_check_tells_additions_apart
  COMMAND sh -c "out=$(\"$0\" \"$1\" 2>&1); rc=$?; echo \"$out\"; [ $rc -eq 1 ] && echo \"$out\" | grep -q 'compatible additions' && ! echo \"$out\" | grep -q 'INCOMPATIBLE'"
          ${PROJECT_SOURCE_DIR}/scripts/abi-check $<TARGET_FILE:orvex_abi_addition>)
