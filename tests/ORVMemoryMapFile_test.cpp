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
#include <vector>

#include "ORVFileTestSupport.h"
#include "ORVMemoryMapFile.h"

namespace {

using ORVFile::MemoryMapFile;
using ORVFile::MemoryMapView;
using ORVFile::detail::FileCalls;
using Access = MemoryMapFile::Access;

using MemoryMapFileTest = orvtest::TempDirTest;

// Random views over a file against its bytes: any offset (the system maps from 64 KiB boundaries), to the end
// when the length is 0; what is written through a view reaches the file, also from a view that outlives its file
// object, and an unmapped view holds nothing.
TEST_F(MemoryMapFileTest, RandomViewsAgainstTheBytesAndAFileAboveFourGiB) {
  std::mt19937 random(11);
  std::string bytes(200000, '\0');
  for (char& c : bytes) c = static_cast<char>(random());
  Put("f", bytes);
  std::vector<MemoryMapView> late;
  {
    const std::string path = P("f");
    MemoryMapFile file(std::wstring(path.begin(), path.end()), Access::ReadWrite);
    for (int step = 0; step < 300 * orvtest::TestScale(); ++step) {
      const std::uint64_t offset = random() % bytes.size();
      const std::size_t rest = bytes.size() - offset,
                        length = step % 4 ? 1 + random() % std::min<std::size_t>(rest, 70000) : 0;
      MemoryMapView view = file.Map(offset, length);
      ASSERT_TRUE(view.Size() == (length ? length : rest) && view.Offset() == offset) << offset;
      ASSERT_EQ(std::memcmp(view.Data(), bytes.data() + offset, view.Size()), 0) << offset;
      const std::size_t at = random() % view.Size();
      bytes[offset + at] = static_cast<char>(view.Data()[at] = static_cast<unsigned char>(step));
      if (step % 5 == 0) view.Flush();
      if (step % 7 == 0) late.push_back(std::move(view));
      if (step % 3 == 0) view.Unmap();
      const bool held = step % 7 != 0 && step % 3 != 0;
      ASSERT_TRUE(view.IsMapped() == held && (view.Data() != nullptr) == held) << step;
    }
    EXPECT_EQ(Raises([&] { (void)file.Map(199999, 2); }, "f"), "FileException 6 87 named") << "beyond the end";
  }
  for (MemoryMapView& view : late) {
    bytes[view.Offset()] = static_cast<char>(view.Data()[0] = 'L');
    view = MemoryMapView();  // unmaps; the last hold on the mapping goes
  }
  EXPECT_EQ(Got("f"), bytes);
  Remove("f");
  // A file above 4 GiB: sparse where the system allows it, so it costs no disk space.
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
  const std::tuple<void (*)(FileCalls&), void (*)(MemoryMapFile&), const char*> rows[] = {
      {ORV_FAIL(MapViewOfFile, ERROR_NOT_ENOUGH_MEMORY), [](MemoryMapFile& f) { (void)f.Map(10, 10); },
       "FileException 6 8 named"},
      {ORV_FAIL(FlushViewOfFile, ERROR_LOCK_VIOLATION), [](MemoryMapFile& f) { f.Map(10, 10).Flush(); },
       "FileException 9 33 named"},
      // The real unmap happens, so that nothing stays mapped; only its answer is a failure.
      {[](FileCalls& c) { c.UnmapViewOfFile = UnmapAndFail; }, [](MemoryMapFile& f) { f.Map(10, 10).Unmap(); },
       "FileException 9 87 named"},
  };
  for (const auto& [arm, operate, raised] : rows) {
    SCOPED_TRACE(raised);
    orvtest::HandleCount guard;  // outlives the file, so it sees it closed
    MemoryMapFile file(P("f"), Access::ReadWrite);
    arm(guard.Calls());
    EXPECT_EQ(Raises([&, operate = operate] { operate(file); }, "f"), raised);
  }
  Remove("f");
}

}  // namespace
