// SPDX-License-Identifier: MIT
// NTAG210, NTAG212, NTAG213, NTAG215, NTAG216 and Ultralight EV1 (48 and
// 128 bytes of user memory), NFC Forum Type 2 tags: 4-byte pages with the
// UID, static lock bytes, the one-time programmable page 3, user memory,
// dynamic lock bytes (on the tags with more than 20 pages) and the
// configuration pages (AUTH0, ACCESS, PWD, PACK); the commands GET_VERSION,
// READ, FAST_READ, WRITE, COMPATIBILITY_WRITE, PWD_AUTH, READ_SIG, HALT,
// READ_CNT (the NTAG213/215/216 NFC counter; the three one-way counters of
// the Ultralight EV1), and on the Ultralight EV1 INCR_CNT and
// CHECK_TEARING_EVENT.
#pragma once

#include "orvexsim/card.h"

namespace orvexsim {

class Ntag : public TypeACard {
 public:
  enum class Model { k213, k215, k216, k210, k212, kUltralight48, kUltralight128 };

  // A tag as it leaves the factory: lock bytes clear, password protection
  // off; an NTAG with its capability container written and an empty NDEF
  // message on page 4, an Ultralight EV1 with page 3 and user memory clear.
  // uid is 7 bytes.
  Ntag(Model model, Bytes uid);

  std::string kind() const override;
  uint16_t atqa() const override { return 0x0044; }
  uint8_t sak() const override { return 0x00; }
  std::optional<Bytes> Transceive(const Bytes& frame) override;
  void PowerUp() override;

  Model model() const { return model_; }
  int pages() const { return static_cast<int>(mem_.size() / 4); }
  bool nfc_counter() const;  // NTAG213/215/216
  bool ultralight() const { return model_ == Model::kUltralight48 || model_ == Model::kUltralight128; }
  // The tags of 20 pages have no dynamic lock bytes.
  bool dynamic_lock() const { return pages() > 20; }
  // User memory: the pages from 4 up to the dynamic lock bytes, or up to
  // the configuration pages.
  int last_user_page() const { return dynamic_lock() ? dynlock_page() - 1 : cfg_page() - 1; }
  int user_bytes() const { return (last_user_page() - 3) * 4; }
  // Configuration pages, counted from the end of memory (the dynamic lock
  // page: -1 on a tag without one).
  int dynlock_page() const { return dynamic_lock() ? pages() - 5 : -1; }
  int cfg_page() const { return pages() - 4; }
  int access_page() const { return pages() - 3; }
  int pwd_page() const { return pages() - 2; }
  int pack_page() const { return pages() - 1; }

  Bytes& memory() { return mem_; }
  const Bytes& memory() const { return mem_; }
  // The NFC counter; on an Ultralight EV1 its one-way counter n (0 to 2).
  uint32_t counter(int n = 0) const { return counters_[static_cast<size_t>(n)]; }
  bool authenticated() const { return authenticated_; }

  static constexpr uint8_t kAck = 0x0A;

 protected:
  void Deactivated() override { authenticated_ = false; }

 private:
  std::optional<Bytes> Read(int page);
  std::optional<Bytes> FastRead(int start, int end);
  std::optional<Bytes> Write(int page, const Bytes& data);
  std::optional<Bytes> PwdAuth(const Bytes& pwd);
  std::optional<Bytes> ReadCounter(int n);
  std::optional<Bytes> IncrementCounter(int n, const Bytes& by);
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
  uint32_t counters_[3] = {0, 0, 0};  // the NFC counter, or the three one-way counters (24 bits)
  int failed_auths_ = 0;    // negative password attempts, for AUTHLIM
};

}  // namespace orvexsim
