// SPDX-License-Identifier: MIT
// The frame codec's encode and decode throughput, and the library's DES and
// triple-DES block rates beside OpenSSL's on the same machine.
#include <benchmark/benchmark.h>
#include <openssl/des.h>

#include <cstring>
#include <vector>

#include "link/untFunction.h"
#include "orvex.h"

namespace {

// Encoding a command frame with a data field of range(0) bytes (a pattern
// that needs some escapes, as real data does).
void BM_EncodeFrame(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::vector<unsigned char> data(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) data[static_cast<size_t>(i)] = static_cast<unsigned char>(i * 7);
  unsigned char out[orvex::kMaxStuffedFrame];
  for (auto _ : state) {
    int len = orvex::BuildFrame(1, 0x2A, 1, n, data.data(), out);
    benchmark::DoNotOptimize(len);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(state.iterations() * (n + 8));
}
BENCHMARK(BM_EncodeFrame)->Arg(1)->Arg(16)->Arg(192)->Arg(orvex::kMaxDataField);

// Decoding an answer frame with range(0) data bytes, as the serial link
// collects it (stuffed, STX to ETX).
void BM_DecodeAnswer(benchmark::State& state) {
  const int m = static_cast<int>(state.range(0));
  // An answer is a frame like a command's with the status byte leading the
  // data: build it with the encoder (status 0, then the data).
  std::vector<unsigned char> body(static_cast<size_t>(m) + 1, 0);
  for (int i = 0; i < m; ++i) body[static_cast<size_t>(i) + 1] = static_cast<unsigned char>(i * 7);
  unsigned char raw[orvex::kMaxStuffedFrame];
  int len = orvex::BuildFrame(1, 0x29, 1, m + 1, body.data(), raw);
  const int saved = orvex::FaceID;
  orvex::FaceID = 1;  // the serial shape
  static unsigned char data[orvex::kMaxAnswerData];
  for (auto _ : state) {
    int reader = 0;
    unsigned char cmd = 0, status = 0;
    int got = orvex::DecodeByte_Receive(reader, cmd, status, len, raw, data);
    if (got != m) {
      state.SkipWithError("the answer did not decode");
      break;
    }
    benchmark::DoNotOptimize(got);
    benchmark::ClobberMemory();
  }
  orvex::FaceID = saved;
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(state.iterations() * (m + 9));
}
BENCHMARK(BM_DecodeAnswer)->Arg(0)->Arg(16)->Arg(192)->Arg(orvex::kMaxAnswerData - 1);

// DES and two-key triple-DES (E K1, D K2, E K1), one 8-byte block at a time
// in ECB, as an application calls a block utility. The library's functions
// take the key with every block and so derive its subkeys every time;
// OpenSSL is measured both with a key schedule made once and with one made
// for every block.
unsigned char kKey16[16] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                            0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};

// range(0) 0: DES; 1: two-key triple-DES.
void BM_LibraryDes(benchmark::State& state) {
  Orvex ov;
  const bool triple = state.range(0) != 0;
  unsigned char block[8] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
  for (auto _ : state) {
    if (triple) ov.DES3(0, kKey16, block, block);
    else ov.DES(0, kKey16, block, block);
    benchmark::DoNotOptimize(block);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_LibraryDes)->ArgName("triple")->Arg(0)->Arg(1);

void BM_OpenSslDes(benchmark::State& state) {
  const bool schedule_each = state.range(0) != 0;
  DES_cblock key;
  std::memcpy(key, kKey16, 8);
  DES_key_schedule ks;
  DES_set_key_unchecked(&key, &ks);
  DES_cblock block = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
  for (auto _ : state) {
    if (schedule_each) DES_set_key_unchecked(&key, &ks);
    DES_ecb_encrypt(&block, &block, &ks, DES_ENCRYPT);
    benchmark::DoNotOptimize(block);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_OpenSslDes)->ArgName("schedule_each")->Arg(0)->Arg(1);

void BM_OpenSslTripleDes(benchmark::State& state) {
  const bool schedule_each = state.range(0) != 0;
  DES_cblock k1, k2;
  std::memcpy(k1, kKey16, 8);
  std::memcpy(k2, kKey16 + 8, 8);
  DES_key_schedule s1, s2;
  DES_set_key_unchecked(&k1, &s1);
  DES_set_key_unchecked(&k2, &s2);
  DES_cblock block = {0x54, 0x68, 0x65, 0x20, 0x71, 0x75, 0x66, 0x63};
  for (auto _ : state) {
    if (schedule_each) {
      DES_set_key_unchecked(&k1, &s1);
      DES_set_key_unchecked(&k2, &s2);
    }
    DES_ecb3_encrypt(&block, &block, &s1, &s2, &s1, DES_ENCRYPT);
    benchmark::DoNotOptimize(block);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_OpenSslTripleDes)->ArgName("schedule_each")->Arg(0)->Arg(1);

}  // namespace

BENCHMARK_MAIN();
