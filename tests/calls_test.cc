// Calls of the library against the scripted peer, as data: tests/calls/*.session. "$ " begins a
// call with its arguments; below it are "< " with the reply (none: the status 0, or no records),
// "> " with the request and "= " with what the call returned and wrote. "# " begins a comment.
// After each query, its reply is damaged in many ways, and what it writes obeys
// tests/reply_rules.h.
//
// Bytes: hexadecimal digits, "text", (TYPE BYTES) for a TLV; X/N pads X to N bytes, X*N repeats it.
// A reply is `status CODE TEXT`, the TLVs of a message, `raw` bytes of a whole one, or `closed`.
// HQOS_UPDATE=1 writes the sessions anew.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/reply_rules.h"
#include "tests/wire.h"

void reply_rules::Require(bool holds, const char* what) { EXPECT_TRUE(holds) << what; }

namespace {

using namespace wire;
using std::string;

// ---- Text to bytes and arguments ----------------------------------------------------------------

// Bytes up to the end or a closing parenthesis.
Bytes Parse(std::istream& in) {
  Bytes all;
  for (char c; in >> c && c != ')';) {
    Bytes part;
    string text;
    size_t n = 0;
    if (c == '(') {
      in >> n;
      part = Tlv(static_cast<uint16_t>(n), Parse(in));
    } else if (c == '"') {
      std::getline(in, text, '"');
      part.assign(text.begin(), text.end());
    } else {
      for (text = c; isxdigit(in.peek()) != 0;) text += static_cast<char>(in.get());
      part = Hex(text);
    }
    if (in.peek() == '/') {
      in.get(), in >> n;
      part.resize(n);
    } else if (in.peek() == '*') {
      in.get(), in >> n;
      const Bytes once = part;
      for (; n > 1; --n) part = part + once;
    }
    all = all + part;
  }
  return all;
}

Bytes Reply(const string& text) {
  std::istringstream in(text);
  string kind;
  in >> kind;
  if (kind == "closed") return {};
  if (kind == "raw") return Parse(in);
  if (kind != "status") return Message(2, 4, (in.str(text), in.seekg(0), Parse(in)));
  uint32_t code = 0;
  in >> code;
  const Bytes verdict = Parse(in);
  return Status(code, {verdict.begin(), verdict.end()});
}

// For tests/calls.h: the next word is the next argument. Numbers in a record are separated by
// commas; what is left out is unset.
struct Words {
  std::istringstream& in;
  std::deque<string>& texts;

