// What progress reporting costs: 64 MiB written through OProgressBuffer and
// read through IProgressBuffer (100 steps, a counting callback) against the
// same calls on the wrapped memory buffer itself, in pieces of 64 KiB and of
// 256 bytes. The memory is written once before timing, so both sides copy
// into warm pages. Rows on stdout as in the other programs; progress on stderr.
#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>
#include <vector>

#include "BenchClock.h"
#include "BenchMain.h"
#include "ORVBinaryStreamMemory.h"
#include "ORVProgressBuffer.h"

namespace {

using ORV::BinaryStreamBuf;
using ORV::BinaryStreamMemory;

constexpr std::uint32_t kBytes = 64u << 20;
constexpr std::uint32_t kSteps = 100;
constexpr int kRuns = 5;
constexpr int kRounds = 8;  // passes over the memory per timed run: one alone is too short to time steadily

class Counter : public ORV::LogEntryCallInterface {
 public:
  void Progress(double fraction) override { last = fraction; }
  volatile double last = 0;
};

// Puts (or gets) kBytes in pieces of piece bytes through buf; seconds taken.
double Pass(BinaryStreamBuf& buf, std::vector<unsigned char>& block, std::uint32_t piece, bool put) {
  const double start = Now();
  for (std::uint32_t done = 0; done < kBytes; done += piece) {
    if (put)
      buf.Put(block.data(), piece);
    else
      buf.Get(block.data(), piece);
  }
  return Now() - start;
}

// kRounds passes, each from the start of the memory, through a fresh progress buffer
// (Progress) or the memory itself; seconds taken in all.
template <class Progress>
double Rounds(BinaryStreamMemory& memory, const ORV::SmartPtr<ORV::LogEntryCallInterface>& callback,
              std::vector<unsigned char>& block, std::uint32_t piece, bool put) {
  double seconds = 0;
  for (int round = 0; round < kRounds; ++round) {
    memory.SeekP(0, BinaryStreamBuf::Begin);
    memory.SeekG(0, BinaryStreamBuf::Begin);
    if constexpr (std::is_same_v<Progress, BinaryStreamMemory>) {
      seconds += Pass(memory, block, piece, put);
    } else {
      Progress progress(memory, callback, kBytes, kSteps);
      seconds += Pass(progress, block, piece, put);
    }
  }
  return seconds;
}

struct Figure {
  double library;
  double peer;
};

Figure Measure(BinaryStreamMemory& memory, std::vector<unsigned char>& block, std::uint32_t piece, bool put) {
  const ORV::SmartPtr<ORV::LogEntryCallInterface> callback(new Counter);
  std::vector<double> library, peer;
  for (int run = 0; run < kRuns; ++run) {
    library.push_back(put ? Rounds<ORVFile::OProgressBuffer>(memory, callback, block, piece, put)
                          : Rounds<ORVFile::IProgressBuffer>(memory, callback, block, piece, put));
    peer.push_back(Rounds<BinaryStreamMemory>(memory, callback, block, piece, put));
  }
  return {kRounds * double{kBytes} / Median(library), kRounds * double{kBytes} / Median(peer)};
}

int Run() {
  std::vector<unsigned char> block(65536);
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<unsigned char>(i * 31);
  BinaryStreamMemory memory;
  for (std::uint32_t done = 0; done < kBytes; done += 65536) memory.SafePut(block.data(), 65536);

  // Goals: within 5 % of the bare buffer in large pieces, 15 % in small ones,
  // where the extra virtual call and the count weigh more.
  const struct {
    std::uint32_t piece;
    const char* label;
    double goal;
  } pieces[] = {{65536, "64 KiB", 0.95}, {256, "256 B", 0.85}};
  for (const auto& p : pieces) {
    for (const bool put : {true, false}) {
      std::fprintf(stderr, "ProgressBuffer_bench: %s in %s pieces\n", put ? "put" : "get", p.label);
      const Figure f = Measure(memory, block, p.piece, put);
      std::printf("%s, 64 MiB in %s pieces\t%.0f\tBinaryStreamMemory::%s\t%.0f\tB/s\t%.2f\t1\n",
                  put ? "OProgressBuffer::Put" : "IProgressBuffer::Get", p.label, f.library, put ? "Put" : "Get",
                  f.peer, p.goal);
    }
  }
  return 0;
}

}  // namespace

int main() { return BenchMain("ProgressBuffer_bench", Run); }
