// The file handle CFile: open modes, sharing, reads, writes and deletes at
// the edges, failures made through the fault seam, overlapped mode on a
// real file and on a device whose writes stay pending, and random operations
// against a model.
#include "win32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <random>
#include <string>

#include "ORVCFile.h"
#include "ORVFileException.h"
#include "ORVFileTestSupport.h"

namespace {

using ORVFile::CFile;
using ORVFile::FileHint;
using ORVFile::OpenMode;
using ORVFile::SeekMethod;
using ORVFile::detail::FileCalls;
using orvtest::Catch;

class CFileTest : public orvtest::TempDirTest {
 protected:
  // A failure on the file "f": class, message number, system error, the raising file and the path in the text
  // (the texts themselves are the catalogue's, checked with it).
  void ExpectRaised(const orvtest::Raised& r, const char* type, unsigned number, DWORD error) {
    const std::string path = P("f");
    EXPECT_EQ(r.type + " " + std::to_string(r.number) + " " + std::to_string(r.lastError) + " " + r.source + " " +
                  std::to_string(r.what.find(std::wstring(path.begin(), path.end())) != std::wstring::npos),
              std::string(type) + " " + std::to_string(number) + " " + std::to_string(error) + " ORVCFile.cpp 1");
  }
};

TEST_F(CFileTest, OpenModesAndSharing) {
  CFile file(P("f")), reader(P("f"));
  ExpectRaised(Catch([&] { file.Open(OpenMode::OpenRead); }), "FileCannotOpenException", 1, ERROR_FILE_NOT_FOUND);
  ASSERT_TRUE(::CreateDirectoryA(P("f").c_str(), nullptr));
  ExpectRaised(Catch([&] { file.Open(OpenMode::ReadWrite); }), "FileAccessDeniedException", 2, ERROR_ACCESS_DENIED);
  EXPECT_FALSE(file.IsOpen());
  ASSERT_TRUE(::RemoveDirectoryA(P("f").c_str()));
  EXPECT_EQ(file.Open(OpenMode::ReadWrite), 0u);  // made
  file.Write("hello", 1, 5);
  file.Close();
  ExpectRaised(Catch([&] { file.Open(static_cast<OpenMode>(3)); }), "FileCannotOpenException", 2,
               ERROR_INVALID_PARAMETER);
  EXPECT_EQ(file.Open(OpenMode::ReadWrite), 5u);  // kept
  // The writer holds the file alone; opening its own file again is no violation.
  ExpectRaised(Catch([&] { reader.Open(OpenMode::OpenRead); }), "SharingViolationException", 1,
               ERROR_SHARING_VIOLATION);
  EXPECT_EQ(file.Open(OpenMode::CreateReadWrite), 0u);  // emptied
  file.Delete();
}

TEST_F(CFileTest, ReadsWritesAndDeletesAtTheEdges) {
  Put("f", "abcdef");
  CFile file(P("f"));
  file.Open(OpenMode::OpenRead);
  char buffer[16] = {};
  // Exact past the end: the read error, the bytes that came counted.
  file.Seek(3, SeekMethod::Begin);
  ExpectRaised(Catch([&] { file.Read(buffer, 1, 10, true); }), "FileException", 8, ERROR_HANDLE_EOF);
  EXPECT_EQ(file.Tell(), 6u);
  // A handle opened for reading refuses writes, with the system's reason.
  ExpectRaised(Catch([&] { file.Write("x", 1, 1); }), "WriteErrorException", 13, ERROR_ACCESS_DENIED);
  file.Close();
  ::SetFileAttributesA(P("f").c_str(), FILE_ATTRIBUTE_READONLY);
  ExpectRaised(Catch([&] { file.Delete(); }), "FileCannotDeleteException", 5, ERROR_ACCESS_DENIED);
  ::SetFileAttributesA(P("f").c_str(), FILE_ATTRIBUTE_NORMAL);
  file.Delete();
  EXPECT_NO_THROW(file.Delete());  // nothing there: nothing to do
  CFile temporary(P("t"), FileHint::DeleteOnClose, false, false);
  temporary.Open(OpenMode::CreateReadWrite);
  temporary.Close();
  EXPECT_EQ(::GetFileAttributesA(P("t").c_str()), INVALID_FILE_ATTRIBUTES);
}

// Calls behind the handle fail in turn: what they raise, and every handle
// opened closed once the object goes.
TEST_F(CFileTest, FaultsThroughTheSeam) {
  struct Row {
    void (*arm)(FileCalls&);
    DWORD error;
    void (*operate)(CFile&);
    const char* type;
    unsigned number;
  };
#define ORV_FAIL(call) [](FileCalls& c) { c.call = orvtest::Failing<decltype(c.call)>::Call; }
  const Row rows[] = {
      {ORV_FAIL(WriteFile), ERROR_DISK_FULL, [](CFile& f) { f.Write("abc", 1, 3); }, "WriteErrorException", 13},
      // The system takes two of three bytes and reports no error: a short write is a failure too.
      {[](FileCalls& c) {
         c.WriteFile = [](HANDLE h, LPCVOID d, DWORD, LPDWORD w, LPOVERLAPPED) {
           return ::WriteFile(h, d, 2, w, nullptr);
         };
       },
       ERROR_DISK_FULL, [](CFile& f) { f.Write("abc", 1, 3); }, "WriteErrorException", 13},
      {ORV_FAIL(CreateFileA), ERROR_SHARING_VIOLATION, [](CFile& f) { f.Open(OpenMode::ReadWrite); },
       "SharingViolationException", 2},
      {ORV_FAIL(SetFilePointer), ERROR_INVALID_HANDLE, [](CFile& f) { f.Seek(1, SeekMethod::Begin); }, "FileException",
       11},
      {ORV_FAIL(GetFileSize), ERROR_INVALID_HANDLE, [](CFile& f) { f.Open(OpenMode::ReadWrite); }, "FileException", 15},
  };
#undef ORV_FAIL
  for (const Row& row : rows) {
    {
      orvtest::HandleCount guard;
      CFile file(P("f"));
      file.Open(OpenMode::ReadWrite);
      row.arm(guard.Calls());
      orvtest::g_fakeError = row.error;
      ExpectRaised(Catch([&] { row.operate(file); }), row.type, row.number, row.error);
    }
    EXPECT_EQ(orvtest::HandleCount::closed, orvtest::HandleCount::opened) << row.number;
    Remove("f");
  }
}

// A device whose writes stay pending until someone waits for them; as the
// system does, it takes the offset when the write starts.
namespace slow {
std::string disk, data;
OVERLAPPED* running = nullptr;
std::size_t at = 0;
DWORD completion = 0;  // the NTSTATUS the running write completes with
int writes = 0;

BOOL WINAPI Write(HANDLE, LPCVOID bytes, DWORD count, LPDWORD, LPOVERLAPPED record) {
  ++writes, running = record, record->Internal = STATUS_PENDING;
  at = (std::uint64_t{record->OffsetHigh} << 32) | record->Offset;
  data.assign(static_cast<const char*>(bytes), count);
  ::SetLastError(ERROR_IO_PENDING);
  return FALSE;
}

DWORD WINAPI Wait(HANDLE, DWORD) {
  if (running != nullptr) {
    disk.resize(std::max(disk.size(), at + data.size()));
    disk.replace(at, data.size(), data);
    running->Internal = completion, running->InternalHigh = data.size(), running = nullptr;
  }
  return WAIT_OBJECT_0;
}
}  // namespace slow

TEST_F(CFileTest, OverlappedQueueAndLateFailure) {
  {
    orvtest::SeamGuard guard;
    guard.Calls().WriteFile = slow::Write;
    guard.Calls().WaitForSingleObject = slow::Wait;
    CFile file(P("f"), FileHint::Normal, true, true);
    file.Open(OpenMode::CreateReadWrite);
    std::string a = "aaaa", b = "bb", c = "cccccc";
    file.Write(a.data(), 1, 4);
    file.Write(b.data(), 1, 2);
    file.Write(c.data(), 1, 6);
    EXPECT_EQ(slow::writes, 1);  // the other two wait in the queue
    b = "BB";                    // not copied: the queue holds the caller's bytes
    EXPECT_EQ(file.Tell(), 12u);
    EXPECT_EQ(slow::disk, "aaaaBBcccccc");
    // A failure the device reports only at completion reaches the next operation.
    slow::completion = 0xC000007F;  // STATUS_DISK_FULL
    EXPECT_EQ(file.Write(a.data(), 1, 4), 4u);
    ExpectRaised(Catch([&] { file.Flush(); }), "WriteErrorException", 13, ERROR_DISK_FULL);
    slow::completion = 0;
    // One write running, one queued: the destructor writes out both.
    file.Write(b.data(), 1, 2);
    file.Write(c.data(), 1, 6);
  }
  EXPECT_EQ(slow::disk, "aaaaBBccccccaaaaBBcccccc");
  Remove("f");
}

// Random writes, seeks, reads and cuts against a model of the bytes on disk,
// the kept position and the kept size, without and with overlapped mode (on a
// real file: reads wait for the writes, the end reads as 0 bytes).
TEST_F(CFileTest, RandomOperationsAgainstAModel) {
  for (const bool overlapped : {false, true}) {
    SCOPED_TRACE(overlapped);
    std::mt19937 random(overlapped ? 7 : 3);
    const auto pick = [&](std::uint32_t most) { return std::uniform_int_distribution<std::uint32_t>(0, most)(random); };
    std::deque<std::string> written;  // queued writes are not copied
    std::string disk;
    std::uint32_t position = 0, size = 0;
    {
      CFile file(P("f"), FileHint::RandomAccess, true, overlapped);
      file.Open(OpenMode::CreateReadWrite);
      for (int step = 0; step < 3000 * orvtest::TestScale(); ++step) {
        const auto length = static_cast<std::uint32_t>(disk.size());
        const std::uint32_t n = pick(length + 50);
        switch (pick(5)) {
          case 0: {
            const std::string& bytes = written.emplace_back(pick(300), static_cast<char>('a' + step % 26));
            ASSERT_EQ(file.Write(bytes.data(), 1, static_cast<std::uint32_t>(bytes.size())), bytes.size());
            // Writing nothing past the end does not extend the file.
            if (!bytes.empty()) {
              disk.resize(std::max(disk.size(), std::size_t{position}));
              disk.replace(position, bytes.size(), bytes);
            }
            position += static_cast<std::uint32_t>(bytes.size());
            break;
          }
          case 1:
            file.Seek(position = n, SeekMethod::Begin);
            break;
          case 2:
            file.Seek(n % 40, SeekMethod::Current);
            position += n % 40;
            break;
          case 3: {
            std::string got(n % 200, '\0');
            const std::string expected = position < length ? disk.substr(position, got.size()) : "";
            got.resize(file.Read(got.data(), 1, static_cast<std::uint32_t>(got.size()), false));
            ASSERT_EQ(got, expected) << step;
            position += static_cast<std::uint32_t>(got.size());
            break;
          }
          case 4: {
            const auto delta = static_cast<std::int32_t>(n % 70) - static_cast<std::int32_t>(std::min(length, 50u));
            file.TruncateFromEnd(delta);
            disk.resize(length + delta);
            position = static_cast<std::uint32_t>(disk.size());
            break;
          }
          default: {
            const bool force = n % 2 == 0;
            file.Resize(n, force);
            if (n != size || force) disk.resize(n), position = size = n;
          }
        }
        size = std::max(size, position);
        ASSERT_EQ(file.Tell(), position) << step;
        ASSERT_EQ(file.Size(), size) << step;
      }
    }
    EXPECT_EQ(Got("f"), disk);
    Remove("f");
  }
}

}  // namespace
