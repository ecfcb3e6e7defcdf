// MemoryMapFile and its views: ranges at any offset, writing through a view,
// views that outlive their file object, a file above 4 GiB, and the failures
// of opening, mapping, flushing and unmapping with their messages.
#include "win32.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <utility>

#include "ORVFileTestSupport.h"
#include "ORVMemoryMapFile.h"

namespace {

using ORVFile::MemoryMapFile;
using ORVFile::MemoryMapView;
using ORVFile::detail::FileCalls;
using orvtest::Catch;
using orvtest::Failing;
using orvtest::Raised;
using orvtest::SeamGuard;
using Access = MemoryMapFile::Access;

class MemoryMapFileTest : public orvtest::TempDirTest {
 protected:
  std::wstring Message(const char* action, const std::string& name) const {
    const std::string text = std::string("An error occurred while ") + action + P(name) + ".";
    return std::wstring(text.begin(), text.end());
  }
};

TEST_F(MemoryMapFileTest, ViewsAtAnyOffset) {
  std::string bytes(200000, '\0');
  std::mt19937 random(11);
  for (char& c : bytes) c = static_cast<char>(random());
  Put("f", bytes);
  {
    MemoryMapFile file(P("f"), Access::ReadOnly);
    EXPECT_EQ(file.Size(), bytes.size());
    // Around the 64 KiB boundaries the system maps from, and to the end.
    const std::pair<std::uint64_t, std::size_t> ranges[] = {
        {0, 10}, {1, 65535}, {65535, 2}, {65536, 1}, {65537, 100}, {131071, 5000}, {199990, 0}, {0, 0}, {123456, 1}};
    for (const auto& [offset, length] : ranges) {
      const MemoryMapView view = file.Map(offset, length);
      const std::size_t expected = length != 0 ? length : bytes.size() - offset;
      ASSERT_EQ(view.Size(), expected) << offset;
      EXPECT_EQ(view.Offset(), offset);
      EXPECT_EQ(std::memcmp(view.Data(), bytes.data() + offset, expected), 0) << offset;
    }
    // Beyond the mapped size.
    for (const auto& [offset, length] : {std::pair<std::uint64_t, std::size_t>{200000, 0}, {199999, 2}}) {
      const Raised raised = Catch([&, offset = offset, length = length] { (void)file.Map(offset, length); });
      EXPECT_EQ(raised.type, "FileException");
      EXPECT_EQ(raised.number, 6u);
      EXPECT_EQ(raised.lastError, static_cast<DWORD>(ERROR_INVALID_PARAMETER));
      EXPECT_EQ(raised.what, Message("getting a view of the file ", "f"));
      EXPECT_EQ(raised.source, "ORVMemoryMapFile.cpp");
    }
  }
  Remove("f");
}

TEST_F(MemoryMapFileTest, WritingThroughViewsThatOutliveTheirFile) {
  MemoryMapView late;
  {
    const std::string path = P("f");
    MemoryMapFile file(std::wstring(path.begin(), path.end()), Access::ReadWrite, 100000);
    MemoryMapView view = file.Map(70001, 5);
    std::memcpy(view.Data(), "hello", 5);
    view.Flush();
    view.Unmap();
    EXPECT_FALSE(view.IsMapped());
    EXPECT_EQ(view.Data(), nullptr);
    late = file.Map(99990);
    EXPECT_EQ(late.Size(), 10u);
    MemoryMapView moved = std::move(view);  // empty into empty
    EXPECT_FALSE(moved.IsMapped());
  }
  std::memcpy(late.Data(), "0123456789", 10);
  late = MemoryMapView();  // unmaps, the last hold on the mapping
  std::string expected(100000, '\0');
  expected.replace(70001, 5, "hello").replace(99990, 10, "0123456789");
  EXPECT_EQ(Got("f"), expected);
  Remove("f");
}

// The file is sparse where the system allows it, so it costs no disk space.
TEST_F(MemoryMapFileTest, AboveFourGiB) {
  const std::uint64_t size = 5ull << 30, offset = (4ull << 30) + 100;
  {
    MemoryMapFile file(P("big"), Access::ReadWrite, size);
    EXPECT_EQ(file.Size(), size);
    MemoryMapView view = file.Map(offset, 10);
    std::memcpy(view.Data(), "0123456789", 10);
  }
  {
    const ORV::Handle h(::CreateFileA(P("big").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    LARGE_INTEGER length, at;
    ASSERT_TRUE(::GetFileSizeEx(h.Get(), &length));
    EXPECT_EQ(static_cast<std::uint64_t>(length.QuadPart), size);
    at.QuadPart = static_cast<LONGLONG>(offset);
    char back[10] = {};
    DWORD read = 0;
    ASSERT_TRUE(::SetFilePointerEx(h.Get(), at, nullptr, FILE_BEGIN));
    ASSERT_TRUE(::ReadFile(h.Get(), back, 10, &read, nullptr));
    EXPECT_EQ(std::string(back, read), "0123456789");
  }
  Remove("big");
}

TEST_F(MemoryMapFileTest, OpenFailures) {
  Put("empty", "");
  ASSERT_TRUE(::CreateDirectoryA(P("dir").c_str(), nullptr));
  struct Row {
    const char* name;
    Access access;
    const char* type;
    unsigned number;
    DWORD error;
  };
  // The class does not follow the error, as it does for the file handle.
  const Row rows[] = {
      {"missing", Access::ReadOnly, "FileCannotOpenException", 1, ERROR_FILE_NOT_FOUND},
      {"dir", Access::ReadWrite, "FileCannotOpenException", 2, ERROR_ACCESS_DENIED},
      {"empty", Access::ReadOnly, "FileCannotOpenException", 1, ERROR_FILE_INVALID},
  };
  for (const Row& row : rows) {
    const Raised raised = Catch([&] { MemoryMapFile file(P(row.name), row.access); });
    EXPECT_EQ(raised.type, row.type) << row.name;
    EXPECT_EQ(raised.number, row.number) << row.name;
    EXPECT_EQ(raised.lastError, row.error) << row.name;
    EXPECT_EQ(raised.what,
              Message(row.number == 1 ? "opening the read-only file " : "opening the write-only file ", row.name));
  }
  EXPECT_TRUE(::RemoveDirectoryA(P("dir").c_str()));
  Remove("empty");
}

// Mapping, flushing and unmapping fail in turn through the fault seam; every
// handle opened is closed once the objects go.
TEST_F(MemoryMapFileTest, ViewFailuresThroughTheSeam) {
  static int s_opens, s_closes;
  Put("f", std::string(1000, 'x'));
  struct Row {
    void (*arm)(FileCalls&);
    DWORD error;
    void (*operate)(MemoryMapFile&);
    const char* action;
    unsigned number;
  };
  const Row rows[] = {
      {[](FileCalls& c) { c.MapViewOfFile = Failing<decltype(c.MapViewOfFile)>::Call; }, ERROR_NOT_ENOUGH_MEMORY,
       [](MemoryMapFile& f) { (void)f.Map(10, 10); }, "getting a view of the file ", 6},
      {[](FileCalls& c) { c.FlushViewOfFile = Failing<decltype(c.FlushViewOfFile)>::Call; }, ERROR_LOCK_VIOLATION,
       [](MemoryMapFile& f) { f.Map(10, 10).Flush(); }, "releasing a view of the file ", 9},
      // The real unmap happens, so that nothing stays mapped; only its answer is a failure.
      {[](FileCalls& c) {
         c.UnmapViewOfFile = [](LPCVOID address) {
           ::UnmapViewOfFile(address);
           ::SetLastError(orvtest::g_fakeError);
           return FALSE;
         };
       },
       ERROR_INVALID_ADDRESS, [](MemoryMapFile& f) { f.Map(10, 10).Unmap(); }, "releasing a view of the file ", 9},
  };
  for (const Row& row : rows) {
    {
      SeamGuard guard;
      s_opens = s_closes = 0;
      guard.Calls().CreateFileMappingW = [](HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection, DWORD high,
                                            DWORD low, LPCWSTR name) {
        const HANDLE mapping = ::CreateFileMappingW(file, security, protection, high, low, name);
        s_opens += mapping != nullptr;
        return mapping;
      };
      guard.Calls().CloseHandle = [](HANDLE handle) {
        ++s_closes;
        return ::CloseHandle(handle);
      };
      MemoryMapFile file(P("f"), Access::ReadWrite);
      row.arm(guard.Calls());
      orvtest::g_fakeError = row.error;
      const Raised raised = Catch([&] { row.operate(file); });
      EXPECT_EQ(raised.type, "FileException") << row.number;
      EXPECT_EQ(raised.number, row.number);
      EXPECT_EQ(raised.lastError, row.error);
      EXPECT_EQ(raised.what, Message(row.action, "f"));
      EXPECT_EQ(raised.source, "ORVMemoryMapFile.cpp");
    }
    EXPECT_EQ(s_closes, s_opens + 1) << "the mapping and the file";
  }
  Remove("f");
}

}  // namespace
