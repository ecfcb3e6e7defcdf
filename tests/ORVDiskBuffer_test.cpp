// DiskBuffer against a reference model (its window rules over a MemoryBuffer
// model and a byte vector for the file) over a million random operations with
// windows of 0 to 13 bytes; then the temporary file's life: when it appears,
// its name, that it goes with Clear, with the buffer, and after a full disk.
// Each test works in a fresh directory that must be empty at the end.
#include "win32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "BufferModel.h"
#include "ORVDiskBuffer.h"
#include "ORVFileException.h"
#include "ORVFileTestSupport.h"

namespace {

using namespace model;
using ORVFile::DiskBuffer;
using orvtest::Catch;

// The window rules of DiskBuffer; the file is a byte vector.
struct DiskModel : Model {
  DiskModel(std::uint32_t chunk, std::uint32_t window) : cache(chunk), mem(window) {}
  bool InWindow(std::uint32_t p) const { return mem != 0 && p >= ws && p - ws < mem; }
  std::uint32_t WindowLength(std::uint32_t start) const { return size > start ? std::min(size - start, mem) : 0; }
  void Open() {
    if (!exists) exists = true, file.clear();
  }
  void Write(std::uint32_t at, const std::uint8_t* data, std::uint32_t n) {
    Open();
    if (n != 0 && file.size() < at + n) file.resize(at + n, 0);  // nothing written extends nothing
    std::copy(data, data + n, file.begin() + at);
  }
  void WriteBack() {
    if (!dirty) return;
    cache.store.clear(), cache.vSeekG(0, Dir::Begin), Open();
    const Bytes bytes = cache.CopyBytes(WindowLength(ws));
    Write(ws, bytes.data(), U32(bytes.size()));
    dirty = false;
  }
  void Follow(std::uint32_t p) {
    if (mem == 0 || (p >= ws && p <= std::uint64_t{ws} + mem)) return;
    WriteBack();
    ws = p, cache.vSeekP(0, Dir::Begin);
    const std::uint32_t n = WindowLength(p);
    if (n == 0) return;
    Open();
    const std::uint32_t there = std::min(n, U32(file.size()) - std::min(p, U32(file.size())));
    if (there != 0) cache.vPut(file.data() + p, there);
  }
  std::uint32_t vPut(const std::uint8_t* data, std::uint32_t n) override {
    for (std::uint32_t done = 0, k; done < n; done += k, put += k, size = std::max(size, put)) {
      k = n - done;
      if (InWindow(put)) {
        k = std::min(k, ws + mem - put);
        cache.vSeekP(static_cast<std::int32_t>(put - ws), Dir::Begin), cache.vPut(data + done, k), dirty = true;
      } else {
        if (mem != 0 && put < ws) k = std::min(k, ws - put);
        Write(put, data + done, k);
      }
    }
    Follow(put);
    return n;
  }
  std::uint32_t vGet(std::uint8_t* dest, std::uint32_t n) override {
    n = std::min(n, size - get);
    std::uint32_t done = 0;
    for (std::uint32_t k; done < n; done += k, get += k) {
      k = n - done;
      if (InWindow(get)) {
        if (get == ws) cache.store.clear();
        cache.vSeekG(static_cast<std::int32_t>(get - ws), Dir::Begin);
        if ((k = cache.vGet(dest + done, std::min(k, ws + mem - get))) == 0) break;
      } else {
        if (mem != 0 && get < ws) k = std::min(k, ws - get);
        Open();
        const std::uint32_t there = U32(file.size()) > get ? std::min(k, U32(file.size()) - get) : 0;
        std::copy(file.begin() + get, file.begin() + get + there, dest + done);
        if (there < k) Refuse("FileException");  // an exact read cut short
      }
    }
    Follow(get);
    return done;
  }
  std::uint32_t Seek(std::uint32_t pos, std::int32_t off, Dir dir) const {
    const std::int64_t t = dir == Dir::Begin ? off
                           : dir == Dir::End ? std::min<std::int64_t>(off, 0) + size
                                             : pos + std::int64_t{off};
    return dir > Dir::Current ? pos : U32(Clamp(t, 0, size));
  }
  std::uint32_t vSeekG(std::int32_t off, Dir dir) override { return get = Seek(get, off, dir); }
  std::uint32_t vSeekP(std::int32_t off, Dir dir) override { return put = Seek(put, off, dir); }
  std::uint32_t vTellG() override { return get; }
  std::uint32_t vTellP() override { return put; }
  std::uint32_t vSize() override { return size; }
  bool vEndOfFile() override { return get == size; }
  void vClear() override {
    store.clear(), get = put = 0, vClearEnd();
    ws = 0, exists = false, file.clear();
  }
  void vClearMemory() override { cache.store.clear(), cache.vClearMemory(); }
  void vClearEnd() override {
    cache.vSeekP(static_cast<std::int32_t>(std::min(put > ws ? put - ws : 0, cache.Size())), Dir::Begin);
    cache.vClearEnd();
    size = put, get = std::min(get, put);
    if (exists) file.resize(put, 0);
  }
  std::string Extra() override { return exists ? "file" : "no file"; }

