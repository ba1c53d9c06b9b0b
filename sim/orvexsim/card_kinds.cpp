// SPDX-License-Identifier: MIT
#include "orvexsim/card_kinds.h"

#include <functional>
#include <map>
#include <vector>

#include "orvexsim/cpu_card.h"
#include "orvexsim/felica.h"
#include "orvexsim/iso15693.h"
#include "orvexsim/lf_card.h"
#include "orvexsim/sle4442.h"
#include "orvexsim/mifare_classic.h"
#include "orvexsim/mifare_plus.h"
#include "orvexsim/ntag.h"
#include "orvexsim/sam.h"
#include "orvexsim/topaz.h"
#include "orvexsim/type_b.h"

namespace orvexsim {
namespace {

struct Kind {
  std::vector<size_t> id_lens;  // the id lengths it accepts (none: it takes no id)
  std::function<Bytes(int index)> default_id;
  std::function<std::shared_ptr<Card>(const Bytes& id)> make;
};

// A default id: a fixed prefix, then bytes that differ per index.
Bytes DefaultId(Bytes prefix, size_t len, int index) {
  Bytes id = prefix;
  Bytes tail = Pseudorandom(Concat(prefix, {static_cast<uint8_t>(index)}), len - prefix.size());
  id.insert(id.end(), tail.begin(), tail.end());
  return id;
}

const std::map<std::string, Kind>& Kinds() {
  static const std::map<std::string, Kind> kinds = {
      {"mfc1k",
       {{4, 7}, [](int i) { return DefaultId({0xA1}, 4, i); },
        [](const Bytes& id) { return std::make_shared<MifareClassic>(MifareClassic::Size::k1K, id); }}},
      {"mfc1k-uid",
       {{4}, [](int i) { return DefaultId({0xA2}, 4, i); },
        [](const Bytes& id) {
          auto c = std::make_shared<MifareClassic>(MifareClassic::Size::k1K, id);
          c->set_block0_writable(true, true);
          return c;
        }}},
      {"mfc4k",
       {{4, 7}, [](int i) { return DefaultId({0xA4}, 4, i); },
        [](const Bytes& id) { return std::make_shared<MifareClassic>(MifareClassic::Size::k4K, id); }}},
      {"ntag213",
       {{7}, [](int i) { return DefaultId({0x04}, 7, 3 * i); },
        [](const Bytes& id) { return std::make_shared<Ntag>(Ntag::Model::k213, id); }}},
      {"ntag215",
       {{7}, [](int i) { return DefaultId({0x04}, 7, 3 * i + 1); },
        [](const Bytes& id) { return std::make_shared<Ntag>(Ntag::Model::k215, id); }}},
      {"ntag216",
       {{7}, [](int i) { return DefaultId({0x04}, 7, 3 * i + 2); },
        [](const Bytes& id) { return std::make_shared<Ntag>(Ntag::Model::k216, id); }}},
      {"ntag210",
       {{7}, [](int i) { return DefaultId({0x04}, 7, 200 + i); },
        [](const Bytes& id) { return std::make_shared<Ntag>(Ntag::Model::k210, id); }}},
      {"ntag212",
       {{7}, [](int i) { return DefaultId({0x04}, 7, 210 + i); },
        [](const Bytes& id) { return std::make_shared<Ntag>(Ntag::Model::k212, id); }}},
      {"ulev1-48",
       {{7}, [](int i) { return DefaultId({0x04}, 7, 220 + i); },
        [](const Bytes& id) { return std::make_shared<Ntag>(Ntag::Model::kUltralight48, id); }}},
      {"ulev1-128",
       {{7}, [](int i) { return DefaultId({0x04}, 7, 230 + i); },
        [](const Bytes& id) { return std::make_shared<Ntag>(Ntag::Model::kUltralight128, id); }}},
      {"topaz",
       {{4}, [](int i) { return DefaultId({0x92}, 4, i); },
        [](const Bytes& id) { return std::make_shared<Topaz>(id); }}},
      {"cpu",
       {{4, 7}, [](int i) { return DefaultId({0xC1}, 4, i); },
        [](const Bytes& id) { return std::make_shared<CpuCard>(id); }}},
      {"cpu-blank",
       {{4, 7}, [](int i) { return DefaultId({0xC2}, 4, i); },
        [](const Bytes& id) { return std::make_shared<CpuCard>(id, false); }}},
      {"iso15693",
       {{8}, [](int i) { return DefaultId({0xE0, 0x04, 0x01}, 8, i); },
        [](const Bytes& id) { return std::make_shared<VicinityTag>(id); }}},
      {"sle4442", {{}, [](int) { return Bytes{}; }, [](const Bytes&) { return std::make_shared<Sle4442>(); }}},
      {"mfplus",
       {{4, 7}, [](int i) { return DefaultId({0xB1}, 4, i); },
        [](const Bytes& id) { return std::make_shared<MifarePlus>(id); }}},
      {"mfplus-sl3",
       {{4, 7}, [](int i) { return DefaultId({0xB3}, 4, i); },
        [](const Bytes& id) {
          // Committed and switched with the unpersonalised switch key: every AES key FF x 16.
          auto c = std::make_shared<MifarePlus>(id);
          c->CommitPerso();
          c->SwitchLevel(3, Bytes(16, 0xFF));
          return c;
        }}},
      {"typeb",
       {{4}, [](int i) { return DefaultId({0x5B}, 4, i); },
        [](const Bytes& id) { return std::make_shared<CpuCardB>(id); }}},
      {"idcard",
       {{8}, [](int i) { return DefaultId({0x11, 0x01}, 8, i); },
        [](const Bytes& id) { return std::make_shared<IdCard>(id); }}},
      {"sr176",
       {{8}, [](int i) { return DefaultId({0xD0, 0x02}, 8, i); },
        [](const Bytes& id) { return std::make_shared<StTag>(StTag::Model::kSr176, id); }}},
      {"sr512",
       {{8}, [](int i) { return DefaultId({0xD0, 0x02}, 8, 100 + i); },
        [](const Bytes& id) { return std::make_shared<StTag>(StTag::Model::kSr512, id); }}},
      {"srix4k",
       {{8}, [](int i) { return DefaultId({0xD0, 0x02}, 8, 200 + i); },
        [](const Bytes& id) { return std::make_shared<StTag>(StTag::Model::kSrix4k, id); }}},
      {"at88rf020",
       {{4}, [](int i) { return DefaultId({0xA8}, 4, i); },
        [](const Bytes& id) { return std::make_shared<At88rf020>(id); }}},
      {"felica",
       {{8}, [](int i) { return DefaultId({0x01, 0x2E}, 8, i); },
        [](const Bytes& id) { return std::make_shared<FelicaCard>(id); }}},
      {"sam",
       {{4}, [](int i) { return DefaultId({0x5A}, 4, i); },
        [](const Bytes& id) { return std::make_shared<SamCard>(id); }}},
      {"lf",
       {{5}, [](int i) { return DefaultId({0x1A}, 5, i); },
        [](const Bytes& id) { return std::make_shared<LfCard>(id); }}},
  };
  return kinds;
}

}  // namespace

std::shared_ptr<Card> MakeCard(const std::string& text, int index, std::string& error) {
  std::string name = text, id_text;
  size_t colon = text.find(':');
  if (colon != std::string::npos) {
    name = text.substr(0, colon);
    id_text = text.substr(colon + 1);
  }
  auto it = Kinds().find(name);
  if (it == Kinds().end()) {
    error = "unknown card kind \"" + name + "\"";
    return nullptr;
  }
  const Kind& k = it->second;
  Bytes id = k.default_id(index);
  if (!id_text.empty()) {
    if (k.id_lens.empty()) {
      error = name + " takes no id";
      return nullptr;
    }
    Bytes given;
    bool ok = ParseHex(id_text, given);
    std::string lens;
    for (size_t n : k.id_lens) lens += (lens.empty() ? "" : " or ") + std::to_string(n);
    bool len_ok = false;
    for (size_t n : k.id_lens) len_ok = len_ok || given.size() == n;
    if (!ok || !len_ok) {
      error = name + " needs an id of " + lens + " bytes in hex";
      return nullptr;
    }
    id = given;
  }
  return k.make(id);
}

const char* CardKindsHelp() {
  return "  mfc1k[:UID4|UID7]     MIFARE Classic 1K, blank (transport keys)\n"
         "  mfc1k-uid[:UID4]      MIFARE Classic 1K whose block 0 (UID) takes ordinary writes\n"
         "  mfc4k[:UID4|UID7]     MIFARE Classic 4K, blank (transport keys)\n"
         "  ntag213[:UID7]        NTAG213 (144 bytes of user memory)\n"
         "  ntag215[:UID7]        NTAG215 (504 bytes)\n"
         "  ntag216[:UID7]        NTAG216 (888 bytes)\n"
         "  ntag210[:UID7] ntag212[:UID7]   NTAG210 (48 bytes), NTAG212 (128 bytes)\n"
         "  ulev1-48[:UID7] ulev1-128[:UID7]   Ultralight EV1, 48 or 128 bytes, unformatted\n"
         "  cpu[:UID4|UID7]       ISO 14443-4 CPU card, FMCOS-style, with the purse application\n"
         "  cpu-blank[:UID4|UID7] the same with an empty MF\n"
         "  topaz[:UID4]          Topaz 512 (NFC Forum Type 1)\n"
         "  iso15693[:UID8]       ISO 15693 tag, 28 blocks of 4 bytes (UID as written, E0 first)\n"
         "  sle4442               SLE4442 in the contact slot (PSC FF FF FF)\n"
         "  mfplus[:UID4|UID7]    MIFARE Plus 4K at security level 0\n"
         "  mfplus-sl3[:UID4|UID7]   MIFARE Plus 4K at security level 3, every AES key FF x 16\n"
         "  typeb[:PUPI4]         ISO 14443-B CPU card, same system as cpu\n"
         "  idcard[:NUMBER8]      identity card (type B) whose number the reader reads\n"
         "  sr176[:UID8] sr512[:UID8] srix4k[:UID8]   ST memory tags\n"
         "  at88rf020[:PUPI4]     AT88RF020 (key FF x 8)\n"
         "  felica[:IDM8]         FeliCa card, services 0009 and 000B\n"
         "  sam[:SERIAL4]         a SAM into the first free SAM slot\n"
         "  lf[:ID5]              a 125 kHz identification card\n";
}

}  // namespace orvexsim
