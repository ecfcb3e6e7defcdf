// A tour of the path template: a path built from a text with forward slashes,
// taken apart, created with its missing parents, found again by a filtered
// listing, then removed. Everything happens under a fresh directory in the
// user's temporary directory.
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ORVFileException.h"
#include "ORVNewPath.h"

using namespace ORVFile;

namespace {

std::string TempDirectory() {
  char dir[MAX_PATH];
  const DWORD length = ::GetTempPathA(MAX_PATH, dir);
  return std::string(dir, length) + "orvfile-paths-tour-" + std::to_string(::GetCurrentProcessId());
}

void Decompose(const NewPath& path) {
  std::printf("  RawPath    %s\n", path.RawPath().c_str());
  std::printf("  Root       %s\n", path.Root().c_str());
  std::printf("  Drive      %s\n", path.Drive().c_str());
  std::printf("  Directory  %s\n", path.Directory().c_str());
  std::printf("  Name       %s\n", path.Name().c_str());
  std::printf("  Extension  %s\n", path.Extension().c_str());
  std::printf("  complete %s, exists %s\n", path.IsComplete() ? "yes" : "no", path.Exists() ? "yes" : "no");
}

void Tour(const std::string& base) {
  // As an application would write "c:/data/new/report.txt".
  std::string text = base + "/data/new/report.txt";
  for (char& c : text)
    if (c == '\\') c = '/';
  NewPath report(text, PathType::File, true);
  std::printf("Parsed \"%s\":\n", text.c_str());
  Decompose(report);

  report.Create();  // makes "data" and "new" first
  std::printf("\nCreated it with its missing parents; exists now: %s, size %llu bytes.\n",
              report.Exists() ? "yes" : "no", static_cast<unsigned long long>(report.Size()));
  NewPath(base + "\\data\\notes.md", PathType::File, true).Create();

  const NewPath data(base + "\\data", PathType::Directory, true);
  std::vector<NewPath> found;
  data.GetFileList(found, "*.TXT", true, NewPath::NP_DEFAULT_ADV_OPTIONS);
  std::printf("\nListing %s recursively for \"*.TXT\" (names are compared in lower case):\n", data.RawPath().c_str());
  for (const NewPath& entry : found) std::printf("  %s\n", entry.RawPath().c_str());

  NewPath(base, PathType::Directory, true).Delete();
  std::printf("\nRemoved the tree; \"%s\" exists: %s\n", report.Name().c_str(),
              NewPath::PathExists(report.RawPath()) ? "yes" : "no");

  try {
    NewPath("c:/data/CON", PathType::File, true);
  } catch (const InvalidPathException&) {
    std::printf("\"c:/data/CON\" is refused under validation: CON is a device name.\n");
  }
}

}  // namespace

int main() {
  std::printf("== Paths ==\n\n");
  try {
    Tour(TempDirectory());
  } catch (const FileException& e) {
    std::printf("failed: %ls\n", e.What().c_str());
    return 1;
  }
  std::printf("\n");
  return 0;
}
