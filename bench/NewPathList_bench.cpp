// Recursive directory listing over a generated tree of 20,000 files in 200
// directories: the plain Win32 recursion and std::filesystem, and the
// library's listing when NewPathT<wchar>::GetFileList is there. Rows and notes
// on stdout as in NewPath_bench; progress on stderr.
#include "win32.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "BenchClock.h"
#include "ORVFileException.h"
#include "ORVNewPath.h"

namespace {

using ORVFile::NewPathW;
using ORVFile::PathType;

constexpr int kTopDirs = 20;
constexpr int kSubDirs = 9;  // under each top directory: 20 * (1 + 9) = 200 directories
constexpr int kFilesPerDir = 100;
constexpr std::size_t kDirs = kTopDirs * (1 + kSubDirs);
constexpr std::size_t kEntries = kDirs * (1 + kFilesPerDir);  // every file and directory below the root
constexpr int kRuns = 5;

[[noreturn]] void Fail(const char* what, const std::wstring& path) {
  std::string text = what;
  text += " failed on ";
  for (wchar_t c : path) text += c < 128 ? static_cast<char>(c) : '?';
  text += " (Win32 error " + std::to_string(::GetLastError()) + ")";
  throw std::runtime_error(text);
}

bool IsDotOrDotDot(const wchar_t* name) {
  return name[0] == L'.' && (name[1] == 0 || (name[1] == L'.' && name[2] == 0));
}

void RemoveTree(const std::wstring& dir) {
  WIN32_FIND_DATAW data;
  const HANDLE find = ::FindFirstFileExW((dir + L"\\*").c_str(), FindExInfoBasic, &data, FindExSearchNameMatch, nullptr,
                                         FIND_FIRST_EX_LARGE_FETCH);
  if (find != INVALID_HANDLE_VALUE) {
    do {
      if (IsDotOrDotDot(data.cFileName)) continue;
      const std::wstring path = dir + L'\\' + data.cFileName;
      if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        RemoveTree(path);
      } else {
        ::DeleteFileW(path.c_str());
      }
    } while (::FindNextFileW(find, &data));
    ::FindClose(find);
  }
  ::RemoveDirectoryW(dir.c_str());
}

// The tree lives under the temporary directory and goes when this does.
class TempTree {
 public:
  TempTree() {
    wchar_t temp[MAX_PATH];
    const DWORD length = ::GetTempPathW(MAX_PATH, temp);
    if (length == 0 || length >= MAX_PATH) Fail("GetTempPathW", L"");
    root_ = std::wstring(temp, length) + L"ORVListBench-" + std::to_wstring(::GetCurrentProcessId()) + L"-" +
            std::to_wstring(::GetTickCount64());
    if (!::CreateDirectoryW(root_.c_str(), nullptr)) Fail("CreateDirectoryW", root_);
    for (int top = 0; top < kTopDirs; ++top) {
      const std::wstring topDir = root_ + L"\\dir" + std::to_wstring(top);
      MakeDir(topDir);
      for (int sub = 0; sub < kSubDirs; ++sub) MakeDir(topDir + L"\\sub" + std::to_wstring(sub));
    }
  }
  ~TempTree() { RemoveTree(root_); }
  TempTree(const TempTree&) = delete;
  TempTree& operator=(const TempTree&) = delete;

  const std::wstring& Root() const { return root_; }

 private:
  static void MakeDir(const std::wstring& dir) {
    if (!::CreateDirectoryW(dir.c_str(), nullptr)) Fail("CreateDirectoryW", dir);
    for (int i = 0; i < kFilesPerDir; ++i) {
      const std::wstring file = dir + L"\\file" + std::to_wstring(i) + L".dat";
      const HANDLE h =
          ::CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
      if (h == INVALID_HANDLE_VALUE) Fail("CreateFileW", file);
      ::CloseHandle(h);
    }
  }

  std::wstring root_;
};

