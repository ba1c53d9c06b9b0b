// SPDX-License-Identifier: MIT
// What the tool must never do to a user's cards and files: write trailers
// that lock a sector, change keys it did not know, leave a card half
// restored without saying so, read a file that never ends, destroy a good
// file when a write fails, or read NTAG pages in one answer longer than the
// line can carry in time.
#include <sys/resource.h>
#include <sys/stat.h>

#include <functional>

#include "cli_support.h"
#include "fake_reader.h"
#include "orvexsim/mifare_plus.h"
#include "orvexsim/card_kinds.h"
#include "orvexsim/simulator.h"

namespace {

using namespace clitest;

std::string ReadAll(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
}

// A 1K dump made by the tool from a blank simulated card, with its key record.
class Restore : public Cli {
 protected:
  void SetUp() override {
    Cli::SetUp();
    dump = Path("card.mfd");
    Result r = Run({"mfc", "dump", dump});
    ASSERT_EQ(r.status, 0) << r.err;
    image = ReadAll(dump);
    ASSERT_EQ(image.size(), 1024u);
  }
  // Saves image with the trailer bytes 6..8 of sector s replaced.
  std::string WithAccess(int s, const std::string& bytes, const std::string& name) {
    std::string d = image;
    d.replace(static_cast<size_t>(s * 4 + 3) * 16 + 6, 3, bytes);
    std::string p = Path(name);
    Write(p, d);
    std::string rec = ReadAll(dump + ".keys");
    Write(p + ".keys", rec);
    return p;
  }
  std::string dump, image;
};

TEST_F(Restore, MakesFilesOnlyTheOwnerCanRead) {
  struct stat st;
  ASSERT_EQ(0, stat(dump.c_str(), &st));
  EXPECT_EQ(0600u, st.st_mode & 0777);
  ASSERT_EQ(0, stat((dump + ".keys").c_str(), &st));
  EXPECT_EQ(0600u, st.st_mode & 0777);
  EXPECT_NE(ReadAll(dump + ".keys").find("\n5 FFFFFFFFFFFF FFFFFFFFFFFF\n"), std::string::npos);
}

TEST_F(Restore, InvalidAccessBitsAreRefusedBeforeAnythingIsWritten) {
  // Each class of broken pattern: one, two or three inverted copies wrong.
  for (std::string bytes : {std::string("\xFF\x07\x81", 3), std::string("\xFE\x07\x80", 3),
                            std::string("\xFF\xFF\xFF", 3), std::string("\x00\x00\x00", 3)}) {
    std::string p = WithAccess(6, bytes, "bad.mfd");
    Result r = Run({"mfc", "restore", p});
    EXPECT_EQ(r.status, 2) << r.err;
    EXPECT_NE(r.err.find("sector 6's trailer has invalid access bits"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("Nothing was written"), std::string::npos) << r.err;
  }
}

TEST_F(Restore, SelfLockingTrailersNeedForce) {
  // 00 F0 FF: every condition "never" (C1C2C3 111 for all groups).
  std::string p = WithAccess(2, std::string("\x00\xF0\xFF", 3), "lock.mfd");
  Result r = Run({"mfc", "restore", p});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("sector 2: key A can never be changed again"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("sector 2: data block group 0 becomes read-only"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("Give --force"), std::string::npos) << r.err;
  r = Run({"--sim-save", Path("after.mfd"), "mfc", "restore", "--force", p});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(ReadAll(Path("after.mfd")).substr(11 * 16 + 6, 3), std::string("\x00\xF0\xFF", 3));
}

TEST_F(Restore, TrailersWithUnknownKeysAreLeftAlone) {
  // The record says key B of sector 3 was not found; the dump holds zeros there.
  std::string d = image;
  d.replace(15 * 16 + 10, 6, std::string(6, '\0'));
  Write(Path("unknown.mfd"), d);
  std::string rec = ReadAll(dump + ".keys");
  rec.replace(rec.find("\n3 FFFFFFFFFFFF FFFFFFFFFFFF"), 28, "\n3 FFFFFFFFFFFF -");
  Write(Path("unknown.mfd.keys"), rec);
  Result r = Run({"--sim-save", Path("after.mfd"), "mfc", "restore", Path("unknown.mfd")});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("left the trailers of sectors 3 as they were"), std::string::npos) << r.out;
  // Key B of sector 3 on the card is still the transport key.
  EXPECT_EQ(ReadAll(Path("after.mfd")).substr(15 * 16 + 10, 6), std::string(6, '\xFF'));
}

TEST_F(Restore, ASectorNoKeyOpensStopsItBeforeAnyWrite) {
  // The card's sector 5 has keys neither given nor in the dump.
  std::string card = image;
  card.replace(23 * 16, 6, std::string("\x11\x22\x33\x44\x55\x66", 6));
  card.replace(23 * 16 + 10, 6, std::string("\x11\x22\x33\x44\x55\x66", 6));
  Write(Path("locked-card.mfd"), card);
  std::string d = image;
  d.replace(4 * 16, 16, std::string(16, '\x5A'));  // new data for block 4
  Write(Path("new.mfd"), d);
  Write(Path("new.mfd.keys"), ReadAll(dump + ".keys"));
  Result r = Run({"--sim-load", Path("locked-card.mfd"), "mfc", "restore", Path("new.mfd")});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("sector 5: none of the keys given (nor the dump's) opens it. Nothing was written"),
            std::string::npos)
      << r.err;
}

TEST_F(Restore, ACardLeavingMidwaySaysWhatWasWritten) {
  // orvex-sim takes the card out of the field right after its tenth write,
  // in the middle of the restore.
  SimProcess sim("--card mfc1k --leave-after 10", Path("sim.out"));
  std::string pty = sim.pty();
  ASSERT_FALSE(pty.empty());
  Result r = Run({"--device", pty, "mfc", "restore", dump});
  EXPECT_EQ(r.status, 1);
  // Sector 0's blocks 1 to 3, sector 1's 4 to 7, then 8 to 10 of sector 2.
  EXPECT_EQ(r.err, "orvex: the card A1EA42AC left the field. sectors written whole: 0 1; sector 2 only blocks 8 9 10; "
                   "the other sectors are as they were\n");
  EXPECT_EQ(r.out, "");
}

TEST_F(Cli, EndlessOrWrongInputFilesAreUsageErrors) {
  Result r = Run({"mfc", "restore", "/dev/zero"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: dump file /dev/zero: more than 4096 bytes (not a file of the expected kind)\n");
  r = Run({"mfc", "restore", dir_});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: dump file " + dir_ + ": is a directory, not a file\n");
  r = Run({"mfc", "dump", dir_});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: dump file " + dir_ + ": is a directory\n");
  Write(Path("short.mfd"), std::string(1000, 'x'));
  r = Run({"mfc", "restore", Path("short.mfd")});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("a MIFARE Classic dump holds 1024 or 4096 bytes, not 1000"), std::string::npos);
  r = Run({"mfc", "restore", Path("missing.mfd")});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("No such file or directory"), std::string::npos) << r.err;
  // The output path is checked before the card is read.
  r = Run({"mfc", "dump", Path("no/such/folder/x.mfd")});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("cannot be written"), std::string::npos) << r.err;
}

