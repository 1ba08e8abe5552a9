// From a request message to its reply.
#pragma once

#include "service/answer.h"
#include "service/model.h"

namespace hqosd {

// Answers the request of `length` bytes, whatever they are; the reply has at most HQOS_MSG_MAX
// bytes. A request that is refused changes nothing.
Bytes Respond(Model& model, const uint8_t* request, size_t length);

// The reply that refuses a request, whatever it is.
Bytes RefuseRequest(const Bytes& request, uint32_t code, const std::string& text);

}  // namespace hqosd
