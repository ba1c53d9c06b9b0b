# SPDX-License-Identifier: MIT
# DES, triple-DES and one-block CBC compared with OpenSSL's libcrypto on random
# keys and blocks. libcrypto is a test dependency only, linked to this one
# program (its source does not match the *_test.cpp pattern for that reason).
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
add_executable(des_openssl_check ${CMAKE_CURRENT_SOURCE_DIR}/des_openssl_check.cpp)
target_link_libraries(des_openssl_check PRIVATE orvex_internal OpenSSL::Crypto GTest::gtest_main)
gtest_discover_tests(des_openssl_check DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