  MemModel cache;
  std::uint32_t mem, ws = 0, get = 0, put = 0, size = 0;
  bool dirty = false, exists = false;
  Bytes file;
};

class DiskBufferTest : public orvtest::TempDirTest {
 protected:
  // The temporary files of this process left in the test's directory.
  int Leftovers() const {
    WIN32_FIND_DATAA data;
    const std::string pattern = m_dir + "\\ORVDiskBuffer-" + std::to_string(::GetCurrentProcessId()) + "-*";
    const ORV::FindHandle find(::FindFirstFileA(pattern.c_str(), &data));
    int count = find ? 1 : 0;
    while (find && ::FindNextFileA(find.Get(), &data)) ++count;
    return count;
  }
  static long long SizeOnDisk(const std::string& path) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!::GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data)) return -1;
    return (static_cast<long long>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
  }
};

}  // namespace

TEST_F(DiskBufferTest, AgreesWithItsModelOverAMillionOperations) {
  Driver(0xD15CB0Fu).Run(1000000, 2000, [this](Driver& d) {
    const std::uint32_t chunk = d.Below(2) ? 7 : 3, window = std::vector<std::uint32_t>{0, 1, 5, 13, 13}[d.Below(5)];
    auto real = std::make_unique<DiskBuffer>(m_dir, chunk, window);
    DiskBuffer& b = *real;
    return Pair{std::move(real), std::make_unique<DiskModel>(chunk, window),
                [&b] { return b.TemporaryFile().empty() ? "no file" : "file"; }, nullptr};
  });
  EXPECT_EQ(Leftovers(), 0);
}

TEST_F(DiskBufferTest, TheTemporaryFileComesLateAndGoesWithClearAndTheBuffer) {
  const std::string bytes(1001, 'x');
  std::string name;
  {
    DiskBuffer b(m_dir, 64, 1000);
    EXPECT_EQ(b.vPut(bytes.data(), 1000), 1000u);
    EXPECT_EQ(b.TemporaryFile(), "") << "data that fits the window from 0 needs no file";
    EXPECT_EQ(b.vPut(bytes.data(), 1), 1u);
    name = b.TemporaryFile();
    const std::string prefix = m_dir + "/ORVDiskBuffer-" + std::to_string(::GetCurrentProcessId()) + "-";
    EXPECT_EQ(name.substr(0, prefix.size()), prefix);
    EXPECT_EQ(name.substr(name.size() - 4), ".tmp");
    EXPECT_EQ(SizeOnDisk(name), 1001) << "the window was written back when the put position left it";

    EXPECT_EQ(b.vPut(bytes.data(), 3), 3u);
    b.vFlush();
    EXPECT_EQ(SizeOnDisk(name), 1001) << "Flush leaves a dirty window in memory";
    EXPECT_EQ(b.vSeekG(5, ORV::BinaryStreamBuf::End), 1004u);
    EXPECT_EQ(b.vSeekG(-5, ORV::BinaryStreamBuf::End), 999u);

    b.vClear();
    EXPECT_EQ(b.vSize(), 0u);
    EXPECT_EQ(SizeOnDisk(name), -1);
    EXPECT_EQ(b.vPut(bytes.data(), 5), 5u);
    EXPECT_EQ(b.TemporaryFile(), "");
  }
  {
    DiskBuffer b(m_dir, 64, 0);
    EXPECT_EQ(b.vPut(bytes.data(), 1), 1u);
    EXPECT_EQ(SizeOnDisk(b.TemporaryFile()), 1) << "without a window every byte goes to the file";
  }
  EXPECT_EQ(Leftovers(), 0);
}

