// SPDX-License-Identifier: MIT
// orvex ntag and ndef on the NTAG210, NTAG212 and Ultralight EV1 (48 and
// 128 bytes): each told by its version bytes, its user pages, the pages a
// write refuses, the password, the dynamic lock bits, the counters, and
// the bytes that end up on the tag (saved with --sim-save).
#include "cli_support.h"

namespace {

using namespace clitest;

constexpr const char* kUid = "04A1B2C3D4E5F6";

struct Model {
  const char* kind;     // --sim-card
  const char* name;     // as the tool names it
  const char* version;  // GET_VERSION
  int pages, last_user;
  bool dynamic_lock;
};

const Model kModels[] = {
    {"ntag210", "NTAG210", "0004040101000B03", 20, 15, false},
    {"ntag212", "NTAG212", "0004040101000E03", 41, 35, true},
    {"ulev1-48", "Ultralight EV1 (48 bytes)", "0004030101000B03", 20, 15, false},
    {"ulev1-128", "Ultralight EV1 (128 bytes)", "0004030101000E03", 41, 35, true},
};

std::string Card(const Model& m) { return std::string(m.kind) + ":" + kUid; }

class NtagModels : public Cli {
 protected:
  std::string Dump(const Model& m, const std::string& file) {
    Result r = Run({"--sim-card", Card(m), "ntag", "dump", Path(file)});
    EXPECT_EQ(r.status, 0) << m.kind << r.err;
    return Slurp(Path(file));
  }
  static std::string Page(const std::string& image, int page) { return image.substr(static_cast<size_t>(page) * 4, 4); }
};

TEST_F(NtagModels, InfoTellsEachByItsVersion) {
  for (const Model& m : kModels) {
    SCOPED_TRACE(m.kind);
    Result r = Run({"--sim-card", Card(m), "ntag", "info", "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    auto j = r.Json();
    EXPECT_EQ(j["version"], m.version);
    EXPECT_EQ(j["type"], m.name);
    EXPECT_EQ(j["pages"], m.pages);
    EXPECT_EQ(j["user_bytes"], (m.last_user - 3) * 4);
    EXPECT_EQ(j["auth0"], 255);
    EXPECT_EQ(j["access"], "00");
    EXPECT_EQ(j["password_protection"], "off");
    EXPECT_EQ(j["static_lock"], "0000");
    if (m.dynamic_lock)
      EXPECT_EQ(j["dynamic_lock"], "000000");
    else
      EXPECT_FALSE(j.contains("dynamic_lock"));
    EXPECT_EQ(j["locked_pages"], nlohmann::json::array());
    // NTAG210/212: no NFC counter; Ultralight EV1: its three one-way
    // counters, counter 2 as the counter.
    const bool ev1 = std::string(m.kind).rfind("ulev1", 0) == 0;
    EXPECT_EQ(j["counter_state"], ev1 ? "enabled" : "absent");
    EXPECT_EQ(j["counter"], ev1 ? nlohmann::json(0) : nlohmann::json(nullptr));
    EXPECT_EQ(j["counters"], ev1 ? nlohmann::json({0, 0, 0}) : nlohmann::json(nullptr));
    EXPECT_EQ(j["signature"].get<std::string>().size(), 64u);
  }
  Result r = Run({"--sim-card", Card(kModels[3]), "ntag", "info"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("type:           Ultralight EV1 (128 bytes)\n"
                       "pages:          41\n"
                       "user memory:    128 bytes, pages 4-35\n"),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("dynamic lock:   000000 (page 36)\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("counters:       0, 0, 0 (one-way counters 0, 1 and 2)\n"), std::string::npos) << r.out;
  // Each counter is read on its own: READ_CNT 0, 1 and 2 through the reader's
  // Type 2 channel.
  r = Run({"--sim-card", Card(kModels[3]), "--trace", "ntag", "info"});
  ASSERT_EQ(r.status, 0) << r.err;
  for (const char* read : {"C0 NTag READ_CNT  10 05 39 00\n", "C0 NTag READ_CNT  10 05 39 01\n",
                           "C0 NTag READ_CNT  10 05 39 02\n"})
    EXPECT_NE(r.err.find(read), std::string::npos) << read << r.err;
  r = Run({"--sim-card", Card(kModels[0]), "ntag", "info"});
  EXPECT_NE(r.out.find("user memory:    48 bytes, pages 4-15\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("NFC counter:    none on this tag\n"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("dynamic lock"), std::string::npos) << r.out;
}

TEST_F(NtagModels, DumpAndRestoreTheUserPagesOnly) {
  for (const Model& m : kModels) {
    SCOPED_TRACE(m.kind);
    const std::string image = Dump(m, "new.bin");
    ASSERT_EQ(image.size(), static_cast<size_t>(m.pages) * 4);
    EXPECT_EQ(image.substr(0, 8), std::string("\x04\xA1\xB2\x9F\xC3\xD4\xE5\xF6", 8));
    // NTAGs leave the factory formatted for NDEF, Ultralight EV1 blank.
    const bool ntag = std::string(m.kind).rfind("ntag", 0) == 0;
    EXPECT_EQ(Page(image, 3), ntag ? std::string("\xE1\x10") + char(m.pages == 20 ? 0x06 : 0x10) + '\0'
                                   : std::string(4, '\0'));
    // Every page from 3 on changed in the dump; restore writes the user pages alone.
    std::string changed = image;
    for (int p = 3; p < m.pages; ++p) changed.replace(static_cast<size_t>(p) * 4, 4, std::string(4, char(p)));
    Write(Path("changed.bin"), changed);
    const std::string load = std::string(m.kind) + ":" + Path("new.bin");
    Result r = Run({"--sim-load", load, "--sim-save", Path("after.bin"), "ntag", "restore", Path("changed.bin")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "restored " + Path("changed.bin") + " to the " + m.name + " " + kUid + ": wrote pages 4-" +
                         std::to_string(m.last_user) +
                         " (0 pages already held the dump's bytes); pages 0-3, lock and configuration pages left "
                         "as they were (simulated reader)\n");
    const std::string after = Slurp(Path("after.bin"));
    ASSERT_EQ(after.size(), image.size());
    for (int p = 0; p < m.pages; ++p)
      EXPECT_EQ(Page(after, p), p >= 4 && p <= m.last_user ? Page(changed, p) : Page(image, p)) << "page " << p;
  }
  // A dump of another size is refused.
  Write(Path("short.bin"), std::string(80, '\0'));
  Result r = Run({"--sim-card", Card(kModels[1]), "ntag", "restore", Path("short.bin")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: the dump " + Path("short.bin") + " holds 80 bytes; the NTAG212 " + kUid +
                       " has 41 pages (164 bytes). Nothing was written\n");
}

TEST_F(NtagModels, WritesStopAtTheLastUserPage) {
  for (const Model& m : kModels) {
    SCOPED_TRACE(m.kind);
    const std::string last = std::to_string(m.last_user), next = std::to_string(m.last_user + 1);
    Result r = Run({"--sim-card", Card(m), "--sim-save", Path("w.bin"), "ntag", "write", last, "01020304"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "wrote 01020304 to page " + last + " of the " + m.name + " " + kUid +
                         " and read it back (simulated reader)\n");
    EXPECT_EQ(Page(Slurp(Path("w.bin")), m.last_user), "\x01\x02\x03\x04");
    r = Run({"--sim-card", Card(m), "--sim-save", Path("w.bin"), "ntag", "write", next, "01020304"});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "orvex: page " + next + " of the " + m.name + " " + kUid + " " +
                         (m.dynamic_lock ? "holds the dynamic lock bits, which can only be set, never cleared"
                                         : "is configuration page CFG0 (AUTH0: which pages need the password)") +
                         "; give --force to write it. Nothing was written\n");
    EXPECT_NE(Page(Slurp(Path("w.bin")), m.last_user + 1), "\x01\x02\x03\x04");
    r = Run({"--sim-card", Card(m), "ntag", "write", std::to_string(m.pages - 2), "01020304"});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "orvex: page " + std::to_string(m.pages - 2) + " of the " + m.name + " " + kUid +
                         " holds the password; give --force to write it. Nothing was written\n");
    r = Run({"--sim-card", Card(m), "ntag", "read", std::to_string(m.pages)});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, std::string("orvex: the ") + m.name + " " + kUid + " has pages 0 to " +
                         std::to_string(m.pages - 1) + "\n");
  }
}

// The dynamic lock bits of the 41-page tags lock two pages each.
TEST_F(NtagModels, DynamicLockBitsLockTwoPagesEach) {
  for (const Model& m : {kModels[1], kModels[3]}) {
    SCOPED_TRACE(m.kind);
    Result r = Run({"--sim-card", Card(m), "--sim-save", Path("l.bin"), "ntag", "write", "36", "02000000", "--force"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, std::string("orvex: page 36 of the ") + m.name + " " + kUid +
                         " keeps its set bits: it will read 020000BD, not 02000000\n"
                         "orvex: locking pages 18-19 for good\n");
    r = Run({"--sim-load", std::string(m.kind) + ":" + Path("l.bin"), "ntag", "write", "19", "01020304"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, std::string("orvex: page 19 of the ") + m.name + " " + kUid + " is locked; nothing was written\n");
    r = Run({"--sim-load", std::string(m.kind) + ":" + Path("l.bin"), "ntag", "info", "--json"});
    EXPECT_EQ(r.Json()["locked_pages"], nlohmann::json::parse("[18, 19]"));
    r = Run({"--sim-load", std::string(m.kind) + ":" + Path("l.bin"), "ntag", "write", "20", "01020304"});
    EXPECT_EQ(r.status, 0) << r.err;
  }
}

TEST_F(NtagModels, PasswordOnAProtectedTag) {
  for (const Model& m : {kModels[0], kModels[3]}) {
    SCOPED_TRACE(m.kind);
    // AUTH0 page 4 (writes), PWD 11223344, PACK ABCD.
    std::string image = Dump(m, "new.bin");
    const int cfg0 = m.pages - 4;
    image[static_cast<size_t>(cfg0) * 4 + 3] = 4;
    image.replace(static_cast<size_t>(cfg0 + 2) * 4, 8, std::string("\x11\x22\x33\x44\xAB\xCD\x00\x00", 8));
    Write(Path("p.bin"), image);
    Write(Path("pwd.txt"), "11223344\n");
    Write(Path("bad.txt"), "11223345\n");
    const std::string load = std::string(m.kind) + ":" + Path("p.bin");
    const std::string tag = std::string(m.name) + " " + kUid;
    Result r = Run({"--sim-load", load, "--sim-save", Path("a.bin"), "ntag", "write", "4", "01020304"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "orvex: page 4 of the " + tag +
                         " is protected by a password (AUTH0 4, writes); give --password. Nothing was written\n");
    EXPECT_EQ(Slurp(Path("a.bin")), image);
    r = Run({"--sim-load", load, "ntag", "write", "4", "01020304", "--password", "@" + Path("bad.txt")});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "orvex: the " + tag + " refused the password (wrong password); nothing was read or written\n");
    r = Run({"--sim-load", load, "--sim-save", Path("a.bin"), "ntag", "write", "4", "01020304", "--password",
             "@" + Path("pwd.txt"), "--pack", "ABCD"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "wrote 01020304 to page 4 of the " + tag + " and read it back (simulated reader)\n");
    EXPECT_EQ(Page(Slurp(Path("a.bin")), 4), "\x01\x02\x03\x04");
    r = Run({"--sim-load", load, "ntag", "info", "--password", "-", "--json"}, "11223344\n");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.Json()["protected_from"], 4);
    EXPECT_EQ(r.Json()["pack"], "ABCD");
  }
}

TEST_F(NtagModels, CardLeavingMidRestore) {
  std::string image = Dump(kModels[1], "new.bin");
  for (int p = 4; p <= 35; ++p) image.replace(static_cast<size_t>(p) * 4, 4, std::string(4, char(p)));
  Write(Path("changed.bin"), image);
  Result r = Run({"--sim-card", Card(kModels[1]), "--sim-leave-after", "3", "ntag", "restore", Path("changed.bin")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: writing page 7: the tag did not take it (it left the field, or the page is locked or "
            "protected). Written: pages 4-6; not written: pages 7-35 (the write of page 7 was not confirmed)\n");
}

TEST_F(NtagModels, SimLoadNeedsTheKindOfAnAmbiguousSize) {
  Write(Path("t.bin"), std::string(80, '\0'));
  Result r = Run({"--sim-load", Path("t.bin"), "ntag", "info"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --sim-load " + Path("t.bin") +
                       ": an image of 80 bytes is an NTAG210 or an Ultralight EV1 (48 bytes): name the kind, e.g. "
                       "ntag210:" + Path("t.bin") + "\n");
  r = Run({"--sim-load", "ulev1-128:" + Path("t.bin"), "ntag", "info"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --sim-load ulev1-128:" + Path("t.bin") + ": the memory of an ulev1-128 has 164 bytes; " +
                       Path("t.bin") + " holds 80\n");
}

TEST_F(NtagModels, NdefOnTheSmallerTags) {
  Result r = Run({"--sim-card", Card(kModels[0]), "ndef", "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, std::string("NTAG210 ") + kUid + ": the NDEF message is empty\n");
  r = Run({"--sim-card", Card(kModels[1]), "ndef", "write", "--text", "hello"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, std::string("wrote 1 NDEF record(s) in 12 bytes to the NTAG212 ") + kUid +
                       " (12 of 126 bytes), read back and checked (simulated reader)\n");
  r = Run({"--sim-card", Card(kModels[0]), "ndef", "write", "--text", std::string(60, 'x')});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, std::string("orvex: writing the NDEF message to the NTAG210 ") + kUid +
                       ": the message is 67 bytes; this tag takes at most 46 (nothing was written)\n");
  // An Ultralight EV1 leaves the factory unformatted; ndef format gives it
  // the capability container of its size.
  r = Run({"--sim-card", Card(kModels[2]), "ndef", "read"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, std::string("orvex: the Ultralight EV1 (48 bytes) ") + kUid +
                       " is not formatted for NDEF (capability container 00000000); orvex ndef format prepares it\n");
  r = Run({"--sim-card", Card(kModels[3]), "--sim-save", Path("f.bin"), "ndef", "format", "--yes"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, std::string("page 3 (capability container, one-time programmable): E1101000\n"
                               "page 4 (an empty NDEF message): 0300FE00\n"
                               "formatted the Ultralight EV1 (128 bytes) ") +
                       kUid + " for NDEF (128 bytes) (simulated reader)\n");
  EXPECT_EQ(Slurp(Path("f.bin")).substr(12, 8), std::string("\xE1\x10\x10\x00\x03\x00\xFE\x00", 8));
}

}  // namespace
