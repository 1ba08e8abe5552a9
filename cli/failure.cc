#include "cli/failure.h"

#include <cerrno>
#include <cstdio>
#include <string_view>

#include "cli/deadline.h"
#include "hqosd.h"
#include "platform/lip.h"

namespace hqosctl {

namespace {

int g_connectReason = 0;

#define HQOS_STATUS(code) \
  { code, #code }
constexpr struct {
  uint32_t code;
  const char* name;
} kStatuses[] = {
    HQOS_STATUS(HQOS_ERR_FAILED),
    HQOS_STATUS(HQOS_ERR_BADREPLY),
    HQOS_STATUS(HQOSD_MALFORMED),
    HQOS_STATUS(HQOSD_UNKNOWN),
    HQOS_STATUS(HQOSD_BAD_NAME),
    HQOS_STATUS(HQOSD_BAD_VALUE),
    HQOS_STATUS(HQOSD_EXISTS),
    HQOS_STATUS(HQOSD_ID_TAKEN),
    HQOS_STATUS(HQOSD_NOT_FOUND),
    HQOS_STATUS(HQOSD_END),
    HQOS_STATUS(HQOSD_IN_USE),
    HQOS_STATUS(HQOSD_NESTED),
    HQOS_STATUS(HQOSD_RULE),
    HQOS_STATUS(HQOSD_TOO_DEEP),
    HQOS_STATUS(HQOSD_APPLIED),
    HQOS_STATUS(HQOSD_NO_COUNTERS),
    HQOS_STATUS(HQOSD_NOT_STORED),
    HQOS_STATUS(HQOSD_TOO_MANY),
    HQOS_STATUS(HQOSD_NOT_ALLOWED),
    HQOS_STATUS(HQOSD_NO_MEMORY),
    HQOS_STATUS(HQOSD_STALE),
    HQOS_STATUS(HQOSD_UNCONFIRMED),
    HQOS_STATUS(HQOSD_NOT_ENFORCEABLE),
    HQOS_STATUS(HQOSD_BUSY),
};
#undef HQOS_STATUS

std::string NoServiceText() {
  std::string tried;
  char path[4096];
  for (uint32_t i = 0;
       LIP_GetEndpoint(HQOS_SERVICE_NODE, HQOS_SERVICE_PORT, i, path, sizeof path) != 0; ++i) {
    tried += (i == 0 ? "" : " or ") + std::string(path);
  }
  if (g_connectReason == EPERM) {
    return "no hqos service that is to be believed at " + tried +
           ": another user serves there, or could replace what is there; set HQOS_RUNTIME_DIR to "
           "the directory of your service";
  }
  return "no answer from an hqos service at " + tried + "; start one with: hqosd";
}

void CheckRoundTrip(uint32_t status) {
  if (Collection::Active() != nullptr) RefuseInCollection();
  if (status == HQOS_ERR_FAILED && TimeLeft() <= std::chrono::nanoseconds::zero()) {
    throw Failure(kNoService, "the service has not answered in time", status);
  }
  if (status == HQOS_ERR_FAILED) throw Failure(kNoService, NoServiceText(), status);
  if (status == HQOS_ERR_BADREPLY) {
    throw Failure(kNoService, "the service's reply cannot be understood", status);
  }
}

std::string CodeText(uint32_t code) {
  switch (code) {
    case HQOSD_NOT_FOUND:
      return "does not exist";
    case HQOSD_NO_COUNTERS:
      return "the service cannot read its counters";
    case HQOSD_UNKNOWN:
      return "the service does not know this query";
    default: {
      char text[32];
      std::snprintf(text, sizeof text, "refused with 0x%08x", code);
      return text;
    }
  }
}

}  // namespace

Output::Record ErrorRecord(const Failure& failure) {
  Output::Record error = Output::Record::object();
  if (failure.status() != 0) error["code"] = failure.status();
  for (const auto& status : kStatuses) {
    if (status.code == failure.status()) error["name"] = status.name;
  }
  std::string text = ShownLines(failure.what());
  constexpr std::string_view kPrefix = "\nhqosctl: ";  // of further lines on standard error
  for (size_t at = 0; (at = text.find(kPrefix, at)) != std::string::npos; ++at) {
    text.replace(at, kPrefix.size(), "\n");
  }
  error["text"] = std::move(text);
  return {{"error", std::move(error)}};
}

void RefuseInCollection() {
  throw Failure(kUsage, "an atomic batch has only commands that change the hierarchy");
}

void NoteConnection(int reason) { g_connectReason = reason; }

void CheckCommand(uint32_t status, const HQOS_Result& result) {
  CheckRoundTrip(status);
  if (result.code == 0) return;
  throw Failure(kRefused, result.text[0] != '\0' ? result.text : CodeText(result.code),
                result.code);
}

void CheckQuery(uint32_t status, const std::string& object) {
  CheckRoundTrip(status);
  if (status != 0) throw Failure(kRefused, Shown(object) + ": " + CodeText(status), status);
}

}  // namespace hqosctl
