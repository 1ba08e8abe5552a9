#include "service/kernel/plan.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "service/kernel/sons.h"
#include "service/model/objects.h"

namespace hqosd::kernel {

namespace {

// Rates are in bytes/s.
constexpr uint64_t kKbit = 125;
constexpr uint64_t kDefaultRate = 8 * kKbit;
constexpr uint64_t kUnknownRate = UINT32_MAX * kKbit;  // no setting exceeds it

constexpr uint64_t kTicksPerSecond = 15'625'000;
constexpr uint64_t kBucket = kTicksPerSecond * 4 / 1000;  // 4 ms

constexpr uint32_t kHead = 14 + 2 * 4;    // of a frame, beside the MTU: Ethernet and two tags
constexpr uint32_t kMaxMtu = 65'536;      // of lo; some devices claim more than there are frames
constexpr double kLongQuantum = 200'000;  // bytes; the kernel warns of more
constexpr double kMaxQuantum = 1 << 30;   // the kernel adds two in a signed number

constexpr uint32_t kMaxQueue = 7;
constexpr uint32_t kStrict = 0, kWeighted = 1;

// How long a bucket of so many bytes lasts.
uint64_t Ticks(uint64_t bytes, uint64_t rate) { return bytes * kTicksPerSecond / rate + 1; }

uint32_t Narrow(uint64_t ticks) {
  return static_cast<uint32_t>(std::min<uint64_t>(ticks, UINT32_MAX));
}

// What the settings make of a child of the SP, or of the SP.
struct Shape {
  uint64_t ceiling = 0, guarantee = 0;
  size_t bound = 0;                         // whose CIR the ceiling is; 0: that of the link
  uint64_t sum = 0;                         // of its children's guarantees
  uint32_t number = 0;                      // of the queue of its leaves
  uint32_t highest = 0;                     // number among its weighted children
  uint32_t least = UINT32_MAX, most = 0;    // weight among them
  std::array<size_t, kMaxQueue + 1> fcs{};  // its FCs by their numbers; 0: none
};

class Planner {
 public:
  Planner(const Model& model, const SPObject& sp, const KernelClasses& classes, const Link& link)
      : sons_(SonsOf(model, sp)),
        shapes_(sons_.size()),
        unit_(sp.value.unit),
        frame_(std::min(link.mtu, kMaxMtu) + kHead) {
    const uint64_t rate = link.rate == 0 ? kUnknownRate : std::max<uint64_t>(link.rate / 8, 1);
    shapes_[0].ceiling = rate;
    for (size_t i = 1; i < sons_.size(); ++i) Judge(i);
    for (size_t i = 1; i < sons_.size(); ++i) Descend(i);
    for (size_t i = sons_.size(); i-- > 0;) Guarantee(i);
    tree_.classes.push_back(Inner(0, kPortMinor, 0));
    for (size_t i = 0; i < sons_.size(); ++i) Add(i, classes.at(sons_[i].path));
    tree_.programs = MakePrograms(MakeBranch());
  }

  Tree Take() { return std::move(tree_); }

 private:
  std::string LabelOf(size_t i) const { return Label(sons_[i].kind, *sons_[i].name); }
  std::string NestingOf(size_t i) const {
    const Son& parent = sons_[sons_[i].parent];
    return NestingLabel(sons_[i].kind, *sons_[i].name, parent.kind, *parent.name);
  }

  template <class... Arguments>
  [[noreturn]] void RefuseSetting(size_t i, fmt::format_string<Arguments...> text,
                                  Arguments&&... arguments) const {
    Refuse(HQOSD_NOT_ENFORCEABLE, "{} of {}: {}", Label(Kind::FP, sons_[i].fp->name), NestingOf(i),
           fmt::format(text, std::forward<Arguments>(arguments)...));
  }

