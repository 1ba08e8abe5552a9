// The command line's batch reader, calling the service on a model in memory. Its input is a batch
// file. Every command is carried out: what would reach out of the process is replaced here, so that
// no process is started, and a watch ends.
#include "cli/batch.h"

#include <net/if.h>
#include <spawn.h>
#include <time.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <sstream>

#include "cli/failure.h"
#include "cli/output.h"
#include "fuzz/fake_peer.h"
#include "fuzz/require.h"
#include "fuzz/service_harness.h"
#include "platform/if_select.h"
#include "platform/service_manager.h"

namespace {

fuzz::ServiceHarness* g_service = nullptr;

// Takes what is printed, and after some rounds no more: then a watch without an end does.
class Sink final : public std::streambuf {
 protected:
  int_type overflow(int_type c) override { return traits_type::not_eof(c); }
  std::streamsize xsputn(const char*, std::streamsize size) override { return size; }
  int sync() override { return ++syncs_ < 8 ? 0 : -1; }

 private:
  int syncs_ = 0;
};

}  // namespace

extern "C" {

int posix_spawnp(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                 char* const*, char* const*) {
  return ENOENT;
}

int nanosleep(const timespec*, timespec*) { return 0; }

uint32_t SERVICE_GetStatus(uint16_t node, const char*, uint32_t, uint32_t* status) {
  *status = node % 2;
  return 0;
}
uint32_t SERVICE_Start(uint16_t node, const char*, uint32_t, uint32_t) { return node % 3; }
uint32_t SERVICE_BatchStart(const uint16_t*, uint32_t count, const char*, uint32_t, uint32_t) {
  return count;
}

// The machine's interfaces are those of the model.
int32_t IF_Select_GetNext(const IF_Select*, const char* after, char* name) {
  const auto next = g_service->interfaces.all.upper_bound(after);
  if (next == g_service->interfaces.all.end()) return 0;
  std::strcpy(name, next->first.c_str());
  return 1;
}

unsigned if_nametoindex(const char* name) noexcept {
  const auto found = g_service->interfaces.Find(std::string(name));
  return found ? found->index : 0;
}

}  // extern "C"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  fuzz::ServiceHarness service;
  g_service = &service;
  fake_peer::peer.answer = [&service](const fake_peer::Bytes& request) {
    return service.Ask(request.data(), request.size());
  };
  Sink out;
  auto* const cout = std::cout.rdbuf(&out);
  auto* const cerr = std::cerr.rdbuf(&out);
  std::cout.clear();
  hqosctl::Output output;
  output.json = (data[0] & 1) != 0;
  std::istringstream file(std::string(data + 1, data + size));
  const int result = hqosctl::RunBatch(
      file, "input", (data[0] & 2) != 0 ? hqosctl::Batch::kForced : hqosctl::Batch::kPlain, output);
  fuzz::Require(result >= hqosctl::kDone && result <= hqosctl::kNoService, "an exit status");
  output.Finish();
  std::cout.rdbuf(cout);
  std::cerr.rdbuf(cerr);
  service.Finish();
  return 0;
}
