#include "win32.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "ORVDirectoryChangeSource.h"
#include "ORVFileException.h"
#include "ORVObserverTestSupport.h"

using namespace ORVFile;
using namespace orvtest;
using ORV::EventSemaphore;
using Calls = std::vector<std::wstring>;

namespace {

// Logs what the source hands over ("A:", "R:", "M:" with the path as the
// source gives it; "L:" and the directory for a loss).
class Collector : public DirectoryObserverCallInterface {
 public:
  void ChangesOccurred(const std::vector<DeviceEvent>& events) override {
    if (gate && !gate->Wait(kPatience)) ADD_FAILURE() << "gate never opened";
    for (const DeviceEvent& e : events) log.Add(std::wstring(1, L"MAR"[e.kind]) + L":" + e.path);
  }
  void ChangesLost(const std::wstring& directory) override { log.Add(L"L:" + directory); }

  Log log;
  EventSemaphore* gate = nullptr;  // set before the source starts: holds up each batch
};

/// Without modifications, which the system may coalesce or repeat.
Calls Unmodified(const Calls& calls) {
  Calls result;
  for (const std::wstring& c : calls)
    if (c[0] != L'M') result.push_back(c);
  return result;
}

class ChangeSourceTest : public TempDirTest {
 protected:
  void Create(const std::wstring& name) { Write(P(name), "created"); }
  void Remove(const std::wstring& name) { EXPECT_TRUE(::DeleteFileW(P(name).c_str())) << ::GetLastError(); }
};

}  // namespace

TEST_F(ChangeSourceTest, ReportsAddsRemovalsAndRenamesInTheirOrderAndLeavesNothingBehind) {
  ASSERT_TRUE(::CreateDirectoryW(P(L"Old").c_str(), nullptr));
  // The system may set up its notification machinery at the process's first
  // watch and keep it: that watch is not counted.
  DirectoryChangeSource(WPath(m_dir), false, SmartPtr<Collector>(new Collector));
  const Resources before = TakeResources();
  {
    SmartPtr<Collector> collector(new Collector);
    DirectoryChangeSource source(WPath(m_dir + L"/"), false, collector);
    EXPECT_EQ(source.Directory(), m_dir);
    Create(L"a.txt");
    Write(P(L"a.txt"), " and modified");
    ASSERT_TRUE(::MoveFileW(P(L"a.txt").c_str(), P(L"b.txt").c_str()));
    Remove(L"b.txt");
    ASSERT_TRUE(::CreateDirectoryW(P(L"d").c_str(), nullptr));
    Create(L"Old\\deeper.txt");  // not watched: the source is not recursive
    Create(L"zz.end");
    ASSERT_TRUE(collector->log.WaitFor(L"A:" + P(L"zz.end")));
    EXPECT_EQ(Unmodified(collector->log.Calls()), (Calls{L"A:" + P(L"a.txt"), L"R:" + P(L"a.txt"), L"A:" + P(L"b.txt"),
                                                         L"R:" + P(L"b.txt"), L"A:" + P(L"d"), L"A:" + P(L"zz.end")}));
  }
  ExpectNothingLeftBehind(before);
  Remove(L"zz.end");
  Remove(L"Old\\deeper.txt");
  ASSERT_TRUE(::RemoveDirectoryW(P(L"Old").c_str()));
  ASSERT_TRUE(::RemoveDirectoryW(P(L"d").c_str()));
}

TEST_F(ChangeSourceTest, WatchesSubdirectoriesWhenRecursive) {
  ASSERT_TRUE(::CreateDirectoryW(P(L"old").c_str(), nullptr));
  {
    SmartPtr<Collector> collector(new Collector);
    DirectoryChangeSource source(WPath(m_dir), true, collector);
    ASSERT_TRUE(::CreateDirectoryW(P(L"new").c_str(), nullptr));
    ASSERT_TRUE(collector->log.WaitFor(L"A:" + P(L"new")));
    for (const wchar_t* name : {L"old\\x.txt", L"new\\y.txt", L"end"}) Create(name);
    for (const wchar_t* name : {L"old\\x.txt", L"new\\y.txt"}) Remove(name);
    ASSERT_TRUE(collector->log.WaitFor(L"R:" + P(L"new\\y.txt")));
    Calls inOld, elsewhere;
    for (const std::wstring& c : Unmodified(collector->log.Calls()))
      (c.find(P(L"old\\")) == 2 ? inOld : elsewhere).push_back(c);
    EXPECT_EQ(elsewhere,
              (Calls{L"A:" + P(L"new"), L"A:" + P(L"new\\y.txt"), L"A:" + P(L"end"), L"R:" + P(L"new\\y.txt")}));
    // Wine 8 watches only the subdirectories made after the watch began (it
    // adds an inotify watch as each appears); Windows watches the whole tree.
    if (!UnderWine()) {
      EXPECT_EQ(inOld, (Calls{L"A:" + P(L"old\\x.txt"), L"R:" + P(L"old\\x.txt")}));
    }
  }
  Remove(L"end");
  ASSERT_TRUE(::RemoveDirectoryW(P(L"old").c_str()));
  ASSERT_TRUE(::RemoveDirectoryW(P(L"new").c_str()));
}

