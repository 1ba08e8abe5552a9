// The platform's service manager. Arguments without a name are 0.
#ifndef HQOS_PLATFORM_SERVICE_MANAGER_H
#define HQOS_PLATFORM_SERVICE_MANAGER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// On a host the only service is "hqos": the program hqosd ($HQOSD if set, otherwise found in PATH).
// Each node has its own process, detached from the caller, with its own endpoint and store. The
// node of the self slot has the endpoint of HQOS_SERVICE_NODE.

// Writes 1 to *status when a service answers at the node's endpoint within a second, else 0.
// Returns 0, or EINVAL with *status untouched for another service.
uint32_t SERVICE_GetStatus(uint16_t node, const char* name, uint32_t, uint32_t* status);

// The state of the service at the node's endpoint; waits at most a second. Only on a host.
enum { SERVICE_ABSENT = 0, SERVICE_ANSWERS = 1, SERVICE_NO_ANSWER = 2 };
uint32_t SERVICE_GetState(uint16_t node);

// Starts the service on the node, or on each of `count` nodes one after the other, and waits for
// each up to about 10 seconds until it answers or has failed. Returns 0, or the first error: EINVAL
// for another service or a node that no slot has, ENOENT when there is no program, ECHILD when it
// ended, ETIMEDOUT.
uint32_t SERVICE_Start(uint16_t node, const char* name, uint32_t, uint32_t);
uint32_t SERVICE_BatchStart(const uint16_t* nodes, uint32_t count, const char* name, uint32_t,
                            uint32_t);

#ifdef __cplusplus
}
#endif

#endif
