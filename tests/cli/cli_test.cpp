// The orvex program, run as a user would run it, against the simulated
// reader it carries inside: output (text and JSON), exit status and the
// error messages.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace {

struct Result {
  int status = -1;  // exit status
  std::string out, err;
  nlohmann::json Json() const { return nlohmann::json::parse(out); }
};

std::string Slurp(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

class Cli : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/orvex_cli_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    unsetenv("ORVEX_DEVICE");
  }
  void TearDown() override {
    std::string cmd = "rm -rf '" + dir_ + "'";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
  }

  std::string Path(const std::string& name) const { return dir_ + "/" + name; }

  // Runs orvex with args; stdout and stderr go to files (not a terminal).
  Result Run(const std::vector<std::string>& args) {
    std::string out = Path("stdout"), err = Path("stderr");
    pid_t pid = fork();
    if (pid == 0) {
      if (!freopen(out.c_str(), "w", stdout) || !freopen(err.c_str(), "w", stderr)) _exit(127);
      std::vector<char*> argv;
      argv.push_back(const_cast<char*>(ORVEX_TOOL));
      for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
      argv.push_back(nullptr);
      execv(ORVEX_TOOL, argv.data());
      _exit(127);
    }
    Result r;
    int ws = 0;
    waitpid(pid, &ws, 0);
    r.status = WIFEXITED(ws) ? WEXITSTATUS(ws) : 128 + WTERMSIG(ws);
    r.out = Slurp(out);
    r.err = Slurp(err);
    return r;
  }

  std::string dir_;
};

TEST_F(Cli, InfoOnTheSimulatedReaderByDefault) {
  Result r = Run({"info"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.err.find("using the built-in simulated reader"), std::string::npos) << r.err;
  EXPECT_NE(r.out.find("reader number:  1\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("version:        1.07\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("serial:         4F56000001234567\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("product:        OVX-C100\n"), std::string::npos) << r.out;
}

TEST_F(Cli, InfoAsJsonWithTheOptionAfterTheSubcommand) {
  Result r = Run({"--device", "sim", "info", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  // An explicit device: no note about the default.
  EXPECT_EQ(r.err.find("using the built-in"), std::string::npos) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["reader_number"], 1);
  EXPECT_EQ(j["version"], "1.07");
  EXPECT_EQ(j["serial"], "4F56000001234567");
  EXPECT_EQ(j["product"], "OVX-C100");
}

TEST_F(Cli, DeviceFromTheEnvironment) {
  setenv("ORVEX_DEVICE", "/dev/orvex-no-such-device", 1);
  Result r = Run({"info"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("cannot open serial device /dev/orvex-no-such-device"), std::string::npos)
      << r.err;
  setenv("ORVEX_DEVICE", "sim", 1);
  r = Run({"--json", "info"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["product"], "OVX-C100");
}

TEST_F(Cli, ScanOfAnEmptyFieldSaysSo) {
  Result r = Run({"--sim-empty", "scan"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("no card in the field"), std::string::npos) << r.err;
  EXPECT_EQ(r.out, "");
  r = Run({"--sim-empty", "scan", "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.Json()["error"], "scan: no card in the field");
}

TEST_F(Cli, ScanFindsALowFrequencyCard) {
  Result r = Run({"--sim-card", "lf:1122334455", "scan"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "lf-125khz    1122334455\n");
  r = Run({"--sim-card", "lf:A0B1C2D3E4", "scan", "-j"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  ASSERT_EQ(j["cards"].size(), 1u);
  EXPECT_EQ(j["cards"][0]["family"], "lf-125khz");
  EXPECT_EQ(j["cards"][0]["uid"], "A0B1C2D3E4");
}

TEST_F(Cli, BeepLedAndDisplay) {
  Result r = Run({"beep", "-n", "3"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "beeped 3 time(s)\n");
  r = Run({"led", "--lamp", "2", "--leave-lit", "1", "--json"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["lamp"], 2);
  EXPECT_EQ(r.Json()["lit"], 1);
  r = Run({"display", "12.34", "--align", "right"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "display shows \"12.34\"\n");
}

TEST_F(Cli, RawPassThroughEchoesInModeZero) {
  Result r = Run({"raw", "01", "02:03", "a0b0"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "010203A0B0\n");
  r = Run({"raw", "--json", "CAFE"});
  EXPECT_EQ(r.Json()["answer"], "CAFE");
}

TEST_F(Cli, RawToNoSelectedCardFailsInWords) {
  Result r = Run({"--sim-empty", "raw", "-m", "1", "-t", "2", "00"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("pass-through command: the reader did not answer within 200 ms"),
            std::string::npos)
      << r.err;
}

TEST_F(Cli, BadArgumentsAreUsageErrors) {
  Result r = Run({});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("subcommand is required"), std::string::npos) << r.err;
  r = Run({"raw", "0G"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("raw: \"0G \" is not hexadecimal"), std::string::npos) << r.err;
  r = Run({"raw", "123"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("odd number of hex digits"), std::string::npos) << r.err;
  r = Run({"beep", "--count", "300"});
  EXPECT_EQ(r.status, 2);
  r = Run({"--device", "floppy", "info"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("unknown device \"floppy\""), std::string::npos) << r.err;
  r = Run({"--sim-card", "nosuchkind", "info", "--json"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.Json()["error"].get<std::string>().find("unknown card kind"), std::string::npos);
  r = Run({"--baud", "1234", "info"});
  EXPECT_EQ(r.status, 2);
}

// A 1K card image: UID 11 22 33 44 with its check byte, transport keys,
// default access bits, and a recognisable pattern in the data blocks.
std::string Image1K() {
  std::string m(1024, '\0');
  const unsigned char b0[] = {0x11, 0x22, 0x33, 0x44, 0x11 ^ 0x22 ^ 0x33 ^ 0x44, 0x08, 0x04, 0x00};
  for (int i = 0; i < 8; ++i) m[i] = static_cast<char>(b0[i]);
  for (int block = 1; block < 64; ++block) {
    char* b = &m[static_cast<size_t>(block) * 16];
    if (block % 4 == 3) {
      const unsigned char t[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x07,
                                   0x80, 0x69, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
      for (int i = 0; i < 16; ++i) b[i] = static_cast<char>(t[i]);
    } else {
      for (int i = 0; i < 16; ++i) b[i] = static_cast<char>(block * 16 + i);
    }
  }
  return m;
}

void Write(const std::string& path, const std::string& data) {
  std::ofstream f(path, std::ios::binary);
  f << data;
}

TEST_F(Cli, CardImageRoundTripsThroughTheSimulatedField) {
  Write(Path("in.mfd"), Image1K());
  Result r = Run({"--sim-load", Path("in.mfd"), "--sim-save", Path("out.mfd"), "info"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Slurp(Path("out.mfd")), Image1K());
}

TEST_F(Cli, CardImageOfTheWrongSizeIsRefused) {
  Write(Path("short.mfd"), std::string(1000, '\0'));
  Result r = Run({"--sim-load", Path("short.mfd"), "info"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("--sim-load " + Path("short.mfd")), std::string::npos) << r.err;
}

TEST_F(Cli, HelpExitsZero) {
  Result r = Run({"--help"});
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("scan"), std::string::npos);
}

}  // namespace
