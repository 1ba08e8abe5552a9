// Random hierarchies that a service accepts.
#pragma once

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "client/model.h"
#include "client/rule_text.h"
#include "util/match_rule.h"

class RandomModel {
 public:
  explicit RandomModel(std::mt19937& random) : random_(random) {}

  // Objects have few names and few identifiers, so that two models share many. FGs are below others
  // of a higher level only, which makes neither cycles nor more than five levels.
  client::Model Draw() {
    client::Model model;
    AddNamed(model.dp, "dp ", 3);
    AddNamed(model.fp, "fp-\"\\ü", 6);
    AddNamed(model.fg, "fg#", 8);
    AddNamed(model.sp, "sp.", 3);
    for (auto& [name, dp] : model.dp) {
      if (Chance()) dp.weight = Below(4);
      for (auto& threshold : dp.thresholds) {
        if (Chance()) threshold = HQOS_DPThreshold{1, static_cast<uint16_t>(Below(3)), 3, Below(9)};
      }
    }
    for (auto& [name, fp] : model.fp) {
      if (Chance()) fp.queue = {Below(8), 1, Below(100)};
      if (Chance()) fp.gts = {1000 + Below(3), 2000, 0, 0};
      if (Chance()) fp.bandwidth = Below(1000);
      if (Chance()) fp.dp = NameOf(model.dp);
    }
    std::map<std::string, uint32_t> level;
    for (auto& [name, fg] : model.fg) level[name] = 1 + Below(4);
    for (auto& [name, fg] : model.fg) AddChildren(model, level, level[name], fg.children);
    for (auto& [name, sp] : model.sp) {
      if (Chance()) sp.unit = Below(2);
      AddChildren(model, level, 0, sp.children);
    }
    AddApplications(model);
    return model;
  }

 private:
  uint32_t Below(uint32_t end) { return static_cast<uint32_t>(random_() % end); }
  bool Chance() { return Below(2) == 0; }

  template <class Objects>
  void AddNamed(Objects& objects, const std::string& prefix, uint32_t count) {
    std::vector<uint16_t> ids(size_t{count} * 2);
    std::iota(ids.begin(), ids.end(), uint16_t{0});
    std::shuffle(ids.begin(), ids.end(), random_);
    for (uint32_t i = 0; i < count; ++i) {
      if (Below(4) == 0) continue;
      auto& object = objects[prefix + std::to_string(i)];
      if (Chance()) object.id = ids[i];
    }
  }

  // A name; "" at times.
  template <class Objects>
  std::string NameOf(const Objects& objects) {
    const uint32_t skip = Below(static_cast<uint32_t>(objects.size()) + 1);
    return skip == objects.size() ? "" : std::next(objects.begin(), skip)->first;
  }

  void AddChildren(const client::Model& model, const std::map<std::string, uint32_t>& level,
                   uint32_t above, client::Children& children) {
    const uint32_t type = HQOS_MATCH_DOT1P + Below(4);
    bool hasGroup = false;
    uint16_t value = 1;
    for (const auto& [name, number] : level) {
      if (number <= above || Chance() || value > 7) continue;
      HQOS_MatchRule rule = hqos::EmptyRule(type);
      if (!hasGroup && Below(4) == 0) {
        hasGroup = true;
        rule.type = HQOS_MATCH_GROUP;
      } else {
        const auto last = static_cast<uint16_t>(std::min<uint32_t>(value + Below(2), 7));
        rule.ranges[0] = {value, last};
        value = static_cast<uint16_t>(last + 1);
      }
      children[{client::ChildKind::kFG, name}] = {rule, NameOf(model.fp)};
    }
    for (uint32_t i = 0; above != 0 && i < 3; ++i) {
      if (Chance()) continue;
      children[{client::ChildKind::kFC, "fc " + std::to_string(i)}] = {
          hqos::EmptyRule(HQOS_MATCH_NONE), NameOf(model.fp)};
    }
  }

  void AddApplications(client::Model& model) {
    const client::Target objects[] = {{HQOS_APPOBJ_IFINDEX, "lo", 0, 0},
                                      {HQOS_APPOBJ_SLOT, "", 3, 0},
                                      {HQOS_APPOBJ_ID, "", 65535, 0},
                                      {HQOS_APPOBJ_SYSTEM, "", 0, 0}};
    for (client::Target target : objects) {
      const std::string sp = NameOf(model.sp), other = NameOf(model.sp);
      target.direction = Below(3);
      if (!sp.empty()) model.apply[target] = {sp};
      if (target.direction == HQOS_DIR_BOTH || other.empty()) continue;
      target.direction = 1 - target.direction;
      model.apply[target] = {other};
    }
  }

  std::mt19937& random_;
};