// Peer: the plain recursion a caller would write.
void Walk(const std::wstring& dir, std::vector<std::wstring>& out) {
  WIN32_FIND_DATAW data;
  const HANDLE find = ::FindFirstFileExW((dir + L"\\*").c_str(), FindExInfoBasic, &data, FindExSearchNameMatch, nullptr,
                                         FIND_FIRST_EX_LARGE_FETCH);
  if (find == INVALID_HANDLE_VALUE) return;
  do {
    if (IsDotOrDotDot(data.cFileName)) continue;
    out.push_back(dir + L'\\' + data.cFileName);
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
        (data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
      const std::wstring sub = out.back();  // out may grow while walking it
      Walk(sub, out);
    }
  } while (::FindNextFileW(find, &data));
  ::FindClose(find);
}

std::size_t ListWithWin32(const std::wstring& root) {
  std::vector<std::wstring> paths;
  Walk(root, paths);
  return paths.size();
}

// Peer: the standard library.
std::size_t ListWithFilesystem(const std::wstring& root) {
  std::vector<std::wstring> paths;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) paths.push_back(entry.path().native());
  return paths.size();
}

// The library's listing, the same job as the peers: every entry, recursively.
std::size_t ListWithLibrary(const std::wstring& root) {
  const NewPathW dir(root, PathType::Directory, true);
  std::vector<NewPathW> paths;
  dir.GetFileList(paths, L"*", true, NewPathW::NP_DEFAULT_ADV_OPTIONS);
  return paths.size();
}

// Entries per second of one listing; the count it found comes back too.
template <class List>
double Rate(List list, std::size_t& count) {
  const double start = Now();
  count = list();
  return static_cast<double>(count) / (Now() - start);
}

void Check(const char* who, std::size_t count) {
  if (count != kEntries) {
    throw std::runtime_error(std::string(who) + " found " + std::to_string(count) + " entries, not " +
                             std::to_string(kEntries));
  }
}

int Run() {
  std::fprintf(stderr, "NewPathList_bench: creating %zu files in %zu directories\n", kDirs * kFilesPerDir, kDirs);
  const TempTree tree;
  const std::wstring& root = tree.Root();

  // The first runs also warm the cache, for all three alike.
  Check("GetFileList", ListWithLibrary(root));
  Check("FindFirstFileExW recursion", ListWithWin32(root));
  Check("recursive_directory_iterator", ListWithFilesystem(root));

  std::fprintf(stderr, "NewPathList_bench: listing, %d runs\n", kRuns);
  std::size_t count = 0;
  std::vector<double> win32, filesystem, library;
  for (int run = 0; run < kRuns; ++run) {
    win32.push_back(Rate([&] { return ListWithWin32(root); }, count));
    filesystem.push_back(Rate([&] { return ListWithFilesystem(root); }, count));
    library.push_back(Rate([&] { return ListWithLibrary(root); }, count));
  }
  const double win32Rate = Median(win32);
  const double filesystemRate = Median(filesystem);
  const double libraryRate = Median(library);
  const std::string figure = "NewPathW::GetFileList, " + std::to_string(kEntries) + " entries";
  std::printf("%s\t%.0f\tFindFirstFileExW recursion\t%.0f\tentries/s\t%.4f\t1\n", figure.c_str(), libraryRate,
              win32Rate, 1 / 1.2);
  std::printf("%s\t%.0f\tstd::filesystem::recursive_directory_iterator\t%.0f\tentries/s\t1.0\t1\n", figure.c_str(),
              libraryRate, filesystemRate);
  return 0;
}

}  // namespace

int main() {
  // Rows end in "\n", not "\r\n".
  _setmode(_fileno(stdout), _O_BINARY);
  try {
    return Run();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "NewPathList_bench: %s\n", e.what());
  } catch (const ORVFile::FileException& e) {
    std::fprintf(stderr, "NewPathList_bench: %ls\n", e.What().c_str());
  }
  return 1;
}
