# SPDX-License-Identifier: MIT
# The output tests share the generated method table and the output oracle
# with the command fuzzer.
target_include_directories(outputs_test PRIVATE ${PROJECT_SOURCE_DIR}/fuzz)
