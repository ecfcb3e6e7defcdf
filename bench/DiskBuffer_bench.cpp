// Throughput of DiskBuffer with a 1 MiB window taking 256 MiB and reading it
// back, in pieces of 64 KiB and of 4 KiB, against plain WriteFile/ReadFile of
// the same pieces on a temporary file opened the way the buffer opens its own
// (CREATE_ALWAYS, delete-on-close). Both sides time everything from the first
// byte to the file's deletion. Rows on stdout as in NewPath_bench; progress
// on stderr.
#include "win32.h"

#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchClock.h"
#include "BenchMain.h"
#include "ORVDiskBuffer.h"
#include "ORVHandle.h"

namespace {

constexpr std::uint32_t kTotal = 256u << 20;
constexpr std::uint32_t kWindow = 1u << 20;
constexpr std::uint32_t kCacheChunk = 64 * 1024;
constexpr int kRuns = 5;

volatile unsigned g_sink;

std::string TempDirectory() {
  char path[MAX_PATH + 1];
  const DWORD length = ::GetTempPathA(MAX_PATH + 1, path);
  if (length == 0 || length > MAX_PATH) throw std::runtime_error("GetTempPathA failed");
  return std::string(path, length - 1);  // without the trailing backslash, as the buffer adds "/"
}

void WithLibrary(const std::string& dir, const std::vector<char>& piece, std::vector<char>& back) {
  const auto size = static_cast<std::uint32_t>(piece.size());
  ORVFile::DiskBuffer buffer(dir, kCacheChunk, kWindow);
  for (std::uint32_t done = 0; done < kTotal; done += size) buffer.vPut(piece.data(), size);
  buffer.vSeekG(0, ORV::BinaryStreamBuf::Begin);
  unsigned sum = 0;
  while (buffer.vGet(back.data(), size) == size) sum += static_cast<unsigned char>(back[size - 1]);
  g_sink = sum;
}

ORV::Handle OpenTemporary(const std::string& path) {
  ORV::Handle file(::CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                 FILE_FLAG_DELETE_ON_CLOSE, nullptr));
  if (!file) throw std::runtime_error("CreateFileA failed on " + path + ", error " + std::to_string(::GetLastError()));
  return file;
}

void WithWin32(const std::string& dir, const std::vector<char>& piece, std::vector<char>& back) {
  const auto size = static_cast<DWORD>(piece.size());
  static unsigned serial = 0;
  const ORV::Handle file = OpenTemporary(dir + "/DiskBufferBenchPeer-" + std::to_string(::GetCurrentProcessId()) + "-" +
                                         std::to_string(++serial) + ".tmp");
  DWORD moved = 0;
  for (std::uint32_t done = 0; done < kTotal; done += size)
    if (!::WriteFile(file.Get(), piece.data(), size, &moved, nullptr) || moved != size)
      throw std::runtime_error("WriteFile failed");
  ::SetFilePointer(file.Get(), 0, nullptr, FILE_BEGIN);
  unsigned sum = 0;
  while (::ReadFile(file.Get(), back.data(), size, &moved, nullptr) && moved == size)
    sum += static_cast<unsigned char>(back[size - 1]);
  g_sink = sum;
}

// MB/s of one write-then-read of kTotal bytes, deletion included.
template <class F>
double Rate(F run) {
  const double start = Now();
  run();
  return kTotal / 1e6 / (Now() - start);
}

// One row: both sides in pieces of the given size, alternating.
void Row(const std::string& dir, std::uint32_t pieceSize) {
  std::vector<char> piece(pieceSize), back(pieceSize);
  for (std::uint32_t i = 0; i < pieceSize; ++i) piece[i] = static_cast<char>(i * 131 + 7);
  std::vector<double> library, win32;
  for (int run = 0; run < kRuns; ++run) {
    library.push_back(Rate([&] { WithLibrary(dir, piece, back); }));
    win32.push_back(Rate([&] { WithWin32(dir, piece, back); }));
  }
  std::printf(
      "DiskBuffer (1 MiB window) write then read 256 MiB in %u KiB pieces\t%.0f\tWriteFile/ReadFile, same "
      "pieces and open\t%.0f\tMB/s\t0.7\t1\n",
      pieceSize / 1024, Median(library), Median(win32));
}

int Run() {
  const std::string dir = TempDirectory();
  std::fprintf(stderr, "DiskBuffer_bench: 256 MiB through a 1 MiB window in %s, %d runs each\n", dir.c_str(), kRuns);
  Row(dir, 64 * 1024);
  Row(dir, 4 * 1024);
  return 0;
}

}  // namespace

int main() { return BenchMain("DiskBuffer_bench", Run); }