TEST_F(Cli, AFailedWriteLeavesThePreviousFile) {
  const std::string path = Path("good.mfd");
  const std::string good(1024, 'G');
  Write(path, good);
  // The tool may write at most 512 bytes to any file: the dump cannot be
  // written whole.
  std::string err = Path("stderr");
  pid_t pid = fork();
  if (pid == 0) {
    rlimit lim = {512, 512};
    setrlimit(RLIMIT_FSIZE, &lim);
    signal(SIGXFSZ, SIG_IGN);
    const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), null = open("/dev/null", O_WRONLY);
    if (e < 0 || null < 0 || dup2(e, 2) < 0 || dup2(null, 1) < 0) _exit(127);
    execl(ORVEX_TOOL, ORVEX_TOOL, "--device", "sim", "mfc", "dump", path.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int ws = 0;
  waitpid(pid, &ws, 0);
  EXPECT_EQ(WEXITSTATUS(ws), 1);
  EXPECT_NE(ReadAll(err).find("the previous file, if any, is unchanged"), std::string::npos) << ReadAll(err);
  EXPECT_EQ(ReadAll(path), good);
  // No temporary file is left behind.
  EXPECT_EQ(std::system(("ls " + dir_ + " | grep -q 'good.mfd.'").c_str()) == 0, false);
}

TEST_F(Cli, NtagDumpAtEveryLineSpeed) {
  for (const char* speed : {"9600", "19200"}) {
    for (const char* tag : {"ntag213", "ntag215", "ntag216"}) {
      SimProcess sim(std::string("--baud ") + speed + " --card " + tag, Path("sim.out"));
      const std::string pty = sim.pty();
      ASSERT_FALSE(pty.empty());
      Result r = Run({"--device", pty + "@" + speed, "ntag", "dump", Path("tag.bin")});
      EXPECT_EQ(r.status, 0) << speed << " " << tag << ": " << r.err;
      // The next command starts clean.
      Result next = Run({"--device", pty + "@" + speed, "info"});
      EXPECT_EQ(next.status, 0) << next.err;
    }
  }
}

// A whole-tag read of an ISO 15693 tag at every line speed: each read asks
// for as many blocks as cross the line within its deadline.
TEST_F(Cli, Iso15693ReadAtEveryLineSpeed) {
  for (const char* speed : {"4800", "9600", "19200", "38400"}) {
    SimProcess sim(std::string("--baud ") + speed + " --empty --card iso15693:E004010011223344", Path("sim.out"));
    const std::string pty = sim.pty();
    ASSERT_FALSE(pty.empty());
    Result r = Run({"--device", pty + "@" + speed, "iso15693", "read", "--json"});
    ASSERT_EQ(r.status, 0) << speed << ": " << r.err;
    EXPECT_EQ(r.Json()["memory"].size(), 28u);
    Result next = Run({"--device", pty + "@" + speed, "info"});
    EXPECT_EQ(next.status, 0) << next.err;
  }
}

// A reader whose answer to one block read comes back short: the dump fails
// and says so, and writes no file (it used to record the block as zeros).
// The fake reader passes every command to a simulated reader and cuts the
// fifth block read's answer to 8 bytes.
TEST_F(Cli, MfcDumpRefusesABlockAnswerCutShort) {
  orvexsim::Simulator sim;
  std::string error;
  sim.Place(orvexsim::MakeCard("mfc1k:11223344", 0, error));
  orvex_test::FakeReader reader;
  int reads = 0;
  constexpr uint8_t kReadBlock = 0x29;
  reader.SetResponder([&](const orvex_test::Command& c) {
    auto answer = sim.Handle(c.reader, c.cmd, c.data);
    if (!answer) return orvex_test::Reply::Silence();
    orvex_test::Bytes data = answer->data;
    if (c.cmd == kReadBlock && answer->status == 0 && ++reads == 5) data.resize(8);
    return orvex_test::Reply::Frame(answer->status, data);
  });
  Result r = Run({"--device", reader.path(), "mfc", "dump", Path("card.mfd")});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("reading block 4: the reader's answer was cut short (8 of 16 bytes)"), std::string::npos)
      << r.err;
  EXPECT_EQ(access(Path("card.mfd").c_str(), F_OK), -1);
  EXPECT_EQ(reads, 5);
}

