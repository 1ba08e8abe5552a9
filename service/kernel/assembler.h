// Classic BPF with labels. Jumps go forward only; those that are too far for a conditional jump's 8
// bits go through an unconditional one.
#pragma once

#include <linux/filter.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace hqosd::kernel {

class Assembler {
 public:
  using Label = size_t;

  Label NewLabel() {
    places_.push_back(0);
    return places_.size() - 1;
  }
  void Put(Label label) { places_[label] = code_.size(); }

  void Do(uint16_t code, uint32_t k = 0) { code_.push_back({code, k, 0, 0, false, false}); }
  void Return(uint32_t value) { Do(BPF_RET | BPF_K, value); }
  void Jump(Label to) { code_.push_back({BPF_JMP | BPF_JA, 0, to, to, true, true}); }
  // Otherwise continues with the next instruction.
  void JumpIf(uint16_t comparison, uint32_t k, Label to) {
    code_.push_back({Conditional(comparison), k, to, 0, true, false});
  }
  void JumpUnless(uint16_t comparison, uint32_t k, Label to) {
    code_.push_back({Conditional(comparison), k, 0, to, false, true});
  }

  std::vector<sock_filter> Assemble() const;

 private:
  struct Instruction {
    uint16_t code;
    uint32_t k;
    Label ifTrue, ifFalse;
    bool jumpsIfTrue, jumpsIfFalse;
    bool isConditional() const { return BPF_CLASS(code) == BPF_JMP && BPF_OP(code) != BPF_JA; }
  };
  static uint16_t Conditional(uint16_t comparison) {
    return static_cast<uint16_t>(BPF_JMP | comparison | BPF_K);
  }

  std::vector<Instruction> code_;
  std::vector<size_t> places_;  // of each label: the instruction after it
};

}  // namespace hqosd::kernel