TEST_F(ChangeSourceTest, RefusesWhatItCannotWatchWithMessageOne) {
  Create(L"plain.txt");
  const std::pair<std::wstring, unsigned> rows[] = {
      {P(L"missing"), ERROR_FILE_NOT_FOUND},
      {P(L"missing\\below"), ERROR_PATH_NOT_FOUND},
      {P(L"plain.txt"), 0},  // opens, then cannot be watched: any error
  };
  for (const auto& [path, error] : rows) {
    try {
      DirectoryChangeSource source(WPath(path), false, SmartPtr<Collector>(new Collector));
      ADD_FAILURE() << "nothing thrown";
    } catch (const FileCannotOpenException& e) {
      EXPECT_EQ(e.Info()->Number(), 1u);
      EXPECT_EQ(e.Info()->Arguments().at(0), path);
      EXPECT_EQ(e.Info()->LastError() != 0 && (error == 0 || e.Info()->LastError() == error), true)
          << e.Info()->LastError();
    }
  }
  Remove(L"plain.txt");
}

TEST_F(ChangeSourceTest, AnOverflowIsReportedNeverSilent) {
  EventSemaphore gate(true, false);
  SmartPtr<Collector> collector(new Collector);
  collector->gate = &gate;
  {
    // Room for a few notifications only, and the first batch held up while
    // two hundred more pile up.
    DirectoryChangeSource source(WPath(m_dir), false, collector, 256);
    for (int i = 0; i < 200; ++i) Create(L"f" + std::to_wstring(i));
    gate.Set();
    ASSERT_TRUE(collector->log.WaitFor(L"L:" + m_dir));
  }
  for (int i = 0; i < 200; ++i) Remove(L"f" + std::to_wstring(i));
}

// Creating, modifying, renaming and deleting 2,000 files in a watched tree:
// what the observer's handlers were told agrees with the disk, unless the
// source reported a loss.
TEST_F(ChangeSourceTest, TwoThousandFilesThroughTheObserverAgreeWithTheDisk) {
  Log log;
  SmartPtr<Recorder> observer(new Recorder(log));
  SmartPtr<ObserverFeed> feed(new ObserverFeed(observer, nullptr));
  std::set<std::wstring> known{L"A:" + Lowered(P(L"end")), L"M:" + Lowered(P(L"end"))}, removed, present;
  {
    DirectoryChangeSource source(WPath(m_dir), true, feed, 256 * 1024);
    for (int d = 0; d < 10; ++d) {  // made under the watch: Wine watches no older subdirectory
      ASSERT_TRUE(::CreateDirectoryW(P(L"D" + std::to_wstring(d)).c_str(), nullptr));
      ASSERT_TRUE(log.WaitFor(L"D:" + Lowered(P(L"D" + std::to_wstring(d)))));
      for (int f = 0; f < 200; ++f) {
        std::wstring path = P(L"D" + std::to_wstring(d) + L"\\File" + std::to_wstring(f));
        Write(path, "new");
        known.insert(L"A:" + Lowered(path));
        known.insert(L"M:" + Lowered(path));
        if (f % 3 == 0) Write(path, " and more");
        if (f % 5 == 0) {
          ASSERT_TRUE(::MoveFileW(path.c_str(), (path + L".ren").c_str()));
          removed.insert(L"R:" + Lowered(path));
          path += L".ren";
          known.insert(L"A:" + Lowered(path));
          known.insert(L"M:" + Lowered(path));
        }
        const bool remove = f % 7 == 0;
        ASSERT_TRUE(!remove || ::DeleteFileW(path.c_str()));
        (remove ? removed : present).insert((remove ? L"R:" : L"A:") + Lowered(path));
      }
    }
    Create(L"end");
    ASSERT_TRUE(log.WaitUntil([&](const Calls& calls) {
      return feed->Losses() > 0 || (!calls.empty() && calls.back() == L"A:" + Lowered(P(L"end")));
    }));
  }
  observer->Shutdown();
  if (feed->Losses() == 0) {
    const Calls calls = log.Calls();
    const std::set<std::wstring> told(calls.begin(), calls.end());
    for (const std::wstring& c : told) EXPECT_TRUE(c[0] == L'R' || c[0] == L'D' || known.count(c)) << c.c_str();
    for (const auto& expected : {present, removed}) {
      for (const std::wstring& c : expected) EXPECT_EQ(told.count(c), 1u) << c.c_str();
    }
  } else {
    GTEST_LOG_(INFO) << "the source reported a loss: nothing to compare";
  }
  for (const std::wstring& c : present) EXPECT_TRUE(::DeleteFileW(c.substr(2).c_str()));
  for (int d = 0; d < 10; ++d) EXPECT_TRUE(::RemoveDirectoryW(P(L"D" + std::to_wstring(d)).c_str()));
  Remove(L"end");
}
