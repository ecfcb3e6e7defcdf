// The frame of an example's main: the title, then the tour; a failure is
// printed and makes the exit code 1.
//
//   int main() { return TourMain("Parser", Tour); }
#pragma once

#include <cstdio>
#include <exception>

#include "ORVBaseException.h"

template <class Tour>
int TourMain(const char* title, Tour tour) {
  std::printf("== %s ==\n\n", title);
  try {
    tour();
    std::printf("\n");
    return 0;
  } catch (const ORV::BaseException& e) {
    std::printf("\nfailed: %ls\n", e.What().c_str());
  } catch (const std::exception& e) {
    std::printf("\nfailed: %s\n", e.what());
  }
  return 1;
}
