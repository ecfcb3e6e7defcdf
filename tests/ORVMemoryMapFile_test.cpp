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
using Access = MemoryMapFile::Access;

class MemoryMapFileTest : public orvtest::TempDirTest {
 protected:
  // The texts are the catalogue's, checked with it; here the number and the file named.
  void ExpectRaised(const Raised& r, const char* type, const std::string& name, unsigned number, DWORD error) {
    const std::string path = P(name);
    EXPECT_EQ(
        r.type + " " + std::to_string(r.number) + " " + std::to_string(r.lastError) + " " + r.source + " " +
            std::to_string(r.what.find(std::wstring(path.begin(), path.end())) != std::wstring::npos),
        std::string(type) + " " + std::to_string(number) + " " + std::to_string(error) + " ORVMemoryMapFile.cpp 1");
  }
};

TEST_F(MemoryMapFileTest, ViewsAtAnyOffset) {
  std::string bytes(200000, '\0');
  std::mt19937 random(11);
  for (char& c : bytes) c = static_cast<char>(random());
  Put("f", bytes);
  {
    MemoryMapFile file(P("f"), Access::ReadOnly);
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
    ExpectRaised(Catch([&] { (void)file.Map(199999, 2); }), "FileException", "f", 6, ERROR_INVALID_PARAMETER);
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
  std::memcpy(MemoryMapFile(P("big"), Access::ReadWrite, size).Map(offset, 10).Data(), "0123456789", 10);
  {
    MemoryMapFile back(P("big"), Access::ReadOnly);
    EXPECT_EQ(back.Size(), size);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(back.Map(offset, 10).Data()), 10), "0123456789");
  }
  Remove("big");
}

// Opening fails with FileCannotOpenException whatever the error, unlike the
// file handle's open; mapping, flushing and unmapping fail in turn through
// the seam, and every handle opened is closed once the objects go.
TEST_F(MemoryMapFileTest, Failures) {
  Put("f", "");
  ExpectRaised(Catch([&] { MemoryMapFile file(P("missing"), Access::ReadOnly); }), "FileCannotOpenException", "missing",
               1, ERROR_FILE_NOT_FOUND);
  ExpectRaised(Catch([&] { MemoryMapFile file(P("f"), Access::ReadOnly); }), "FileCannotOpenException", "f", 1,
               ERROR_FILE_INVALID);  // empty
  ASSERT_TRUE(::CreateDirectoryA(P("d").c_str(), nullptr));
  ExpectRaised(Catch([&] { MemoryMapFile file(P("d"), Access::ReadWrite); }), "FileCannotOpenException", "d", 2,
               ERROR_ACCESS_DENIED);
  EXPECT_TRUE(::RemoveDirectoryA(P("d").c_str()));
  Put("f", std::string(1000, 'x'));
  struct Row {
    void (*arm)(FileCalls&);
    DWORD error;
    void (*operate)(MemoryMapFile&);
    unsigned number;
  };
  const Row rows[] = {
      {[](FileCalls& c) { c.MapViewOfFile = Failing<decltype(c.MapViewOfFile)>::Call; }, ERROR_NOT_ENOUGH_MEMORY,
       [](MemoryMapFile& f) { (void)f.Map(10, 10); }, 6},
      {[](FileCalls& c) { c.FlushViewOfFile = Failing<decltype(c.FlushViewOfFile)>::Call; }, ERROR_LOCK_VIOLATION,
       [](MemoryMapFile& f) { f.Map(10, 10).Flush(); }, 9},
      // The real unmap happens, so that nothing stays mapped; only its answer is a failure.
      {[](FileCalls& c) {
         c.UnmapViewOfFile = [](LPCVOID address) { return ::UnmapViewOfFile(address), ::SetLastError(87), FALSE; };
       },
       ERROR_INVALID_PARAMETER, [](MemoryMapFile& f) { f.Map(10, 10).Unmap(); }, 9},
  };
  for (const Row& row : rows) {
    {
      orvtest::HandleCount guard;
      MemoryMapFile file(P("f"), Access::ReadWrite);
      row.arm(guard.Calls());
      orvtest::g_fakeError = row.error;
      ExpectRaised(Catch([&] { row.operate(file); }), "FileException", "f", row.number, row.error);
    }
    EXPECT_EQ(orvtest::HandleCount::closed, orvtest::HandleCount::opened) << row.number;
  }
  Remove("f");
}

}  // namespace
