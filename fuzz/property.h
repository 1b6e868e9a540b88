// What a harness says about the code under it.
#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the process, which the fuzzer takes for a finding, unless `holds`.
inline void Require(bool holds, const char* property) {
  if (holds) return;
  fprintf(stderr, "PROPERTY BROKEN: %s\n", property);
  abort();
}
