// SPDX-License-Identifier: MIT
// Every command example of README.md and of the manual pages runs, and
// succeeds, against the simulated reader: an example that stops working
// fails here rather than in a user's hands.
//
// An example is run as written, with three changes that let it run without
// hardware: the device it names (--device, or ORVEX_DEVICE=... before it)
// becomes the simulated reader ("sim", or the pseudo-terminal of the
// orvex-sim an earlier example of the same page started); an example that
// puts no card into the simulated field gets the card of its subcommand's
// family; and `watch` without --timeout is interrupted after a second, as
// the user would with Ctrl-C. The examples of one page run in order in one
// directory, so that a file one writes (a dump) is there for the next
// (its restore); the files a user would bring (a key list, a PNG) are made
// first.
#include <png.h>

#include <map>
#include <regex>

#include "cli_support.h"

namespace {

using namespace clitest;

struct Example {
  std::string where;  // file:line
  std::vector<std::string> words;  // after the program name
  std::string program;             // orvex or orvex-sim
  bool background = false;         // ends in &
};

// Splits a shell command line into words: quotes group, an unquoted '#'
// starting a word begins a comment, '&' at the end puts it in the background.
std::vector<std::string> ShellWords(const std::string& line, bool* background) {
  std::vector<std::string> words;
  std::string word;
  bool in_word = false;
  char quote = 0;
  for (size_t i = 0; i < line.size(); ++i) {
    char c = line[i];
    if (quote) {
      if (c == quote) quote = 0;
      else word += c;
      continue;
    }
    if (c == '\'' || c == '"') {
      quote = c;
      in_word = true;
    } else if (c == ' ' || c == '\t') {
      if (in_word) words.push_back(word);
      word.clear();
      in_word = false;
    } else if (c == '#' && !in_word) {
      break;
    } else {
      word += c;
      in_word = true;
    }
  }
  if (in_word) words.push_back(word);
  *background = !words.empty() && words.back() == "&";
  if (*background) words.pop_back();
  return words;
}

// The example on a line, if the line is one: an orvex or orvex-sim command,
// perhaps behind environment assignments (which are dropped: the device is
// chosen by the test).
bool ParseExample(const std::string& line, const std::string& where, Example* e) {
  bool background = false;
  std::vector<std::string> words = ShellWords(line, &background);
  size_t i = 0;
  while (i < words.size() && std::regex_match(words[i], std::regex("[A-Z_]+=.*"))) ++i;
  if (i >= words.size() || (words[i] != "orvex" && words[i] != "orvex-sim")) return false;
  e->where = where;
  e->program = words[i];
  e->words.assign(words.begin() + static_cast<long>(i) + 1, words.end());
  e->background = background;
  return true;
}

// README.md: the lines of its indented code blocks.
std::vector<Example> ReadmeExamples(const std::string& path) {
  std::vector<Example> examples;
  std::istringstream in(Slurp(path));
  std::string line;
  bool fenced = false;
  for (int n = 1; std::getline(in, line); ++n) {
    if (line.rfind("```", 0) == 0) fenced = !fenced;
    if (fenced || line.rfind("    ", 0) != 0) continue;
    Example e;
    if (ParseExample(line, "README.md:" + std::to_string(n), &e)) examples.push_back(e);
  }
  return examples;
}

// A manual page: the lines of its EXAMPLES section, unescaped.
std::vector<Example> ManExamples(const std::string& path, const std::string& name) {
  std::vector<Example> examples;
  std::istringstream in(Slurp(path));
  std::string line;
  bool inside = false;
  for (int n = 1; std::getline(in, line); ++n) {
    if (line.rfind(".SH", 0) == 0) inside = line == ".SH EXAMPLES";
    if (!inside || line.empty() || line[0] == '.') continue;
    std::string plain = std::regex_replace(line, std::regex(R"(\\-)"), "-");
    Example e;
    if (ParseExample(plain, name + ":" + std::to_string(n), &e)) examples.push_back(e);
  }
  return examples;
}

// The simulated card an example of each subcommand needs when it names none.
const std::map<std::string, std::vector<std::string>>& DefaultCards() {
  static const std::map<std::string, std::vector<std::string>> cards = {
      {"mfc", {"--sim-card", "mfc1k"}},         {"ntag", {"--sim-card", "ntag215"}},
      {"ndef", {"--sim-card", "ntag215"}},      {"felica", {"--sim-card", "felica"}},
      {"topaz", {"--sim-card", "topaz"}},       {"srx", {"--sim-card", "srix4k"}},
      {"at88rf020", {"--sim-card", "at88rf020"}}, {"sle4442", {"--sim-card", "sle4442"}},
      {"idcard", {"--sim-card", "idcard"}},     {"lf", {"--sim-card", "lf"}},
      {"mfplus", {"--sim-card", "mfplus"}},     {"iso15693", {"--sim-card", "iso15693"}},
      {"apdu", {"--sim-card", "cpu"}},          {"sam", {"--sim-card", "sam"}},
      {"lcd", {"--sim-display"}}};
  return cards;
}

// orvex's global options that take a value.
bool TakesValue(const std::string& option) {
  static const std::vector<std::string> options = {"-d", "--device", "-b", "--baud", "-r", "--reader-id",
                                                   "-u", "--uid", "--sim-card", "--sim-load", "--sim-save",
                                                   "--sim-leave-after", "--sim-screen"};
  return std::find(options.begin(), options.end(), option) != options.end();
}

// An orvex example made runnable: the device replaced by `device`, the
// default card added, and whether it must be interrupted.
std::vector<std::string> Runnable(const Example& e, const std::string& device, bool* interrupt) {
  std::vector<std::string> args;
  std::string subcommand;
  bool has_card = false, has_timeout = false;
  for (size_t i = 0; i < e.words.size(); ++i) {
    const std::string& w = e.words[i];
    if ((w == "-d" || w == "--device") && i + 1 < e.words.size()) {
      args.push_back("--device");
      args.push_back(device);
      ++i;
      continue;
    }
    if (w.rfind("--device=", 0) == 0) {
      args.push_back("--device=" + device);
      continue;
    }
    if (w == "--sim-card" || w == "--sim-empty" || w == "--sim-load" || w == "--sim-display") has_card = true;
    if (w == "--timeout") has_timeout = true;
    args.push_back(w);
    if (TakesValue(w) && i + 1 < e.words.size()) {
      args.push_back(e.words[++i]);
      continue;
    }
    if (subcommand.empty() && w[0] != '-') subcommand = w;
  }
  auto it = DefaultCards().find(subcommand);
  if (!has_card && device == "sim" && it != DefaultCards().end())
    args.insert(args.begin(), it->second.begin(), it->second.end());
  *interrupt = subcommand == "watch" && !has_timeout;
  return args;
}

class Examples : public Cli {
 protected:
  // What a user brings to the examples: key lists, an APDU script, the
  // SLE4442's PSC, the AT88RF020's key, a MIFARE Classic dump and a picture.
  void MakeUserFiles() {
    Write(Path("keys.txt"), "# my keys\nA0A1A2A3A4A5\nFFFFFFFFFFFF\n");
    Write(Path("session.apdu"),
          "# select the purse application and read its public file\n"
          "00A40000021001 = 9000\n00B0950040 = 9000\n0084000008 = 9000\n");
    Write(Path("psc.txt"), "FFFFFF\n");
    Write(Path("at88.key"), "FFFFFFFFFFFFFFFF\n");
    Write(Path("aes.key"), "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF\n");
    // A MIFARE Classic 1K kept as a .json dump (orvex-sim --load).
    std::string json = "{\"blocks\": [";
    const std::string card = Image1K();
    for (size_t b = 0; b < 64; ++b) {
      json += b ? ", \"" : "\"";
      for (size_t i = 0; i < 16; ++i) {
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02X", static_cast<unsigned char>(card[16 * b + i]));
        json += hex;
      }
      json += "\"";
    }
    Write(Path("saved.json"), json + "]}\n");
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = 64;
    image.height = 32;
    image.format = PNG_FORMAT_GRAY;
    std::vector<png_byte> pixels(64 * 32);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<png_byte>((i % 64) < 32 ? 0 : 255);
    ASSERT_TRUE(png_image_write_to_file(&image, Path("logo.png").c_str(), 0, pixels.data(), 0, nullptr));
  }

