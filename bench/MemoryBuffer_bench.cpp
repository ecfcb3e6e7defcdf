// Throughput of MemoryBuffer taking 256 MiB in 4 KiB pieces and giving them
// back, against the same bytes copied with memcpy into one fresh block and
// through a std::stringstream. Rows on stdout as in NewPath_bench; progress
// on stderr.
#include "win32.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "BenchClock.h"
#include "BenchMain.h"
#include "ORVMemoryBuffer.h"

namespace {

constexpr std::size_t kTotal = std::size_t{256} << 20;
constexpr std::size_t kPiece = 4096;
constexpr std::uint32_t kChunk = 1024 * 1024;
constexpr int kRuns = 5;

// Every timed loop feeds it, so that no read is optimised away.
volatile unsigned g_sink;

// One 4 KiB piece of varied bytes, written over and over.
std::vector<char> Piece() {
  std::vector<char> piece(kPiece);
  for (std::size_t i = 0; i < kPiece; ++i) piece[i] = static_cast<char>(i * 131 + 7);
  return piece;
}

// Each run starts from fresh memory, as a caller filling a new buffer does.
void WithLibrary(const std::vector<char>& piece) {
  ORVFile::MemoryBuffer buffer(kChunk);
  for (std::size_t done = 0; done < kTotal; done += kPiece) buffer.vPut(piece.data(), kPiece);
  char back[kPiece];
  unsigned sum = 0;
  while (buffer.vGet(back, kPiece) == kPiece) sum += static_cast<unsigned char>(back[kPiece - 1]);
  g_sink = sum;
}

void WithMemcpy(const std::vector<char>& piece) {
  const std::unique_ptr<char[]> block(new char[kTotal]);
  for (std::size_t done = 0; done < kTotal; done += kPiece) std::memcpy(block.get() + done, piece.data(), kPiece);
  char back[kPiece];
  unsigned sum = 0;
  for (std::size_t done = 0; done < kTotal; done += kPiece) {
    std::memcpy(back, block.get() + done, kPiece);
    asm volatile("" : : "r"(back) : "memory");  // keeps the copy: only one byte of it is read
    sum += static_cast<unsigned char>(back[kPiece - 1]);
  }
  g_sink = sum;
}

void WithStringStream(const std::vector<char>& piece) {
  std::stringstream stream;
  for (std::size_t done = 0; done < kTotal; done += kPiece) stream.write(piece.data(), kPiece);
  char back[kPiece];
  unsigned sum = 0;
  while (stream.read(back, kPiece)) sum += static_cast<unsigned char>(back[kPiece - 1]);
  g_sink = sum;
}

// MB/s of one write-then-read of kTotal bytes.
template <class F>
double Rate(F run) {
  const double start = Now();
  run();
  return static_cast<double>(kTotal) / 1e6 / (Now() - start);
}

int Run() {
  const std::vector<char> piece = Piece();
  std::fprintf(stderr, "MemoryBuffer_bench: 256 MiB in 4 KiB pieces, %d runs each\n", kRuns);
  std::vector<double> library, memcpyRates, streamRates;
  for (int run = 0; run < kRuns; ++run) {
    library.push_back(Rate([&] { WithLibrary(piece); }));
    memcpyRates.push_back(Rate([&] { WithMemcpy(piece); }));
    library.push_back(Rate([&] { WithLibrary(piece); }));
    streamRates.push_back(Rate([&] { WithStringStream(piece); }));
  }
  const char* figure = "MemoryBuffer (1 MiB chunks) write then read 256 MiB in 4 KiB pieces";
  std::printf("%s\t%.0f\tmemcpy into one fresh block\t%.0f\tMB/s\t0.5\t1\n", figure, Median(library),
              Median(memcpyRates));
  std::printf("%s\t%.0f\tstd::stringstream\t%.0f\tMB/s\t2.0\t1\n", figure, Median(library), Median(streamRates));
  return 0;
}

}  // namespace

int main() { return BenchMain("MemoryBuffer_bench", Run); }
