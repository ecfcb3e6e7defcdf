// Timing for the benchmark programs: seconds from QueryPerformanceCounter,
// and the median of repeated runs (the machine is noisy; medians are steadier
// than means).
#pragma once

#include "win32.h"

#include <algorithm>
#include <vector>

inline double Now() {
  static const double frequency = [] {
    LARGE_INTEGER f;
    ::QueryPerformanceFrequency(&f);
    return static_cast<double>(f.QuadPart);
  }();
  LARGE_INTEGER c;
  ::QueryPerformanceCounter(&c);
  return static_cast<double>(c.QuadPart) / frequency;
}

inline double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}
