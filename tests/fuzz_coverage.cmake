# SPDX-License-Identifier: MIT
add_test(NAME fuzz_covers_every_method
  COMMAND ${CMAKE_COMMAND} -DHEADER=${PROJECT_SOURCE_DIR}/include/orvex.h
          -DTABLE=${PROJECT_SOURCE_DIR}/fuzz/fuzz_methods.h
          -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_fuzz_coverage.cmake)
# The method table is what fuzz/gen_methods.py makes of the header today: the
# buffer sizes it gives every method are the header's own.
find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND)
  add_test(NAME fuzz_method_table_current
    COMMAND ${CMAKE_COMMAND} -DPYTHON=${Python3_EXECUTABLE}
            -DGENERATOR=${PROJECT_SOURCE_DIR}/fuzz/gen_methods.py
            -DTABLE=${PROJECT_SOURCE_DIR}/fuzz/fuzz_methods.h
            -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_method_table.cmake)
endif()
# The campaign script's arguments, checked before it builds anything.
add_test(NAME fuzz_campaign_arguments
  COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_campaign_args.sh ${PROJECT_SOURCE_DIR}/fuzz/campaign)
