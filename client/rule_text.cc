#include "client/rule_text.h"

#include <algorithm>

#include "platform/bitmap.h"
#include "util/match_rule.h"

namespace client {

namespace {

constexpr uint32_t kTypes = HQOS_MATCH_NONE;  // match types are below it

// Reads a text from left to right, and reports the place of a fault.
class Reader {
 public:
  explicit Reader(const std::string& text) : text_(text) {}

  size_t at() const { return at_; }
  bool AtEnd() const { return at_ == text_.size(); }

  bool Take(char c) {
    if (AtEnd() || text_[at_] != c) return false;
    ++at_;
    return true;
  }

  std::string TakeUntil(char c) {
    const size_t begin = at_;
    at_ = std::min(text_.find(c, begin), text_.size());
    return text_.substr(begin, at_ - begin);
  }

  // A decimal number from min to max.
  uint16_t TakeValue(uint16_t min, uint16_t max) {
    const size_t begin = at_;
    uint32_t value = 0;
    for (; !AtEnd() && text_[at_] >= '0' && text_[at_] <= '9'; ++at_) {
      value = std::min<uint32_t>(value * 10 + static_cast<uint32_t>(text_[at_] - '0'), 0x10000);
    }
    if (at_ == begin || value < min || value > max) {
      Fail(begin, "a value from " + std::to_string(min) + " to " + std::to_string(max) +
                      " is expected here");
    }
    return static_cast<uint16_t>(value);
  }

  [[noreturn]] static void Fail(size_t place, const std::string& why) {
    throw RuleFault(why, place);
  }

 private:
  const std::string& text_;
  size_t at_ = 0;
};

uint32_t TypeOf(const std::string& name) {
  for (uint32_t type = 0; type < kTypes; ++type) {
    const char* const known = HQOS_util_GetMatchTypeStr(type);
    if (known != nullptr && name == known) return type;
  }
  return kTypes;
}

std::string TypeNames() {
  std::string names;
  for (uint32_t type = 0; type < kTypes; ++type) {
    const char* const name = HQOS_util_GetMatchTypeStr(type);
    if (name != nullptr) names += (names.empty() ? "" : ", ") + std::string(name);
  }
  return names;
}

}  // namespace

HQOS_MatchRule ParseRule(const std::string& text) {
  Reader reader(text);
  HQOS_MatchRule rule = hqos::EmptyRule(TypeOf(reader.TakeUntil(':')));
  if (rule.type == kTypes) reader.Fail(0, "a match type is expected here: " + TypeNames());
  uint16_t min, max;
  if (HQOS_util_GetValueRangeByType(rule.type, &min, &max) != 0) {
    if (!reader.AtEnd()) reader.Fail(reader.at(), "this match type has no values");
    return rule;
  }
  if (!reader.Take(':')) reader.Fail(reader.at(), "\":\" and values are expected here");
  for (HQOS_ValueRange& range : rule.ranges) {
    range.low = reader.TakeValue(min, max);
    const size_t second = reader.at() + 1;
    range.high = reader.Take('-') ? reader.TakeValue(min, max) : range.low;
    if (range.high < range.low) reader.Fail(second, "a range goes from the lower to the higher");
    if (reader.AtEnd()) break;
    if (!reader.Take(',')) reader.Fail(reader.at(), "\",\", \"-\" or the end is expected here");
    if (&range == &rule.ranges[HQOS_MATCHRULE_RANGES - 1]) {
      reader.Fail(reader.at(), "a rule has at most 8 ranges");
    }
  }
  return rule;
}

void Normalise(HQOS_MatchRule& rule) {
  alignas(8) uint8_t buffer[1024];
  Bitmap* const bitmap = Bitmap_CreateFromBuffer(buffer, sizeof buffer, HQOS_RULE_BITMAP_BITS);
  HQOS_util_MatchRule2Bitmap(&rule, bitmap);
  HQOS_util_Bitmap2MatchRule(bitmap, rule.type, &rule);
}

std::string RuleText(const HQOS_MatchRule& rule) {
  const char* const type = HQOS_util_GetMatchTypeStr(rule.type);
  if (type == nullptr) return rule.type == HQOS_MATCH_NONE ? "" : std::to_string(rule.type);
  std::string text = type;
  char separator = ':';
  for (const HQOS_ValueRange& range : rule.ranges) {
    if (range.low == HQOS_RANGE_UNUSED || rule.type == HQOS_MATCH_GROUP) break;
    text += separator + std::to_string(range.low);
    if (range.high != range.low) text += "-" + std::to_string(range.high);
    separator = ',';
  }
  return text;
}

}  // namespace client
