// SPDX-License-Identifier: MIT
// Writes the seed corpus of fuzz_commands: for every method of the table,
// the answers the simulated reader gives it, in the fuzzer's framed layout
// (mode 1, the method's index, no integer bytes, then status, length and data
// of each answer), one file per method named after it.
//
//   command_seeds fuzz/corpus/commands
//
// Each method runs against a fresh simulated reader with one card after
// another (and the display reader), alone or after the commands that make a
// card ready for it (selection, authentication with the transport key,
// activation); the first run the method calls a success is kept, else the
// first run that got answers.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "output_oracle.h"
#include "link/untFunction.h"
#include "orvexsim/card_kinds.h"
#include "orvexsim/frame.h"
#include "orvexsim/sam.h"
#include "orvexsim/simulator.h"
#include "transport/PCComm.h"

namespace {

using orvexsim::Bytes;

struct Recorded {
  uint8_t status;
  Bytes data;
};

// The serial line into an in-process simulated reader, recording its answers
// while `record` is set.
class SimLine : public orvex::Line {
 public:
  explicit SimLine(orvexsim::Simulator& sim) : sim_(sim) {}
  std::vector<Recorded>* record = nullptr;

  int Write(const unsigned char* p, int n) override {
    pending_.clear();
    pos_ = 0;
    std::vector<orvexsim::SerialFrameParser::Event> events;
    parser_.Feed(p, static_cast<size_t>(n), orvexsim::SerialFrameParser::Clock::now(), events);
    for (const auto& e : events) {
      if (e.kind != orvexsim::SerialFrameParser::Event::Kind::kFrame) continue;
      auto reply = sim_.Handle(e.frame);
      if (!reply) continue;
      pending_ = orvexsim::EncodeSerialAnswer(e.frame.reader, e.frame.cmd, reply->status, reply->data);
      if (record) record->push_back({reply->status, reply->data});
    }
    return n;
  }
  int Read(unsigned char* out, int capacity, int) override {
    if (pos_ >= pending_.size()) return orvex::transport::kLineHungUp;
    size_t n = std::min(pending_.size() - pos_, static_cast<size_t>(capacity));
    std::copy(pending_.begin() + static_cast<long>(pos_), pending_.begin() + static_cast<long>(pos_ + n), out);
    pos_ += n;
    return static_cast<int>(n);
  }

 private:
  orvexsim::Simulator& sim_;
  orvexsim::SerialFrameParser parser_;
  Bytes pending_;
  size_t pos_ = 0;
};

// What makes a card ready for a method: nothing, a type A selection, that
// and authentication of sector 1 with the transport key, that and the
// activation of a CPU card, an ST tag's activation, a type B request.
void Prelude(int which, Orvex& o) {
  unsigned short type = 0;
  unsigned char mem = 0, len = 0, sn[10] = {}, buf[ORVEX_MAX_ANSWER] = {};
  unsigned char key[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  unsigned char attrib[4] = {0, 0, 0, 0};
  int n = 0;
  if (which >= 1 && which <= 3) {
    o.OV_RequestCard(1, 0x52, &type);
    o.OV_AntiCollideAndSelect(1, 0, &mem, &len, sn);
  }
  if (which == 2) o.OV_KeyAuthorization(1, 0x60, 4, key);
  if (which == 3) o.OV_TypeA_Reset(1, 0, 0, &n, buf);
  if (which == 4) o.OV_ST_Active(1, &mem);
  if (which == 5) o.OV_TypeB_Request(1, 0, attrib, &n, buf);
}
constexpr int kPreludes = 6;

const char* const kCards[] = {"", "display", "mfc1k", "ntag215", "cpu", "topaz", "iso15693", "sle4442",
                              "mfplus", "typeb", "idcard", "sr176", "srix4k", "at88rf020", "felica", "lf", "ulev1-48"};

std::vector<Recorded> Run(const fuzzmethods::Method& m, const std::string& card, int prelude, int& result) {
  orvexsim::Simulator sim(card == "display" ? orvexsim::ReaderModel::kDisplayReader
                                            : orvexsim::ReaderModel::kCardReader);
  if (card != "display") sim.InsertSam(1, std::make_shared<orvexsim::SamCard>(Bytes{0x5A, 0x00, 0x00, 0x01}));
  if (!card.empty() && card != "display") {
    std::string error;
    auto c = orvexsim::MakeCard(card, 0, error);
    if (c) sim.Insert(c);
  }
  SimLine line(sim);
  orvex::AttachLine_(&line);
  Orvex o;
  Prelude(prelude, o);
  std::vector<Recorded> answers;
  line.record = &answers;
  fuzzmethods::Args args;
  fuzzmethods::Prepare(m, args);
  result = m.call(o, args);
  orvex::AttachLine_(nullptr);
  return answers;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: command_seeds DIR\n");
    return 2;
  }
  orvex::transport::g_FirstByteTimeoutMs = 50;
  const std::vector<fuzzmethods::Method> methods = fuzzmethods::All();
  int successes = 0;
  for (size_t i = 0; i < methods.size(); ++i) {
    const auto& m = methods[i];
    std::vector<Recorded> kept;
    bool ok = false;
    for (const char* card : kCards) {
      for (int p = 0; p < kPreludes && !ok; ++p) {
        if (p > 0 && (std::string(card).empty() || std::string(card) == "display")) break;
        int result = 0;
        std::vector<Recorded> answers = Run(m, card, p, result);
        if (fuzzmethods::Succeeded(m, result) && !answers.empty()) {
          kept = answers;
          ok = true;
        } else if (kept.empty()) {
          kept = answers;
        }
      }
      if (ok) break;
    }
    successes += ok;
    Bytes seed = {0x01, static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i), 0x00};
    for (const Recorded& r : kept) {
      seed.push_back(r.status);
      seed.push_back(static_cast<uint8_t>(r.data.size() >> 8));
      seed.push_back(static_cast<uint8_t>(r.data.size()));
      seed.insert(seed.end(), r.data.begin(), r.data.end());
    }
    std::string path = std::string(argv[1]) + "/" + m.name;
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f || std::fwrite(seed.data(), 1, seed.size(), f) != seed.size() || std::fclose(f) != 0) {
      std::fprintf(stderr, "command_seeds: cannot write %s\n", path.c_str());
      return 1;
    }
  }
  std::printf("%zu methods, %d with a successful run\n", methods.size(), successes);
  return 0;
}
