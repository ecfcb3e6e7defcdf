// The file handle CFile: open modes and flags, the kept position and size,
// reads and writes at the edges, failures of every call behind it made
// through the fault seam, overlapped mode on a real file and on a device
// whose writes stay pending, and random operations against a model.
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
using orvtest::Failing;
using orvtest::Raised;
using orvtest::SeamGuard;

class CFileTest : public orvtest::TempDirTest {
 protected:
  // The catalogue text with %1 filled with the path of name.
  std::wstring Text(const char* message, const std::string& name) const {
    std::wstring text(message, message + std::char_traits<char>::length(message));
    const std::string path = P(name);
    return text.replace(text.find(L"%1"), 2, std::wstring(path.begin(), path.end()));
  }
  std::uint64_t DiskSize(const std::string& name) const {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!::GetFileAttributesExA(P(name).c_str(), GetFileExInfoStandard, &data)) return ~0ull;
    return (std::uint64_t{data.nFileSizeHigh} << 32) | data.nFileSizeLow;
  }
};

constexpr char kOpenRead[] = "An error occurred while opening the read-only file %1.";
constexpr char kOpenWrite[] = "An error occurred while opening the write-only file %1.";
constexpr char kRead[] = "An error occurred while reading data from file %1.";
constexpr char kWrite[] = "An error occurred while writing data in the file %1.";
constexpr char kSeek[] = "An error occurred while seeking in the file %1.";

TEST_F(CFileTest, OpenModesOnMissingFilesFilesAndDirectories) {
  struct Row {
    OpenMode mode;
    const char* before;  // null: missing; "/": a directory
    const char* raised;  // "" when the open succeeds
    const char* message;
    DWORD error;
    std::uint32_t size;
    const char* after;
  };
  const Row rows[] = {
      {OpenMode::OpenRead, nullptr, "FileCannotOpenException", kOpenRead, ERROR_FILE_NOT_FOUND, 0, nullptr},
      {OpenMode::OpenRead, "hello", "", nullptr, 0, 5, "hello"},
      {OpenMode::OpenRead, "/", "FileAccessDeniedException", kOpenRead, ERROR_ACCESS_DENIED, 0, nullptr},
      {OpenMode::ReadWrite, nullptr, "", nullptr, 0, 0, ""},
      {OpenMode::ReadWrite, "hello", "", nullptr, 0, 5, "hello"},
      {OpenMode::ReadWrite, "/", "FileAccessDeniedException", kOpenWrite, ERROR_ACCESS_DENIED, 0, nullptr},
      {OpenMode::CreateReadWrite, nullptr, "", nullptr, 0, 0, ""},
      {OpenMode::CreateReadWrite, "hello", "", nullptr, 0, 0, ""},
      {static_cast<OpenMode>(3), "hello", "FileCannotOpenException", kOpenWrite, ERROR_INVALID_PARAMETER, 0, "hello"},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const Row& row = rows[i];
    SCOPED_TRACE(i);
    const bool directory = row.before != nullptr && std::string(row.before) == "/";
    if (directory) {
      ASSERT_TRUE(::CreateDirectoryA(P("f").c_str(), nullptr));
    } else if (row.before != nullptr) {
      Put("f", row.before);
    }
    {
      CFile file(P("f"));
      std::uint32_t size = ~0u;
      const Raised raised = Catch([&] { size = file.Open(row.mode); });
      EXPECT_EQ(raised.type, row.raised);
      if (*row.raised != '\0') {
        EXPECT_EQ(raised.what, Text(row.message, "f"));
        EXPECT_EQ(raised.number, row.message == kOpenRead ? 1u : 2u);
        EXPECT_EQ(raised.lastError, row.error);
        EXPECT_EQ(raised.source, "ORVCFile.cpp");
        EXPECT_FALSE(file.IsOpen());
      } else {
        EXPECT_EQ(size, row.size);
        EXPECT_EQ(file.Size(), row.size);
        EXPECT_EQ(file.IsWritable(), row.mode != OpenMode::OpenRead);
      }
    }
    if (directory) {
      EXPECT_TRUE(::RemoveDirectoryA(P("f").c_str()));
    } else if (row.after != nullptr) {
      EXPECT_EQ(Got("f"), row.after);
      Remove("f");
    }
  }
}

