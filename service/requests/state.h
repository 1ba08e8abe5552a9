// The state as a whole: as a file of commands, and changed by one.
#pragma once

#include <span>

#include "msg/state_file.h"
#include "service/requests/request.h"

namespace hqosd {

// The shortest file that builds the model from nothing.
Bytes ExportState(const Model& model, uint64_t revision);

// A command in a file: its whole message, and its TLV.
struct StateCommand {
  std::span<const uint8_t> message;
  hqos::Tlv tlv;
};

struct StateFile {
  hqos::StateHead head{};
  std::vector<HQOS_ObjPayload> fcs;
  std::vector<StateCommand> commands;  // in the bytes of the file
};

// Throws a Refusal when the bytes are no such file.
StateFile ParseState(std::span<const uint8_t> bytes);

// A refused command.
struct RefusedCommand {
  uint32_t position;
  Refusal refusal;
};

// The model after the transaction, without counters; with refusals it is of no use. `model` stays
// as it is.
Model RunTransaction(const Model& model, const StateFile& file,
                     std::vector<RefusedCommand>& refusals);

}  // namespace hqosd