  string Next() const {
    string word;
    in >> word;
    return word;
  }
  // The numbers of the next word; `name` gets what follows the third one, where it is wanted.
  template <class T>
  void Numbers(T* numbers, size_t count, char* name = nullptr) const {
    std::istringstream word(Next());
    string number;
    for (size_t i = 0; i < count && std::getline(word, number, ','); ++i) {
      numbers[i] = static_cast<T>(std::stoul(number, nullptr, 0));
    }
    if (name != nullptr) word.getline(name, HQOS_APPOBJ_NAME_SIZE);
  }
  bool IsNull() const {
    const auto at = in.tellg();
    if (Next() == "null") return true;
    in.seekg(at);
    return false;
  }
  void Fill(const char*& text) const {
    std::istringstream word(Next());
    word >> std::noskipws;
    string value;
    std::getline(word, value, '*');
    size_t times = 1;
    if (!word.eof()) word >> times;
    texts.emplace_back();
    for (; times > 0; --times) texts.back() += value;
    if (texts.back() == "\"\"") texts.back() = "";
    text = texts.back() == "null" ? nullptr : texts.back().c_str();
  }
  void Fill(uint16_t& number) const { Numbers(&number, 1); }
  void Fill(uint32_t& number) const { Numbers(&number, 1); }
  void Fill(HQOS_DPThreshold& t) const {
    uint32_t n[4] = {};
    Numbers(n, 4);
    t = {static_cast<uint16_t>(n[0]), static_cast<uint16_t>(n[1]), n[2], n[3]};
  }
  void Fill(HQOS_MatchRule& rule) const {
    uint16_t n[17];
    std::fill(n, n + 17, uint16_t{0xFFFF});
    Numbers(n, 17);
    rule.type = n[0];
    for (size_t i = 0; i < 8; ++i) rule.ranges[i] = {n[1 + 2 * i], n[2 + 2 * i]};
  }
  void Fill(HQOS_AppObj& obj) const {
    uint32_t n[3] = {};
    std::memset(&obj, 0xEE, sizeof obj);
    Numbers(n, 3, obj.name);
    obj.type = n[0], obj.value = n[1], obj.param = n[2];
  }
  void Fill(HQOS_SPSonPath& path) const { Numbers(path.field, 6); }
  void Fill(HQOS_FGSonKey& key) const { Numbers(key.field, 3); }
};

// ---- Bytes and records to text ------------------------------------------------------------------

string Dump(const Bytes& bytes) {
  std::ostringstream out;
  out << std::hex << std::setfill('0');
  for (size_t i = 0, run = 0, text = 0; i < bytes.size();) {
    for (run = 1; i + run < bytes.size() && bytes[i + run] == bytes[i];) ++run;
    for (text = 0; i + text < bytes.size() && isprint(bytes[i + text]) != 0;) ++text;
    out << ' ';
    if (run >= 4) {
      out << std::setw(2) << int{bytes[i]} << '*' << std::dec << run << std::hex;
      i += run;
    } else if (text >= 3) {
      out << '"' << string(&bytes[i], &bytes[i] + text) << '"';
      i += text;
    } else {
      out << std::setw(2) << int{bytes[i]};
      ++i;
    }
  }
  return out.str();
}

template <class T>
void Value(std::ostream& out, const T& value) {
  out << std::hex << uint64_t{value};
}
void Value(std::ostream& out, const HQOS_ValueRange& range) {
  out << std::hex << range.low << '-' << range.high;
}
void Value(std::ostream& out, const HQOS_DPThreshold& t) {
  out << std::hex << t.value1 << '-' << t.value2 << '-' << t.value3 << '-' << t.value4;
}
template <size_t N>
void Value(std::ostream& out, const char (&text)[N]) {
  out << '"' << string(text, strnlen(text, N)) << '"';
}
template <class T, size_t N>
void Value(std::ostream& out, const T (&values)[N]) {
  for (const T& value : values) {
    if (&value != values) out << ',';
    Value(out, value);
  }
}
void Value(std::ostream& out, const HQOS_MatchRule& rule) {
  out << std::hex << rule.type << ':';
  Value(out, rule.ranges);
}

// Members, separated by blanks.
template <class... T>
void Values(std::ostream& out, const T&... values) {
  ((out << ' ', Value(out, values)), ...);
}

void Show(std::ostream& out, const HQOS_Result& r) { Values(out, r.code, r.text); }
void Show(std::ostream& out, const HQOS_SPInfo& sp) {
  Values(out, sp.name, sp.id, sp.value1, sp.value2, sp.words);
}
void Show(std::ostream& out, const HQOS_FGInfo& fg) { Values(out, fg.name, fg.id); }
void Show(std::ostream& out, const HQOS_FCInfo& fc) { Values(out, fc.name, fc.id); }
void Show(std::ostream& out, const HQOS_FPInfo& fp) {
  Values(out, fp.name, fp.id, fp.flags, fp.dpName, fp.dpId, fp.gts, fp.queue, fp.bandwidth);
}
void Show(std::ostream& out, const HQOS_DPInfo& dp) {
  Values(out, dp.name, dp.id, dp.weight, dp.thresholds);
}
void Show(std::ostream& out, const HQOS_FGSon& son) {
  Values(out, son.key.field, son.word, son.name1, son.rule, son.name2);
}
void Show(std::ostream& out, const HQOS_SPSon& son) {
  Values(out, son.words, son.path.field, son.cfg.value1, son.cfg.value2, son.cfg.name1,
         son.cfg.name2, son.cfg.rule);
}
void Show(std::ostream& out, const HQOS_SPSonStat& stat) {
  Show(out, stat.son);
  Values(out, stat.counters.stat32, stat.counters.stat64);
}
void Show(std::ostream& out, const HQOS_SPSonDiag& diag) {
  Show(out, diag.son);
  Values(out, diag.diag);
}
void Show(std::ostream& out, const HQOS_ApplyInfo& info) {
  Values(out, info.obj.type, info.obj.value, info.obj.param, info.obj.name);
  Show(out, info.sp);
}

// Records are listed up to the first that is untouched; equal ones once, with their number.
template <class Call>
void ShowOutput(std::ostream& out, Call& call) {
  const auto& records = call.Output().records;
  const auto* const bytes = reinterpret_cast<const uint8_t*>(records.data());
  constexpr size_t kSize = sizeof records[0];
  if constexpr (Call::kIsList) {
    const uint32_t count = call.template Get<uint32_t*>().records[0];
    out << ", count ";
    count == calls::kBlankCount ? out << "untouched" : out << std::dec << count;
  }
  size_t end = 0;
  while (end < records.size() && !call.Output().IsAll(calls::kBlank, end * kSize)) ++end;
  for (size_t i = 0, equal = 0; i < end; i += equal) {
    for (equal = 1; i + equal < end;) {
      if (std::memcmp(bytes + i * kSize, bytes + (i + equal) * kSize, kSize) != 0) break;
      ++equal;
    }
    out << "\n= " << std::dec << equal << ':';
    Show(out, records[i]);
  }
}

// ---- Sessions -----------------------------------------------------------------------------------

template <class... P>
string Play(uint32_t (*function)(P...), const string& arguments, const string* reply) {
  using Call = calls::Call<P...>;
  constexpr bool kHasOutput = sizeof...(P) > 1;
  std::deque<string> texts;
  const auto call = [&](const Bytes& bytes, Seen& seen) {
    Script script;
    script.reply = bytes;
    std::istringstream in(arguments);
    return Call(function, Words{in, texts}, [&](auto run) { return Play(script, seen, run); });
  };
  const Bytes none = Call::kIsCommand || !kHasOutput ? Status(0, "") : Message(2, 4, {});
  const Bytes whole = reply == nullptr ? none : Reply(*reply);
  Seen seen;
  Call done = call(whole, seen);
  std::ostringstream out;
  for (const Bytes& request : seen.requests) {  // its head and the TLV's apart from the payload
    const auto payload = request.begin() + 12;
    out << '>' << Dump({request.begin(), payload}) << " |" << Dump({payload, request.end()})
        << '\n';
  }
  EXPECT_TRUE(seen.closed || seen.sockets == 0);
  out << "= " << std::hex << done.status;
  if constexpr (kHasOutput) {
    ShowOutput(out, done);
    for (const Bytes& damaged :
         reply == nullptr || whole.empty() ? std::vector<Bytes>() : Damaged(whole)) {
      Call again = call(damaged, seen);
      if constexpr (Call::kIsCommand) {
        reply_rules::CheckCommand(again);
      } else {
        reply_rules::CheckQuery(again);
      }
    }
  }
  return out.str();
}

string PlayLine(const string& line, const string* reply) {
  std::istringstream in(line);
  string name, arguments, result = "? there is no such call";
  in >> name;
  std::getline(in, arguments);
  const void* const symbol = dlsym(RTLD_DEFAULT, ("HQOS_lib_" + name).c_str());
  for (size_t i = 0; i < calls::kCount; ++i) {
    calls::With(i, [&](auto* function) {
      if (reinterpret_cast<void*>(function) == symbol) result = Play(function, arguments, reply);
    });
  }
  return result;
}

TEST(Calls, GoAsTheSessionsAreWritten) {
  for (const auto& file : std::filesystem::directory_iterator(CALLS)) {
    std::ifstream in(file.path());
    std::ostringstream written, actual;
    string line, call, reply;
    const auto play = [&] {
      if (!call.empty()) actual << PlayLine(call, reply.empty() ? nullptr : &reply) << '\n';
      call = reply = "";
    };
    while (std::getline(in, line)) {
      written << line << '\n';
      if (line.starts_with("= ") || line.starts_with("> ")) continue;
      if (!line.starts_with("< ")) play();
      actual << line << '\n';
      if (line.starts_with("$ ")) call = line.substr(2);
      if (line.starts_with("< ")) reply = line.substr(2);
    }
    play();
    EXPECT_EQ(actual.str(), written.str()) << file.path();
    if (std::getenv("HQOS_UPDATE") != nullptr) std::ofstream(file.path()) << actual.str();
  }
}

}  // namespace
