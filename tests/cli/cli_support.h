// SPDX-License-Identifier: MIT
// The fixture of the orvex program's tests: runs the real program with
// its output and error streams captured, in a temporary directory.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace clitest {

struct Result {
  int status = -1;  // exit status
  std::string out, err;
  nlohmann::json Json() const { return nlohmann::json::parse(out); }
};

inline std::string Slurp(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

inline void Write(const std::string& path, const std::string& data) {
  std::ofstream f(path, std::ios::binary);
  f << data;
}

// orvex-sim as its own process, its standard input ours to script.
class SimProcess {
 public:
  SimProcess(const std::string& options, const std::string& out) {
    // An earlier orvex-sim's first line must not pass for this one's.
    unlink(out.c_str());
    int in[2];
    if (pipe(in) != 0) return;
    // Made before the fork: a test may run threads (a fake reader), and the
    // child may only make calls that take no lock until it execs.
    const std::string command = std::string("exec ") + ORVEX_SIM_TOOL + " " + options + " >" + out + " 2>&1";
    pid_ = fork();
    if (pid_ == 0) {
      dup2(in[0], 0);
      close(in[1]);
      execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    close(in[0]);
    to_ = in[1];
    for (int i = 0; i < 150 && pty_.empty(); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      std::string s = Slurp(out);
      if (s.find('\n') != std::string::npos) pty_ = s.substr(0, s.find('\n'));
    }
  }
  ~SimProcess() {
    if (to_ >= 0) close(to_);
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
  }
  SimProcess(const SimProcess&) = delete;
  SimProcess& operator=(const SimProcess&) = delete;
  const std::string& pty() const { return pty_; }
  void Say(const std::string& line) { (void)!write(to_, line.data(), line.size()); }

 private:
  pid_t pid_ = -1;
  int to_ = -1;
  std::string pty_;
};

// A pseudo-terminal nobody answers on: a serial line with no reader.
class FakeLine {
 public:
  FakeLine() {
    master_ = posix_openpt(O_RDWR | O_NOCTTY);
    if (master_ >= 0 && grantpt(master_) == 0 && unlockpt(master_) == 0) path_ = ptsname(master_);
  }
  ~FakeLine() {
    if (master_ >= 0) close(master_);
  }
  FakeLine(const FakeLine&) = delete;
  FakeLine& operator=(const FakeLine&) = delete;
  const std::string& path() const { return path_; }

 private:
  int master_ = -1;
  std::string path_;
};

// A command that must fail: its arguments, exit status and message (the
// text after "orvex: " on standard error).
struct Refusal {
  std::vector<std::string> args;
  int status;
  std::string err;
};

class Cli : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/orvex_cli_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir_ = tmpl;
    // The simulated reader unless a test says otherwise (the tool never
    // picks it by itself).
    setenv("ORVEX_DEVICE", "sim", 1);
    // No configuration file but the test's own.
    setenv("XDG_CONFIG_HOME", dir_.c_str(), 1);
  }
  // Writes the tool's configuration file.
  void Configure(const std::string& toml) {
    mkdir(Path("orvex").c_str(), 0700);
    std::ofstream(Path("orvex/config.toml")) << toml;
  }
  void TearDown() override {
    std::string cmd = "rm -rf '" + dir_ + "'";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
  }

  std::string Path(const std::string& name) const { return dir_ + "/" + name; }

  // Runs orvex with args; stdout and stderr go to files (not a terminal).
  Result Run(const std::vector<std::string>& args) { return Collect(Spawn(args)); }
  Result Run(const std::vector<std::string>& args, const std::string& input) { return Collect(Spawn(args, &input)); }

  // Starts orvex with args and returns at once; Collect waits for its end.
  // With input, its standard input is that text.
  pid_t Spawn(const std::vector<std::string>& args, const std::string* input = nullptr) {
    std::string out = Path("stdout"), err = Path("stderr"), in = Path("stdin");
    if (input) Write(in, *input);
    // Everything the child needs is made before the fork: a test may run
    // threads (a fake reader), and a child that allocated could wait for
    // ever on a lock one of them held; between fork and exec it only opens
    // and duplicates descriptors.
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(ORVEX_TOOL));
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
      const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
      const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
      if (o < 0 || e < 0 || dup2(o, 1) < 0 || dup2(e, 2) < 0) _exit(127);
      if (input) {
        const int i = open(in.c_str(), O_RDONLY | O_CLOEXEC);
        if (i < 0 || dup2(i, 0) < 0) _exit(127);
      }
      execv(ORVEX_TOOL, argv.data());
      _exit(127);
    }
    return pid;
  }
  Result Collect(pid_t pid) {
    Result r;
    int ws = 0;
    waitpid(pid, &ws, 0);
    r.status = WIFEXITED(ws) ? WEXITSTATUS(ws) : 128 + WTERMSIG(ws);
    r.out = Slurp(Path("stdout"));
    r.err = Slurp(Path("stderr"));
    return r;
  }

  std::string dir_;
};

// A 1K card image: UID 11 22 33 44 with its check byte, transport keys,
// default access bits, and a recognisable pattern in the data blocks.
inline std::string Image1K(bool sector3_keys = false) {
  std::string m(1024, '\0');
  const unsigned char b0[] = {0x11, 0x22, 0x33, 0x44, 0x11 ^ 0x22 ^ 0x33 ^ 0x44, 0x08, 0x04, 0x00};
  for (int i = 0; i < 8; ++i) m[i] = static_cast<char>(b0[i]);
  for (int block = 1; block < 64; ++block) {
    char* b = &m[static_cast<size_t>(block) * 16];
    if (block == 15 && sector3_keys) {
      const unsigned char t[16] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xFF, 0x07,
                                   0x80, 0x69, 0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5};
      for (int i = 0; i < 16; ++i) b[i] = static_cast<char>(t[i]);
    } else if (block % 4 == 3) {
      const unsigned char t[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x07,
                                   0x80, 0x69, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
      for (int i = 0; i < 16; ++i) b[i] = static_cast<char>(t[i]);
    } else {
      for (int i = 0; i < 16; ++i) b[i] = static_cast<char>(block * 16 + i);
    }
  }
  return m;
}

// The same card blank: block 0 as above, zero data, transport keys.
inline std::string Blank1K() {
  std::string blank = Image1K();
  for (int block = 1; block < 64; ++block)
    if (block % 4 != 3) std::fill_n(&blank[static_cast<size_t>(block) * 16], 16, '\0');
  return blank;
}

}  // namespace clitest
