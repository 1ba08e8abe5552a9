// Where SPs are applied, as the command line names it.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <set>

#include "hqos.h"

namespace hqosctl {

// The options that name an application object and a direction.
class ApplyTarget {
 public:
  // Adds them to the command, one required; otherwise also those that name several objects.
  void AddOptions(CLI::App& command, bool required);

  // The object with its direction, both given. An interface must exist, by its exact name.
  HQOS_AppObj Existing() const;
  // The same for one that may have gone: it exists, or something is applied to it.
  HQOS_AppObj Any() const;

  // The SPs applied to the object or objects in the direction, each in any when it is not given;
  // without an object, those applied to interfaces. An interface may be given by a prefix.
  std::vector<HQOS_ApplyInfo> ReadApplied(bool forDiagnosis) const;

 private:
  HQOS_AppObj Object(bool mustExist, bool byPrefix) const;

  bool IsWanted(const HQOS_AppObj& obj) const;
  std::vector<HQOS_ApplyInfo> ReadAnywhere(bool forDiagnosis) const;

  std::string interface_, direction_, sp_;
  std::optional<uint16_t> slot_, id_;
  bool system_ = false, all_ = false;
};

// All interfaces of the kinds that an SP can be applied to.
std::set<std::string> InterfaceNames();

// "interface eth0" and "outbound".
std::string ObjectText(const HQOS_AppObj& obj);
std::string DirectionText(const HQOS_AppObj& obj);

}  // namespace hqosctl
