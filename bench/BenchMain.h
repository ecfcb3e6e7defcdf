// The frame of a benchmark program's main: rows end in "\n" (not "\r\n"), a
// failure goes to stderr under the program's name and the exit code is 1.
//
//   int main() { return BenchMain("CFile_bench", Run); }
#pragma once

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <exception>

#include "ORVFileException.h"

template <class Run>
int BenchMain(const char* name, Run run) {
  _setmode(_fileno(stdout), _O_BINARY);
  try {
    return run();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s: %s\n", name, e.what());
  } catch (const ORVFile::FileException& e) {
    std::fprintf(stderr, "%s: %ls\n", name, e.What().c_str());
  }
  return 1;
}
