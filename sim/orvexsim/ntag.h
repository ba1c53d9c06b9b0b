// SPDX-License-Identifier: MIT
// NTAG213, NTAG215 and NTAG216 (NFC Forum Type 2 tags): 4-byte pages with
// the UID, static and dynamic lock bytes, the capability container, user
// memory and the configuration pages (AUTH0, ACCESS, PWD, PACK); the
// commands GET_VERSION, READ, FAST_READ, WRITE, COMPATIBILITY_WRITE,
// PWD_AUTH, READ_SIG, READ_CNT and HALT.
#pragma once

#include "orvexsim/card.h"

namespace orvexsim {

class Ntag : public TypeACard {
 public:
  enum class Model { k213, k215, k216 };

  // A tag as it leaves the factory: lock bytes clear, capability container
  // written, an empty NDEF message on page 4, password protection off.
  // uid is 7 bytes.
  Ntag(Model model, Bytes uid);

  std::string kind() const override;
  uint16_t atqa() const override { return 0x0044; }
  uint8_t sak() const override { return 0x00; }
  std::optional<Bytes> Transceive(const Bytes& frame) override;
  void PowerUp() override;

  Model model() const { return model_; }
  int pages() const { return static_cast<int>(mem_.size() / 4); }
  // User memory: the pages from 4 up to the dynamic lock bytes.
  int user_bytes() const { return (cfg_page() - 1 - 4) * 4; }
  // Configuration pages, counted from the end of memory.
  int dynlock_page() const { return pages() - 5; }
  int cfg_page() const { return pages() - 4; }
  int access_page() const { return pages() - 3; }
  int pwd_page() const { return pages() - 2; }
  int pack_page() const { return pages() - 1; }

  Bytes& memory() { return mem_; }
  const Bytes& memory() const { return mem_; }
  uint32_t counter() const { return counter_; }
  bool authenticated() const { return authenticated_; }

  static constexpr uint8_t kAck = 0x0A;

 protected:
  void Deactivated() override { authenticated_ = false; }

 private:
  std::optional<Bytes> Read(int page);
  std::optional<Bytes> FastRead(int start, int end);
  std::optional<Bytes> Write(int page, const Bytes& data);
  std::optional<Bytes> PwdAuth(const Bytes& pwd);
  std::optional<Bytes> ReadCounter();
  uint8_t Auth0() const { return mem_[static_cast<size_t>(cfg_page()) * 4 + 3]; }
  uint8_t Access() const { return mem_[static_cast<size_t>(access_page()) * 4]; }
  bool Locked(int page) const;
  bool ReadProtected(int page) const;
  bool WriteProtected(int page) const;
  // The bytes a page shows to a read: PWD and PACK read as zeros.
  void AppendPage(Bytes& out, int page) const;
  void CountRead();

  Model model_;
  Bytes mem_;
  bool authenticated_ = false;
  bool counted_ = false;    // the NFC counter moved in this power-up
  uint32_t counter_ = 0;    // the NFC counter (24 bits)
  int failed_auths_ = 0;    // negative password attempts, for AUTHLIM
};

}  // namespace orvexsim
