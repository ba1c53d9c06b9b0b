// SPDX-License-Identifier: MIT
// Crypto utilities: DES, two-key triple-DES and triple-DES CBC on the
// library's own implementations; no reader needed.
#include "commands.h"

#include <memory>

namespace orvextool {

namespace {

enum class Mode { kDes, kDes3, kDes3Cbc };

struct CryptoOptions {
  std::string key, iv = "0000000000000000";
  std::vector<std::string> data;
  bool decrypt = false;
};

void Run(Context& ctx, Mode mode, const CryptoOptions& o) {
  const char* name = mode == Mode::kDes ? "des" : (mode == Mode::kDes3 ? "des3" : "des3-cbc");
  Bytes key = KeyFromOption(o.key, std::string(name) + " --key");
  size_t key_len = mode == Mode::kDes ? 8 : 16;
  if (key.size() != key_len)
    throw Failure(std::string(name) + ": the key has " + std::to_string(key_len * 2) + " hex digits", 2);
  Bytes iv = ParseHex(o.iv, std::string(name) + " --iv");
  if (iv.size() != 8) throw Failure(std::string(name) + ": the IV has 16 hex digits", 2);
  Bytes data = ParseHexArgs(o.data, name);
  if (data.empty() || data.size() % 8 != 0)
    throw Failure(std::string(name) + ": the data is a whole number of 8-byte blocks (got " +
                      std::to_string(data.size()) + " bytes)",
                  2);
  unsigned char cmodel = o.decrypt ? 1 : 0;
  Bytes out(data.size());
  for (size_t i = 0; i < data.size(); i += 8) {
    unsigned char* in = &data[i];
    unsigned char* res = &out[i];
    switch (mode) {
      case Mode::kDes: ctx.ov.DES(cmodel, key.data(), in, res); break;
      case Mode::kDes3: ctx.ov.DES3(cmodel, key.data(), in, res); break;
      case Mode::kDes3Cbc:
        // One block at a time, chained: the next IV is the last ciphertext block.
        ctx.ov.DES3_CBC(cmodel, key.data(), in, res, iv.data());
        iv.assign(o.decrypt ? in : res, (o.decrypt ? in : res) + 8);
        break;
    }
  }
  ctx.out().doc()["operation"] = o.decrypt ? "decrypt" : "encrypt";
  ctx.out().doc()["result"] = Hex(out);
  ctx.out().Line(Hex(out));
}

void Add(CLI::App& app, Context& ctx, const char* name, const char* what, Mode mode) {
  // The options are owned by the registered action, which the context keeps
  // for the life of the program; CLI11 writes into them while parsing.
  auto owned = std::make_shared<CryptoOptions>();
  CryptoOptions* o = owned.get();
  auto* sub = app.add_subcommand(name, what);
  sub->add_option("-k,--key", o->key, mode == Mode::kDes ? "8-byte key: @FILE, - (standard input) or hex"
                                                         : "16-byte key (K1 K2): @FILE, - (standard input) or hex")
      ->required();
  if (mode == Mode::kDes3Cbc) sub->add_option("--iv", o->iv, "8-byte IV in hex (default zero)");
  sub->add_flag("-D,--decrypt", o->decrypt, "decrypt (default: encrypt)");
  sub->add_option("DATA", o->data, "the data in hex, whole 8-byte blocks")->required();
  ctx.Register(sub, [&ctx, mode, owned] { Run(ctx, mode, *owned); });
}

}  // namespace

void AddCryptoCommands(CLI::App& app, Context& ctx) {
  Add(app, ctx, "des", "DES of 8-byte blocks (each block on its own)", Mode::kDes);
  Add(app, ctx, "des3", "two-key triple-DES of 8-byte blocks (each block on its own)", Mode::kDes3);
  Add(app, ctx, "des3-cbc", "two-key triple-DES in CBC mode", Mode::kDes3Cbc);
}

}  // namespace orvextool
