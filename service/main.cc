// hqosd: stand-in for the hqos service.
#include <arpa/inet.h>
#include <sys/un.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>

#include "hqos.h"
#include "platform/lip.h"
#include "service/dispatch.h"
#include "service/log.h"
#include "service/server.h"

namespace {

constexpr int kBacklog = 512;

// The path of the Unix-domain socket that stands for the endpoint.
std::string PathOf(int fd) {
  sockaddr_un address{};
  socklen_t length = sizeof address;
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  return address.sun_path;
}

int Listen() {
  const sockaddr_lip address{
      sizeof(sockaddr_lip), LIP_FAMILY, htons(HQOS_SERVICE_PORT), htonl(HQOS_SERVICE_NODE), {}};
  const int fd = LIP_Socket(LIP_FAMILY, SOCK_DGRAM, LIP_PROTOCOL);
  if (fd >= 0 && LIP_Listen(fd, &address, kBacklog) == 0) return fd;
  const int reason = errno;
  char path[4096] = "";
  LIP_GetEndpoint(HQOS_SERVICE_NODE, HQOS_SERVICE_PORT, 0, path, sizeof path);
  hqosd::Log("cannot listen at %s: %s", path,
             reason == EADDRINUSE ? "another service is there" : std::strerror(reason));
  if (fd >= 0) close(fd);
  return -1;
}

int Serve() {
  const int listener = Listen();
  if (listener < 0) return 1;
  const std::string path = PathOf(listener);
  hqosd::Log("listening at %s", path.c_str());

  hqosd::Model model;
  hqosd::Server server(listener, [&model](const uint8_t* request, size_t length) {
    return hqosd::Respond(model, request, length);
  });
  const bool ended = server.Run();
  unlink(path.c_str());
  close(listener);
  hqosd::Log(ended ? "ended" : "the event loop failed");
  return ended ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Stand-in for the hqos service: keeps objects and answers requests, in the foreground, "
      "until SIGTERM or SIGINT.");
  app.set_version_flag("--version", "hqosd " HQOS_VERSION);
  app.footer(
      "Its endpoint stands in $HQOS_RUNTIME_DIR; without that in /run/hqos if it can, else in\n"
      "$XDG_RUNTIME_DIR/hqos, else in .hqos in the home directory.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : 2;
  }
  return Serve();
}
