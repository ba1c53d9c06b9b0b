# SPDX-License-Identifier: MIT
# Each example runs against the simulated reader with the card it needs. In
# the sanitizer build a sanitizer's report fails the test even when the
# expected output came first.
if(TARGET orvex-sim AND ORVEX_EXAMPLES)
  set(example_sim_identify "--empty")
  set(example_sim_read_block "--card mfc1k")
  set(example_sim_purse_balance "--card cpu")
  set(example_sim_write_ndef_uri "--card ntag215")
  set(example_expect_identify "firmware version")
  set(example_expect_read_block "block 4 00000000000000000000000000000000")
  set(example_expect_purse_balance "purse balance 1000")
  set(example_expect_write_ndef_uri "first: URI code 04, \"orvex.invalid/hello\"")
  foreach(example ${ORVEX_EXAMPLES})
    if(example STREQUAL "two_readers")
      # Two simulated readers with serial numbers of their own, 1000 rounds each.
      add_test(NAME example_two_readers
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/scripts/with_two_sims.sh $<TARGET_FILE:orvex-sim>
                "--empty --serial 4141414100000001" "--empty --serial 4242424200000002"
                $<TARGET_FILE:example_two_readers> 1000)
      set_tests_properties(example_two_readers PROPERTIES
        PASS_REGULAR_EXPRESSION "reader A: 1000 answers, serial 4141414100000001\nreader B: 1000 answers, serial 4242424200000002|reader B: 1000 answers, serial 4242424200000002\nreader A: 1000 answers, serial 4141414100000001"
        FAIL_REGULAR_EXPRESSION "ERROR: AddressSanitizer|runtime error:|ERROR: LeakSanitizer" TIMEOUT 60)
      continue()
    endif()
    add_test(NAME example_${example}
      COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/scripts/with_sim.sh $<TARGET_FILE:orvex-sim>
              "${example_sim_${example}}" $<TARGET_FILE:example_${example}>)
    set_tests_properties(example_${example} PROPERTIES
      PASS_REGULAR_EXPRESSION "${example_expect_${example}}"
      FAIL_REGULAR_EXPRESSION "ERROR: AddressSanitizer|runtime error:|ERROR: LeakSanitizer" TIMEOUT 60)
  endforeach()
endif()
