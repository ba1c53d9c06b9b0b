// SPDX-License-Identifier: MIT
// The simulated card kept in dump files: orvex --sim-save writes the format
// the file's name says (.mfd, .eml, .json) with the dump writer of mfc dump,
// --sim-load reads it back with the parser of mfc restore, and orvex-sim's
// --load and --save do the same.
#include <sys/wait.h>

#include <dirent.h>

#include "cli_support.h"

namespace clitest {
namespace {

constexpr const char* kCard = "mfc4k:04112233445566";
constexpr const char* kData = "00112233445566778899AABBCCDDEEFF";

class SimFiles : public Cli {
 protected:
  // The files of the test's folder, sorted.
  std::vector<std::string> Files() {
    std::vector<std::string> out;
    DIR* d = opendir(dir_.c_str());
    if (!d) return out;
    while (dirent* e = readdir(d)) {
      std::string n = e->d_name;
      if (n != "." && n != ".." && n != "stdout" && n != "stderr") out.push_back(n);
    }
    closedir(d);
    std::sort(out.begin(), out.end());
    return out;
  }
  // orvex-sim with args (a shell word list) that must end before serving:
  // its exit status, and what it said on standard error.
  Result SimRefusal(const std::string& args) {
    Result r;
    const std::string cmd = std::string(ORVEX_SIM_TOOL) + " " + args + " </dev/null >/dev/null 2>" + Path("sim.err");
    const int ws = std::system(cmd.c_str());
    r.status = WIFEXITED(ws) ? WEXITSTATUS(ws) : -1;
    r.err = Slurp(Path("sim.err"));
    return r;
  }
};

TEST_F(SimFiles, EveryFormatSavedLoadsBackAsTheSameCard) {
  // The card after a write, saved raw: what every format must give back.
  Result r = Run({"--sim-card", kCard, "--sim-save", Path("ref.mfd"), "mfc", "write", "200", kData});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string ref = Slurp(Path("ref.mfd"));
  ASSERT_EQ(ref.size(), 4096u);
  EXPECT_EQ(ref.substr(200 * 16, 3), std::string("\x00\x11\x22", 3));
  for (const std::string name : {"card.eml", "card.json", "CARD.JSON", "card.MFD"}) {
    SCOPED_TRACE(name);
    r = Run({"--sim-load", Path("ref.mfd"), "--sim-save", Path(name), "info"});
    ASSERT_EQ(r.status, 0) << r.err;
    r = Run({"--sim-load", Path(name), "--sim-save", Path("back.mfd"), "info"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(Slurp(Path("back.mfd")), ref);
  }
  // The text formats as mfc dump writes them.
  const std::string eml = Slurp(Path("card.eml"));
  EXPECT_EQ(eml.substr(0, 33), "04112233445566" + eml.substr(14, 18) + "\n");
  EXPECT_NE(eml.find("\n" + std::string(kData) + "\n"), std::string::npos);
  EXPECT_EQ(std::count(eml.begin(), eml.end(), '\n'), 256);
  const nlohmann::json j = nlohmann::json::parse(Slurp(Path("card.json")));
  EXPECT_EQ(j["uid"], "04112233445566");
  EXPECT_EQ(j["atqa"], "0042");
  EXPECT_EQ(j["sak"], "18");
  EXPECT_EQ(j["type"], "MIFARE Classic 4K");
  EXPECT_EQ(j["blocks"][200], kData);
  EXPECT_EQ(j["unknown_blocks"], nlohmann::json::array());
  EXPECT_EQ(j["sectors"][39]["key_a"], "FFFFFFFFFFFF");
  // The files hold keys: their owner's only; no temporary file is left.
  struct stat st;
  ASSERT_EQ(stat(Path("card.json").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  EXPECT_EQ(Files(), (std::vector<std::string>{"CARD.JSON", "back.mfd", "card.MFD", "card.eml", "card.json", "ref.mfd"}));
}

TEST_F(SimFiles, ACardLeavingMidCommandIsSavedInTheFormatAsLeft) {
  Result r = Run({"--sim-card", kCard, "--sim-save", Path("cut.eml"), "--sim-leave-after", "1", "mfc", "write", "200",
                  kData});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "orvex: the card 04112233445566 left the field\n");
  // The write reached the card before it left; the dump says so.
  const std::string eml = Slurp(Path("cut.eml"));
  ASSERT_EQ(eml.size(), 256u * 33);
  EXPECT_EQ(eml.substr(200 * 33, 33), std::string(kData) + "\n");
}

TEST_F(SimFiles, ANameThatSaysNoFormatIsRefusedBeforeTheCommand) {
  const std::vector<Refusal> refusals = {
      {{"--sim-card", kCard, "--sim-save", Path("card.bin"), "mfc", "write", "200", kData}, 2,
       "--sim-save " + Path("card.bin") +
           ": a MIFARE Classic card is saved to a .mfd, .eml or .json file (its name chooses the format)"},
      {{"--sim-card", kCard, "--sim-save", Path("card"), "mfc", "write", "200", kData}, 2,
       "--sim-save " + Path("card") +
           ": a MIFARE Classic card is saved to a .mfd, .eml or .json file (its name chooses the format)"},
      {{"--sim-card", "ntag213:04112233445566", "--sim-save", Path("tag.json"), "ntag", "write", "4", "01020304"}, 2,
       "--sim-save " + Path("tag.json") +
           ": an NTAG is saved as its raw memory image; .eml and .json files hold MIFARE Classic dumps"},
      {{"--sim-card", "iso15693", "--sim-save", Path("x.mfd"), "scan"}, 2,
       "--sim-save: no MIFARE Classic card or NTAG in the simulated field"},
      {{"--sim-card", "ntag213:04112233445566", "--sim-save", "-", "ntag", "write", "4", "01020304"}, 2,
       "--sim-save: give a file (the card is not written to standard output)"},
      {{"--sim-card", kCard, "--sim-save", Path("none/x.mfd"), "mfc", "write", "200", kData}, 2,
       "--sim-save " + Path("none/x.mfd") + ": cannot be written (No such file or directory)"},
  };
  for (const Refusal& c : refusals) {
    Result r = Run(c.args);
    EXPECT_EQ(r.status, c.status) << c.err;
    EXPECT_EQ(r.err, "orvex: " + c.err + "\n");
    EXPECT_EQ(r.out, "");  // nothing was sent: no write reported
  }
  EXPECT_EQ(Files(), std::vector<std::string>{});
  // An NTAG goes to any other name, raw.
  Result r = Run({"--sim-card", "ntag213:04112233445566", "--sim-save", Path("tag.img"), "ntag", "write", "4", "01020304"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Slurp(Path("tag.img")).substr(16, 4), "\x01\x02\x03\x04");
}

TEST_F(SimFiles, OrvexSimLoadsAndSavesEveryFormat) {
  ASSERT_EQ(Run({"--sim-card", kCard, "--sim-save", Path("card.json"), "info"}).status, 0);
  {
    SimProcess sim("--load " + Path("card.json") + " --save " + Path("after.eml"), Path("sim.out"));
    ASSERT_EQ(sim.pty().rfind("/dev/", 0), 0u) << sim.pty();
    Result r = Run({"--device", sim.pty(), "mfc", "write", "200", kData});
    ASSERT_EQ(r.status, 0) << r.err;
  }  // stopped: the card is saved
  const std::string eml = Slurp(Path("after.eml"));
  ASSERT_EQ(eml.size(), 256u * 33);
  EXPECT_EQ(eml.substr(200 * 33, 33), std::string(kData) + "\n");
  EXPECT_EQ(eml.substr(0, 14), "04112233445566");
  // The tool reads it back as the same card.
  Result r = Run({"--sim-load", Path("after.eml"), "--sim-save", Path("after.mfd"), "mfc", "read", "200"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block 200: " + std::string(kData) + "  (key A FFFFFFFFFFFF)\n");
}

TEST_F(SimFiles, OrvexSimRefusesWhatIsNoCard) {
  std::string eml;
  for (int b = 0; b < 64; ++b) eml += (b == 9 ? std::string(30, '0') + "--" : std::string(32, '0')) + "\n";
  Write(Path("part.eml"), eml);
  Write(Path("short.mfd"), std::string(500, '\0'));
  Result r = SimRefusal("--load " + Path("part.eml"));
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex-sim: --load " + Path("part.eml") +
                       ": block 9 holds bytes that are not known; a card needs every byte\n");
  r = SimRefusal("--load " + Path("short.mfd"));
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex-sim: --load " + Path("short.mfd") +
                       ": a MIFARE Classic dump holds 1024 or 4096 bytes, not 500\n");
  r = SimRefusal("--load " + Path("none.json"));
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex-sim: --load " + Path("none.json") + ": cannot read it (No such file or directory)\n");
  r = SimRefusal("--save " + Path("card.bin"));
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex-sim: --save " + Path("card.bin") +
                       ": a MIFARE Classic card is saved to a .mfd, .eml or .json file (its name chooses the format)\n");
}

}  // namespace
}  // namespace clitest
