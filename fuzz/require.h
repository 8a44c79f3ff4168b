// How fuzz targets say what must hold.
#pragma once

#include <cstdio>
#include <cstdlib>

inline void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "not so: %s\n", what);
  std::abort();
}
