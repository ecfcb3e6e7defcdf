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
#include "ORVFileTestSupport.h"

namespace {

using ORVFile::CFile;
using ORVFile::FileHint;
using ORVFile::OpenMode;
using ORVFile::SeekMethod;
using ORVFile::detail::FileCalls;

using CFileTest = orvtest::TempDirTest;

TEST_F(CFileTest, OpensReadsWritesAndDeletesAtTheEdges) {
  CFile file(P("f")), reader(P("f"));
  const auto raises = [this](auto operation) { return Raises(operation, "f"); };
  EXPECT_EQ(raises([&] { file.Open(OpenMode::OpenRead); }), "FileCannotOpenException 1 2 named");
  ASSERT_TRUE(::CreateDirectoryA(P("f").c_str(), nullptr));
  EXPECT_EQ(raises([&] { file.Open(OpenMode::ReadWrite); }), "FileAccessDeniedException 2 5 named");
  EXPECT_FALSE(file.IsOpen());
  ASSERT_TRUE(::RemoveDirectoryA(P("f").c_str()));
  EXPECT_EQ(file.Open(OpenMode::ReadWrite), 0u);  // made
  file.Write("abcdef", 1, 6);
  file.Close();
  EXPECT_EQ(raises([&] { file.Open(static_cast<OpenMode>(3)); }), "FileCannotOpenException 2 87 named");
  EXPECT_EQ(file.Open(OpenMode::ReadWrite), 6u);  // kept
  // The writer holds the file alone; opening its own file again is no violation.
  EXPECT_EQ(raises([&] { reader.Open(OpenMode::OpenRead); }), "SharingViolationException 1 32 named");
  // Exact past the end: the read error, the bytes that came counted.
  char buffer[16] = {};
  EXPECT_EQ(file.Open(OpenMode::OpenRead), 6u);
  file.Seek(3, SeekMethod::Begin);
  EXPECT_EQ(raises([&] { file.Read(buffer, 1, 10, true); }), "FileException 8 38 named");
  EXPECT_EQ(file.Tell(), 6u);
  // A handle opened for reading refuses writes, with the system's reason.
  EXPECT_EQ(raises([&] { file.Write("x", 1, 1); }), "WriteErrorException 13 5 named");
  EXPECT_EQ(file.Open(OpenMode::CreateReadWrite), 0u);  // emptied
  file.Close();
  ::SetFileAttributesA(P("f").c_str(), FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(raises([&] { file.Delete(); }), "FileCannotDeleteException 5 5 named");
  ::SetFileAttributesA(P("f").c_str(), FILE_ATTRIBUTE_NORMAL);
  file.Delete();
  EXPECT_NO_THROW(file.Delete());  // nothing there: nothing to do
  CFile(P("t"), FileHint::DeleteOnClose, false, false).Open(OpenMode::CreateReadWrite);
  EXPECT_EQ(::GetFileAttributesA(P("t").c_str()), INVALID_FILE_ATTRIBUTES);
}

// The system takes two of three bytes and reports no error: a short write is a failure too.
BOOL WINAPI ShortWrite(HANDLE h, LPCVOID d, DWORD, LPDWORD w, LPOVERLAPPED) { return ::WriteFile(h, d, 2, w, nullptr); }

// Calls behind the handle fail in turn: what they raise, and every handle
// opened closed once the object goes.
TEST_F(CFileTest, FaultsThroughTheSeam) {
  const auto write = [](CFile& f) { f.Write("abc", 1, 3); };
  const auto open = [](CFile& f) { f.Open(OpenMode::ReadWrite); };
  const std::tuple<void (*)(FileCalls&), void (*)(CFile&), const char*> rows[] = {
      {ORV_FAIL(WriteFile, ERROR_DISK_FULL), write, "WriteErrorException 13 112"},
      {[](FileCalls& c) { c.WriteFile = ShortWrite; }, write, "WriteErrorException 13 112"},
      {ORV_FAIL(CreateFileA, ERROR_SHARING_VIOLATION), open, "SharingViolationException 2 32"},
      {ORV_FAIL(SetFilePointer, ERROR_INVALID_HANDLE), [](CFile& f) { f.Seek(1, SeekMethod::Begin); },
       "FileException 11 6"},
      {ORV_FAIL(GetFileSize, ERROR_INVALID_HANDLE), open, "FileException 15 6"},
  };
  for (const auto& [arm, operate, raised] : rows) {
    SCOPED_TRACE(raised);
    orvtest::HandleCount guard;  // outlives the file, so it sees it closed
    CFile file(P("f"));
    file.Open(OpenMode::ReadWrite);
    arm(guard.Calls());
    EXPECT_EQ(Raises([&, operate = operate] { operate(file); }, "f"), std::string(raised) + " named");
  }
  Remove("f");
}

// A device whose writes stay pending until someone waits for them; as the
// system does, it takes the offset when the write starts.
namespace slow {
std::string disk, data;
OVERLAPPED* running = nullptr;
std::size_t at = 0;
DWORD completion = 0;  // the NTSTATUS the running write completes with

BOOL WINAPI Write(HANDLE, LPCVOID bytes, DWORD count, LPDWORD, LPOVERLAPPED record) {
  running = record, record->Internal = STATUS_PENDING;
  at = (std::uint64_t{record->OffsetHigh} << 32) | record->Offset;
  data.assign(static_cast<const char*>(bytes), count);
  return ::SetLastError(ERROR_IO_PENDING), FALSE;
}

DWORD WINAPI Wait(HANDLE, DWORD) {
  if (running != nullptr) {
    disk.resize(std::max(disk.size(), at + data.size())), disk.replace(at, data.size(), data);
    running->Internal = completion, running->InternalHigh = data.size(), running = nullptr;
  }
  return WAIT_OBJECT_0;
}
}  // namespace slow

TEST_F(CFileTest, OverlappedQueueAndLateFailure) {
  {
    orvtest::SeamGuard guard;
    guard.Calls().WriteFile = slow::Write, guard.Calls().WaitForSingleObject = slow::Wait;
    CFile file(P("f"), FileHint::Normal, true, true);
    file.Open(OpenMode::CreateReadWrite);
    std::string a = "aaaa", b = "bb", c = "cccccc";
    const auto put = [&file](const std::string& s) {
      return file.Write(s.data(), 1, static_cast<std::uint32_t>(s.size()));
    };
    put(a), put(b), put(c);
    b = "BB";  // queued behind the running write, and not copied: the queue holds the caller's bytes
    EXPECT_EQ(file.Tell(), 12u);
    EXPECT_EQ(slow::disk, "aaaaBBcccccc");
    // A failure the device reports only at completion reaches the next operation.
    slow::completion = 0xC000007F;  // STATUS_DISK_FULL
    EXPECT_EQ(put(a), 4u);
    EXPECT_EQ(Raises([&] { file.Flush(); }, "f"), "WriteErrorException 13 112 named");
    slow::completion = 0;
    // One write running, one queued: the destructor writes out both.
    put(b), put(c);
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
        switch (pick(4)) {
          case 0: {
            const std::string& bytes = written.emplace_back(pick(300), static_cast<char>('a' + step % 26));
            ASSERT_EQ(file.Write(bytes.data(), 1, static_cast<std::uint32_t>(bytes.size())), bytes.size());
            // Writing nothing past the end does not extend the file.
            if (!bytes.empty())
              disk.resize(std::max(disk.size(), std::size_t{position})), disk.replace(position, bytes.size(), bytes);
            position += static_cast<std::uint32_t>(bytes.size());
            break;
          }
          case 1:  // from the beginning, or from the kept position
            file.Seek(n % 2 ? n : n % 40, n % 2 ? SeekMethod::Begin : SeekMethod::Current);
            position = n % 2 ? n : position + n % 40;
            break;
          case 2: {
            std::string got(n % 200, '\0');
            const std::string expected = position < length ? disk.substr(position, got.size()) : "";
            got.resize(file.Read(got.data(), 1, static_cast<std::uint32_t>(got.size()), false));
            ASSERT_EQ(got, expected) << step;
            position += static_cast<std::uint32_t>(got.size());
            break;
          }
          case 3: {
            const auto delta = static_cast<std::int32_t>(n % 70) - static_cast<std::int32_t>(std::min(length, 50u));
            file.TruncateFromEnd(delta);
            disk.resize(length + delta), position = static_cast<std::uint32_t>(disk.size());
            break;
          }
          default:
            file.Resize(n, n % 3 == 0);
            if (n != size || n % 3 == 0) disk.resize(n), position = size = n;
        }
        size = std::max(size, position);
        ASSERT_EQ(std::pair(file.Tell(), file.Size()), std::pair(position, size)) << step;
      }
    }
    EXPECT_EQ(Got("f"), disk);
    Remove("f");
  }
}

}  // namespace
