// The service in this process: calls of the library reach its request handler directly, with
// interfaces and counters of the test's own.
#pragma once

#include <map>

#include "service/requests/dispatch.h"
#include "tests/fake_peer.h"

namespace wire {

class FakeInterfaces final : public hqosd::InterfaceSource {
 public:
  std::map<std::string, hqosd::Interface> all;

  void Add(const std::string& name, uint32_t index, bool up = true) {
    all[name] = {index, name, up};
  }
  std::optional<hqosd::Interface> Find(const std::string& name) const override {
    const auto found = all.find(name);
    return found == all.end() ? std::nullopt : std::optional(found->second);
  }
  std::optional<hqosd::Interface> Find(uint32_t index) const override {
    for (const auto& [name, interface] : all) {
      if (interface.index == index) return interface;
    }
    return std::nullopt;
  }
};

// Calls of the library, whose requests are answered by Respond.
class Caller {
 public:
  virtual ~Caller() = default;

  // The result of a call of the library.
  template <class Call>
  uint32_t Run(Call call) {
    Script script;
    script.answer = [this](const Bytes& request) { return Respond(request); };
    Seen seen;
    return Play(script, seen, call);
  }

  // The verdict on a command; its text is left in `text`.
  template <class Command, class... Arguments>
  uint32_t Do(Command command, Arguments... arguments) {
    HQOS_Result result{};
    const uint32_t status = Run([&] { return command(arguments..., &result); });
    text = result.text;
    return status != 0 ? status : result.code;
  }
  std::string text;

 protected:
  virtual Bytes Respond(const Bytes& request) = 0;
};

class InProcess : public Caller {
 public:
  FakeInterfaces interfaces;
  hqosd::Model model;

  InProcess() { model.interfaces = &interfaces; }

 private:
  Bytes Respond(const Bytes& request) override {
    return hqosd::Respond(model, request.data(), request.size()).reply;
  }
};

}  // namespace wire