TEST_F(DiskBufferTest, FailuresOfTheFileLeaveTheBufferUsableAndNoFileBehind) {
  const std::string bytes(100000, 'y');
  {
    // A missing directory: the open fails at the first byte outside the window.
    DiskBuffer b(m_dir + "\\missing", 7, 10);
    EXPECT_EQ(b.vPut(bytes.data(), 10), 10u);
    const auto raised = Catch([&] { b.vPut(bytes.data(), 1); });
    EXPECT_EQ(raised.type, "FileCannotOpenException");
    EXPECT_EQ(raised.number, 2u);
    EXPECT_EQ(raised.lastError, static_cast<unsigned>(ERROR_PATH_NOT_FOUND));
    char back[10] = {};
    EXPECT_EQ(b.vSeekG(0, ORV::BinaryStreamBuf::Begin), 0u);
    EXPECT_EQ(b.vGet(back, 10), 10u);
    EXPECT_EQ(std::string(back, 10), bytes.substr(0, 10));
    EXPECT_EQ(b.TemporaryFile(), "");
  }
  {
    // The disk fills up in the middle of the data.
    orvtest::SeamGuard guard;
    static int writes;
    writes = 0;
    guard.Calls().WriteFile = [](HANDLE file, LPCVOID data, DWORD count, LPDWORD written, LPOVERLAPPED o) -> BOOL {
      if (++writes < 2) return ::WriteFile(file, data, count, written, o);
      ::SetLastError(ERROR_DISK_FULL);
      return FALSE;
    };
    DiskBuffer b(m_dir, 4096, 16384);
    const auto raised = Catch([&] { b.vPut(bytes.data(), static_cast<std::uint32_t>(bytes.size())); });
    EXPECT_EQ(raised.type, "WriteErrorException");
    EXPECT_EQ(raised.lastError, static_cast<unsigned>(ERROR_DISK_FULL));
    EXPECT_EQ(Leftovers(), 1);
  }
  EXPECT_EQ(Leftovers(), 0) << "the temporary file must go with its buffer";
}

TEST(DiskBufferNames, FollowThePatternAndNeverRepeatAcrossThreads) {
  const std::string pid = std::to_string(::GetCurrentProcessId());
  const std::string first = DiskBuffer::GetTempFileNameW("d:\\x", "P-", "ext");
  const std::string second = DiskBuffer::GetTempFileNameW("", "P-", "");
  const std::size_t counter = first.find('-', 7) + 1;
  EXPECT_EQ(first.substr(0, counter), "d:\\x/P-" + pid + "-");
  EXPECT_EQ(first.substr(first.size() - 4), ".ext");
  const std::string temp = std::getenv("TEMP") ? std::getenv("TEMP") : std::getenv("TMP") ? std::getenv("TMP") : "";
  EXPECT_EQ(second, temp + "/P-" + pid + "-" + std::to_string(std::stoul(first.substr(counter)) + 1));

  std::vector<std::vector<std::string>> names(4);
  std::vector<std::thread> threads;
  for (auto& list : names)
    threads.emplace_back([&list] {
      for (int i = 0; i < 2000; ++i) list.push_back(DiskBuffer::GetTempFileNameW("t", "n", "tmp"));
    });
  for (auto& thread : threads) thread.join();
  std::set<std::string> distinct;
  for (const auto& list : names) distinct.insert(list.begin(), list.end());
  EXPECT_EQ(distinct.size(), 8000u);
}
