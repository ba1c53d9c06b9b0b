// SPDX-License-Identifier: MIT
// A scripted fake reader on a pseudo-terminal.
//
// The test opens the pseudo-terminal's slave path through
// Orvex::OV_ComInitialDevice; the fake reader holds the master. It parses every
// command frame the library sends with its own small decoder (independent of
// the library's codec), records it, and answers with the next scripted reply:
// a well-formed answer frame, silence, raw bytes (garbage, a frame cut short,
// extra bytes), optionally delayed or sent in pieces.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace orvex_test {

using Bytes = std::vector<uint8_t>;

// ---- The fake's own frame encoder/decoder -------------------------------------
// Serial command frame as the library must send it (stuffed): STX, length
// n+6, reader, command, data, XOR checksum, ETX.
Bytes SerialCommandFrame(uint16_t reader, uint8_t cmd, const Bytes& data);
// Serial answer frame (stuffed): STX, length m+7, reader, command, status,
// data, checksum, ETX.
Bytes SerialAnswerFrame(uint16_t reader, uint8_t cmd, uint8_t status, const Bytes& data);
// HID shapes: no STX/ETX, no stuffing.
Bytes HidCommandFrame(uint16_t reader, uint8_t cmd, const Bytes& data);
Bytes HidAnswerFrame(uint16_t reader, uint8_t cmd, uint8_t status, const Bytes& data);
// Byte stuffing of everything between the first and the last byte.
Bytes Stuff(const Bytes& frame);

// A command frame as the fake reader received it.
struct Command {
  Bytes raw;            // the bytes on the wire, stuffed, STX to ETX
  bool valid = false;   // length field and checksum correct
  uint16_t reader = 0;
  uint8_t cmd = 0;
  Bytes data;           // the data field
};

// One scripted reply to one command.
struct Reply {
  enum class Kind { kFrame, kRaw, kSilence, kHangUp };
  Kind kind = Kind::kSilence;
  uint8_t status = 0;
  Bytes data;               // kFrame: answer data; kRaw: the exact bytes
  int reader = -1;          // kFrame: reader number; -1 echoes the command's
  int cmd = -1;             // kFrame: command byte; -1 echoes the command's
  int delay_ms = 0;         // wait before the first byte
  std::vector<size_t> cuts; // send in pieces, cut at these offsets...
  int gap_ms = 0;           // ...with this pause between pieces

  static Reply Ok(Bytes data = {}) { return Frame(0, std::move(data)); }
  static Reply Frame(uint8_t status, Bytes data = {}) {
    Reply r;
    r.kind = Kind::kFrame;
    r.status = status;
    r.data = std::move(data);
    return r;
  }
  static Reply Raw(Bytes bytes) {
    Reply r;
    r.kind = Kind::kRaw;
    r.data = std::move(bytes);
    return r;
  }
  static Reply Silence() { return Reply(); }
  // Closes the master side: the library's line hangs up.
  static Reply HangUp() {
    Reply r;
    r.kind = Kind::kHangUp;
    return r;
  }
  Reply& After(int ms) {
    delay_ms = ms;
    return *this;
  }
  Reply& InPieces(std::vector<size_t> at, int gap) {
    cuts = std::move(at);
    gap_ms = gap;
    return *this;
  }
  Reply& From(int reader_number) {
    reader = reader_number;
    return *this;
  }
  Reply& WithCmd(int c) {
    cmd = c;
    return *this;
  }
};

class FakeReader {
 public:
  FakeReader();
  ~FakeReader();
  FakeReader(const FakeReader&) = delete;
  FakeReader& operator=(const FakeReader&) = delete;

  // The slave device path to open.
  const std::string& path() const { return path_; }

  // Queues the reply to the next command that arrives. Commands with no
  // queued reply get silence.
  void Push(Reply r);
  void Ok(Bytes data = {}) { Push(Reply::Ok(std::move(data))); }
  void Refuse(uint8_t status = 0x01, Bytes data = {}) { Push(Reply::Frame(status, std::move(data))); }
  // Computes the reply to every command that finds no queued reply (which
  // otherwise gets silence): a stateful card, for example. It runs on the
  // fake's thread with its lock held, so it must not call the FakeReader.
  void SetResponder(std::function<Reply(const Command&)> responder);

  // The bytes the answer for a frame reply will carry on the wire.
  static Bytes Encode(const Reply& r, const Command& c);

  // Every command received so far, in order.
  std::vector<Command> commands();
  // The last command received (fails the test if none).
  Command last();
  // Waits until n commands have arrived; false on timeout.
  bool WaitForCommands(size_t n, int timeout_ms = 2000);
  // Bytes the fake received that were not part of a command frame.
  Bytes stray();
  void ClearRecord();
  // Writes bytes to the line now, outside any exchange.
  void Send(const Bytes& bytes);
  // Closes the master side now.
  void HangUp();

 private:
  void Run();
  void HandleFrame(const Bytes& raw);
  void SendReply(const Reply& r, const Command& c);

  int master_ = -1;
  int keeper_ = -1;  // a slave descriptor kept open so the master never sees EIO
  int wake_[2] = {-1, -1};
  std::string path_;
  std::thread thread_;
  std::atomic<bool> stop_{false};
  std::mutex mu_;
  std::condition_variable cv_;
  std::deque<Reply> script_;
  std::function<Reply(const Command&)> responder_;
  std::vector<Command> received_;
  Bytes stray_;
  Bytes pending_;
};

}  // namespace orvex_test
