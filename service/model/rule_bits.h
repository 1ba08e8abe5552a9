// The values of a rule as a bitmap.
#pragma once

#include "hqos.h"
#include "platform/bitmap.h"

namespace hqosd {

class RuleBits {
 public:
  explicit RuleBits(const HQOS_MatchRule& rule)
      : bitmap_(Bitmap_CreateFromBuffer(buffer_, sizeof buffer_, HQOS_RULE_BITMAP_BITS)) {
    HQOS_util_MatchRule2Bitmap(&rule, bitmap_);
  }
  RuleBits(const RuleBits&) = delete;
  RuleBits& operator=(const RuleBits&) = delete;

  Bitmap* get() const { return bitmap_; }

 private:
  alignas(8) uint8_t buffer_[1024];
  Bitmap* bitmap_;
};

}  // namespace hqosd
