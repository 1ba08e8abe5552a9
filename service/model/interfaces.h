// The interfaces that SPs can be applied to.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace hqosd {

struct Interface {
  uint32_t index;
  std::string name;
  bool up;
};

// Where the service looks them up.
class InterfaceSource {
 public:
  virtual ~InterfaceSource() = default;
  virtual std::optional<Interface> Find(const std::string& name) const = 0;
  virtual std::optional<Interface> Find(uint32_t index) const = 0;
};

// Those of the machine.
const InterfaceSource& MachineInterfaces();

}  // namespace hqosd
