#include "service/kernel/sons.h"

#include "service/kernel/operations.h"
#include "service/model/objects.h"

namespace hqosd::kernel {

namespace {

void AddSons(const Model& model, const Children& children, size_t parent, std::vector<Son>& sons) {
  for (const auto& [id, nesting] : children) {
    const auto fg = model.fgs.All().find(id);
    const bool isFG = fg != model.fgs.All().end();
    const size_t position = sons.size();
    Son son{sons[parent].path,
            sons[parent].level + 1,
            parent,
            isFG ? Kind::FG : Kind::FC,
            isFG ? &fg->second.name : &model.fcs.All().at(id).name,
            &nesting.rule,
            nesting.fp.empty() ? nullptr : model.fps.Find(nesting.fp)};
    son.path[son.level - 1] = id;
    sons.push_back(son);
    sons[parent].hasChildren = true;
    if (sons[parent].rest == 0 && son.Takes() == Branch::Takes::Rest) sons[parent].rest = position;
    if (isFG) AddSons(model, fg->second.value.children, position, sons);
  }
}

}  // namespace

std::vector<Son> SonsOf(const Model& model, const SPObject& sp) {
  std::vector<Son> sons;
  sons.reserve(sp.value.descendants + 1);
  sons.push_back({{}, 0, 0, Kind::SP, &sp.name});
  sons[0].path.fill(HQOS_PATH_UNSET);
  AddSons(model, sp.value.children, 0, sons);
  return sons;
}

KernelClasses NumberClasses(const Model& model, const SPObject& sp, const KernelClasses& known,
                            const Tree* replaced) {
  std::vector<bool> isKnown(size_t{UINT16_MAX} + 1), isKept(isKnown.size());
  // Queues have handles of these numbers, which others have already.
  for (const uint32_t handle : {kTreeHandle, kHooksHandle}) isKept[handle >> 16] = true;
  const auto mark = [](std::vector<bool>& numbers, const KernelClass& one) {
    numbers[one.minor] = numbers[one.ownLeaf] = true;
  };
  for (const auto& [path, one] : known) mark(isKnown, one);
  if (replaced != nullptr) {
    for (const Class& one : replaced->classes) isKnown[one.minor] = true;
  }

  KernelClasses classes;
  std::vector<uint16_t*> missing;
  for (const Son& son : SonsOf(model, sp)) {
    const auto found = known.find(son.path);
    KernelClass& one = classes[son.path];
    if (found != known.end()) one = found->second;
    if (son.level == 0) {
      one.minor = kSPMinor;
      one.ownLeaf = kDefaultMinor;
    }
    mark(isKept, one);
    if (one.minor == 0) missing.push_back(&one.minor);
    if (one.ownLeaf == 0 && son.NeedsOwnLeaf()) missing.push_back(&one.ownLeaf);
  }

  // Numbers of children that are gone come last.
  auto next = missing.begin();
  for (const bool ofOthers : {false, true}) {
    for (size_t minor = kFirstMinor; minor < isKept.size() && next != missing.end(); ++minor) {
      if (isKept[minor] || isKnown[minor] != ofOthers) continue;
      **next++ = static_cast<uint16_t>(minor);
    }
  }
  if (next == missing.end()) return classes;
  Refuse(HQOSD_NOT_ENFORCEABLE, "{} has more children than the kernel has classes",
         Label(Kind::SP, sp.name));
}

}  // namespace hqosd::kernel
