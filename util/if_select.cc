// Which interfaces an SP can be applied to.
#include "platform/if_select.h"

#include "hqos.h"

namespace {

// The platform's interface types of a bit of the mask; 0 ends them.
struct Kind {
  uint8_t bit;
  uint8_t types[6];
};
constexpr Kind kKinds[] = {{0x01, {18, 19, 21, 68, 69, 88}},
                           {0x02, {22, 23, 25, 70, 71, 89}},
                           {0x04, {31}},
                           {0x08, {4}},
                           {0x20, {35}},
                           {0x40, {29}},
                           {0x80, {27}},
                           {0x10, {9}}};

constexpr uint32_t kSelection = 2;  // the platform's kind of selection
constexpr uint8_t kWithProperty = 0x10;
constexpr uint32_t kProperty = 4;

}  // namespace

int32_t HQOS_util_InitIfSelect(uint8_t mask, void* select) {
  // The sum may overflow, which only unsigned numbers do well.
  auto sum = static_cast<uint32_t>(IF_Select_Init(kSelection, select));
  for (const Kind& kind : kKinds) {
    if ((mask & kind.bit) == 0) continue;
    for (const uint8_t type : kind.types) {
      if (type == 0) break;
      sum += static_cast<uint32_t>(IF_SelectType_Set(type, select));
    }
    if (kind.bit == kWithProperty) IF_SelectProperty_Set(kProperty, select);
  }
  return static_cast<int32_t>(sum);
}
