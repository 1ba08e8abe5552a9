#include "service/kernel/assembler.h"

namespace hqosd::kernel {

namespace {

constexpr size_t kFarthest = 255;  // instructions that a conditional jump passes over

}  // namespace

std::vector<sock_filter> Assembler::Assemble() const {
  // Which conditional jumps are far: each takes a jump more, which may make others far.
  std::vector<bool> isFar(code_.size());
  std::vector<size_t> at(code_.size() + 1);
  for (bool isStable = false; !isStable;) {
    isStable = true;
    for (size_t i = 0; i < code_.size(); ++i) at[i + 1] = at[i] + (isFar[i] ? 2 : 1);
    for (size_t i = 0; i < code_.size(); ++i) {
      const Instruction& one = code_[i];
      if (!one.isConditional() || isFar[i]) continue;
      const size_t to = at[places_[one.jumpsIfTrue ? one.ifTrue : one.ifFalse]];
      isFar[i] = to - at[i] - 1 > kFarthest;
      isStable = isStable && !isFar[i];
    }
  }
  std::vector<sock_filter> program;
  for (size_t i = 0; i < code_.size(); ++i) {
    const Instruction& one = code_[i];
    sock_filter made{one.code, 0, 0, one.k};
    if (one.jumpsIfTrue && one.jumpsIfFalse) {
      made.k = static_cast<uint32_t>(at[places_[one.ifTrue]] - at[i] - 1);
    } else if (one.isConditional() && isFar[i]) {
      // Where it does not jump, it passes over the jump that comes next.
      (one.jumpsIfTrue ? made.jf : made.jt) = 1;
      program.push_back(made);
      const size_t to = at[places_[one.jumpsIfTrue ? one.ifTrue : one.ifFalse]];
      made = {BPF_JMP | BPF_JA, 0, 0, static_cast<uint32_t>(to - at[i] - 2)};
    } else if (one.isConditional()) {
      const size_t to = at[places_[one.jumpsIfTrue ? one.ifTrue : one.ifFalse]];
      (one.jumpsIfTrue ? made.jt : made.jf) = static_cast<uint8_t>(to - at[i] - 1);
    }
    program.push_back(made);
  }
  return program;
}

}  // namespace hqosd::kernel
