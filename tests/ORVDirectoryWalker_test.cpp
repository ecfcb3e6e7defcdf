// DirectoryWalker over one small tree, made fresh for each test under the
// temporary directory with the path class and removed by it afterwards:
//   a.txt  b.dat  sub\c.txt  sub\deep\d.txt  sub\e.txt  sub2\f.txt  z.txt
#include "win32.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ORVDirectoryWalker.h"
#include "ORVFileException.h"
#include "ORVHandle.h"

namespace {

using ORVFile::DirectoryWalker;
using ORVFile::DirectoryWalkerHandler;
using ORVFile::Path;
using Names = std::vector<std::string>;

const Names kAll = {"a.txt", "b.dat", "sub\\c.txt", "sub\\deep\\d.txt", "sub\\e.txt", "sub2\\f.txt", "z.txt"};

class Handler : public DirectoryWalkerHandler {
 public:
  explicit Handler(std::function<bool(const Path&)> answer) : m_answer(std::move(answer)) {}
  bool HandleFile(const Path& file) override { return m_answer(file); }

 private:
  std::function<bool(const Path&)> m_answer;
};

ORV::SmartPtr<DirectoryWalkerHandler> MakeHandler(std::function<bool(const Path&)> answer) {
  return ORV::SmartPtr<DirectoryWalkerHandler>(new Handler(std::move(answer)));
}

class DirectoryWalkerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char temp[MAX_PATH + 1];
    const DWORD length = ::GetTempPathA(MAX_PATH + 1, temp);
    m_root = std::string(temp, length) + "orvwalk-" + std::to_string(::GetCurrentProcessId()) + "-" +
             std::to_string(::GetTickCount64());
    ASSERT_TRUE(MakeTree());
  }
  void TearDown() override {
    Path(m_root).RecursiveDelete(true);
    EXPECT_FALSE(Path(m_root).IsValid());
  }

  bool MakeTree() const {
    for (const std::string& name : kAll) {
      Path(Path(In(name)).Directory()).Create();
      const ORV::Handle file(::CreateFileA(In(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
      if (!file) return false;
    }
    return true;
  }
  std::string In(const std::string& name) const { return m_root + "\\" + name; }

  // A handler that notes each file below the root and answers with answer.
  ORV::SmartPtr<DirectoryWalkerHandler> Recorder(Names& seen, std::function<bool(const Path&)> answer = nullptr) {
    return MakeHandler([this, &seen, answer](const Path& file) {
      seen.push_back(file.FullPath().substr(m_root.size() + 1));
      return answer ? answer(file) : true;
    });
  }
  void WalkRoot(DirectoryWalker& walker, const std::string& startFrom = "") const {
    walker.Walk(Path(m_root), DirectoryWalker::DEFAULT_PATH_FILTER, true, startFrom);
  }

  std::string m_root;
};

TEST_F(DirectoryWalkerTest, OrderPatternAndDepth) {
  struct Row {
    std::string pattern;
    bool recursive;
    Names expected;
  };
  const Row rows[] = {{"*.*", true, kAll},
                      {"*.*", false, {"a.txt", "b.dat", "z.txt"}},
                      {"*.TXT", true, {"a.txt", "z.txt"}}};  // "sub" does not match, so it is not entered
  for (const Row& row : rows) {
    SCOPED_TRACE(row.pattern);
    DirectoryWalker walker;
    Names seen;
    walker.AddHandler(Recorder(seen));
    walker.Walk(Path(m_root), row.pattern, row.recursive, "");
    EXPECT_EQ(seen, row.expected);
  }
  DirectoryWalker idle;  // no handler: visits, calls nothing
  WalkRoot(idle);
  EXPECT_FALSE(idle.HasBeenStopped());
}

TEST_F(DirectoryWalkerTest, LastHandlerDecides) {
  for (const bool firstGoesOn : {false, true}) {
    DirectoryWalker walker;
    Names first, last;
    walker.AddHandler(Recorder(first, [&](const Path&) { return firstGoesOn; }));
    walker.AddHandler(Recorder(last, [&](const Path&) { return !firstGoesOn; }));
    WalkRoot(walker);
    EXPECT_EQ(last, firstGoesOn ? Names{"a.txt"} : kAll);
    EXPECT_EQ(first, last);  // every handler sees the file that stops the walk
    EXPECT_EQ(walker.HasBeenStopped(), firstGoesOn);
  }
}

TEST_F(DirectoryWalkerTest, StartsFromAFileAlongItsRoute) {
  struct Row {
    std::string startFrom;
    Names expected;
  };
  const Row rows[] = {{In("SUB\\DEEP\\D.TXT"), {"sub\\deep\\d.txt", "sub\\e.txt", "sub2\\f.txt", "z.txt"}},
                      {m_root + "/sub/c.txt", {"sub\\c.txt", "sub\\deep\\d.txt", "sub\\e.txt", "sub2\\f.txt", "z.txt"}},
                      {In("sub\\nothing.txt"), {}},
                      {In("sub"), {}}};  // a directory is never a start
  for (const Row& row : rows) {
    SCOPED_TRACE(row.startFrom);
    DirectoryWalker walker;
    Names seen;
    walker.AddHandler(Recorder(seen));
    WalkRoot(walker, row.startFrom);
    EXPECT_EQ(seen, row.expected);
    if (row.expected.empty()) continue;
    // Reached once, the start is ignored from then on.
    seen.clear();
    WalkRoot(walker, In("z.txt"));
    EXPECT_EQ(seen, kAll);
  }
}

TEST_F(DirectoryWalkerTest, StoppedStaysStoppedAndFailuresKeepTheFlags) {
  DirectoryWalker walker;
  Names seen;
  walker.AddHandler(Recorder(seen, [](const Path& file) { return file.FileName() != "c.txt"; }));
  WalkRoot(walker);
  EXPECT_EQ(seen, (Names{"a.txt", "b.dat", "sub\\c.txt"}));
  WalkRoot(walker);
  EXPECT_EQ(seen.size(), 3u);

  // A handler added while walking is called from the next walk on.
  DirectoryWalker growing;
  Names late;
  bool added = false;
  growing.AddHandler(MakeHandler([&](const Path&) {
    if (!added) growing.AddHandler(Recorder(late));
    added = true;
    return true;
  }));
  WalkRoot(growing);
  EXPECT_TRUE(late.empty());
  WalkRoot(growing);
  EXPECT_EQ(late, kAll);

  DirectoryWalker failing;
  failing.AddHandler(MakeHandler([](const Path&) -> bool { throw std::runtime_error("handler"); }));
  EXPECT_THROW(WalkRoot(failing, In("b.dat")), std::runtime_error);
  EXPECT_FALSE(failing.HasBeenStopped());
}

TEST_F(DirectoryWalkerTest, StopFromAnotherThread) {
  const ORV::Handle inside(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  const ORV::Handle stopped(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  DirectoryWalker walker;
  Names seen;
  // The first file waits until the other thread has stopped the walk, then asks to go on: the stop stands.
  walker.AddHandler(Recorder(seen, [&](const Path&) {
    ::SetEvent(inside.Get());
    EXPECT_EQ(::WaitForSingleObject(stopped.Get(), 10000), WAIT_OBJECT_0);
    return true;
  }));
  std::thread stopper([&] {
    if (::WaitForSingleObject(inside.Get(), 10000) == WAIT_OBJECT_0) walker.Stop();
    ::SetEvent(stopped.Get());
  });
  WalkRoot(walker);
  stopper.join();
  EXPECT_EQ(seen, Names{"a.txt"});
  EXPECT_TRUE(walker.HasBeenStopped());
}

TEST_F(DirectoryWalkerTest, DirectoriesRemovedWhileWalking) {
  // By a handler: the directory it stands in, and one further on.
  DirectoryWalker walker;
  Names seen;
  walker.AddHandler(Recorder(seen, [this](const Path& file) {
    if (file.FileName() == "c.txt") Path(In("sub")).RecursiveDelete(true);
    return true;
  }));
  WalkRoot(walker);
  // e.txt was listed before it went; deep was not.
  EXPECT_EQ(seen, (Names{"a.txt", "b.dat", "sub\\c.txt", "sub\\e.txt", "sub2\\f.txt", "z.txt"}));

  // By another thread, again and again: each walk ends normally or with a file exception.
  std::atomic<bool> done(false);
  std::thread remover([&] {
    while (!done) {
      try {
        Path(In("sub")).RecursiveDelete(true);
        static_cast<void>(MakeTree());
      } catch (const ORVFile::FileException&) {
      }
    }
  });
  for (int i = 0; i < 50; ++i) {
    DirectoryWalker racing;
    Names seen;
    racing.AddHandler(Recorder(seen));
    try {
      WalkRoot(racing);
    } catch (const ORVFile::FileException&) {
    }
  }
  done = true;
  remover.join();
}

}  // namespace
