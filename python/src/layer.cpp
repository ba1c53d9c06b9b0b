// SPDX-License-Identifier: MIT
// The shared C++ layers the Pythonic package uses: NDEF records, messages
// and their safe writes to a tag's TLV area (src/ndef/forum), and the
// MIFARE Classic sector layout, access conditions and dump files
// (tools/formats).
#include <pybind11/functional.h>
#include <pybind11/stl.h>

#include "atomic_file.h"
#include "bindings.h"
#include "mifare_access.h"
#include "mifare_dump.h"
#include "ndef/forum/mad.h"
#include "ndef/forum/message.h"
#include "ndef/forum/records.h"
#include "ndef/forum/tag.h"

namespace orvex_py {
namespace {

namespace nd = orvex::ndef;

// A tag's data area implemented in Python (orvex.ndef's tag memories).
class PyTagMemory : public nd::TagMemory {
 public:
  size_t size() const override { PYBIND11_OVERRIDE_PURE(size_t, nd::TagMemory, size, ); }
  size_t unit() const override { PYBIND11_OVERRIDE_PURE(size_t, nd::TagMemory, unit, ); }
  long base() const override { PYBIND11_OVERRIDE_PURE(long, nd::TagMemory, base, ); }
  nd::Bytes Read(size_t offset, size_t length) override {
    py::gil_scoped_acquire gil;
    py::function f = py::get_override(static_cast<const nd::TagMemory*>(this), "read");
    if (!f) throw std::runtime_error("TagMemory.read is not implemented");
    std::string s = py::bytes(f(offset, length));
    return nd::Bytes(s.begin(), s.end());
  }
  void Write(size_t offset, const nd::Bytes& data) override {
    py::gil_scoped_acquire gil;
    py::function f = py::get_override(static_cast<const nd::TagMemory*>(this), "write");
    if (!f) throw std::runtime_error("TagMemory.write is not implemented");
    f(offset, py::bytes(reinterpret_cast<const char*>(data.data()), data.size()));
  }
};

py::bytes ToBytes(const nd::Bytes& b) { return py::bytes(reinterpret_cast<const char*>(b.data()), b.size()); }
nd::Bytes FromBytes(const py::bytes& b) {
  std::string s = b;
  return nd::Bytes(s.begin(), s.end());
}

py::tuple RecordTuple(const nd::Record& r) {
  return py::make_tuple(static_cast<int>(r.tnf), ToBytes(r.type), ToBytes(r.id), ToBytes(r.payload));
}

nd::Record RecordFrom(const py::tuple& t) {
  if (t.size() != 4) throw py::value_error("a record is (tnf, type, id, payload)");
  nd::Record r;
  int tnf = t[0].cast<int>();
  if (tnf < 0 || tnf > 7) throw py::value_error("a record's TNF is 0 to 7");
  r.tnf = static_cast<nd::Tnf>(tnf);
  r.type = FromBytes(t[1].cast<py::bytes>());
  r.id = FromBytes(t[2].cast<py::bytes>());
  r.payload = FromBytes(t[3].cast<py::bytes>());
  return r;
}

[[noreturn]] void RaiseNdef(const std::string& what) { Raise("NDEFError", what); }

namespace fm = orvexformats;

int CheckedSector(int sector) {
  if (sector < 0 || sector > 39) throw py::value_error("a MIFARE Classic sector is 0 to 39, not " + std::to_string(sector));
  return sector;
}

int CheckedBlock(int block) {
  if (block < 0 || block > 255) throw py::value_error("a MIFARE Classic block is 0 to 255, not " + std::to_string(block));
  return block;
}

}  // namespace

orvexformats::DumpFormat DumpFormatOf(const std::string& word) {
  fm::DumpFormat f;
  if (!fm::FormatOfWord(word, f) || f == fm::DumpFormat::kHex)
    throw py::value_error("a MIFARE Classic dump format is \"mfd\", \"eml\" or \"json\", not \"" + word + "\"");
  return f;
}

void BindLayers(py::module_& m) {
  py::class_<nd::TagMemory, PyTagMemory>(m, "TagMemory",
                                         "A tag's NDEF data area: size, unit, base, read, write.")
      .def(py::init<>());

  m.def("ndef_encode", [](const std::vector<py::tuple>& records) {
    nd::Message msg;
    for (const auto& t : records) msg.push_back(RecordFrom(t));
    try {
      return ToBytes(nd::Encode(msg));
    } catch (const nd::Error& e) {
      RaiseNdef(std::string("cannot encode the message: ") + e.what());
    }
  }, py::arg("records"), "The NDEF message of the records (tnf, type, id, payload).");
  m.def("ndef_decode", [](const py::bytes& data) {
    std::string s = data;
    try {
      py::list out;
      for (const auto& r : nd::Decode(reinterpret_cast<const uint8_t*>(s.data()), s.size()))
        out.append(RecordTuple(r));
      return out;
    } catch (const nd::Error& e) {
      RaiseNdef(std::string("not an NDEF message: ") + e.what());
    }
  }, py::arg("data"), "The records (tnf, type, id, payload) of an NDEF message.");
  m.def("ndef_text", [](const std::string& text, const std::string& lang) {
    try {
      return RecordTuple(nd::MakeText(nd::Text{text, lang, false}));
    } catch (const nd::Error& e) {
      RaiseNdef(std::string("cannot make the text record: ") + e.what());
    }
  }, py::arg("text"), py::arg("lang") = "en");
  m.def("ndef_parse_text", [](const py::tuple& t) -> py::object {
    nd::Text out;
    if (!nd::ParseText(RecordFrom(t), out)) return py::none();
    return py::make_tuple(py::str(out.text), out.lang);
  });
  m.def("ndef_uri", [](const std::string& uri) {
    try {
      return RecordTuple(nd::MakeUri(uri));
    } catch (const nd::Error& e) {
      RaiseNdef(std::string("cannot make the URI record: ") + e.what());
    }
  }, py::arg("uri"));
  m.def("ndef_parse_uri", [](const py::tuple& t) -> py::object {
    std::string out;
    if (!nd::ParseUri(RecordFrom(t), out)) return py::none();
    return py::str(out);
  });
  m.def("ndef_describe", [](const py::tuple& t) { return nd::Describe(RecordFrom(t)); });
  m.def("ndef_read_message", [](nd::TagMemory& mem) {
    try {
      return ToBytes(nd::ReadMessage(mem));
    } catch (const nd::Error& e) {
      RaiseNdef(std::string("no NDEF message: ") + e.what());
    }
  }, py::arg("memory"), "The NDEF message bytes in a tag's data area.");
  m.def("ndef_write_message", [](nd::TagMemory& mem, const py::bytes& message) {
    nd::WriteReport report;
    nd::Bytes msg = FromBytes(message);
    try {
      nd::WriteMessage(mem, msg, report);
    } catch (const nd::Error& e) {
      std::string what = e.what();
      if (!report.state.empty() && what.find(report.state) == std::string::npos)
        what += " (" + report.state + ")";
      RaiseNdef("the message was not written: " + what);
    }
    py::dict d;
    d["message_bytes"] = report.message_bytes;
    d["capacity"] = report.capacity;
    d["units_written"] = report.units_written;
    d["complete"] = report.complete;
    d["state"] = report.state;
    return d;
  }, py::arg("memory"), py::arg("message"),
     "Writes the message so that an interruption leaves the old one or an empty one.");

  m.def("ndef_parse_mad", [](const py::bytes& mad) {
    try {
      return nd::ParseMad(FromBytes(mad));
    } catch (const nd::Error& e) {
      RaiseNdef(std::string("the MIFARE application directory does not check: ") + e.what());
    }
  }, py::arg("mad"), "The application identifiers of the sectors a directory (its data blocks) lists.");
  m.attr("NDEF_AID") = nd::kNdefAid;
  m.attr("MAD_KEY_A") = py::bytes(reinterpret_cast<const char*>(nd::kMadKeyA), 6);
  m.attr("NFC_FORUM_KEY_A") = py::bytes(reinterpret_cast<const char*>(nd::kNfcForumKeyA), 6);

  m.def("mfc_access", [](const py::bytes& trailer) {
    std::string s = trailer;
    if (s.size() != 16) throw py::value_error("a sector trailer is 16 bytes, not " + std::to_string(s.size()));
    orvexformats::Access a;
    if (!orvexformats::DecodeAccess(reinterpret_cast<const uint8_t*>(s.data()) + 6, a))
      throw py::value_error("the trailer's access bytes are inconsistent (bytes 6 to 8 do not check)");
    py::dict d;
    py::list conditions, blocks;
    for (int i = 0; i < 4; ++i) conditions.append(a.c[i]);
    for (int i = 0; i < 3; ++i) {
      auto r = orvexformats::DataBlockRights(a.c[i]);
      py::dict b;
      b["read"] = r.read;
      b["write"] = r.write;
      b["increment"] = r.increment;
      b["decrement"] = r.decrement;
      blocks.append(b);
    }
    auto t = orvexformats::TrailerBlockRights(a.c[3]);
    py::dict tr;
    tr["write_key_a"] = t.write_key_a;
    tr["read_access"] = t.read_access;
    tr["write_access"] = t.write_access;
    tr["read_key_b"] = t.read_key_b;
    tr["write_key_b"] = t.write_key_b;
    d["conditions"] = conditions;
    d["blocks"] = blocks;
    d["trailer"] = tr;
    d["self_locking"] = orvexformats::SelfLocking(a);
    d["description"] = orvexformats::Describe(a);
    return d;
  }, py::arg("trailer"), "The access conditions a sector trailer's bytes 6 to 8 give.");
  m.def("mfc_access_bytes", [](const std::vector<int>& c) {
    if (c.size() != 4) throw py::value_error("four access conditions (blocks 0, 1, 2, trailer)");
    orvexformats::Access a;
    for (int i = 0; i < 4; ++i) {
      if (c[static_cast<size_t>(i)] < 0 || c[static_cast<size_t>(i)] > 7)
        throw py::value_error("an access condition is 0 to 7");
      a.c[i] = c[static_cast<size_t>(i)];
    }
    uint8_t b[3];
    orvexformats::EncodeAccess(a, b);
    return py::bytes(reinterpret_cast<const char*>(b), 3);
  }, py::arg("conditions"), "Bytes 6 to 8 of a trailer for the four access conditions.");

  // The sector layout of a 1K or 4K card: sectors 0 to 31 of 4 blocks, 32 to 39 of 16.
  m.def("mfc_first_block", [](int sector) { return fm::FirstBlock(CheckedSector(sector)); }, py::arg("sector"));
  m.def("mfc_blocks_in", [](int sector) { return fm::BlocksIn(CheckedSector(sector)); }, py::arg("sector"));
  m.def("mfc_sector_of", [](int block) { return fm::SectorOf(CheckedBlock(block)); }, py::arg("block"));
  m.def("mfc_is_trailer", [](int block) { return fm::IsTrailer(CheckedBlock(block)); }, py::arg("block"));

  m.def("mfc_dump_format", [](const std::string& path, bool named) -> py::object {
    fm::DumpFormat f = fm::FormatOfName(path);
    if (named && !fm::FormatNamed(path, f)) return py::none();
    return py::str(fm::FormatWord(f));
  }, py::arg("path"), py::arg("named") = false,
     "The dump format a file's name chooses: \"eml\", \"json\", else \"mfd\"; with named, None unless "
     "the name ends in .mfd, .eml or .json.");
  m.def("mfc_parse_dump", [](const py::bytes& file, const std::string& format, py::object key_record) {
    std::string s = file;
    std::string record;
    if (!key_record.is_none()) record = key_record.cast<std::string>();
    fm::ClassicDump d;
    try {
      d = fm::ParseDump(std::vector<uint8_t>(s.begin(), s.end()), DumpFormatOf(format),
                        key_record.is_none() ? nullptr : &record);
    } catch (const fm::DumpError& e) {
      throw py::value_error(e.what());
    }
    py::dict out;
    out["blocks"] = d.blocks;
    out["data"] = py::bytes(reinterpret_cast<const char*>(d.data.data()), d.data.size());
    std::string known(d.known.size(), '\0');
    for (size_t i = 0; i < d.known.size(); ++i) known[i] = d.known[i] ? 1 : 0;
    out["known"] = py::bytes(known);
    out["unknown_blocks"] = d.UnknownBlocks();
    py::list keys;
    for (int sector = 0; sector < fm::Sectors(d.blocks); ++sector)
      keys.append(py::make_tuple(d.KeyKnown(sector, false), d.KeyKnown(sector, true)));
    out["keys_known"] = keys;
    out["uid"] = d.uid.empty() ? py::object(py::none())
                               : py::object(py::bytes(reinterpret_cast<const char*>(d.uid.data()), d.uid.size()));
    out["atqa"] = d.atqa < 0 ? py::object(py::none()) : py::object(py::int_(d.atqa));
    out["sak"] = d.sak < 0 ? py::object(py::none()) : py::object(py::int_(d.sak));
    return out;
  }, py::arg("file"), py::arg("format"), py::arg("key_record") = py::none(),
     "A MIFARE Classic dump file read: its blocks, data (zeros where not known), one known flag a byte, "
     "the blocks not known, per sector whether keys A and B are known, and the UID, ATQA and SAK when the "
     "file holds them. ValueError for a file that is not such a dump.");
  m.def("write_file_whole", [](const std::string& path, const py::bytes& data, unsigned mode) {
    const std::string bytes = data;
    fm::AtomicFile file(path, mode);
    if (!file.ok() || !file.Commit(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()))
      throw py::value_error(path + ": " + file.error());
  }, py::arg("path"), py::arg("data"), py::arg("mode") = 0600,
     "Writes data to path whole or not at all (a temporary file beside it, flushed, renamed into place), "
     "with the permissions mode. ValueError, the previous file unchanged, when it cannot.");
  m.def("mfc_write_dump", [](const py::bytes& image, const std::string& format) {
    std::string s = image;
    const fm::DumpFormat f = DumpFormatOf(format);
    fm::ClassicDump d;
    try {
      d = fm::ParseDump(std::vector<uint8_t>(s.begin(), s.end()), fm::DumpFormat::kMfd, nullptr);
    } catch (const fm::DumpError& e) {
      throw py::value_error(e.what());
    }
    std::string out;
    if (f == fm::DumpFormat::kEml) out = fm::ToEml(d);
    else if (f == fm::DumpFormat::kJson) out = fm::ToJson(d);
    else out.assign(s);
    return py::bytes(out);
  }, py::arg("image"), py::arg("format"),
     "A card image in the .mfd layout (1024 or 4096 bytes, keys of 000000000000 taken as not found) as a "
     "dump file of format.");
}

}  // namespace orvex_py
