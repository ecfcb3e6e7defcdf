// DiskBuffer holds bytes like any growable buffer whatever its window, so the
// base library's in-memory buffer is its reference under random operations
// with windows of 0 to 13 bytes; then the temporary file's life and failures.
// Each test works in a fresh directory that must be empty at the end.
#include "win32.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "BufferModel.h"
#include "ORVBinaryStreamMemory.h"
#include "ORVDiskBuffer.h"
#include "ORVFileTestSupport.h"

namespace {

using namespace model;
using ORVFile::DiskBuffer;

// The one difference: Clear drops the look-ahead store even when called directly.
struct DiskReference : ORV::BinaryStreamMemory {
  void vClear() override { DropLookAhead(), BinaryStreamMemory::vClear(); }
};

using DiskBufferTest = orvtest::TempDirTest;

}  // namespace

// ClearMemory is left out: it drops unwritten bytes on purpose (see the header).
TEST_F(DiskBufferTest, HoldsBytesLikeAMemoryBuffer) {
  Driver(0xD15CB0Fu).Run(60000 * orvtest::TestScale(), 2000, [this](Driver& d) {
    const std::uint32_t chunk = d.Below(2) ? 7 : 3, window = std::vector<std::uint32_t>{0, 1, 5, 13, 13}[d.Below(5)];
    return Pair{std::make_unique<DiskBuffer>(m_dir, chunk, window), std::make_unique<DiskReference>(), {}, {}, false};
  });
}

// The temporary file comes late and goes with Clear and the buffer. A missing directory fails at the first byte
// outside the window; a write the system cuts short raises the handle's write error, and the buffer counts only
// the bytes before the failing piece and writes the next ones where they belong.
TEST_F(DiskBufferTest, TheTemporaryFileItsNameLifeAndFailures) {
  const std::string bytes(1001, 'x');
  const auto sizeOnDisk = [](const std::string& path) {  // the buffer's file shares nothing, so not read
    WIN32_FILE_ATTRIBUTE_DATA data;
    return ::GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data) ? static_cast<long>(data.nFileSizeLow)
                                                                              : -1L;
  };
  {
    DiskBuffer b(m_dir, 64, 1000);
    EXPECT_EQ(b.vPut(bytes.data(), 1000), 1000u);
    EXPECT_EQ(b.TemporaryFile(), "") << "data that fits the window from 0 needs no file";
    EXPECT_EQ(b.vPut(bytes.data(), 1), 1u);
    const std::string name = b.TemporaryFile();
    EXPECT_EQ(name.rfind(m_dir + "/ORVDiskBuffer-", 0), 0u) << name;  // the pattern itself: below
    EXPECT_EQ(sizeOnDisk(name), 1001) << "the window was written back when the put position left it";
    b.vPut(bytes.data(), 3);
    b.vFlush();
    EXPECT_EQ(sizeOnDisk(name), 1001) << "Flush leaves a dirty window in memory";
    b.vClear();
    EXPECT_EQ(sizeOnDisk(name), -1);
  }
  DiskBuffer b(m_dir, 64, 0);
  b.vPut(bytes.data(), 1);
  EXPECT_EQ(sizeOnDisk(b.TemporaryFile()), 1) << "without a window every byte goes to the file";
  const auto all = [](DiskBuffer& b) {
    char back[32];
    return b.vSeekG(0, Begin), std::string(back, b.vGet(back, sizeof back));
  };
  {
    DiskBuffer missing(m_dir + "\\missing", 7, 10);
    missing.vPut("0123456789", 10);
    EXPECT_EQ(Raises([&] { missing.vPut("x", 1); }, "missing"), "FileCannotOpenException 2 3 named");
    EXPECT_EQ(all(missing), "0123456789");
  }
  orvtest::SeamGuard guard;
  DiskBuffer cut(m_dir, 7, 0);
  cut.vPut("abcdefghij", 10);
  guard.Calls().WriteFile = [](HANDLE file, LPCVOID data, DWORD count, LPDWORD written, LPOVERLAPPED) -> BOOL {
    return ::WriteFile(file, data, count / 2, written, nullptr);
  };
  EXPECT_EQ(Raises([&] { cut.vPut("klmnopqrst", 10); }, "x"), "WriteErrorException 13 112");  // ERROR_DISK_FULL
  EXPECT_EQ(cut.vSize() + cut.vTellP(), 20u);
  guard.Calls().WriteFile = ::WriteFile;
  cut.vPut("KLMNOPQRST", 10);
  EXPECT_EQ(all(cut), "abcdefghijKLMNOPQRST");
  // Names: the pattern, and never one twice, whatever the thread.
  const std::string first = DiskBuffer::GetTempFileNameW("d:\\x", "P-", "ext");
  const std::size_t counter = first.find('-', 7) + 1;
  const std::string pid = std::to_string(::GetCurrentProcessId());
  EXPECT_EQ(first.substr(0, counter) + first.substr(first.size() - 4), "d:\\x/P-" + pid + "-.ext");
  const char* temp = std::getenv("TEMP") ? std::getenv("TEMP") : std::getenv("TMP") ? std::getenv("TMP") : "";
  EXPECT_EQ(DiskBuffer::GetTempFileNameW("", "P-", ""),
            temp + ("/P-" + pid + "-" + std::to_string(std::stoul(first.substr(counter)) + 1)));
  std::vector<std::string> names(8000);
  std::vector<std::thread> threads;
  for (std::size_t from = 0; from < 4; ++from)
    threads.emplace_back([&names, from] {
      for (std::size_t i = from; i < names.size(); i += 4) names[i] = DiskBuffer::GetTempFileNameW("t", "n", "tmp");
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), 8000u);
}
