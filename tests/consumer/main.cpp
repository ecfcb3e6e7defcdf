// Uses the installed library from outside: makes and lists a scratch directory
// through NewPathW, catches a failure by its exception type, and reads the
// fixed version of every module of the family, which must sit beside this
// program. Prints what it checked; exits 0 only when every check held.
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ORVFileException.h"
#include "ORVNewPath.h"

using ORVFile::NewPathW;

namespace {

int g_failures = 0;

void Check(bool ok, const std::wstring& what) {
  std::wprintf(L"%ls %ls\n", ok ? L"ok  " : L"FAIL", what.c_str());
  if (!ok) ++g_failures;
}

void UseScratchDirectory() {
  wchar_t temp[MAX_PATH + 1];
  const DWORD length = ::GetTempPathW(MAX_PATH + 1, temp);
  const std::wstring root = std::wstring(temp, length) + L"orv-consumer-" + std::to_wstring(::GetCurrentProcessId());
  NewPathW(root + L"\\sub\\c.txt").Create();  // makes the directories first
  NewPathW dir(root, ORVFile::PathType::Directory);
  std::vector<NewPathW> found;
  dir.GetFileList(found, L"*.TXT", true, NewPathW::NP_DEFAULT_ADV_OPTIONS);
  Check(found.size() == 1 && found[0].Name() == L"c.txt", L"c.txt listed under " + dir.FullPath());
  dir.Delete();
  Check(!NewPathW::PathExists(root), L"the scratch directory is gone");

  // The exception type crosses the module boundary, with its catalogue text.
  try {
    NewPathW(root + L"\\missing.txt").Delete();
    Check(false, L"deleting a missing file throws");
  } catch (const ORVFile::FileCannotDeleteException& e) {
    Check(e.What().find(L"missing.txt") != std::wstring::npos, L"FileCannotDeleteException: " + e.What());
  }
}

void CheckVersionResource(const std::wstring& module) {
  const std::wstring file = module + L".dll";  // found beside the program
  DWORD handle = 0;
  std::vector<char> block(::GetFileVersionInfoSizeW(file.c_str(), &handle));
  void* value = nullptr;
  UINT length = 0;
  const bool found = !block.empty() && ::GetFileVersionInfoW(file.c_str(), 0, block.size(), block.data()) &&
                     ::VerQueryValueW(block.data(), L"\\", &value, &length) && length >= sizeof(VS_FIXEDFILEINFO);
  const auto* info = static_cast<const VS_FIXEDFILEINFO*>(value);
  const DWORD high = MAKELONG(ORV_EXPECTED_MINOR, ORV_EXPECTED_MAJOR);
  const DWORD low = MAKELONG(0, ORV_EXPECTED_PATCH);
  Check(found && info->dwSignature == VS_FFI_SIGNATURE && info->dwFileVersionMS == high &&
            info->dwFileVersionLS == low && info->dwProductVersionMS == high && info->dwProductVersionLS == low &&
            info->dwFileType == VFT_DLL,
        module + L": version " + std::to_wstring(ORV_EXPECTED_MAJOR) + L"." + std::to_wstring(ORV_EXPECTED_MINOR) +
            L"." + std::to_wstring(ORV_EXPECTED_PATCH) + L".0, a DLL");
}

}  // namespace

int main() {
  try {
    UseScratchDirectory();
  } catch (const ORVFile::FileException& e) {
    Check(false, L"unexpected FileException: " + e.What());
  }
  for (const wchar_t* module :
       {L"ORVFile160NT", L"ORVBase160NT", L"ORV160NT", L"ORVThread160NT", L"ORVCharset160NT", L"ORVMem160NT"})
    CheckVersionResource(module);
  // The test passes on this line, not on the exit code alone: under Wine a
  // crash can still end a program with exit code 0.
  if (g_failures == 0)
    std::wprintf(L"all checks held\n");
  else
    std::wprintf(L"%d check(s) failed\n", g_failures);
  return g_failures == 0 ? 0 : 1;
}