  // Refuses what makes no sense whatever is above, and gathers what siblings have in common.
  void Judge(size_t i) {
    const Son& son = sons_[i];
    Shape& parent = shapes_[son.parent];
    if (son.Gts() != nullptr && son.Gts()[0] == 0) RefuseSetting(i, "a CIR of 0 kbit/s");
    if (const uint32_t* const queue = son.Queue()) {
      const auto [number, kind, weight] = std::array{queue[0], queue[1], queue[2]};
      if (number > kMaxQueue) RefuseSetting(i, "queue {} is above {}", number, kMaxQueue);
      if (kind != kStrict && kind != kWeighted) {
        RefuseSetting(i, "queue {} is neither strict (0) nor weighted (1) but {}", number, kind);
      }
      if (kind == kWeighted && weight == 0) RefuseSetting(i, "queue {} has weight 0", number);
      if (kind == kWeighted) {
        parent.highest = std::max(parent.highest, number);
        parent.least = std::min(parent.least, weight);
        parent.most = std::max(parent.most, weight);
      }
    }
    if (son.Takes() == Branch::Takes::Priority) {
      size_t& other = parent.fcs[son.Queue()[0]];
      if (other != 0) {
        Refuse(HQOSD_NOT_ENFORCEABLE, "{} and {} have queue {} both", LabelOf(other), NestingOf(i),
               son.Queue()[0]);
      }
      other = i;
    }
    const size_t rest = sons_[son.parent].rest;
    if (son.Takes() == Branch::Takes::Rest && rest != i) {
      Refuse(HQOSD_NOT_ENFORCEABLE, "{} and {} take what the others leave both", LabelOf(rest),
             NestingOf(i));
    }
  }

  // What comes from above: the ceiling and the number of the queue.
  void Descend(size_t i) {
    const Son& son = sons_[i];
    const Shape& parent = shapes_[son.parent];
    Shape& shape = shapes_[i];
    shape.ceiling = parent.ceiling;
    shape.bound = parent.bound;
    if (son.Gts() != nullptr && son.Gts()[0] * kKbit < parent.ceiling) {
      shape.ceiling = son.Gts()[0] * kKbit;
      shape.bound = i;
    }
    shape.number = son.Queue() == nullptr ? parent.number
                   : son.IsWeighted()     ? parent.highest
                                          : son.Queue()[0];
  }

  // "its ceiling of 10000 kbit/s, that of FG data"
  std::string CeilingOf(size_t i) const {
    const size_t bound = shapes_[i].bound;
    return fmt::format("its ceiling of {} kbit/s{}", shapes_[i].ceiling / kKbit,
                       bound == 0   ? ", the rate of the link"
                       : bound == i ? ""
                                    : ", that of " + LabelOf(bound));
  }

  // With the children's guarantees known.
  void Guarantee(size_t i) {
    const Son& son = sons_[i];
    Shape& shape = shapes_[i];
    if (shape.sum > shape.ceiling) {
      Refuse(HQOSD_NOT_ENFORCEABLE, "the guarantees below {}, {} kbit/s, exceed {}", LabelOf(i),
             shape.sum / kKbit, CeilingOf(i));
    }
    const uint64_t bandwidth =
        son.Has(HQOS_FPI_BANDWIDTH) ? son.fp->value.settings.bandwidth * kKbit : 0;
    if (bandwidth > shape.ceiling) {
      Refuse(HQOSD_NOT_ENFORCEABLE, "the bandwidth of {}, {} kbit/s, exceeds {}", NestingOf(i),
             bandwidth / kKbit, CeilingOf(i));
    }
    const uint64_t own = bandwidth != 0 ? bandwidth : std::min(kDefaultRate, shape.ceiling);
    shape.guarantee = i == 0 ? shape.ceiling : std::max(own, shape.sum);
    shapes_[son.parent].sum += shape.guarantee;
  }

  uint32_t BucketOf(uint64_t rate) const { return Narrow(std::max(kBucket, Ticks(frame_, rate))); }

  Class Inner(size_t i, uint16_t minor, uint16_t parent) const {
    const Shape& shape = shapes_[i];
    const uint32_t* const gts = sons_[i].Gts();
    Class one{minor, parent, shape.guarantee, shape.ceiling, BucketOf(shape.guarantee), 0};
    one.cburst = BucketOf(shape.ceiling);
    if (gts != nullptr) {
      one.cburst = Narrow(Ticks(std::max<uint64_t>(frame_, uint64_t{gts[1]} + gts[2]), one.ceil));
    }
    return one;
  }

