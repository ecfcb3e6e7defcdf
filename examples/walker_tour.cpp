// A tour of the directory walker: a small tree under the temporary directory
// is walked until a handler stops at the first file under "logs"; a second
// walker then resumes from that file. The tree is removed at the end.
#include "win32.h"

#include <cstdio>
#include <string>
#include <utility>

#include "ORVDirectoryWalker.h"
#include "ORVFileException.h"
#include "ORVHandle.h"
#include "ORVPath.h"
#include "TourMain.h"

using namespace ORVFile;

namespace {

// Prints each file below the root; answers false at the first one whose
// directory is stopAt (none when stopAt is empty), and remembers it.
class Printer : public DirectoryWalkerHandler {
 public:
  Printer(std::string root, std::string stopAt) : m_root(std::move(root)), m_stopAt(std::move(stopAt)) {}

  bool HandleFile(const Path& file) override {
    const bool stop = !m_stopAt.empty() && Path(file.Directory()) == m_stopAt;
    std::printf("  %s%s\n", file.FullPath().substr(m_root.size() + 1).c_str(), stop ? "   <- stop" : "");
    if (stop) m_stoppedAt = file.FullPath();
    return !stop;
  }
  const std::string& StoppedAt() const { return m_stoppedAt; }

 private:
  std::string m_root, m_stopAt, m_stoppedAt;
};

void MakeFile(const std::string& path) {
  Path(Path(path).Directory()).Create();
  const ORV::Handle file(::CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
}

void Tour(const std::string& root) {
  for (const char* name : {"a.txt", "b.txt", "logs\\c.txt", "logs\\d.txt", "z.txt"}) MakeFile(root + "\\" + name);
  std::printf("A tree under %s\n\nFirst walk, stopping at the first file in \"logs\":\n", root.c_str());
  const SmartPtr<Printer> first(new Printer(root, root + "\\logs"));
  DirectoryWalker walker;
  walker.AddHandler(first);
  walker.Walk(Path(root), DirectoryWalker::DEFAULT_PATH_FILTER, true, "");
  std::printf("Stopped: %s\n\n", walker.HasBeenStopped() ? "yes" : "no");

  std::printf("A new walker, starting from %s:\n", first->StoppedAt().substr(root.size() + 1).c_str());
  DirectoryWalker resumed;
  resumed.AddHandler(SmartPtr<Printer>(new Printer(root, "")));
  resumed.Walk(Path(root), DirectoryWalker::DEFAULT_PATH_FILTER, true, first->StoppedAt());
}

}  // namespace

int main() {
  char temp[MAX_PATH];
  const DWORD length = ::GetTempPathA(MAX_PATH, temp);
  const std::string root = std::string(temp, length) + "orvfile-walker-tour-" + std::to_string(::GetCurrentProcessId());
  const int status = TourMain("Directory walker", [&] { Tour(root); });
  try {
    Path(root).RecursiveDelete(true);
    std::printf("Removed the tree; it exists: %s\n\n", Path(root).IsValid() ? "yes" : "no");
  } catch (const FileException& e) {
    std::printf("Could not remove the tree: %ls\n", e.What().c_str());
    return 1;
  }
  return status;
}
