// From a request message to its reply.
#pragma once

#include <span>

#include "service/model/tlvs.h"

namespace hqosd {

struct Response {
  Bytes reply;
  bool isCommand = false;         // it is of the class that changes the configuration
  bool isAcceptedChange = false;  // it has changed what is stored
  uint64_t ticket = 0;            // of the reply, which comes later; 0: it is here
};

// Answers the request of `length` bytes, whatever they are; the reply has at most HQOS_MSG_MAX
// bytes. A request that is refused changes nothing.
Response Respond(Model& model, const uint8_t* request, size_t length);

// Carries out a command of a transaction, which has been taken apart already. Throws a Refusal.
void CarryOut(Model& model, std::span<const uint8_t> message, const hqos::Tlv& tlv);

// A reply that begins with a status, for requests that are carried out elsewhere.
Bytes StatusReply(uint8_t opClass, uint32_t code, const std::string& text);

// Takes a request apart: its head and its one TLV. Throws a Refusal.
void Parse(const uint8_t* request, size_t length, HQOS_MsgHead& head, hqos::Tlv& tlv);

// Whether the request is a command, as far as its head says.
bool IsCommand(const Bytes& request);

// The response that refuses a request, whatever it is.
Response RefuseRequest(const Bytes& request, const Refusal& refusal);

}  // namespace hqosd