  // Runs one page's examples in order in the test's directory.
  void RunAll(const std::vector<Example>& examples) {
    ASSERT_FALSE(examples.empty());
    MakeUserFiles();
    char here[4096];
    ASSERT_NE(getcwd(here, sizeof here), nullptr);
    ASSERT_EQ(chdir(dir_.c_str()), 0);
    struct Back {
      const char* to;
      ~Back() { (void)!chdir(to); }
    } back{here};
    std::unique_ptr<SimProcess> sim;
    for (const Example& e : examples) {
      SCOPED_TRACE(e.where);
      if (e.program == "orvex-sim") {
        ASSERT_TRUE(e.background) << "an orvex-sim example serves until interrupted: it ends in &";
        std::string options;
        for (const auto& w : e.words) options += " '" + w + "'";
        sim = std::make_unique<SimProcess>(options, Path("sim-out"));
        ASSERT_FALSE(sim->pty().empty()) << Slurp(Path("sim-out"));
        continue;
      }
      bool interrupt = false;
      std::vector<std::string> args = Runnable(e, sim ? sim->pty() : "sim", &interrupt);
      Result r;
      if (interrupt) {
        pid_t pid = Spawn(args);
        std::this_thread::sleep_for(std::chrono::seconds(1));
        kill(pid, SIGINT);
        r = Collect(pid);
      } else {
        r = Run(args);
      }
      std::string shown;
      for (const auto& a : args) shown += " " + a;
      EXPECT_EQ(r.status, 0) << "orvex" << shown << "\n" << r.out << r.err;
    }
  }
};

TEST_F(Examples, EveryReadmeExampleRuns) {
  std::vector<Example> examples = ReadmeExamples(std::string(ORVEX_SOURCE_DIR) + "/README.md");
  EXPECT_GE(examples.size(), 20u);
  RunAll(examples);
}

TEST_F(Examples, EveryExampleOfTheToolsManPageRuns) {
  std::vector<Example> examples = ManExamples(std::string(ORVEX_MAN_DIR) + "/orvex.1", "orvex.1");
  EXPECT_GE(examples.size(), 10u);
  RunAll(examples);
}

TEST_F(Examples, EveryExampleOfTheSimulatorsManPageRuns) {
  RunAll(ManExamples(std::string(ORVEX_MAN_DIR) + "/orvex-sim.1", "orvex-sim.1"));
}

// The test's own reading of the pages: what it finds must be what a reader
// of the page sees.
TEST(ExampleParsing, WordsCommentsAndBackground) {
  bool bg = false;
  EXPECT_EQ(ShellWords("orvex lcd text \"Welcome home\"   # a comment", &bg),
            (std::vector<std::string>{"orvex", "lcd", "text", "Welcome home"}));
  EXPECT_FALSE(bg);
  EXPECT_EQ(ShellWords("orvex-sim --card ntag215 &", &bg), (std::vector<std::string>{"orvex-sim", "--card", "ntag215"}));
  EXPECT_TRUE(bg);
  EXPECT_EQ(ShellWords("orvex ndef write --text 'a # b'", &bg),
            (std::vector<std::string>{"orvex", "ndef", "write", "--text", "a # b"}));
  Example e;
  ASSERT_TRUE(ParseExample("ORVEX_DEVICE=ttyS:0 orvex beep   # /dev/ttyS0", "x", &e));
  EXPECT_EQ(e.words, std::vector<std::string>{"beep"});
  EXPECT_FALSE(ParseExample("export ORVEX_DEVICE=sim", "x", &e));
  EXPECT_FALSE(ParseExample("g++ app.cpp $(pkg-config --cflags --libs orvex)", "x", &e));
}

TEST(ExampleParsing, DeviceReplacedAndDefaultCardAdded) {
  bool interrupt = false;
  Example e;
  ASSERT_TRUE(ParseExample("orvex --device /dev/ttyUSB0@38400 --trace ntag dump tag.bin", "x", &e));
  EXPECT_EQ(Runnable(e, "sim", &interrupt),
            (std::vector<std::string>{"--sim-card", "ntag215", "--device", "sim", "--trace", "ntag", "dump",
                                      "tag.bin"}));
  EXPECT_FALSE(interrupt);
  ASSERT_TRUE(ParseExample("orvex --uid 1122 --sim-card cpu apdu 00A4040000", "x", &e));
  EXPECT_EQ(Runnable(e, "sim", &interrupt),
            (std::vector<std::string>{"--uid", "1122", "--sim-card", "cpu", "apdu", "00A4040000"}));
  ASSERT_TRUE(ParseExample("orvex --device /dev/pts/7 ndef read", "x", &e));
  EXPECT_EQ(Runnable(e, "/dev/pts/3", &interrupt),
            (std::vector<std::string>{"--device", "/dev/pts/3", "ndef", "read"}));
  ASSERT_TRUE(ParseExample("orvex watch --json", "x", &e));
  Runnable(e, "sim", &interrupt);
  EXPECT_TRUE(interrupt);
}

}  // namespace
