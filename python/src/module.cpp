// SPDX-License-Identifier: MIT
// The extension module orvex._orvex: the Link object (one OrvexLink per
// reader), every Orvex method on it (generated), reader discovery, and the
// simulated reader served on a pseudo-terminal in this process.
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <map>
#include <mutex>

#include <pybind11/stl.h>

#include "bindings.h"
#include "classic_files.h"
#include "orvexsim/card_kinds.h"
#include "orvexsim/display.h"
#include "orvexsim/mifare_classic.h"
#include "orvexsim/sam.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"

namespace orvex_py {
namespace {

std::mutex g_process_mutex;           // process-wide state of the library
pthread_t g_main_thread;              // the thread that imported the module
std::atomic<OrvexLink*> g_sigint_link{nullptr};
volatile sig_atomic_t g_sigint_fired = 0;

void OnSigint(int) {
  OrvexLink* l = g_sigint_link.load();
  if (l) l->Cancel();
  g_sigint_fired = 1;
}

py::module_& Errors() {
  static py::module_* m = new py::module_(py::module_::import("orvex.errors"));
  return *m;
}

}  // namespace

Link::Link(const std::string& connection) : link_(new OrvexLink()), connection_(connection) {
  if (connection.find('\0') != std::string::npos)
    Raise("UnknownConnection", "connection string contains a NUL byte");
  char why[256] = "";
  if (OrvexCheckConnection(connection.c_str(), why, sizeof why) != 1)
    // The library's text names the string and lists what it takes.
    Raise("UnknownConnection", why[0] ? std::string(why) : "unknown connection \"" + connection + "\"");
  int r;
  {
    py::gil_scoped_release release;
    link_->SetQuiet(true);
    r = link_->Open(connection.c_str());
  }
  if (r != 1) {
    std::string text = link_->LastFailureText();
    if (r == ORVEX_LINK_BAD_CONNECTION)
      Raise("UnknownConnection", text.empty() ? "unknown connection \"" + connection + "\"" : text);
    Raise("LinkError", "cannot open '" + connection + "': " + (text.empty() ? "failed" : text),
          nullptr, r);
  }
}

Link::Link() : link_(new OrvexLink()), connection_("") {}

Link::~Link() {
  py::gil_scoped_release release;
  link_.reset();
}

void Link::Close() {
  py::gil_scoped_release release;
  if (link_) link_->Close();
}

std::string Link::FailureText() const { return link_ ? link_->LastFailureText() : ""; }

void Link::ThrowClosed() const { Raise("ReaderClosed", "the reader '" + connection_ + "' is closed"); }

Link::ProcessLock::ProcessLock(bool take) : taken(take) {
  if (taken) g_process_mutex.lock();
}
Link::ProcessLock::~ProcessLock() {
  if (taken) g_process_mutex.unlock();
}

Link::InterruptGuard::InterruptGuard(OrvexLink* link) {
  if (!pthread_equal(pthread_self(), g_main_thread)) return;
  g_sigint_fired = 0;
  g_sigint_link.store(link);
  struct sigaction sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sa_handler = OnSigint;
  sigemptyset(&sa.sa_mask);
  if (sigaction(SIGINT, &sa, &old_) != 0) {
    g_sigint_link.store(nullptr);
    return;
  }
  installed_ = true;
  // Only where Python handles SIGINT itself (not ignored, not the default):
  // otherwise the disposition goes back at once.
  if (old_.sa_handler == SIG_IGN || old_.sa_handler == SIG_DFL) {
    sigaction(SIGINT, &old_, nullptr);
    g_sigint_link.store(nullptr);
    installed_ = false;
  }
}

Link::InterruptGuard::~InterruptGuard() {
  if (!installed_) return;
  sigaction(SIGINT, &old_, nullptr);
  g_sigint_link.store(nullptr);
}

bool Link::InterruptGuard::Fired() const { return installed_ && g_sigint_fired; }

void Link::RaiseInterrupt() {
  PyErr_SetInterrupt();
  if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

void Raise(const char* cls, const std::string& message, const char* method, long long code) {
  py::object type = Errors().attr(cls);
  py::object exc = type(message, method ? py::object(py::str(method)) : py::object(py::none()),
                        method ? py::object(py::int_(code)) : py::object(py::none()));
  PyErr_SetObject(type.ptr(), exc.ptr());
  throw py::error_already_set();
}

void CheckResult(Link& self, const char* method, long long r, Rule rule, const char* family,
                 const Meaning* table, size_t n) {
  bool failed = false;
  switch (rule) {
    case Rule::none: break;
    case Rule::zero: failed = r == 0; break;
    case Rule::nonzero: failed = r != 0; break;
    case Rule::negative: failed = r < 0; break;
    case Rule::not1: failed = r != 1; break;
    case Rule::notpositive: failed = r <= 0; break;
  }
  if (!failed) return;
  std::string meaning;
  for (size_t i = 0; i < n; ++i)
    if (table[i].text && table[i].code == r) meaning = table[i].text;
  const std::string fam = family;
  const char* cls = family;
  if (fam == "NDEFError") {
    cls = "NDEFError";
  } else if (r == -1 && self.IsOpen() && self.link().LastFailure() == ORVEX_FAIL_REFUSED) {
    cls = "ReaderRefused";
  } else if (r == -1 || (rule == Rule::zero && r == 0) ||
             meaning.find("reader did not answer") != std::string::npos) {
    cls = "LinkError";
  } else if (r == -3 && fam != "DisplayError" && fam != "FelicaError") {
    cls = "ReaderRefused";
  } else if (rule == Rule::nonzero) {
    cls = "ReaderRefused";
  }
  if (meaning.empty()) {
    if (std::string(cls) == "LinkError") meaning = "link failure";
    else if (std::string(cls) == "ReaderRefused") meaning = "the reader refused";
    else if (fam == "DisplayError" || fam == "FelicaError")
      meaning = "the reader refused with status " + std::to_string(r);
    else meaning = "failure";
  }
  std::string msg = std::string(method) + " failed (" + std::to_string(r) + "): " + meaning;
  std::string why = self.FailureText();
  if (!why.empty() && self.IsOpen()) msg += " [" + why + "]";
  Raise(cls, msg, method, r);
}

Buffer InBuffer(const char* method, const char* name, const py::bytes& b, long long need, bool exact) {
  std::string s = b;
  if (need < 0)
    throw py::value_error(std::string(method) + ": the length of " + name + " must not be negative (" +
                          std::to_string(need) + ")");
  long long have = static_cast<long long>(s.size());
  if (exact && have != need)
    throw py::value_error(std::string(method) + ": " + name + " must be exactly " + std::to_string(need) +
                          " bytes, not " + std::to_string(have));
  if (have < need)
    throw py::value_error(std::string(method) + ": " + name + " holds " + std::to_string(have) +
                          " bytes, " + std::to_string(need) + " needed");
  if (s.size() > kBufferFloor)
    throw py::value_error(std::string(method) + ": " + name + " is longer than any command carries (" +
                          std::to_string(have) + " bytes)");
  Buffer out(kBufferFloor, 0);
  std::memcpy(out.data(), s.data(), s.size());
  return out;
}

Buffer OutBuffer(long long size) {
  size_t n = size > 0 ? static_cast<size_t>(size) : 0;
  return Buffer(n > kBufferFloor ? n : kBufferFloor, 0);
}

std::vector<char> TextArg(const char* method, const char* name, const std::string& s) {
  if (s.find('\0') != std::string::npos)
    throw py::value_error(std::string(method) + ": " + name + " contains a NUL character");
  if (s.size() >= kBufferFloor)
    throw py::value_error(std::string(method) + ": " + name + " is too long");
  std::vector<char> out(kBufferFloor, 0);
  std::memcpy(out.data(), s.data(), s.size());
  return out;
}

py::bytes Take(const Buffer& b, long long n, long long cap) {
  if (n > cap) n = cap;
  if (n < 0) n = 0;
  if (static_cast<size_t>(n) > b.size()) n = static_cast<long long>(b.size());
  return py::bytes(reinterpret_cast<const char*>(b.data()), static_cast<size_t>(n));
}

namespace {

// The simulated reader on a pseudo-terminal, served by a thread of this
// process, with the card models of orvex-sim.
class Sim {
 public:
  Sim(const std::vector<std::string>& cards, bool display, int reader_number) {
    sim_.reset(new orvexsim::Simulator(display ? orvexsim::ReaderModel::kDisplayReader
                                               : orvexsim::ReaderModel::kCardReader));
    sim_->set_reader_number(static_cast<uint16_t>(reader_number));
    // The card reader has a SAM in slot 1, as readers leave the factory.
    if (!display)
      sim_->InsertSam(1, std::make_shared<orvexsim::SamCard>(orvexsim::Bytes{0x5A, 0x00, 0x00, 0x01}));
    for (const auto& c : cards) Place(c);
    server_.reset(new orvexsim::SerialServer(*sim_));
    server_->Start();
  }
  ~Sim() { Stop(); }
  void Stop() {
    py::gil_scoped_release release;
    if (server_) server_->Stop();
    server_.reset();
  }
  std::string path() const {
    if (!server_) throw py::value_error("the simulator is stopped");
    return server_->path();
  }
  int Place(const std::string& text) {
    std::string kind = text.substr(0, text.find(':'));
    std::string error;
    auto card = orvexsim::MakeCard(text, count_[kind], error);
    if (!card) throw py::value_error("unknown simulated card '" + text + "': " + error);
    ++count_[kind];
    sim_->Insert(card);
    return Keep(card);
  }
  int Load(const std::string& path, const std::string& format) {
    std::string error;
    auto card = orvexsim::LoadClassic(path, DumpFormatOf(format), error);
    if (!card) throw py::value_error("cannot load '" + path + "': " + error);
    sim_->Place(card);
    return Keep(card);
  }
  void Save(int handle, const std::string& path, const std::string& format) {
    auto mfc = std::dynamic_pointer_cast<orvexsim::MifareClassic>(Get(handle));
    if (!mfc) throw py::value_error("card " + std::to_string(handle) + " is not a MIFARE Classic");
    const orvexformats::DumpFormat f = DumpFormatOf(format);
    std::string error;
    auto lock = sim_->Lock();
    if (!orvexsim::SaveClassic(*mfc, path, f, error)) throw py::value_error("cannot save '" + path + "': " + error);
  }
  py::bytes Memory(int handle) {
    auto mfc = std::dynamic_pointer_cast<orvexsim::MifareClassic>(Get(handle));
    if (!mfc) throw py::value_error("card " + std::to_string(handle) + " is not a MIFARE Classic");
    auto lock = sim_->Lock();
    const auto& m = mfc->memory();
    return py::bytes(reinterpret_cast<const char*>(m.data()), m.size());
  }
  bool Remove(int handle) { return sim_->Remove(Get(handle)); }
  void Reinsert(int handle) { sim_->Insert(Get(handle)); }
  void Clear() { sim_->ClearField(); }
  std::vector<std::string> Field() const {
    std::vector<std::string> out;
    auto lock = sim_->Lock();
    for (const auto& c : sim_->cards()) out.push_back(c->Describe());
    return out;
  }
  std::string Describe(int handle) {
    auto lock = sim_->Lock();
    return Get(handle)->Describe();
  }
  // The LCD's pixels, one byte each (1 dark), row by row; empty on the card reader.
  py::bytes lcd() {
    auto lock = sim_->Lock();
    orvexsim::Display* d = sim_->display();
    if (!d) return py::bytes("");
    std::string out(128 * 64, '\0');
    for (int y = 0; y < 64; ++y)
      for (int x = 0; x < 128; ++x) out[static_cast<size_t>(y * 128 + x)] = d->Pixel(x, y) ? 1 : 0;
    return py::bytes(out);
  }
  int beeps() {
    auto lock = sim_->Lock();
    return sim_->reader().beeps;
  }
  std::string led_text() {
    auto lock = sim_->Lock();
    return sim_->reader().LedText();
  }

 private:
  int Keep(std::shared_ptr<orvexsim::Card> card) {
    int h = next_++;
    kept_[h] = std::move(card);
    return h;
  }
  std::shared_ptr<orvexsim::Card> Get(int handle) {
    auto it = kept_.find(handle);
    if (it == kept_.end()) throw py::value_error("no simulated card " + std::to_string(handle));
    return it->second;
  }
  std::unique_ptr<orvexsim::Simulator> sim_;
  std::unique_ptr<orvexsim::SerialServer> server_;
  std::map<std::string, int> count_;
  std::map<int, std::shared_ptr<orvexsim::Card>> kept_;
  int next_ = 1;
};

}  // namespace
}  // namespace orvex_py

using namespace orvex_py;

PYBIND11_MODULE(_orvex, m) {
  g_main_thread = pthread_self();
  m.doc() = "The Orvex reader library (liborvex.so.1): every Orvex method on a Link.";
  Errors();  // orvex.errors must be importable

  py::class_<Link> cls(m, "Link", "One reader link (OrvexLink), opened from a connection string.");
  cls.def(py::init<>(), "A link that is not open (for the methods that need none, such as DES).")
      .def(py::init<const std::string&>(), py::arg("connection"))
      .def("close", &Link::Close, "Closes the link; every later command raises ReaderClosed.")
      .def_property_readonly("is_open", &Link::IsOpen)
      .def_property_readonly("connection", &Link::connection)
      .def("cancel", [](Link& l) { return l.IsOpen() ? l.link().Cancel() : 0; },
           "Ends a wait for an answer in progress (from any thread).")
      .def("set_first_byte_timeout", [](Link& l, int ms) { if (l.IsOpen()) l.link().SetFirstByteTimeout(ms); },
           py::arg("ms"))
      .def("set_answer_matching", [](Link& l, bool on) { if (l.IsOpen()) l.link().SetAnswerMatching(on); },
           py::arg("on"))
      .def_property_readonly("last_failure", [](Link& l) { return l.IsOpen() ? l.link().LastFailure() : 1; })
      .def_property_readonly("last_failure_text", &Link::FailureText)
      .def_property_readonly("last_answer_length", &Link::AnswerLength);
  // The library's extension beside the Orvex methods: any of an Ultralight
  // EV1's three counters.
  cls.def("ntag_read_counter", [](Link& self, int reader_id, int counter_no) {
    int counter = 0;
    long long r = self.Call(true, false, [&] {
      return static_cast<long long>(OrvexNTagReadCounter(reader_id, counter_no, &counter));
    });
    static const Meaning kMeanings[] = {
        {-3, "the reader or the tag refused, or there is no such counter (0 to 2)"}, {-1, "link failure"}, {1, "done"}};
    CheckResult(self, "OrvexNTagReadCounter", r, Rule::negative, "OrvexError", kMeanings,
                sizeof kMeanings / sizeof kMeanings[0]);
    return counter;
  }, py::arg("reader_id"), py::arg("counter_no"),
  "READ_CNT of counter counter_no (0 to 2; an NTAG213/215/216 has counter 2 only) of the selected tag.");
  BindMethods(cls);
  BindLayers(m);

  m.def("_cpp_version_loop", [](Link& l, int reader_id, int n) {
    // The same exchange as Link.OV_GetReaderVersion, n times from C++ on the
    // same link (for python/bench.py): seconds taken.
    if (!l.IsOpen()) Raise("ReaderClosed", "the reader is closed");
    py::gil_scoped_release release;
    OrvexLinkScope scope(l.link());
    Orvex o;
    auto t0 = std::chrono::steady_clock::now();
    for (int i = 0; i < n; ++i) o.OV_GetReaderVersion(reader_id);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  }, py::arg("link"), py::arg("reader_id"), py::arg("n"));
  m.def("method_names", [] {
    std::vector<std::string> v;
    for (const char* const* p = kMethodNames; *p; ++p) v.push_back(*p);
    return v;
  }, "The Orvex methods bound on Link, in header order.");
  m.def("check_connection", [](const std::string& c) {
    char why[256] = "";
    int r = OrvexCheckConnection(c.c_str(), why, sizeof why);
    return py::make_tuple(r == 1, std::string(why));
  }, py::arg("connection"));
  m.def("list_readers", [] {
    py::list out;
    OrvexReaderList l;
    for (int i = 0; i < l.Count(); ++i) {
      py::dict d;
      d["connection"] = l.Connection(i);
      d["kind"] = l.Kind(i);
      d["bus"] = l.Bus(i);
      d["address"] = l.Address(i);
      d["serial"] = l.Serial(i);
      d["path"] = l.Path(i);
      d["target"] = l.Target(i);
      out.append(d);
    }
    return out;
  });
  m.def("version", [] { return std::string(OrvexVersionString()); });

  py::class_<Sim>(m, "Sim", "The simulated reader on a pseudo-terminal, served in this process.")
      .def(py::init<const std::vector<std::string>&, bool, int>(), py::arg("cards"),
           py::arg("display") = false, py::arg("reader_number") = 1)
      .def_property_readonly("path", &Sim::path)
      .def("stop", &Sim::Stop)
      .def("place", &Sim::Place, py::arg("card"))
      .def("load_dump", &Sim::Load, py::arg("path"), py::arg("format"))
      .def("save_dump", &Sim::Save, py::arg("handle"), py::arg("path"), py::arg("format"))
      .def("memory", &Sim::Memory, py::arg("handle"))
      .def("remove", &Sim::Remove, py::arg("handle"))
      .def("reinsert", &Sim::Reinsert, py::arg("handle"))
      .def("clear", &Sim::Clear)
      .def("field", &Sim::Field)
      .def("describe", &Sim::Describe, py::arg("handle"))
      .def("lcd", &Sim::lcd)
      .def_property_readonly("beeps", &Sim::beeps)
      .def_property_readonly("led_text", &Sim::led_text);
}
