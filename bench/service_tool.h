// What the tools that measure a running service share.
#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "hqos.h"

inline double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// Ends the program unless what should be so is so.
inline void Expect(bool isSo, const char* what) {
  if (isSo) return;
  std::fprintf(stderr, "wrong: %s\n", what);
  std::_Exit(1);
}

// Ends the program unless the command was carried out.
inline void Check(uint32_t status, const HQOS_Result& result) {
  if (status == 0 && result.code == 0) return;
  std::fprintf(stderr, "0x%08x: %s\n", status, result.text);
  std::exit(1);
}
