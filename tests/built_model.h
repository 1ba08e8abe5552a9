// Models as the service has them, from files.
#pragma once

#include <gtest/gtest.h>

#include "client/commands.h"
#include "client/read_model.h"
#include "service/requests/state.h"

namespace built {

using hqosd::Model;

// The model of a service that has carried the commands out.
inline Model Build(const client::Model& wanted, const Model& old = {}) {
  const client::Commands commands = Encode(wanted, {});
  hqos::StateHead head{};
  head.format = hqos::kStateFormat;
  head.length = hqos::kStateHead.size + commands.bytes.size();
  head.commands = commands.count;
  std::vector<uint8_t> file(hqos::kStateHead.size);
  head.mode = HQOSD_MODE_REPLACE;
  hqos::Encode(hqos::kStateHead, head, file.data());
  file.insert(file.end(), commands.bytes.begin(), commands.bytes.end());
  hqosd::StateFile parsed;
  hqosd::StateReader(file).Step(hqosd::Slice(), parsed);
  hqosd::TransactionRun run(old, parsed);
  run.Step(hqosd::Slice());
  for (const auto& refused : run.Refusals()) ADD_FAILURE() << refused.refusal.text;
  return std::move(run.Result());
}

inline client::Model Parse(const std::string& toml) {
  client::Faults faults;
  client::Model model = ReadModel(client::Document::Read("format = 1\n" + toml, faults), faults);
  for (const auto& fault : faults) ADD_FAILURE() << fault.text << "\n" << toml;
  return model;
}

}  // namespace built