TEST_F(CFileTest, SharingAndOpeningAgain) {
  Put("f", "abc");
  {
    CFile writer(P("f"));
    writer.Open(OpenMode::ReadWrite);
    CFile reader(P("f"));
    const Raised raised = Catch([&] { reader.Open(OpenMode::OpenRead); });
    EXPECT_EQ(raised.type, "SharingViolationException");
    EXPECT_EQ(raised.number, 1u);
    EXPECT_EQ(raised.lastError, static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(raised.what, Text(kOpenRead, "f"));
    // The object's own handle goes first, so opening again is no sharing violation.
    EXPECT_EQ(writer.Open(OpenMode::CreateReadWrite), 0u);
  }
  {
    // Readers share with readers, not with a writer.
    CFile first(P("f")), second(P("f")), third(P("f"));
    first.Open(OpenMode::OpenRead);
    EXPECT_NO_THROW(second.Open(OpenMode::OpenRead));
    EXPECT_EQ(Catch([&] { third.Open(OpenMode::ReadWrite); }).type, "SharingViolationException");
  }
  Remove("f");
}

TEST_F(CFileTest, CreateFileArgumentsAndHints) {
  static DWORD s_access, s_share, s_disposition, s_flags;
  {
    SeamGuard guard;
    guard.Calls().CreateFileA = [](LPCSTR, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES, DWORD disposition,
                                   DWORD flags, HANDLE) -> HANDLE {
      s_access = access, s_share = share, s_disposition = disposition, s_flags = flags;
      ::SetLastError(ERROR_FILE_NOT_FOUND);
      return INVALID_HANDLE_VALUE;
    };
    struct Row {
      FileHint hint;
      bool buffered, overlapped;
      OpenMode mode;
      DWORD flags, access, share, disposition;
    };
    const DWORD rw = GENERIC_READ | GENERIC_WRITE;
    const Row rows[] = {
        {FileHint::Normal, true, false, OpenMode::OpenRead, 0x80, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING},
        {FileHint::SequentialScan, true, false, OpenMode::ReadWrite, 0x08000000, rw, 0, OPEN_ALWAYS},
        {FileHint::RandomAccess, true, false, OpenMode::CreateReadWrite, 0x10000000, rw, 0, CREATE_ALWAYS},
        {FileHint::Temporary, true, false, OpenMode::OpenRead, 0x100, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING},
        {FileHint::DeleteOnClose, true, false, OpenMode::ReadWrite, 0x04000000, rw, 0, OPEN_ALWAYS},
        {static_cast<FileHint>(5), true, false, OpenMode::ReadWrite, 0, rw, 0, OPEN_ALWAYS},
        {FileHint::Normal, false, false, OpenMode::ReadWrite, 0x80000080, rw, 0, OPEN_ALWAYS},
        {FileHint::Normal, true, true, OpenMode::ReadWrite, 0x40000080, rw, 0, OPEN_ALWAYS},
        {FileHint::DeleteOnClose, false, true, OpenMode::ReadWrite, 0xC4000000, rw, 0, OPEN_ALWAYS},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
      const Row& row = rows[i];
      CFile file(P("f"), row.hint, row.buffered, row.overlapped);
      EXPECT_EQ(Catch([&] { file.Open(row.mode); }).type, "FileCannotOpenException") << i;
      EXPECT_EQ(s_flags, row.flags) << i;
      EXPECT_EQ(s_access, row.access) << i;
      EXPECT_EQ(s_share, row.share) << i;
      EXPECT_EQ(s_disposition, row.disposition) << i;
    }
  }
  // And what the system makes of one of them.
  {
    CFile temporary(P("t"), FileHint::DeleteOnClose, false, false);
    temporary.Open(OpenMode::CreateReadWrite);
    temporary.Write("abc", 1, 3);
    temporary.Close();
  }
  EXPECT_EQ(::GetFileAttributesA(P("t").c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(CFileTest, KeptPositionAndSize) {
  CFile file(P("f"));
  file.Open(OpenMode::CreateReadWrite);
  EXPECT_EQ(file.Write("0123456789", 2, 5), 10u);
  EXPECT_TRUE(file.EndOfFile());
  // Past the end: the size follows although nothing is written there.
  file.Seek(100, SeekMethod::Begin);
  EXPECT_EQ(file.Size(), 100u);
  EXPECT_EQ(DiskSize("f"), 10u);
  file.Seek(3, SeekMethod::Current);
  EXPECT_EQ(file.Tell(), 103u);
  file.Seek(2, SeekMethod::Begin);
  EXPECT_FALSE(file.EndOfFile());
  // Cut from the end: shorter on disk, the kept size stays.
  file.TruncateFromEnd(-4);
  EXPECT_EQ(DiskSize("f"), 6u);
  EXPECT_EQ(file.Tell(), 6u);
  EXPECT_EQ(file.Size(), 103u);
  // Resize lowers it; the same size again only when forced.
  file.Resize(4, false);
  EXPECT_EQ(file.Size(), 4u);
  file.Seek(1, SeekMethod::Begin);
  file.Resize(4, false);
  EXPECT_EQ(file.Tell(), 1u);
  file.Resize(4, true);
  EXPECT_EQ(file.Tell(), 4u);
  file.Resize(8, false);
  EXPECT_EQ(file.Tell(), 8u);
  file.Close();
  EXPECT_EQ(file.Size(), 8u);  // kept after Close
  EXPECT_EQ(Got("f"), std::string("0123\0\0\0\0", 8));
  file.Delete();
  EXPECT_EQ(::GetFileAttributesA(P("f").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_NO_THROW(file.Delete());  // nothing there: nothing to do
}

TEST_F(CFileTest, ReadsAndWritesAtTheEdges) {
  Put("f", "abcdef");
  CFile file(P("f"));
  file.Open(OpenMode::OpenRead);
  char buffer[16] = {};
  EXPECT_EQ(file.Read(buffer, 2, 2, true), 4u);
  EXPECT_EQ(file.Read(buffer, 1, 10, false), 2u);
  EXPECT_EQ(std::string(buffer, 2), "ef");
  // Exact past the end: the read error, the bytes that came counted, the handle still usable.
  file.Seek(3, SeekMethod::Begin);
  Raised raised = Catch([&] { file.Read(buffer, 1, 10, true); });
  EXPECT_EQ(raised.type, "FileException");
  EXPECT_EQ(raised.number, 8u);
  EXPECT_EQ(raised.lastError, static_cast<DWORD>(ERROR_HANDLE_EOF));
  EXPECT_EQ(raised.what, Text(kRead, "f"));
  EXPECT_EQ(file.Tell(), 6u);
  file.Seek(0, SeekMethod::Begin);
  EXPECT_EQ(file.Read(buffer, 1, 6, true), 6u);
  EXPECT_EQ(std::string(buffer, 6), "abcdef");
  // A handle opened for reading refuses writes, with the system's reason.
  raised = Catch([&] { file.Write("x", 1, 1); });
  EXPECT_EQ(raised.type, "WriteErrorException");
  EXPECT_EQ(raised.number, 13u);
  EXPECT_EQ(raised.lastError, static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(raised.what, Text(kWrite, "f"));
  EXPECT_THROW(file.Write("x", 1, 1), ORVFile::FilePermissionDeniedException);
  EXPECT_EQ(file.Tell(), 6u);
  // Requests of 4 GiB or more are refused before any call.
  EXPECT_EQ(Catch([&] { file.Read(buffer, 0x10000, 0x10000, false); }).lastError,
            static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  file.Close();
  // A read-only file cannot go: Delete says so.
  ::SetFileAttributesA(P("f").c_str(), FILE_ATTRIBUTE_READONLY);
  raised = Catch([&] { file.Delete(); });
  EXPECT_EQ(raised.type, "FileCannotDeleteException");
  EXPECT_EQ(raised.number, 5u);
  EXPECT_EQ(raised.lastError, static_cast<DWORD>(ERROR_ACCESS_DENIED));
  Remove("f");
}

TEST_F(CFileTest, LastModificationInLocalFields) {
  Put("f", "x");
  const FILETIME utc = {0x1567C980, 0x01D710B4};  // 2021-03-04 05:06:07 UTC
  {
    const ORV::Handle h(::CreateFileA(P("f").c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(::SetFileTime(h.Get(), nullptr, nullptr, &utc));
  }
  FILETIME local;
  SYSTEMTIME t;
  ASSERT_TRUE(::FileTimeToLocalFileTime(&utc, &local) && ::FileTimeToSystemTime(&local, &t));
  CFile file(P("f"));
  file.Open(OpenMode::OpenRead);
  EXPECT_EQ(file.LastModification(), ORV::DateTime(t.wYear, t.wMonth - 1, t.wDay, t.wHour, t.wMinute, t.wSecond));
  file.Close();
  Remove("f");
}

// Each call behind the handle fails in turn: the class, message, text and
// error of what it raises, and the handle closed once the object goes.
TEST_F(CFileTest, FaultsThroughTheSeam) {
  static int s_opens, s_closes;
  struct Row {
    void (*arm)(FileCalls&);
    DWORD error;
    void (*operate)(CFile&);
    const char* type;
    const char* message;
    unsigned number;
  };
#define ORV_FAIL(call) [](FileCalls& c) { c.call = Failing<decltype(c.call)>::Call; }
  const Row rows[] = {
      {ORV_FAIL(WriteFile), ERROR_DISK_FULL, [](CFile& f) { f.Write("abc", 1, 3); }, "WriteErrorException", kWrite, 13},
      {ORV_FAIL(CreateFileA), ERROR_SHARING_VIOLATION, [](CFile& f) { f.Open(OpenMode::ReadWrite); },
       "SharingViolationException", kOpenWrite, 2},
      {ORV_FAIL(CreateFileA), ERROR_SHARING_VIOLATION, [](CFile& f) { f.Open(OpenMode::OpenRead); },
       "SharingViolationException", kOpenRead, 1},
      {ORV_FAIL(ReadFile), ERROR_IO_DEVICE, [](CFile& f) { f.Read(nullptr, 1, 1, false); }, "FileException", kRead, 8},
      {ORV_FAIL(SetFilePointer), ERROR_INVALID_HANDLE, [](CFile& f) { f.Seek(1, SeekMethod::Begin); }, "FileException",
       kSeek, 11},
      {ORV_FAIL(SetEndOfFile), ERROR_DISK_FULL, [](CFile& f) { f.Resize(1 << 20, false); }, "FileException", kSeek, 11},
      {ORV_FAIL(FlushFileBuffers), ERROR_IO_DEVICE, [](CFile& f) { f.Flush(); }, "WriteErrorException", kWrite, 13},
      {ORV_FAIL(GetFileInformationByHandle), ERROR_INVALID_HANDLE, [](CFile& f) { f.LastModification(); },
       "FileException", kRead, 8},
      {ORV_FAIL(GetFileSize), ERROR_INVALID_HANDLE, [](CFile& f) { f.Open(OpenMode::ReadWrite); }, "FileException",
       "An error occurred while getting the file attributes for %1.", 15},
  };
#undef ORV_FAIL
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const Row& row = rows[i];
    SCOPED_TRACE(i);
    {
      SeamGuard guard;
      s_opens = s_closes = 0;
      guard.Calls().CreateFileA = [](LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                     DWORD disposition, DWORD flags, HANDLE model) {
        const HANDLE handle = ::CreateFileA(path, access, share, security, disposition, flags, model);
        s_opens += handle != INVALID_HANDLE_VALUE;
        return handle;
      };
      guard.Calls().CloseHandle = [](HANDLE handle) {
        ++s_closes;
        return ::CloseHandle(handle);
      };
      CFile file(P("f"));
      file.Open(OpenMode::ReadWrite);
      row.arm(guard.Calls());
      orvtest::g_fakeError = row.error;
      const Raised raised = Catch([&] { row.operate(file); });
      EXPECT_EQ(raised.type, row.type);
      EXPECT_EQ(raised.number, row.number);
      EXPECT_EQ(raised.what, Text(row.message, "f"));
      EXPECT_EQ(raised.lastError, row.error);
      EXPECT_EQ(raised.source, "ORVCFile.cpp");
    }
    EXPECT_EQ(s_closes, s_opens);
    Remove("f");
  }
  // The actions that raise nothing.
  CFile file(P("f"));
  for (unsigned action : {2u, 4u, 9u}) EXPECT_NO_THROW(file.Throw(static_cast<CFile::Action>(action)));
}

// Under Wine, as on Windows, overlapped writes go pending, so later ones queue.
TEST_F(CFileTest, OverlappedWritesOnARealFile) {
  std::deque<std::string> pieces;
  std::string expected;
  {
    CFile file(P("f"), FileHint::SequentialScan, true, true);
    EXPECT_EQ(file.Open(OpenMode::CreateReadWrite), 0u);
    for (int i = 0; i < 64; ++i) {
      const std::string& piece = pieces.emplace_back(4096 + i, static_cast<char>('A' + i % 26));
      EXPECT_EQ(file.Write(piece.data(), 1, static_cast<std::uint32_t>(piece.size())), piece.size());
      expected += piece;
    }
    EXPECT_EQ(file.Tell(), expected.size());
    EXPECT_EQ(file.Size(), expected.size());
    // Reading waits for the writes; the end reads as 0 bytes.
    char buffer[10];
    file.Seek(5000, SeekMethod::Begin);
    EXPECT_EQ(file.Read(buffer, 1, 10, true), 10u);
    EXPECT_EQ(std::string(buffer, 10), expected.substr(5000, 10));
    file.Seek(0, SeekMethod::End);
    EXPECT_EQ(file.Read(buffer, 1, 10, false), 0u);
    EXPECT_EQ(Catch([&] { file.Read(buffer, 1, 10, true); }).lastError, static_cast<DWORD>(ERROR_HANDLE_EOF));
    file.Write("tail", 1, 4);
  }  // the destructor writes out what is left
  EXPECT_EQ(Got("f"), expected + "tail");
  Remove("f");
}

// A device whose writes stay pending until someone waits for them.
namespace slow {
std::string disk;
// As the system does, the offset is taken when the write starts.
OVERLAPPED* running = nullptr;
std::size_t runningAt = 0;
const char* runningData = nullptr;
DWORD runningCount = 0;
DWORD completion = 0;  // the NTSTATUS the next write completes with
int writes = 0;

BOOL WINAPI Write(HANDLE, LPCVOID data, DWORD count, LPDWORD, LPOVERLAPPED record) {
  ++writes;
  record->Internal = STATUS_PENDING;
  running = record, runningAt = (std::uint64_t{record->OffsetHigh} << 32) | record->Offset;
  runningData = static_cast<const char*>(data), runningCount = count;
  ::SetLastError(ERROR_IO_PENDING);
  return FALSE;
}

DWORD WINAPI Wait(HANDLE, DWORD) {
  if (running != nullptr) {
    disk.resize(std::max(disk.size(), runningAt + runningCount));
    disk.replace(runningAt, runningCount, runningData, runningCount);
    running->Internal = completion, running->InternalHigh = runningCount;
    running = nullptr;
  }
  return WAIT_OBJECT_0;
}
}  // namespace slow

TEST_F(CFileTest, OverlappedQueueAndLateFailure) {
  {
    SeamGuard guard;
    guard.Calls().WriteFile = slow::Write;
    guard.Calls().WaitForSingleObject = slow::Wait;
    CFile file(P("f"), FileHint::Normal, true, true);
    file.Open(OpenMode::CreateReadWrite);
    std::string a = "aaaa", b = "bb", c = "cccccc";
    EXPECT_EQ(file.Write(a.data(), 1, 4), 4u);
    EXPECT_EQ(file.Write(b.data(), 1, 2), 2u);
    EXPECT_EQ(file.Write(c.data(), 1, 6), 6u);
    EXPECT_EQ(slow::writes, 1);  // the other two wait in the queue
    b = "BB";                    // not copied: the queue holds the caller's bytes
    EXPECT_EQ(file.Tell(), 12u);
    EXPECT_EQ(slow::disk, "aaaaBBcccccc");
    EXPECT_EQ(slow::writes, 3);
    // A failure the device reports only at completion reaches the next operation.
    slow::completion = 0xC000007F;  // STATUS_DISK_FULL
    EXPECT_EQ(file.Write(a.data(), 1, 4), 4u);
    const Raised raised = Catch([&] { file.Flush(); });
    EXPECT_EQ(raised.type, "WriteErrorException");
    EXPECT_EQ(raised.lastError, static_cast<DWORD>(ERROR_DISK_FULL));
    slow::completion = 0;
  }
  Remove("f");
}

// Random writes, seeks, reads and cuts against a model of the bytes on disk,
// the kept position and the kept size, without and with overlapped mode.
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
      for (int step = 0; step < 3000; ++step) {
        const auto length = static_cast<std::uint32_t>(disk.size());
        switch (pick(5)) {
          case 0: {
            const std::string& bytes = written.emplace_back(pick(300), static_cast<char>('a' + step % 26));
            ASSERT_EQ(file.Write(bytes.data(), 1, static_cast<std::uint32_t>(bytes.size())), bytes.size());
            if (disk.size() < position) disk.resize(position);
            disk.replace(position, bytes.size(), bytes);
            position += static_cast<std::uint32_t>(bytes.size());
            break;
          }
          case 1:
            position = pick(length + 50);
            file.Seek(position, SeekMethod::Begin);
            break;
          case 2: {
            const std::uint32_t distance = pick(40);
            file.Seek(distance, SeekMethod::Current);
            position += distance;
            break;
          }
          case 3: {
            const std::uint32_t wanted = pick(200);
            std::string got(wanted, '\0');
            got.resize(file.Read(got.data(), 1, wanted, false));
            ASSERT_EQ(got, position < length ? disk.substr(position, wanted) : "") << step;
            position += static_cast<std::uint32_t>(got.size());
            break;
          }
          case 4: {
            const auto delta = static_cast<std::int32_t>(pick(std::min(length, 50u) + 20)) -
                               static_cast<std::int32_t>(std::min(length, 50u));
            file.TruncateFromEnd(delta);
            disk.resize(length + delta);
            position = static_cast<std::uint32_t>(disk.size());
            break;
          }
          default: {
            const std::uint32_t to = pick(length + 50);
            const bool force = pick(1) == 1;
            file.Resize(to, force);
            if (to != size || force) disk.resize(to), position = size = to;
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
