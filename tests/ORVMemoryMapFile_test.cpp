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
using Access = MemoryMapFile::Access;

using MemoryMapFileTest = orvtest::TempDirTest;

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
    EXPECT_EQ(Raises([&] { (void)file.Map(199999, 2); }, "f"), "FileException 6 87 named");
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

BOOL WINAPI UnmapAndFail(LPCVOID address) { return ::UnmapViewOfFile(address), ::SetLastError(87), FALSE; }

// Opening fails with FileCannotOpenException whatever the error, unlike the
// file handle's open; mapping, flushing and unmapping fail in turn through
// the seam, and every handle opened is closed once the objects go.
TEST_F(MemoryMapFileTest, Failures) {
  Put("f", "");
  ASSERT_TRUE(::CreateDirectoryA(P("d").c_str(), nullptr));
  for (const auto& [name, access, raised] :
       {std::tuple{"missing", Access::ReadOnly, "FileCannotOpenException 1 2 named"},
        {"f", Access::ReadOnly, "FileCannotOpenException 1 1006 named"},  // empty
        {"d", Access::ReadWrite, "FileCannotOpenException 2 5 named"}})
    EXPECT_EQ(Raises([&, name = name, access = access] { MemoryMapFile(P(name), access); }, name), raised);
  EXPECT_TRUE(::RemoveDirectoryA(P("d").c_str()));
  Put("f", std::string(1000, 'x'));
#define ORV_FAIL(call, error) \
  [](FileCalls& c) { orvtest::g_fakeError = error, c.call = orvtest::Failing<decltype(c.call)>::Call; }
  const std::tuple<void (*)(FileCalls&), void (*)(MemoryMapFile&), const char*> rows[] = {
      {ORV_FAIL(MapViewOfFile, ERROR_NOT_ENOUGH_MEMORY), [](MemoryMapFile& f) { (void)f.Map(10, 10); },
       "FileException 6 8 named"},
      {ORV_FAIL(FlushViewOfFile, ERROR_LOCK_VIOLATION), [](MemoryMapFile& f) { f.Map(10, 10).Flush(); },
       "FileException 9 33 named"},
      // The real unmap happens, so that nothing stays mapped; only its answer is a failure.
      {[](FileCalls& c) { c.UnmapViewOfFile = UnmapAndFail; }, [](MemoryMapFile& f) { f.Map(10, 10).Unmap(); },
       "FileException 9 87 named"},
  };
#undef ORV_FAIL
  for (const auto& [arm, operate, raised] : rows) {
    {
      orvtest::HandleCount guard;
      MemoryMapFile file(P("f"), Access::ReadWrite);
      arm(guard.Calls());
      EXPECT_EQ(Raises([&, operate = operate] { operate(file); }, "f"), raised);
    }
    EXPECT_EQ(orvtest::HandleCount::closed, orvtest::HandleCount::opened) << raised;
  }
  Remove("f");
}

}  // namespace