  // A class with a queue of its own.
  Class Leaf(size_t i, uint16_t minor, uint16_t parent) const {
    const uint32_t* const gts = sons_[i].Gts();
    Class one = Inner(i, minor, parent);
    one.priority = kMaxQueue - shapes_[i].number;
    one.quantum = QuantumOf(i);
    // 100 ms at the ceiling.
    const uint64_t packets = std::clamp<uint64_t>(one.ceil / 10 / frame_, 20, 1000);
    one.limit = gts != nullptr && gts[3] != 0 ? gts[3] : static_cast<uint32_t>(packets);
    return one;
  }

  // The leaf of an inner class.
  Class OwnLeaf(size_t i, uint16_t minor, uint16_t parent) const {
    Class one = Leaf(i, minor, parent);
    one.rate = std::min(kDefaultRate, one.ceil);
    one.burst = BucketOf(one.rate);
    return one;
  }

  // Weights keep their ratios: none is below a frame, nor the highest so high that the others wait
  // long, unless one contradicts the other.
  uint32_t QuantumOf(size_t i) const {
    if (!sons_[i].IsWeighted()) return frame_;
    const Shape& parent = shapes_[sons_[i].parent];
    const double unit = unit_ == HQOS_SPUNIT_WEIGHT ? frame_ : 1;
    const double scale = std::max(frame_ / (parent.least * unit),
                                  std::min(1.0, kLongQuantum / (parent.most * unit)));
    const double quantum = std::round(sons_[i].Queue()[2] * unit * scale);
    return static_cast<uint32_t>(std::clamp<double>(quantum, frame_, kMaxQuantum));
  }

  void Add(size_t i, const KernelClass& numbers) {
    const Son& son = sons_[i];
    const uint16_t parent = i == 0 ? kPortMinor : tree_.nodes[son.parent].minor;
    const bool isLeaf = i != 0 && !son.hasChildren;
    // The SP's own leaf is the qdisc's default class, which must exist always.
    const bool hasOwnLeaf = i == 0 || son.NeedsOwnLeaf();
    tree_.classes.push_back(isLeaf ? Leaf(i, numbers.minor, parent)
                                   : Inner(i, numbers.minor, parent));
    if (hasOwnLeaf) tree_.classes.push_back(OwnLeaf(i, numbers.ownLeaf, numbers.minor));
    Node node{son.path, {}, son.parent, numbers.minor, 0};
    if (i != 0) {
      node.names = tree_.nodes[son.parent].names;
      node.names.push_back(*son.name);
    }
    if (son.rest == 0) node.leaf = isLeaf ? numbers.minor : numbers.ownLeaf;
    tree_.nodes.push_back(std::move(node));
  }

  Branch MakeBranch() const {
    std::vector<Branch> branches(sons_.size());
    for (size_t i = sons_.size(); i-- > 0;) {
      const Son& son = sons_[i];
      Branch& branch = branches[i];
      branch.leaf = tree_.nodes[i].leaf == 0 ? 0 : ClassId(tree_.nodes[i].leaf);
      // The children are there, the last one first.
      std::reverse(branch.children.begin(), branch.children.end());
      std::stable_sort(branch.children.begin(), branch.children.end(),
                       [](const Branch& a, const Branch& b) { return a.takes < b.takes; });
      if (i == 0) break;
      branch.takes = son.Takes();
      if (branch.takes == Branch::Takes::Values) branch.rule = *son.rule;
      if (branch.takes == Branch::Takes::Priority) {
        branch.priority = static_cast<uint8_t>(son.Queue()[0]);
      }
      branches[son.parent].children.push_back(std::move(branch));
    }
    return std::move(branches[0]);
  }

  const std::vector<Son> sons_;
  std::vector<Shape> shapes_;
  const uint32_t unit_;   // of weights
  const uint32_t frame_;  // bytes of the longest
  Tree tree_;
};

}  // namespace

Tree PlanTree(const Model& model, const SPObject& sp, const KernelClasses& classes,
              const Link& link) {
  return Planner(model, sp, classes, link).Take();
}

}  // namespace hqosd::kernel
