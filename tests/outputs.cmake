# SPDX-License-Identifier: MIT
# The output tests share the generated method table and the output oracle
# with the command fuzzer.
target_include_directories(outputs_test PRIVATE ${PROJECT_SOURCE_DIR}/fuzz)

# The command fuzzer's seed corpus: command_seeds writes it from the
# simulated reader's answers (command_seeds fuzz/corpus/commands), and every
# seed runs through the fuzzer's own entry point, oracle included.
if(TARGET orvexsim)
  add_executable(command_seeds ${PROJECT_SOURCE_DIR}/fuzz/command_seeds.cpp)
  target_include_directories(command_seeds PRIVATE ${PROJECT_SOURCE_DIR}/fuzz)
  target_link_libraries(command_seeds PRIVATE orvex_internal orvexsim)
  add_test(NAME fuzz_commands_seeds_current
    COMMAND ${CMAKE_COMMAND} -DSEEDS=$<TARGET_FILE:command_seeds>
            -DCORPUS=${PROJECT_SOURCE_DIR}/fuzz/corpus/commands
            -DWORK=${CMAKE_CURRENT_BINARY_DIR}/command_seeds_now
            -P ${CMAKE_CURRENT_SOURCE_DIR}/scripts/check_command_seeds.cmake)
endif()
add_executable(fuzz_commands_replay ${PROJECT_SOURCE_DIR}/fuzz/fuzz_commands.cpp
                                    ${PROJECT_SOURCE_DIR}/fuzz/replay_main.cpp)
target_include_directories(fuzz_commands_replay PRIVATE ${PROJECT_SOURCE_DIR}/fuzz)
target_link_libraries(fuzz_commands_replay PRIVATE orvex_internal)
file(GLOB ORVEX_COMMAND_SEEDS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/fuzz/corpus/commands/*)
if(ORVEX_COMMAND_SEEDS)
  add_test(NAME fuzz_commands_seeds COMMAND fuzz_commands_replay ${ORVEX_COMMAND_SEEDS})
endif()
