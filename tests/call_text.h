// Calls of the library as text: arguments from words, and records to text.
#pragma once

#include <dlfcn.h>

#include <deque>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/calls.h"

namespace call_text {

using std::string;

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

template <class T>
inline void Value(std::ostream& out, const T& value) {
  out << std::hex << uint64_t{value};
}
inline void Value(std::ostream& out, const HQOS_ValueRange& range) {
  out << std::hex << range.low << '-' << range.high;
}
inline void Value(std::ostream& out, const HQOS_DPThreshold& t) {
  out << std::hex << t.value1 << '-' << t.value2 << '-' << t.value3 << '-' << t.value4;
}
template <size_t N>
void Value(std::ostream& out, const char (&text)[N]) {
  out << '"' << string(text, strnlen(text, N)) << '"';
}
template <class T, size_t N>
inline void Value(std::ostream& out, const T (&values)[N]) {
  for (const T& value : values) {
    if (&value != values) out << ',';
    Value(out, value);
  }
}
inline void Value(std::ostream& out, const HQOS_MatchRule& rule) {
  out << std::hex << rule.type << ':';
  Value(out, rule.ranges);
}

// Members, separated by blanks.
template <class... T>
void Values(std::ostream& out, const T&... values) {
  ((out << ' ', Value(out, values)), ...);
}

inline void Show(std::ostream& out, const HQOS_Result& r) { Values(out, r.code, r.text); }
inline void Show(std::ostream& out, const HQOS_SPInfo& sp) {
  Values(out, sp.name, sp.id, sp.value1, sp.value2, sp.words);
}
inline void Show(std::ostream& out, const HQOS_FGInfo& fg) { Values(out, fg.name, fg.id); }
inline void Show(std::ostream& out, const HQOS_FCInfo& fc) { Values(out, fc.name, fc.id); }
inline void Show(std::ostream& out, const HQOS_FPInfo& fp) {
  Values(out, fp.name, fp.id, fp.flags, fp.dpName, fp.dpId, fp.gts, fp.queue, fp.bandwidth);
}
inline void Show(std::ostream& out, const HQOS_DPInfo& dp) {
  Values(out, dp.name, dp.id, dp.weight, dp.thresholds);
}
inline void Show(std::ostream& out, const HQOS_FGSon& son) {
  Values(out, son.key.field, son.word, son.name1, son.rule, son.name2);
}
inline void Show(std::ostream& out, const HQOS_SPSon& son) {
  Values(out, son.words, son.path.field, son.cfg.value1, son.cfg.value2, son.cfg.name1,
         son.cfg.name2, son.cfg.rule);
}
inline void Show(std::ostream& out, const HQOS_SPSonStat& stat) {
  Show(out, stat.son);
  Values(out, stat.counters.stat32, stat.counters.stat64);
}
inline void Show(std::ostream& out, const HQOS_SPSonDiag& diag) {
  Show(out, diag.son);
  Values(out, diag.diag);
}
inline void Show(std::ostream& out, const HQOS_ApplyInfo& info) {
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

// Calls `use` with the function of the library that has the name, and the rest of the line; false
// when there is none.
template <class Use>
bool WithNamed(const string& line, Use use) {
  std::istringstream in(line);
  string name, arguments;
  in >> name;
  std::getline(in, arguments);
  const void* const symbol = dlsym(RTLD_DEFAULT, ("HQOS_lib_" + name).c_str());
  bool isKnown = false;
  for (size_t i = 0; symbol != nullptr && i < calls::kCount; ++i) {
    calls::With(i, [&](auto* function) {
      if (reinterpret_cast<void*>(function) != symbol) return;
      isKnown = true;
      use(function, arguments);
    });
  }
  return isKnown;
}

}  // namespace call_text
