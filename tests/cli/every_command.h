// SPDX-License-Identifier: MIT
// One invocation of every orvex command that has a result, each with the
// simulated cards it needs: the JSON schema test checks each one's document,
// the hostile-reader test runs each against a reader that lies, and the
// tool's fuzz target (fuzz/fuzz_tool.cpp) runs each against answers it
// changes. Standard C++ only: the fuzz target has no test framework.
#pragma once

#include <fstream>
#include <string>
#include <vector>

namespace clitest {

struct CommandCase {
  std::vector<std::string> args;  // global options first, then the command's words and arguments
  std::string command;            // "orvex mfc dump"
};

// The cases in an order that works: a file a command reads (a dump to
// restore, a picture) is written by a case before it, in the directory dir.
inline std::vector<CommandCase> EveryCommand(const std::string& dir) {
  auto Path = [&dir](const std::string& name) { return dir + "/" + name; };
  const std::string png = Path("lcd.png");
  // The files a user brings: the AT88RF020's key, the SLE4442's PSC, the
  // AES key of the MIFARE Plus at level 3.
  const std::string at88_key = Path("at88.key"), psc = Path("psc"), aes_key = Path("aes.key");
  {
    std::ofstream(at88_key) << "FFFFFFFFFFFFFFFF\n";
    std::ofstream(psc) << "FFFFFF\n";
    std::ofstream(aes_key) << "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF\n";
  }
  return {
      {{"info"}, "orvex info"},
      {{"beep"}, "orvex beep"},
      {{"led"}, "orvex led"},
      {{"display", "12345678"}, "orvex display"},
      {{"raw", "00A40400"}, "orvex raw"},
      {{"list"}, "orvex list"},
      {{"--sim-card", "mfc1k", "--sim-card", "iso15693", "--sim-card", "lf", "--sim-card", "sle4442", "scan"},
       "orvex scan"},
      {{"--sim-empty", "scan"}, "orvex scan"},
      {{"mfc", "dump", Path("card.mfd")}, "orvex mfc dump"},
      {{"mfc", "keys"}, "orvex mfc keys"},
      {{"mfc", "read", "4"}, "orvex mfc read"},
      {{"mfc", "write", "4", "00112233445566778899AABBCCDDEEFF"}, "orvex mfc write"},
      {{"mfc", "restore", Path("card.mfd")}, "orvex mfc restore"},
      {{"mfc", "dump", Path("card.eml")}, "orvex mfc dump"},
      {{"mfc", "dump", Path("card.json")}, "orvex mfc dump"},
      {{"mfc", "dump"}, "orvex mfc dump"},
      {{"mfc", "restore", Path("card.eml")}, "orvex mfc restore"},
      {{"mfc", "value", "init", "5", "100"}, "orvex mfc value init"},
      // A card whose block 4 is a value block, kept for the value commands.
      {{"--sim-save", Path("value.mfd"), "mfc", "value", "init", "4", "100"}, "orvex mfc value init"},
      {{"--sim-load", Path("value.mfd"), "mfc", "value", "get", "4"}, "orvex mfc value get"},
      {{"--sim-load", Path("value.mfd"), "mfc", "value", "inc", "4", "5"}, "orvex mfc value inc"},
      {{"--sim-load", Path("value.mfd"), "mfc", "value", "dec", "4", "5"}, "orvex mfc value dec"},
      {{"--sim-load", Path("value.mfd"), "mfc", "value", "restore", "4"}, "orvex mfc value restore"},
      {{"--sim-load", Path("value.mfd"), "mfc", "value", "transfer", "4", "--to", "6"}, "orvex mfc value transfer"},
      {{"mfc", "acl", "FF0780"}, "orvex mfc acl"},
      {{"--sim-card", "cpu", "apdu", "00A4040000"}, "orvex apdu"},
      {{"--sim-card", "typeb", "apdu", "--type-b", "0084000008=9000"}, "orvex apdu"},
      {{"--sim-card", "sam", "sam", "apdu", "--slot", "1", "0084000008"}, "orvex sam apdu"},
      {{"des", "-k", "133457799BBCDFF1", "0123456789ABCDEF"}, "orvex des"},
      {{"des3", "-k", "133457799BBCDFF1133457799BBCDFF1", "0123456789ABCDEF"}, "orvex des3"},
      {{"des3-cbc", "-k", "133457799BBCDFF1133457799BBCDFF1", "0123456789ABCDEF"}, "orvex des3-cbc"},
      {{"--sim-card", "ntag215", "ntag", "dump"}, "orvex ntag dump"},
      {{"--sim-card", "ntag215", "ntag", "dump", Path("tag.bin")}, "orvex ntag dump"},
      {{"--sim-card", "ntag215", "ntag", "restore", Path("tag.bin")}, "orvex ntag restore"},
      {{"--sim-card", "ntag213", "ntag", "info"}, "orvex ntag info"},
      {{"--sim-card", "ntag216", "ntag", "read", "0", "5"}, "orvex ntag read"},
      {{"--sim-card", "ntag215", "ntag", "write", "4", "0300FE00"}, "orvex ntag write"},
      {{"--sim-card", "ntag215", "ndef", "write", "--text", "hi", "--uri", "https://example.com"},
       "orvex ndef write"},
      {{"--sim-card", "ntag215", "ndef", "erase"}, "orvex ndef erase"},
      {{"--sim-card", "mfc1k", "ndef", "format", "--yes"}, "orvex ndef format"},
      {{"ndef", "encode", "--text", "hi", "--wifi", "home", "--wifi-key", "secret123"}, "orvex ndef encode"},
      {{"ndef", "decode", "D101055402656E6869"}, "orvex ndef decode"},
      {{"--sim-card", "iso15693", "iso15693", "read"}, "orvex iso15693 read"},
      {{"--sim-card", "iso15693", "iso15693", "write", "1", "CAFEF00D"}, "orvex iso15693 write"},
      {{"--sim-card", "iso15693", "iso15693", "info"}, "orvex iso15693 info"},
      {{"--sim-card", "iso15693", "iso15693", "security"}, "orvex iso15693 security"},
      {{"--sim-card", "iso15693", "iso15693", "lock", "3", "--yes"}, "orvex iso15693 lock"},
      {{"--sim-card", "iso15693", "iso15693", "afi", "07"}, "orvex iso15693 afi"},
      {{"--sim-card", "iso15693", "iso15693", "dsfid", "0A", "--lock", "--yes"}, "orvex iso15693 dsfid"},
      {{"--sim-card", "felica", "felica", "poll"}, "orvex felica poll"},
      {{"--sim-card", "felica", "felica", "services", "0009", "1234"}, "orvex felica services"},
      {{"--sim-card", "felica", "felica", "read", "--service", "000B", "0", "1"}, "orvex felica read"},
      {{"--sim-card", "felica", "felica", "write", "--service", "0009", "2", "00112233445566778899AABBCCDDEEFF"},
       "orvex felica write"},
      {{"--sim-card", "topaz", "topaz", "read"}, "orvex topaz read"},
      {{"--sim-card", "topaz", "topaz", "read-byte", "8"}, "orvex topaz read-byte"},
      {{"--sim-card", "topaz", "topaz", "write-byte", "16", "AB"}, "orvex topaz write-byte"},
      {{"--sim-card", "topaz", "topaz", "read-block", "1"}, "orvex topaz read-block"},
      {{"--sim-card", "topaz", "topaz", "write-block", "2", "0102030405060708"}, "orvex topaz write-block"},
      {{"--sim-card", "srix4k", "srx", "read", "7"}, "orvex srx read"},
      {{"--sim-card", "sr176", "srx", "write", "5", "BEEF"}, "orvex srx write"},
      {{"--sim-card", "srix4k", "srx", "locks"}, "orvex srx locks"},
      {{"--sim-card", "at88rf020", "at88rf020", "read", "--key", "@" + at88_key}, "orvex at88rf020 read"},
      {{"--sim-card", "at88rf020", "at88rf020", "write", "4", "0102030405060708", "--key", "@" + at88_key},
       "orvex at88rf020 write"},
      {{"--sim-card", "at88rf020", "at88rf020", "lock", "9", "--yes", "--key", "@" + at88_key},
       "orvex at88rf020 lock"},
      {{"--sim-card", "at88rf020", "at88rf020", "count", "010203040506", "--yes", "--key", "@" + at88_key},
       "orvex at88rf020 count"},
      {{"reader", "info"}, "orvex reader info"},
      {{"reader", "speed", "38400"}, "orvex reader speed"},
      {{"reader", "number", "5"}, "orvex reader number"},
      {{"reader", "antenna", "off"}, "orvex reader antenna"},
      {{"reader", "search-mode", "b"}, "orvex reader search-mode"},
      {{"reader", "module433", "get"}, "orvex reader module433 get"},
      {{"reader", "module433", "set", "0102030405060708"}, "orvex reader module433 set"},
      {{"reader", "param", "set", "1", "0102"}, "orvex reader param set"},
      {{"reader", "memory", "read", "0", "4"}, "orvex reader memory read"},
      {{"reader", "memory", "write", "0", "AABB"}, "orvex reader memory write"},
      {{"--sim-card", "sle4442", "sle4442", "read"}, "orvex sle4442 read"},
      {{"--sim-card", "sle4442", "sle4442", "protection"}, "orvex sle4442 protection"},
      {{"--sim-card", "sle4442", "sle4442", "psc", "-p", "@" + psc}, "orvex sle4442 psc"},
      {{"--sim-card", "sle4442", "sle4442", "write", "0x40", "0102", "-p", "@" + psc}, "orvex sle4442 write"},
      {{"--sim-card", "sle4442", "sle4442", "change-psc", "-p", "@" + psc, "-n", "@" + psc}, "orvex sle4442 change-psc"},
      {{"--sim-card", "sle4442", "sle4442", "protect", "4", "2", "-p", "@" + psc, "--yes"}, "orvex sle4442 protect"},
      {{"--sim-card", "idcard", "idcard", "read"}, "orvex idcard read"},
      {{"--sim-card", "lf", "lf", "read"}, "orvex lf read"},
      {{"--sim-card", "mfplus", "mfplus", "info"}, "orvex mfplus info"},
      {{"--sim-card", "mfplus", "mfplus", "perso", "9003", std::string(32, 'A')}, "orvex mfplus perso"},
      {{"--sim-card", "mfplus", "mfplus", "commit", "--yes"}, "orvex mfplus commit"},
      {{"--sim-card", "mfplus-sl3", "mfplus", "value", "init", "5", "100", "-k", "@" + aes_key},
       "orvex mfplus value init"},
      {{"--sim-display", "--sim-screen", png, "lcd", "text", "Welcome"}, "orvex lcd text"},
      {{"--sim-display", "lcd", "image", png}, "orvex lcd image"},
      {{"--sim-display", "lcd", "clock"}, "orvex lcd clock"},
  };
}

}  // namespace clitest
