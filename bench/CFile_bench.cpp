// Writing a 256 MiB file: the file handle CFile in 64 KiB pieces, and a
// MemoryBuffer copied into an OCFileBuffer with vCopy, each against plain
// WriteFile in 64 KiB pieces into the same directory. Both sides open their
// file the same way (a new file, OPEN_ALWAYS, no sharing) and close it inside
// the timing, and both write the same bytes: one 64 KiB block again and again
// for CFile, 256 MiB held in memory for the copy (the peer's in one block).
// Rows and notes on stdout as in NewPath_bench; progress on stderr.
#include "win32.h"

#include <cstdint>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchClock.h"
#include "BenchMain.h"
#include "ORVCFile.h"
#include "ORVCFileBuffer.h"
#include "ORVFileException.h"
#include "ORVHandle.h"
#include "ORVMemoryBuffer.h"

namespace {

using ORVFile::CFile;
using ORVFile::OpenMode;

constexpr std::uint32_t kPiece = 64 * 1024;
constexpr std::uint32_t kTotal = 256u * 1024 * 1024;
constexpr int kRuns = 5;

std::string TempName(const char* who) {
  char temp[MAX_PATH + 1];
  const DWORD length = ::GetTempPathA(MAX_PATH + 1, temp);
  if (length == 0 || length > MAX_PATH) throw std::runtime_error("GetTempPathA failed");
  return std::string(temp, length) + "ORVCFileBench-" + std::to_string(::GetCurrentProcessId()) + "-" + who + ".bin";
}

// Each run writes a new file: the last one goes before the next starts, untimed.
void Discard(const std::string& path) {
  if (!::DeleteFileA(path.c_str()) && ::GetLastError() != ERROR_FILE_NOT_FOUND)
    throw std::runtime_error("cannot delete " + path);
}

void CheckSize(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!::GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data) || data.nFileSizeHigh != 0 ||
      data.nFileSizeLow != kTotal)
    throw std::runtime_error(path + " does not hold 256 MiB");
}

// Peer: what a caller writes by hand, opened as CFile's ReadWrite mode opens.
// data holds one 64 KiB piece, written again and again, or all 256 MiB.
void WriteWithWin32(const std::string& path, const std::vector<char>& data) {
  const ORV::Handle file(::CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) throw std::runtime_error("CreateFileA failed on " + path);
  for (std::uint32_t done = 0; done < kTotal; done += kPiece) {
    DWORD written = 0;
    if (!::WriteFile(file.Get(), data.data() + done % data.size(), kPiece, &written, nullptr) || written != kPiece)
      throw std::runtime_error("WriteFile failed");
  }
}

void WriteWithCFile(const std::string& path, const std::vector<char>& piece) {
  CFile file(path);
  file.Open(OpenMode::ReadWrite);
  for (std::uint32_t done = 0; done < kTotal; done += kPiece) file.Write(piece.data(), 1, kPiece);
  file.Close();
}

void CopyFromMemoryBuffer(const std::string& path, ORVFile::MemoryBuffer& source) {
  CFile file(path);
  file.Open(OpenMode::ReadWrite);
  ORVFile::OCFileBuffer out(file);
  source.vSeekG(0, ORV::BinaryStreamBuf::Begin);
  if (source.vCopy(out, kTotal) != kTotal) throw std::runtime_error("vCopy stopped short");
  file.Close();
}

// Bytes per second of one write of the whole file.
double Rate(const std::function<void()>& write) {
  const double start = Now();
  write();
  return kTotal / (Now() - start);
}

// Median rates of the library's side and the peer's, runs alternating.
std::pair<double, double> Compare(const std::string& libraryPath, const std::function<void()>& library,
                                  const std::string& peerPath, const std::function<void()>& peer) {
  std::vector<double> libraryRates, peerRates;
  for (int run = 0; run < kRuns; ++run) {
    Discard(libraryPath);
    libraryRates.push_back(Rate(library));
    CheckSize(libraryPath);
    Discard(peerPath);
    peerRates.push_back(Rate(peer));
    CheckSize(peerPath);
  }
  Discard(libraryPath);
  Discard(peerPath);
  return {Median(libraryRates), Median(peerRates)};
}

int Run() {
  const std::string libraryPath = TempName("library"), peerPath = TempName("peer");
  const std::vector<char> piece(kPiece, 'x');

  std::fprintf(stderr, "CFile_bench: CFile::Write against WriteFile, %d runs\n", kRuns);
  const auto [cfile, win32] = Compare(
      libraryPath, [&] { WriteWithCFile(libraryPath, piece); }, peerPath, [&] { WriteWithWin32(peerPath, piece); });
  std::printf("CFile::Write, 256 MiB in 64 KiB pieces\t%.0f\tWriteFile, 64 KiB pieces\t%.0f\tB/s\t0.9\t1\n", cfile,
              win32);

  // 32 KiB chunks: the pieces a copy to a file adapter is cut into anyway.
  std::fprintf(stderr, "CFile_bench: MemoryBuffer::vCopy into OCFileBuffer against WriteFile, %d runs\n", kRuns);
  const std::vector<char> all(kTotal, 'y');
  ORVFile::MemoryBuffer source(all.data(), kTotal, 32768);
  const auto [copy, win32All] = Compare(
      libraryPath, [&] { CopyFromMemoryBuffer(libraryPath, source); }, peerPath,
      [&] { WriteWithWin32(peerPath, all); });
  std::printf(
      "MemoryBuffer::vCopy into OCFileBuffer, 256 MiB\t%.0f\tWriteFile from 256 MiB in memory, 64 KiB pieces"
      "\t%.0f\tB/s\t0.8\t1\n",
      copy, win32All);
  return 0;
}

}  // namespace

int main() { return BenchMain("CFile_bench", Run); }
