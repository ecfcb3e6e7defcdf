// DirectoryWalker::Walk over a generated tree of 20,000 files in 200
// directories, one handler that counts, against the plain recursion over
// FindFirstFileExW a caller would write. One row on stdout as in the other
// programs; progress on stderr.
#include "win32.h"

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchClock.h"
#include "BenchMain.h"
#include "ORVDirectoryWalker.h"
#include "ORVFileException.h"
#include "ORVHandle.h"
#include "ORVPath.h"

namespace {

using ORVFile::DirectoryWalker;
using ORVFile::Path;

constexpr int kRuns = 5;

// The tree, made and removed through the library's own path class: 20 top
// directories of 9 subdirectories each, so 200 directories of 100 empty files.
class Tree {
 public:
  static constexpr int kTopDirs = 20;
  static constexpr int kSubDirs = 9;
  static constexpr int kFilesPerDir = 100;
  static constexpr int kDirs = kTopDirs * (1 + kSubDirs);
  static constexpr std::size_t kFiles = kDirs * kFilesPerDir;

  Tree() {
    char temp[MAX_PATH];
    const DWORD length = ::GetTempPathA(MAX_PATH, temp);
    m_root = std::string(temp, length) + "ORVWalkBench-" + std::to_string(::GetCurrentProcessId()) + "-" +
             std::to_string(::GetTickCount64());
    for (int top = 0; top < kTopDirs; ++top) {
      const std::string dir = m_root + "\\dir" + std::to_string(top);
      Fill(dir);
      for (int sub = 0; sub < kSubDirs; ++sub) Fill(dir + "\\sub" + std::to_string(sub));
    }
  }
  ~Tree() {
    try {
      Path(m_root).RecursiveDelete(true);
    } catch (const ORVFile::FileException& e) {
      std::fprintf(stderr, "DirectoryWalker_bench: %ls\n", e.What().c_str());
    }
  }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  const std::string& Root() const { return m_root; }

 private:
  static void Fill(const std::string& dir) {
    Path(dir).Create();
    for (int i = 0; i < kFilesPerDir; ++i) {
      const std::string file = dir + "\\file" + std::to_string(i) + ".dat";
      const ORV::Handle h(::CreateFileA(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
      if (!h) throw std::runtime_error("cannot create " + file + ", error " + std::to_string(::GetLastError()));
    }
  }

  std::string m_root;
};

class Counter : public ORVFile::DirectoryWalkerHandler {
 public:
  bool HandleFile(const Path&) override {
    ++m_count;
    return true;
  }
  std::size_t Count() const { return m_count; }

 private:
  std::size_t m_count = 0;
};

std::size_t WalkWithLibrary(const std::string& root) {
  const ORV::SmartPtr<Counter> counter(new Counter);
  DirectoryWalker walker;
  walker.AddHandler(counter);
  walker.Walk(Path(root), DirectoryWalker::DEFAULT_PATH_FILTER, true, "");
  return counter->Count();
}

bool IsDotOrDotDot(const wchar_t* name) {
  return name[0] == L'.' && (name[1] == 0 || (name[1] == L'.' && name[2] == 0));
}

// Peer: the recursion a caller would write, with each file's full path made
// as the walker makes it for its handlers.
void Recurse(const std::wstring& dir, std::size_t& files) {
  WIN32_FIND_DATAW data;
  const ORV::FindHandle find(::FindFirstFileExW((dir + L"\\*").c_str(), FindExInfoBasic, &data, FindExSearchNameMatch,
                                                nullptr, FIND_FIRST_EX_LARGE_FETCH));
  if (!find) return;
  do {
    if (IsDotOrDotDot(data.cFileName)) continue;
    const std::wstring path = dir + L'\\' + data.cFileName;
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      ++files;
    } else if ((data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
      Recurse(path, files);
    }
  } while (::FindNextFileW(find.Get(), &data));
}

std::size_t WalkWithWin32(const std::string& root) {
  std::size_t files = 0;
  Recurse(std::wstring(root.begin(), root.end()), files);
  return files;
}

double Rate(std::size_t (*walk)(const std::string&), const std::string& root, const char* who) {
  const double start = Now();
  const std::size_t count = walk(root);
  const double seconds = Now() - start;
  if (count != Tree::kFiles) {
    throw std::runtime_error(std::string(who) + " found " + std::to_string(count) + " files, not " +
                             std::to_string(Tree::kFiles));
  }
  return static_cast<double>(count) / seconds;
}

int Run() {
  std::fprintf(stderr, "DirectoryWalker_bench: creating %zu files in %d directories\n", Tree::kFiles, Tree::kDirs);
  const Tree tree;
  // The first runs also warm the cache, for both alike.
  Rate(WalkWithLibrary, tree.Root(), "DirectoryWalker");
  Rate(WalkWithWin32, tree.Root(), "FindFirstFileExW recursion");
  std::fprintf(stderr, "DirectoryWalker_bench: walking, %d runs\n", kRuns);
  std::vector<double> library, win32;
  for (int run = 0; run < kRuns; ++run) {
    library.push_back(Rate(WalkWithLibrary, tree.Root(), "DirectoryWalker"));
    win32.push_back(Rate(WalkWithWin32, tree.Root(), "FindFirstFileExW recursion"));
  }
  std::printf("DirectoryWalker::Walk, %zu files\t%.0f\tFindFirstFileExW recursion\t%.0f\tfiles/s\t%.4f\t1\n",
              Tree::kFiles, Median(library), Median(win32), 1 / 1.5);
  return 0;
}

}  // namespace

int main() { return BenchMain("DirectoryWalker_bench", Run); }
