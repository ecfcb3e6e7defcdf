// DirectoryWalker over one small tree in the shared fixture's fresh directory,
// against its model: the files in walk order (kAll), and a walk from a start
// file is the rest of that order.
#include "win32.h"

#include <gtest/gtest.h>

#include <cctype>

#include "ORVDirectoryWalker.h"
#include "ORVFileTestSupport.h"

namespace {

using ORVFile::DirectoryWalker;
using ORVFile::Path;
using Names = std::vector<std::string>;

const Names kAll = {"a.txt", "b.dat", "sub\\c.txt", "sub\\deep\\d.txt", "sub\\e.txt", "sub2\\f.txt", "z.txt"};

struct Handler : ORVFile::DirectoryWalkerHandler {
  explicit Handler(std::function<bool(const Path&)> handle) : handle(std::move(handle)) {}
  bool HandleFile(const Path& file) override { return handle(file); }
  std::function<bool(const Path&)> handle;
};

class DirectoryWalkerTest : public orvtest::TempDirTest {
 protected:
  void SetUp() override {
    TempDirTest::SetUp();
    Make({"sub\\", "sub\\deep\\", "sub2\\"});
    for (const std::string& name : kAll) Put(name, "");
  }
  // The tree goes with the directory; a handle left open makes that throw.
  void TearDown() override { EXPECT_NO_THROW(Path(m_dir).RecursiveDelete(false)); }
  // Notes each file below the directory in seen, and answers with answer.
  ORV::SmartPtr<ORVFile::DirectoryWalkerHandler> Record(
      Names& seen, std::function<bool()> answer = [] { return true; }) const {
    return ORV::SmartPtr<ORVFile::DirectoryWalkerHandler>(new Handler([this, &seen, answer](const Path& file) {
      seen.push_back(file.FullPath().substr(m_dir.size() + 1));
      return answer();
    }));
  }
  // What a walker given Record(m_seen) hands its handlers in one walk.
  Names Walk(DirectoryWalker& walker, const std::string& startFrom = "", const std::string& pattern = "*.*",
             bool recursive = true) {
    m_seen.clear();
    walker.Walk(Path(m_dir), pattern, recursive, startFrom);
    return m_seen;
  }
  Names m_seen;
};

TEST_F(DirectoryWalkerTest, WalksTheModelFromAnyStartAsTheHandlersDecide) {
  DirectoryWalker walker;
  walker.AddHandler(Record(m_seen));
  EXPECT_EQ(Walk(walker, "", "*.*", false), (Names{"a.txt", "b.dat", "z.txt"}));
  EXPECT_EQ(Walk(walker, "", "*.TXT"), (Names{"a.txt", "z.txt"})) << "\"sub\" does not match: not entered";
  // From each file, named in upper case: that file and what follows it; then the start is spent.
  for (std::size_t start = 0; start < kAll.size(); ++start) {
    DirectoryWalker from;
    from.AddHandler(Record(m_seen));
    std::string upper = P(kAll[start]);
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    EXPECT_EQ(Walk(from, upper), Names(kAll.begin() + start, kAll.end())) << kAll[start];
    EXPECT_EQ(Walk(from, P("z.txt")), kAll) << kAll[start];
  }
  DirectoryWalker never;
  never.AddHandler(Record(m_seen));
  EXPECT_TRUE(Walk(never, P("sub\\nothing.txt")).empty() && Walk(never, P("sub")).empty())
      << "a directory is never a start";
  // The last handler decides and a stop stays.
  for (const bool firstGoesOn : {false, true}) {
    DirectoryWalker walker;
    Names first;
    walker.AddHandler(Record(first, [&] { return firstGoesOn; }));
    walker.AddHandler(Record(m_seen, [&] { return !firstGoesOn; }));
    EXPECT_EQ(Walk(walker), firstGoesOn ? Names{"a.txt"} : kAll);
    EXPECT_EQ(first, m_seen) << "every handler sees the file that stops the walk";
    EXPECT_EQ(walker.HasBeenStopped(), firstGoesOn);
    EXPECT_EQ(Walk(walker).size(), firstGoesOn ? 0u : kAll.size()) << "a stopped walker stays stopped";
  }
  // A Stop that comes while a file is handled stands, whatever the answers.
  DirectoryWalker stopping;
  stopping.AddHandler(Record(m_seen, [&] { return stopping.Stop(), true; }));
  EXPECT_TRUE(Walk(stopping) == Names{"a.txt"} && stopping.HasBeenStopped());
  // A handler added while walking is called from the next walk on.
  DirectoryWalker growing;
  Names late;
  bool added = false;
  growing.AddHandler(Record(late, [&] {
    if (!added) growing.AddHandler(Record(late));
    return added = true;
  }));
  growing.Walk(Path(m_dir), "*.*", true, "");
  EXPECT_EQ(late.size(), kAll.size());
  // A handler's exception leaves the walk, the flags as they were.
  DirectoryWalker failing;
  failing.AddHandler(Record(late, []() -> bool { throw std::runtime_error("handler"); }));
  EXPECT_THROW(failing.Walk(Path(m_dir), "*.*", true, P("b.dat")), std::runtime_error);
  EXPECT_FALSE(failing.HasBeenStopped());
}

}  // namespace
