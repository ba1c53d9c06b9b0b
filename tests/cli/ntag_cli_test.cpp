// SPDX-License-Identifier: MIT
// orvex ntag info, read, write and restore, with and without a password,
// against the simulated reader: the messages, exit statuses and the bytes
// that end up on the tag (saved with --sim-save).
#include "cli_support.h"

namespace {

using namespace clitest;

constexpr const char* kUid = "04A1B2C3D4E5F6";
constexpr const char* kTag = "ntag215:04A1B2C3D4E5F6";
constexpr int kPages = 135;  // NTAG215
constexpr int kCfg0 = 131, kCfg1 = 132, kPwd = 133, kPack = 134;

class Ntag : public Cli {
 protected:
  // The memory of a new simulated NTAG215 as the tool dumps it.
  std::string NewImage() {
    Result r = Run({"--sim-card", kTag, "ntag", "dump", Path("new.bin")});
    EXPECT_EQ(r.status, 0) << r.err;
    std::string image = Slurp(Path("new.bin"));
    EXPECT_EQ(image.size(), static_cast<size_t>(kPages) * 4);
    return image;
  }
  static void SetPage(std::string& image, int page, const std::string& bytes) {
    image.replace(static_cast<size_t>(page) * 4, 4, bytes);
  }
  static std::string Page(const std::string& image, int page) { return image.substr(static_cast<size_t>(page) * 4, 4); }
  // A tag whose pages from 16 on need the password 11223344 (PACK ABCD):
  // for writes, or with reads too for reads and writes (the NFC counter on).
  std::string Protected(bool reads_too) {
    std::string image = NewImage();
    SetPage(image, kCfg0, std::string("\x04\x00\x00\x10", 4));
    SetPage(image, kCfg1, std::string(reads_too ? "\x90\x05\x00\x00" : "\x00\x05\x00\x00", 4));
    SetPage(image, kPwd, "\x11\x22\x33\x44");
    SetPage(image, kPack, std::string("\xAB\xCD\x00\x00", 4));
    std::string path = Path(reads_too ? "rprot.bin" : "wprot.bin");
    Write(path, image);
    Write(Path("pwd.txt"), "11223344\n");
    return path;
  }
};

TEST_F(Ntag, InfoOfANewTagOfEachSize) {
  struct Model {
    const char* kind;
    const char* name;
    int pages, user_bytes;
    const char* version;
  };
  for (const Model& m : {Model{"ntag213", "NTAG213", 45, 144, "0004040201000F03"},
                         Model{"ntag215", "NTAG215", 135, 504, "0004040201001103"},
                         Model{"ntag216", "NTAG216", 231, 888, "0004040201001303"}}) {
    Result r = Run({"--sim-card", std::string(m.kind) + ":" + kUid, "ntag", "info", "--json"});
    ASSERT_EQ(r.status, 0) << m.kind << r.err;
    auto j = r.Json();
    EXPECT_EQ(j["uid"], kUid);
    EXPECT_EQ(j["version"], m.version);
    EXPECT_EQ(j["type"], m.name);
    EXPECT_EQ(j["pages"], m.pages);
    EXPECT_EQ(j["user_bytes"], m.user_bytes);
    EXPECT_EQ(j["auth0"], 255);
    EXPECT_EQ(j["access"], "00");
    EXPECT_EQ(j["password_protection"], "off");
    EXPECT_TRUE(j["protected_from"].is_null());
    EXPECT_EQ(j["config_locked"], false);
    EXPECT_EQ(j["static_lock"], "0000");
    EXPECT_EQ(j["dynamic_lock"], "000000");
    EXPECT_EQ(j["locked_pages"], nlohmann::json::array());
    EXPECT_EQ(j["counter_state"], "disabled");
    EXPECT_TRUE(j["counter"].is_null());
    EXPECT_EQ(j["signature"].get<std::string>().size(), 64u);
    EXPECT_EQ(j["signature_verified"], false);
    EXPECT_FALSE(j.contains("pack"));
  }
  Result r = Run({"--sim-card", kTag, "ntag", "info"});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string head =
      "UID:            04A1B2C3D4E5F6\n"
      "version:        0004040201001103\n"
      "type:           NTAG215\n"
      "pages:          135\n"
      "user memory:    504 bytes, pages 4-129\n"
      "AUTH0:          FF (no page needs the password)\n"
      "ACCESS:         00 (configuration not locked, no limit on wrong passwords)\n"
      "password:       off\n"
      "protected from: no page\n"
      "config locked:  no\n"
      "static lock:    0000 (page 2 bytes 2-3)\n"
      "dynamic lock:   000000 (page 130)\n"
      "locked pages:   none\n"
      "NFC counter:    disabled\n"
      "signature:      ";
  EXPECT_EQ(r.out.substr(0, head.size()), head);
  EXPECT_EQ(r.out.substr(head.size() + 64), " (not verified: the tool holds no key to check it with)\n");
}

TEST_F(Ntag, InfoOfAPasswordProtectedTag) {
  std::string tag = Protected(true);
  // Without the password the configuration pages do not show.
  Result r = Run({"--sim-load", tag, "ntag", "info", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_TRUE(j["auth0"].is_null());
  EXPECT_EQ(j["password_protection"], "unknown");
  EXPECT_EQ(j["static_lock"], "0000");
  EXPECT_TRUE(j["dynamic_lock"].is_null());  // page 130 is behind AUTH0
  EXPECT_TRUE(j["locked_pages"].is_null());
  EXPECT_EQ(j["counter_state"], "unknown");
  // With it: AUTH0, ACCESS, the PACK checked, the counter (its first read counted).
  r = Run({"--sim-load", tag, "ntag", "info", "--password", "@" + Path("pwd.txt"), "--pack", "ABCD", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  j = r.Json();
  EXPECT_EQ(j["auth0"], 16);
  EXPECT_EQ(j["access"], "90");
  EXPECT_EQ(j["password_protection"], "reads and writes");
  EXPECT_EQ(j["protected_from"], 16);
  EXPECT_EQ(j["pack"], "ABCD");
  EXPECT_EQ(j["dynamic_lock"], "000000");
  EXPECT_EQ(j["counter_state"], "enabled");
  EXPECT_EQ(j["counter"], 1);
  r = Run({"--sim-load", tag, "ntag", "info", "--password", "-"}, "11223344\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("AUTH0:          10 (pages 16-134 need the password for reads and writes)\n"), std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("password:       reads and writes, password given\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("PACK:           ABCD (the answer to the password)\n"), std::string::npos) << r.out;
}

TEST_F(Ntag, ACounterBehindThePasswordIsReadOnlyWithIt) {
  // Nothing behind AUTH0 (FF), but ACCESS 18: the NFC counter on, its
  // reading behind the password.
  std::string image = NewImage();
  SetPage(image, kCfg1, std::string("\x18\x05\x00\x00", 4));
  SetPage(image, kPwd, "\x11\x22\x33\x44");
  SetPage(image, kPack, std::string("\xAB\xCD\x00\x00", 4));
  Write(Path("cnt.bin"), image);
  Write(Path("pwd.txt"), "11223344\n");
  Result r = Run({"--sim-load", Path("cnt.bin"), "--trace", "ntag", "info", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["access"], "18");
  EXPECT_EQ(j["counter_state"], "password");
  EXPECT_TRUE(j["counter"].is_null());
  // The tag was not asked for a counter it would refuse.
  EXPECT_EQ(r.err.find("READ_CNT"), std::string::npos) << r.err;
  r = Run({"--sim-load", Path("cnt.bin"), "ntag", "info"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("NFC counter:    enabled, its reads need the password (give --password)\n"), std::string::npos)
      << r.out;
  r = Run({"--sim-load", Path("cnt.bin"), "ntag", "info", "--password", "@" + Path("pwd.txt"), "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  j = r.Json();
  EXPECT_EQ(j["counter_state"], "enabled");
  EXPECT_EQ(j["counter"], 1);  // this run's first read counted
}

TEST_F(Ntag, WrongPasswordOrPackIsItsOwnError) {
  std::string tag = Protected(true);
  Write(Path("wrong.txt"), "11223345\n");
  Result r = Run({"--sim-load", tag, "ntag", "info", "--password", "@" + Path("wrong.txt")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err,
            "orvex: the NTAG215 04A1B2C3D4E5F6 refused the password (wrong password); nothing was read or "
            "written\n");
  r = Run({"--sim-load", tag, "ntag", "read", "4", "--password", "@" + Path("pwd.txt"), "--pack", "ABCE"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: the NTAG215 04A1B2C3D4E5F6 answered the password with PACK ABCD, not ABCE (--pack): not "
            "the tag expected; nothing was read or written\n");
  // On the command line: taken, with the warning.
  r = Run({"--sim-load", tag, "ntag", "read", "16", "--password", "11223344"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.err.find("orvex: warning: the key given with --password is visible to other users"), std::string::npos)
      << r.err;
  r = Run({"--sim-load", tag, "ntag", "read", "4", "--password", "@" + Path("wrong.txt"), "--pack", "AB"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --pack: a PACK has 2 bytes (4 hex digits)\n");
  r = Run({"--sim-load", tag, "ntag", "read", "4", "--password", "-"}, "112233\n");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --password: a password has 4 bytes (8 hex digits)\n");
  r = Run({"--sim-load", tag, "ntag", "read", "4", "--pack", "ABCD"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --pack: it is checked against the answer to --password; give both\n");
}

TEST_F(Ntag, ReadPages) {
  Result r = Run({"--sim-card", kTag, "ntag", "read", "0", "2"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "page   0: 04A1B29F\npage   1: C3D4E5F6\n");
  r = Run({"--sim-card", kTag, "ntag", "read", "3"});
  EXPECT_EQ(r.out, "page   3: E1103E00\n");
  r = Run({"--sim-card", kTag, "ntag", "read", "132", "3", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["type"], "NTAG215");
  EXPECT_EQ(j["page"], 132);
  EXPECT_EQ(j["memory"], (nlohmann::json{"00050000", "00000000", "00000000"}));
  r = Run({"--sim-card", kTag, "ntag", "read", "133"});
  EXPECT_EQ(r.out, "page 133: 00000000  (PWD and PACK always read as zeros)\n");
  r = Run({"--sim-card", kTag, "ntag", "read", "134", "2"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: the NTAG215 04A1B2C3D4E5F6 has pages 0 to 134\n");
  r = Run({"--sim-empty", "ntag", "read", "4"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: no card in the field\n");
  r = Run({"--sim-card", kTag, "ntag", "read"});
  EXPECT_EQ(r.status, 2);
}

TEST_F(Ntag, ReadsBehindAuth0NeedThePassword) {
  std::string tag = Protected(true);
  Result r = Run({"--sim-load", tag, "ntag", "read", "15"});  // below AUTH0: open
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "page  15: 00000000\n");
  r = Run({"--sim-load", tag, "ntag", "read", "16"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: reading pages 16 to 16 of the NTAG215 04A1B2C3D4E5F6: the tag refused (protected by a "
            "password that guards reads too? give --password)\n");
  r = Run({"--sim-load", tag, "ntag", "dump", "--json"});
  EXPECT_EQ(r.status, 1);
  r = Run({"--sim-load", tag, "ntag", "dump", Path("d.bin"), "--password", "@" + Path("pwd.txt")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Slurp(Path("d.bin")).size(), 540u);
  // Only writes protected: reads go through, writes are refused before anything is sent.
  tag = Protected(false);
  r = Run({"--sim-load", tag, "ntag", "dump", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["memory"][kCfg0], "04000010");
  r = Run({"--sim-load", tag, "ntag", "write", "20", "01020304"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: page 20 of the NTAG215 04A1B2C3D4E5F6 is protected by a password (AUTH0 16, writes); "
            "give --password. Nothing was written\n");
  r = Run({"--sim-load", tag, "--sim-save", Path("after.bin"), "ntag", "write", "20", "01020304", "--password", "-"},
          "11223344");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote 01020304 to page 20 of the NTAG215 04A1B2C3D4E5F6 and read it back (simulated reader)\n");
  EXPECT_EQ(Page(Slurp(Path("after.bin")), 20), "\x01\x02\x03\x04");
}

TEST_F(Ntag, WriteAUserPageAndReadItBack) {
  Result r = Run({"--sim-card", kTag, "--sim-save", Path("after.bin"), "ntag", "write", "4", "DE:AD:BE:EF", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["page"], 4);
  EXPECT_EQ(j["written"], "DEADBEEF");
  EXPECT_EQ(j["verified"], true);
  EXPECT_EQ(Page(Slurp(Path("after.bin")), 4), "\xDE\xAD\xBE\xEF");
  r = Run({"--sim-card", kTag, "ntag", "write", "4", "DEAD"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: HEX: a page has 4 bytes (8 hex digits)\n");
  r = Run({"--sim-card", kTag, "ntag", "write", "135", "00000000"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: the NTAG215 04A1B2C3D4E5F6 has pages 0 to 134\n");
}

TEST_F(Ntag, SpecialPagesNeedForce) {
  const std::string image = NewImage();
  Write(Path("tag.bin"), image);
  struct Case {
    const char* page;
    int status;
    std::string err;
  };
  const std::string tag = "orvex: page ";
  const std::string of = " of the NTAG215 04A1B2C3D4E5F6 ";
  for (const Case& c : {
           Case{"1", 2, tag + "1" + of + "holds the UID and cannot be written; nothing was written\n"},
           Case{"2", 2,
                tag + "2" + of +
                    "holds the static lock bits, which can only be set, never cleared; give "
                    "--force to write it. Nothing was written\n"},
           Case{"3", 2,
                tag + "3" + of +
                    "is one-time programmable (the capability container): its bits can only "
                    "be set; give --force to write it. Nothing was written\n"},
           Case{"130", 2,
                tag + "130" + of +
                    "holds the dynamic lock bits, which can only be set, never cleared; "
                    "give --force to write it. Nothing was written\n"},
           Case{"131", 2,
                tag + "131" + of +
                    "is configuration page CFG0 (AUTH0: which pages need the password); "
                    "give --force to write it. Nothing was written\n"},
           Case{"133", 2, tag + "133" + of + "holds the password; give --force to write it. Nothing was written\n"},
       }) {
    Result r =
        Run({"--sim-load", Path("tag.bin"), "--sim-save", Path("after.bin"), "ntag", "write", c.page, "FFFFFFFF"});
    EXPECT_EQ(r.status, c.status) << c.page;
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(Slurp(Path("after.bin")), image) << c.page;  // nothing written
  }
}

TEST_F(Ntag, ForcedWritesOnlySetBitsAndSayWhatTheyLock) {
  Write(Path("tag.bin"), NewImage());
  Result r =
      Run({"--sim-load", Path("tag.bin"), "--sim-save", Path("l.bin"), "ntag", "write", "2", "00000010", "--force"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "orvex: locking page 12 for good\n");
  EXPECT_EQ(r.out, "wrote 04480010 to page 2 of the NTAG215 04A1B2C3D4E5F6 and read it back (simulated reader)\n");
  // Page 12 is now locked: a write to it is refused before it is sent.
  r = Run({"--sim-load", Path("l.bin"), "ntag", "write", "12", "01020304"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: page 12 of the NTAG215 04A1B2C3D4E5F6 is locked; nothing was written\n");
  r = Run({"--sim-load", Path("l.bin"), "ntag", "info", "--json"});
  EXPECT_EQ(r.Json()["locked_pages"], nlohmann::json{12});
  r = Run({"--sim-load", Path("tag.bin"), "ntag", "write", "2", "00000200", "--force"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "orvex: freezing the lock bits of pages 4-9: they can no longer be set\n");
  // Bits already set stay set: the tag ORs the new ones in.
  r = Run({"--sim-load", Path("tag.bin"), "--sim-save", Path("cc.bin"), "ntag", "write", "3", "00000001", "--force"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err,
            "orvex: page 3 of the NTAG215 04A1B2C3D4E5F6 keeps its set bits: it will read E1103E01, not "
            "00000001\n");
  EXPECT_EQ(r.out,
            "wrote 00000001 to page 3 of the NTAG215 04A1B2C3D4E5F6 and read it back as E1103E01 (simulated "
            "reader)\n");
  r = Run({"--sim-load", Path("tag.bin"), "--sim-save", Path("d.bin"), "ntag", "write", "130", "01000000", "--force",
           "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.err.find("orvex: locking pages 16-31 for good\n"), std::string::npos) << r.err;
  EXPECT_EQ(r.Json()["newly_locked"].size(), 16u);
  EXPECT_EQ(Page(Slurp(Path("d.bin")), 130), std::string("\x01\x00\x00\xBD", 4));
  // The password: written, not read back (it reads as zeros).
  r = Run({"--sim-load", Path("tag.bin"), "--sim-save", Path("p.bin"), "ntag", "write", "133", "11223344", "--force"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "wrote 11223344 to page 133 of the NTAG215 04A1B2C3D4E5F6 (it always reads as zeros: not read "
            "back) (simulated reader)\n");
  EXPECT_EQ(Page(Slurp(Path("p.bin")), kPwd), "\x11\x22\x33\x44");
}

TEST_F(Ntag, TagLeavingMidWriteIsReported) {
  Result r = Run({"--sim-card", kTag, "--sim-leave-after", "1", "ntag", "write", "4", "01020304"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: wrote 01020304 to page 4 of the NTAG215 04A1B2C3D4E5F6, but could not read it back: no "
            "card in the field\n");
}

class NtagRestore : public Ntag {
 protected:
  // A dump of a tag holding an NDEF text record (pages 4 to 9 differ from a new tag's).
  void SetUp() override {
    Ntag::SetUp();
    Result r =
        Run({"--sim-card", kTag, "--sim-save", Path("src-card.bin"), "ndef", "write", "--text", "hello restore"});
    ASSERT_EQ(r.status, 0) << r.err;
    r = Run({"--sim-load", Path("src-card.bin"), "ntag", "dump", Path("src.bin")});
    ASSERT_EQ(r.status, 0) << r.err;
    dump_ = Slurp(Path("src.bin"));
    fresh_ = NewImage();
    Write(Path("fresh.bin"), fresh_);
  }
  std::string dump_, fresh_;
};

TEST_F(NtagRestore, UserPagesOnlyByDefault) {
  std::string dump = dump_;
  SetPage(dump, kCfg0, std::string("\x04\x00\x00\x04", 4));  // AUTH0 4: left alone without --force
  Write(Path("src.bin"), dump);
  Result r =
      Run({"--sim-load", Path("fresh.bin"), "--sim-save", Path("after.bin"), "ntag", "restore", Path("src.bin")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "restored " + Path("src.bin") +
                       " to the NTAG215 04A1B2C3D4E5F6: wrote pages 4-9 (120 pages "
                       "already held the dump's bytes); pages 0-3, lock and configuration pages left as they were "
                       "(simulated reader)\n");
  std::string after = Slurp(Path("after.bin"));
  EXPECT_EQ(after.substr(16, 126 * 4), dump.substr(16, 126 * 4));
  EXPECT_EQ(after.substr(0, 16), fresh_.substr(0, 16));
  EXPECT_EQ(after.substr(130 * 4), fresh_.substr(130 * 4));
  // Again: nothing left to write.
  r = Run({"--sim-load", Path("after.bin"), "ntag", "restore", Path("src.bin"), "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["pages_written"], nlohmann::json::array());
  EXPECT_EQ(r.Json()["pages_unchanged"], 126);
  // Another tag's UID is reported; its UID pages are not touched.
  r = Run({"--sim-card", "ntag215:04010203040506", "ntag", "restore", Path("src.bin")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, r.out.find('\n') + 1),
            "the dump is of UID 04A1B2C3D4E5F6, the tag is 04010203040506: its UID pages stay as they are\n");
}

TEST_F(NtagRestore, RefusesBeforeWritingAnything) {
  Result r = Run({"--sim-card", "ntag213:04A1B2C3D4E5F6", "ntag", "restore", Path("src.bin")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: the dump " + Path("src.bin") +
                       " holds 540 bytes; the NTAG213 04A1B2C3D4E5F6 has 45 pages "
                       "(180 bytes). Nothing was written\n");
  r = Run({"--sim-card", kTag, "ntag", "restore", Path("missing.bin")});
  EXPECT_EQ(r.status, 2);
  // A locked page that differs from the dump.
  std::string locked = fresh_;
  SetPage(locked, 2, std::string("\x04\x48\x00\x02", 4));  // locks page 9
  Write(Path("locked.bin"), locked);
  std::string dump = dump_;
  SetPage(dump, 9, Page(fresh_, 9));
  Write(Path("src9.bin"), dump);
  const std::string differs =
      "orvex: page 9 of the NTAG215 04A1B2C3D4E5F6 is locked and differs from the dump. Nothing was written\n";
  struct Case {
    std::string dump;
    bool force;
    std::string err;
  };
  for (const Case& c : {
           Case{"src.bin", false, differs},
           Case{"src.bin", true, differs},
           // Lock bits set on the tag and clear in the dump cannot be restored.
           Case{"src9.bin", true,
                "orvex: page 2 of the NTAG215 04A1B2C3D4E5F6 has bits set that the dump has clear; such bits can "
                "only be set, never cleared. Nothing was written\n"},
       }) {
    std::vector<std::string> args = {"--sim-load", Path("locked.bin"), "--sim-save", Path("after.bin"),
                                     "ntag",       "restore",          Path(c.dump)};
    if (c.force) args.push_back("--force");
    r = Run(args);
    EXPECT_EQ(r.status, 1) << c.dump;
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(Slurp(Path("after.bin")), locked);
  }
}

TEST_F(NtagRestore, ForceWritesLockBitsAfterTheData) {
  std::string dump = dump_;
  SetPage(dump, 2, std::string("\x04\x48\x00\x10", 4));    // locks page 12
  SetPage(dump, 130, std::string("\x02\x00\x00\xBD", 4));  // locks pages 32-47
  SetPage(dump, 3, std::string("\xE1\x10\x3E\x0F", 4));    // sets OTP bits
  Write(Path("locks.bin"), dump);
  Result r = Run({"--sim-load", Path("fresh.bin"), "--sim-save", Path("after.bin"), "ntag", "restore",
                  Path("locks.bin"), "--force"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "orvex: the dump's lock bits lock pages 12, 32-47 for good\n");
  EXPECT_EQ(r.out, "restored " + Path("locks.bin") +
                       " to the NTAG215 04A1B2C3D4E5F6: wrote pages 2-9, 130 (122 "
                       "pages already held the dump's bytes); PWD and PACK left as they were (simulated reader)\n");
  std::string after = Slurp(Path("after.bin"));
  EXPECT_EQ(after.substr(8, kPwd * 4 - 8), dump.substr(8, kPwd * 4 - 8));
  EXPECT_EQ(Page(after, kPwd), Page(fresh_, kPwd));  // the password is not in a dump
}

TEST_F(NtagRestore, ConfigurationComesLast) {
  // The dump turns on the password from page 16 on, reads too.
  std::string dump = dump_;
  SetPage(dump, kCfg0, std::string("\x04\x00\x00\x10", 4));
  SetPage(dump, kCfg1, std::string("\x80\x05\x00\x00", 4));
  Write(Path("prot.bin"), dump);
  Result r = Run({"--sim-load", Path("fresh.bin"), "--sim-save", Path("after.bin"), "ntag", "restore", Path("prot.bin"),
                  "--force"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: the dump's AUTH0 16 guards CFG1, which is written after it: give --password (the tag's current "
            "password). Nothing was written\n");
  EXPECT_EQ(Slurp(Path("after.bin")), fresh_);
  Write(Path("ff.txt"), "FFFFFFFF\n");  // a new tag's password
  r = Run({"--sim-card", kTag, "--sim-save", Path("after.bin"), "ntag", "restore", Path("prot.bin"), "--force",
           "--password", "@" + Path("ff.txt")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "restored " + Path("prot.bin") +
                       " to the NTAG215 04A1B2C3D4E5F6: wrote pages 4-9, 131-132 (123 pages already held the dump's "
                       "bytes); PWD and PACK left as they were (simulated reader)\n");
  std::string after = Slurp(Path("after.bin"));
  EXPECT_EQ(Page(after, kCfg0), Page(dump, kCfg0));
  EXPECT_EQ(Page(after, kCfg1), Page(dump, kCfg1));
  EXPECT_EQ(Page(after, kPwd), "\xFF\xFF\xFF\xFF");
  // A tag that already guards reads: the new AUTH0 hides CFG0 as soon as it is written.
  std::string card = fresh_;
  SetPage(card, kCfg1, std::string("\x80\x05\x00\x00", 4));
  Write(Path("card.bin"), card);
  r = Run({"--sim-load", Path("card.bin"), "--sim-save", Path("after.bin"), "ntag", "restore", Path("prot.bin"),
           "--force"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "orvex: page 131 written but not read back: the new AUTH0 guards reads without the password\n");
  EXPECT_EQ(Page(Slurp(Path("after.bin")), kCfg0), Page(dump, kCfg0));
}

TEST_F(NtagRestore, InterruptionSaysWhatWasAndWasNotWritten) {
  Result r = Run({"--sim-load", Path("fresh.bin"), "--sim-save", Path("after.bin"), "--sim-leave-after", "2", "ntag",
                  "restore", Path("src.bin")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: writing page 6: the tag did not take it (it left the field, or the page is locked or "
            "protected). Written: pages 4-5; not written: pages 6-9 (the write of page 6 was not confirmed)\n");
  std::string after = Slurp(Path("after.bin"));
  EXPECT_EQ(after.substr(16, 8), dump_.substr(16, 8));
  EXPECT_EQ(after.substr(24, 16), fresh_.substr(24, 16));
}

TEST_F(NtagRestore, ProtectedTagNeedsThePassword) {
  std::string tag = Protected(false);
  std::string image = Slurp(tag);
  Result r_ = Run({"--sim-load", tag, "--sim-save", Path("after.bin"), "ntag", "restore", Path("src.bin")});
  EXPECT_EQ(r_.status, 0) << r_.err;  // pages 4-9 are below AUTH0 16
  std::string dump = dump_;
  SetPage(dump, 20, "\x01\x02\x03\x04");
  Write(Path("src20.bin"), dump);
  r_ = Run({"--sim-load", tag, "--sim-save", Path("after.bin"), "ntag", "restore", Path("src20.bin")});
  EXPECT_EQ(r_.status, 1);
  EXPECT_EQ(r_.err,
            "orvex: page 20 of the NTAG215 04A1B2C3D4E5F6 is protected by a password (AUTH0 16, "
            "writes); give --password. Nothing was written\n");
  EXPECT_EQ(Slurp(Path("after.bin")), image);
  r_ = Run({"--sim-load", tag, "--sim-save", Path("after.bin"), "ntag", "restore", Path("src20.bin"), "--password",
            "@" + Path("pwd.txt")});
  ASSERT_EQ(r_.status, 0) << r_.err;
  EXPECT_EQ(Page(Slurp(Path("after.bin")), 20), "\x01\x02\x03\x04");
}

}  // namespace