// A reader that passes every command to a simulated reader, with the
// answers of one command changed by a test.
class AlteredReader {
 public:
  using Alter = std::function<orvex_test::Reply(const orvex_test::Command&, orvexsim::Reply&)>;
  AlteredReader(const std::string& card, uint8_t cmd, Alter alter) {
    std::string error;
    sim_.Place(orvexsim::MakeCard(card, 0, error));
    reader_.SetResponder([this, cmd, alter](const orvex_test::Command& c) {
      auto answer = sim_.Handle(c.reader, c.cmd, c.data);
      if (!answer) return orvex_test::Reply::Silence();
      if (c.cmd == cmd) return alter(c, *answer);
      return orvex_test::Reply::Frame(answer->status, answer->data);
    });
  }
  const std::string& path() const { return reader_.path(); }

 private:
  orvexsim::Simulator sim_;
  orvex_test::FakeReader reader_;
};

// The serial number read refused, with data: the tool says so and prints
// no bytes it was not given.
TEST_F(Cli, InfoWithTheSerialNumberReadRefused) {
  constexpr uint8_t kSerial = 0x05;
  AlteredReader reader("mfc1k", kSerial, [](const orvex_test::Command&, orvexsim::Reply&) {
    return orvex_test::Reply::Frame(0x01, orvex_test::Bytes(8, 0xAA));
  });
  Result r = Run({"--device", reader.path(), "info"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out.find("serial"), std::string::npos) << r.out;
  EXPECT_NE(r.err.find("orvex: reading the serial number: "), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("status 0x01"), std::string::npos) << r.err;
}

// An ST tag whose identifier answer is 9 bytes (8 on these tags): scan
// neither overruns its buffer nor shows a UID.
TEST_F(Cli, ScanWithAnStTagIdentifierOfNineBytes) {
  constexpr uint8_t kSr512Uid = 0x56;
  AlteredReader reader("sr512:D002000011223344", kSr512Uid, [](const orvex_test::Command&, orvexsim::Reply& a) {
    orvex_test::Bytes data = a.data;
    data.push_back(0x99);
    return orvex_test::Reply::Frame(a.status, data);
  });
  Result r = Run({"--device", reader.path(), "scan", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  bool st = false;
  const auto json = r.Json();
  for (const auto& c : json["cards"])
    if (c["family"] == "st-memory") {
      st = true;
      EXPECT_NE(c["uid"], "D002000011223344");
      EXPECT_EQ(c["uid"].get<std::string>().find("99"), std::string::npos);
    }
  EXPECT_TRUE(st) << r.out;
}

}  // namespace

namespace {

constexpr uint8_t kLineSpeed = 0x01;

// A reader that refuses the new line speed: the tool says so, and the link
// stays where it was.
TEST_F(Cli, ReaderSpeedTheReaderRefuses) {
  AlteredReader reader("mfc1k", kLineSpeed, [](const orvex_test::Command&, orvexsim::Reply&) {
    return orvex_test::Reply::Frame(0x02, {});
  });
  Result r = Run({"--device", reader.path(), "reader", "speed", "38400"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "orvex: the reader refused 38400 bit/s (status 0x02); it stays at 19200 bit/s\n");
  r = Run({"--device", reader.path(), "info"});
  EXPECT_EQ(r.status, 0) << r.err;
}

// The reader is told the new speed, and the tool's link moves to it.
TEST_F(Cli, ReaderSpeedReachesTheReader) {
  orvexsim::Simulator sim;
  orvex_test::FakeReader fake;
  fake.SetResponder([&](const orvex_test::Command& c) {
    auto answer = sim.Handle(c.reader, c.cmd, c.data);
    if (!answer) return orvex_test::Reply::Silence();
    return orvex_test::Reply::Frame(answer->status, answer->data);
  });
  ASSERT_EQ(sim.line_speed(), 19200);
  Result r = Run({"--device", fake.path(), "reader", "speed", "4800", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"old_speed": 19200, "speed": 4800})"));
  EXPECT_EQ(sim.line_speed(), 4800);
}

// A reader that takes the change and is not heard from again.
TEST_F(Cli, ReaderSpeedTheReaderIsSilentAfter) {
  // The speed change itself passes through; nothing after it is answered.
  bool moved = false;
  orvexsim::Simulator sim;
  orvex_test::FakeReader fake;
  fake.SetResponder([&](const orvex_test::Command& c) {
    if (c.cmd == kLineSpeed) moved = true;
    if (moved && c.cmd != kLineSpeed) return orvex_test::Reply::Silence();
    auto answer = sim.Handle(c.reader, c.cmd, c.data);
    if (!answer) return orvex_test::Reply::Silence();
    return orvex_test::Reply::Frame(answer->status, answer->data);
  });
  Result r = Run({"--device", fake.path(), "reader", "speed", "9600"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: the reader took the change to 9600 bit/s but does not answer at it: try --baud 9600, then "
            "--baud 19200\n");
}

// The reader refuses the second piece of a memory write: the first piece
// was written and read back, and the tool says so with exit status 3.
TEST_F(Cli, ReaderMemoryWriteRefusedHalfway) {
  int writes = 0;
  AlteredReader reader("mfc1k", 0xB2, [&writes](const orvex_test::Command&, orvexsim::Reply& a) {
    return ++writes == 2 ? orvex_test::Reply::Frame(0x01, {}) : orvex_test::Reply::Frame(a.status, a.data);
  });
  Result r = Run({"--device", reader.path(), "reader", "memory", "write", "0x1000", std::string(400, '7')});
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err,
            "orvex: writing reader memory 0x1080-0x10C7: the reader refused with status 0x01; 0x1000-0x107F were "
            "written and read back, the rest may be partly written\n");
  EXPECT_EQ(writes, 2);
}

// A MIFARE Plus at level 3 that leaves the field right after a block write:
// the tool says the write reached the card and its read-back failed.
TEST_F(Cli, MifarePlusCardLeavingMidWrite) {
  orvexsim::Simulator sim;
  auto card = std::make_shared<orvexsim::MifarePlus>(orvexsim::Bytes{0xB1, 2, 3, 4});
  const orvexsim::Bytes key(16, 0x3C);
  ASSERT_EQ(card->WritePerso(0x4002, key), orvexsim::status::kOk);
  ASSERT_EQ(card->CommitPerso(), orvexsim::status::kOk);
  ASSERT_EQ(card->SwitchLevel(3, orvexsim::Bytes(16, 0xFF)), orvexsim::status::kOk);
  card->LeaveAfterWrites(1);
  sim.Place(card);
  orvex_test::FakeReader fake;
  fake.SetResponder([&](const orvex_test::Command& c) {
    auto answer = sim.Handle(c.reader, c.cmd, c.data);
    if (!answer) return orvex_test::Reply::Silence();
    return orvex_test::Reply::Frame(answer->status, answer->data);
  });
  Write(Path("key"), "3C3C3C3C3C3C3C3C3C3C3C3C3C3C3C3C\n");
  Result r = Run({"--device", fake.path(), "mfplus", "write", "5", std::string(32, '5'), "-k", "@" + Path("key")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err.rfind("orvex: writing blocks 5 to 5: the card took them, but the read-back failed (reading blocks 5 "
                        "to 5: the card refused",
                        0),
            0u)
      << r.err;
  EXPECT_EQ(orvexsim::Slice(card->memory(), 5 * 16, 16), orvexsim::Bytes(16, 0x55));
}

// The identity card's number read: the reader refusing type B search, and
// refusing the read itself with a status byte.
TEST_F(Cli, IdCardReadRefusals) {
  AlteredReader no_search("idcard", 0x20, [](const orvex_test::Command&, orvexsim::Reply&) {
    return orvex_test::Reply::Frame(0x01, {});
  });
  Result r = Run({"--device", no_search.path(), "idcard", "read"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: reading the identity card's number: the reader refused to search for type B cards\n");
  AlteredReader no_read("idcard", 0xC2, [](const orvex_test::Command&, orvexsim::Reply&) {
    return orvex_test::Reply::Frame(0x05, {});
  });
  r = Run({"--device", no_read.path(), "idcard", "read", "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.Json()["error"],
            "reading the identity card's number: the reader refused with status 0x05 (the card in the field is not "
            "an identity card?)");
}

}  // namespace
