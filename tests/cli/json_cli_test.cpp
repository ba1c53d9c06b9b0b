// SPDX-License-Identifier: MIT
// The JSON output of every orvex command follows its schema in
// docs/json.md, and every command has one there.
#include <map>
#include <regex>
#include <set>

#include "cli_support.h"
#include "every_command.h"

namespace {

using namespace clitest;
using nlohmann::json;

// The schemas of docs/json.md, by title ("orvex scan", "error").
std::map<std::string, json> Schemas() {
  std::string page = Slurp(std::string(ORVEX_MAN_DIR) + "/../../docs/json.md");
  std::map<std::string, json> schemas;
  const std::string open = "```json\n", close = "```";
  for (size_t at = page.find(open); at != std::string::npos; at = page.find(open, at)) {
    at += open.size();
    size_t end = page.find(close, at);
    json schema = json::parse(page.substr(at, end - at));
    schemas[schema.at("title").get<std::string>()] = schema;
    at = end + close.size();
  }
  return schemas;
}

bool HasType(const json& v, const std::string& type) {
  if (type == "integer") return v.is_number_integer();
  if (type == "number") return v.is_number();
  if (type == "string") return v.is_string();
  if (type == "object") return v.is_object();
  if (type == "array") return v.is_array();
  if (type == "boolean") return v.is_boolean();
  if (type == "null") return v.is_null();
  return false;
}

// What in v breaks the schema ("" when nothing), where naming the place.
std::string Violation(const json& schema, const json& v, const std::string& where) {
  if (schema.contains("type")) {
    json types = schema["type"].is_array() ? schema["type"] : json::array({schema["type"]});
    bool ok = false;
    for (const auto& t : types) ok = ok || HasType(v, t.get<std::string>());
    if (!ok) return where + ": " + v.dump() + " is not of type " + schema["type"].dump();
  }
  if (schema.contains("enum") && std::find(schema["enum"].begin(), schema["enum"].end(), v) == schema["enum"].end())
    return where + ": " + v.dump() + " is not one of " + schema["enum"].dump();
  if (v.is_object()) {
    for (const auto& r : schema.value("required", json::array()))
      if (!v.contains(r.get<std::string>())) return where + ": \"" + r.get<std::string>() + "\" is missing";
    const json properties = schema.value("properties", json::object());
    for (auto it = v.begin(); it != v.end(); ++it) {
      if (properties.contains(it.key())) {
        std::string why = Violation(properties[it.key()], it.value(), where + "." + it.key());
        if (!why.empty()) return why;
      } else if (schema.contains("additionalProperties") && !schema["additionalProperties"].get<bool>()) {
        return where + ": \"" + it.key() + "\" is not in the schema";
      }
    }
  }
  if (v.is_array() && schema.contains("items"))
    for (size_t i = 0; i < v.size(); ++i) {
      std::string why = Violation(schema["items"], v[i], where + "[" + std::to_string(i) + "]");
      if (!why.empty()) return why;
    }
  return "";
}

TEST(JsonSchemaCheck, FindsWhatBreaksASchema) {
  const json schema = json::parse(R"({"type": "object", "additionalProperties": false, "required": ["a"],
    "properties": {"a": {"type": "integer"}, "b": {"type": "array", "items": {"type": ["string", "null"]}},
                   "c": {"type": "string", "enum": ["x", "y"]}}})");
  EXPECT_EQ(Violation(schema, json::parse(R"({"a": 1, "b": ["s", null], "c": "x"})"), "$"), "");
  EXPECT_EQ(Violation(schema, json::parse(R"({"b": []})"), "$"), "$: \"a\" is missing");
  EXPECT_EQ(Violation(schema, json::parse(R"({"a": "1"})"), "$"), "$.a: \"1\" is not of type \"integer\"");
  EXPECT_EQ(Violation(schema, json::parse(R"({"a": 1, "b": [2]})"), "$"),
            "$.b[0]: 2 is not of type [\"string\",\"null\"]");
  EXPECT_EQ(Violation(schema, json::parse(R"({"a": 1, "c": "z"})"), "$"), "$.c: \"z\" is not one of [\"x\",\"y\"]");
  EXPECT_EQ(Violation(schema, json::parse(R"({"a": 1, "d": 0})"), "$"), "$: \"d\" is not in the schema");
}

class Json : public Cli {
 protected:
  // The leaf subcommands, as "orvex mfc dump", from the program's --help.
  void Leaves(std::vector<std::string> path, std::set<std::string>& out) {
    std::vector<std::string> args = path;
    args.push_back("--help");
    Result r = Run(args);
    size_t at = r.out.find("Subcommands:\n");
    std::string name = "orvex";
    for (const auto& p : path) name += " " + p;
    if (at == std::string::npos) {
      out.insert(name);
      return;
    }
    std::istringstream lines(r.out.substr(at + 13));
    std::vector<std::string> subs;
    for (std::string line; std::getline(lines, line);) {
      std::smatch m;
      if (std::regex_search(line, m, std::regex("^  ([a-z0-9-]+) "))) subs.push_back(m[1]);
    }
    for (const auto& s : subs) {
      auto p = path;
      p.push_back(s);
      Leaves(p, out);
    }
  }
};

TEST_F(Json, JsonOutputOfEveryCommandFollowsItsSchema) {
  const std::map<std::string, json> schemas = Schemas();
  ASSERT_TRUE(schemas.count("error"));
  // Commands that share a document.
  const std::map<std::string, std::string> same = {
      {"orvex des3", "orvex des"}, {"orvex des3-cbc", "orvex des"}, {"orvex ndef erase", "orvex ndef write"},
      {"orvex mfc write", "orvex mfc read"}, {"orvex mfc value init", "orvex mfc value get"},
      {"orvex mfc value dec", "orvex mfc value inc"}, {"orvex mfc value restore", "orvex mfc value inc"},
      {"orvex mfc value transfer", "orvex mfc value inc"}, {"orvex reader info", "orvex info"},
      {"orvex reader param set", "orvex reader param get"},
      {"orvex reader module433 set", "orvex reader module433 get"}, {"orvex sle4442 protect", "orvex sle4442 write"},
      {"orvex mfplus switch-level", "orvex mfplus commit"}, {"orvex mfplus value init", "orvex mfplus value get"},
      {"orvex mfplus value dec", "orvex mfplus value inc"}, {"orvex mfplus value backup", "orvex mfplus value inc"}};
  auto schema_of = [&](const std::string& command) {
    auto s = same.find(command);
    return schemas.find(s == same.end() ? command : s->second);
  };
  const std::vector<CommandCase> cases = EveryCommand(dir_);
  std::set<std::string> covered;
  for (const CommandCase& c : cases) {
    std::vector<std::string> args = c.args;
    args.push_back("--json");
    Result r = Run(args);
    ASSERT_EQ(r.status, 0) << c.command << ": " << r.err;
    auto schema = schema_of(c.command);
    ASSERT_NE(schema, schemas.end()) << "docs/json.md has no schema for " << c.command;
    EXPECT_EQ(Violation(schema->second, r.Json(), c.command), "") << r.out;
    covered.insert(c.command);
  }
  // The .json dump file written above, and a partial one.
  EXPECT_EQ(Violation(schemas.at("orvex mfc dump file"), json::parse(Slurp(Path("card.json"))), "card.json"), "");
  {
    Write(Path("none.keys"), "123456789ABC\n");
    Result r = Run({"mfc", "dump", Path("part.json"), "--partial", "--no-default-keys", "-k", Path("none.keys")});
    ASSERT_EQ(r.status, 3) << r.err;
    json part = json::parse(Slurp(Path("part.json")));
    EXPECT_EQ(part["unknown_blocks"].size(), 64u);
    EXPECT_EQ(Violation(schemas.at("orvex mfc dump file"), part, "part.json"), "");
  }
  // orvex mfplus switch-level, write and read, on a card taken to level 3
  // in a field that lasts.
  {
    SimProcess sim("--card mfplus:B1020304", Path("sim.out"));
    const std::string key = "@" + Path("aes");
    Write(Path("aes"), std::string(32, 'A') + "\n");
    for (const auto& args : std::vector<std::vector<std::string>>{
             {"perso", "9003", std::string(32, 'A')}, {"perso", "4002", std::string(32, 'A')}, {"commit", "--yes"}}) {
      std::vector<std::string> a = {"--device", sim.pty(), "mfplus"};
      a.insert(a.end(), args.begin(), args.end());
      ASSERT_EQ(Run(a).status, 0) << args[0];
    }
    const std::vector<CommandCase> level3 = {
        {{"switch-level", "3", "-k", key, "--yes"}, "orvex mfplus switch-level"},
        {{"write", "4", std::string(32, 'B'), "-k", key}, "orvex mfplus write"},
        {{"read", "4", "2", "-k", key}, "orvex mfplus read"},
        {{"value", "init", "5", "100", "-k", key}, "orvex mfplus value init"},
        {{"value", "get", "5", "-k", key}, "orvex mfplus value get"},
        {{"value", "inc", "5", "7", "-k", key}, "orvex mfplus value inc"},
        {{"value", "dec", "5", "2", "-k", key}, "orvex mfplus value dec"},
        {{"value", "backup", "5", "--to", "6", "-k", key}, "orvex mfplus value backup"},
    };
    for (const CommandCase& c : level3) {
      std::vector<std::string> args = {"--device", sim.pty(), "mfplus"};
      args.insert(args.end(), c.args.begin(), c.args.end());
      args.push_back("--json");
      Result r = Run(args);
      ASSERT_EQ(r.status, 0) << c.command << ": " << r.err;
      EXPECT_EQ(Violation(schema_of(c.command)->second, r.Json(), c.command), "") << r.out;
      covered.insert(c.command);
    }
  }
  // orvex reader param get, of a parameter set before.
  {
    SimProcess sim("", Path("sim.out"));
    ASSERT_EQ(Run({"--device", sim.pty(), "reader", "param", "set", "2", "0A"}).status, 0);
    Result r = Run({"--device", sim.pty(), "reader", "param", "get", "2", "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(Violation(schemas.at("orvex reader param get"), r.Json(), "orvex reader param get"), "") << r.out;
    covered.insert("orvex reader param get");
  }
  // orvex ndef read, on the tag written above in a field that lasts.
  {
    SimProcess sim("--card ntag215:04112233445566", Path("sim.out"));
    ASSERT_EQ(Run({"--device", sim.pty(), "ndef", "write", "--text", "hi", "--uri", "https://example.com"}).status, 0);
    Result r = Run({"--device", sim.pty(), "ndef", "read", "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.Json()["records"].size(), 2u);
    EXPECT_EQ(Violation(schemas.at("orvex ndef read"), r.Json(), "orvex ndef read"), "") << r.out;
    covered.insert("orvex ndef read");
  }
  // orvex watch: every line.
  {
    Result r = Run({"--sim-card", "mfc1k", "--sim-card", "felica", "watch", "--timeout", "0.2", "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    std::istringstream lines(r.out);
    int n = 0;
    for (std::string line; std::getline(lines, line); ++n)
      EXPECT_EQ(Violation(schemas.at("orvex watch"), json::parse(line), "orvex watch"), "") << line;
    EXPECT_EQ(n, 3) << r.out;
    covered.insert("orvex watch");
  }
  // A failure of any command is the error document.
  for (auto args : std::vector<std::vector<std::string>>{{"--sim-empty", "mfc", "dump", Path("x.mfd")},
                                                          {"scna"},
                                                          {"--sim-card", "ntag215", "mfc", "keys"}}) {
    args.push_back("--json");
    Result r = Run(args);
    EXPECT_NE(r.status, 0);
    EXPECT_EQ(Violation(schemas.at("error"), r.Json(), "error"), "") << r.out;
  }
  // Every command is documented and was checked.
  std::set<std::string> leaves;
  Leaves({}, leaves);
  EXPECT_GT(leaves.size(), 25u);
  for (const auto& leaf : leaves) {
    EXPECT_NE(schema_of(leaf), schemas.end()) << "docs/json.md has no schema for " << leaf;
    EXPECT_TRUE(covered.count(leaf)) << leaf << " is not run by this test";
  }
}

}  // namespace
