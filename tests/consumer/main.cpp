// Uses the installed library from outside: lists a scratch directory through
// NewPathW, catches a failure by its exception type, and reads the version
// resource of every module of the family, which must sit beside this program.
// Prints what it checked; exits 0 only when every check held.
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "ORVFileException.h"
#include "ORVNewPath.h"

using ORVFile::NewPathW;
using ORVFile::PathType;

namespace {

int g_failures = 0;

void Check(bool ok, const std::wstring& what) {
  std::wprintf(L"%ls %ls\n", ok ? L"ok  " : L"FAIL", what.c_str());
  if (!ok) ++g_failures;
}

std::wstring ProgramDirectory() {
  std::vector<wchar_t> buffer(MAX_PATH);
  for (;;) {
    const DWORD length = ::GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length < buffer.size()) {
      std::wstring path(buffer.data(), length);
      return path.substr(0, path.find_last_of(L'\\') + 1);
    }
    buffer.resize(buffer.size() * 2);
  }
}

void ListScratchDirectory() {
  wchar_t temp[MAX_PATH + 1];
  const DWORD length = ::GetTempPathW(MAX_PATH + 1, temp);
  const std::wstring root = std::wstring(temp, length) + L"orv-consumer-" + std::to_wstring(::GetCurrentProcessId());
  NewPathW dir(root, PathType::Directory);
  dir.Create();
  NewPathW(root + L"\\a.txt").Create();
  NewPathW(root + L"\\b.txt").Create();
  NewPathW(root + L"\\sub\\c.txt").Create();  // makes sub first

  std::vector<NewPathW> found;
  dir.GetFileList(found, L"*.TXT", false, NewPathW::NP_DEFAULT_ADV_OPTIONS);
  Check(found.size() == 2, L"two text files directly in " + dir.FullPath());
  found.clear();
  dir.GetFileList(found, L"*", true, NewPathW::NP_DEFAULT_ADV_OPTIONS);
  // The file system picks the order of a directory's entries; the listing
  // is pre-order, so sub stands before its own c.txt.
  std::vector<std::wstring> names;
  for (const NewPathW& entry : found) names.push_back(entry.Name() + (entry.IsDirectory() ? L"\\" : L""));
  const auto at = [&names](const wchar_t* name) { return std::find(names.begin(), names.end(), name) - names.begin(); };
  std::wstring listed;
  for (const std::wstring& name : names) listed += name + L" ";
  Check(names.size() == 4 && at(L"a.txt") < 4 && at(L"b.txt") < 4 && at(L"sub\\") < at(L"c.txt") && at(L"c.txt") < 4,
        L"recursive listing: " + listed);

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

std::wstring StringValue(const std::vector<char>& block, const wchar_t* name) {
  void* value = nullptr;
  UINT size = 0;
  const std::wstring key = std::wstring(L"\\StringFileInfo\\040904B0\\") + name;
  if (!::VerQueryValueW(block.data(), key.c_str(), &value, &size) || size == 0) return L"(none)";
  return static_cast<const wchar_t*>(value);
}

void CheckVersionResource(const std::wstring& directory, const std::wstring& module) {
  const std::wstring file = directory + module + L".dll";
  DWORD handle = 0;
  const DWORD size = ::GetFileVersionInfoSizeW(file.c_str(), &handle);
  std::vector<char> block(size);
  if (size == 0 || !::GetFileVersionInfoW(file.c_str(), 0, size, block.data())) {
    Check(false, module + L": no version resource (error " + std::to_wstring(::GetLastError()) + L")");
    return;
  }
  void* value = nullptr;
  UINT length = 0;
  const bool fixed = ::VerQueryValueW(block.data(), L"\\", &value, &length) && length >= sizeof(VS_FIXEDFILEINFO);
  const auto* info = static_cast<const VS_FIXEDFILEINFO*>(value);
  const DWORD high = MAKELONG(ORV_EXPECTED_MINOR, ORV_EXPECTED_MAJOR);
  const DWORD low = MAKELONG(0, ORV_EXPECTED_PATCH);
  Check(fixed && info->dwSignature == VS_FFI_SIGNATURE && info->dwFileVersionMS == high &&
            info->dwFileVersionLS == low && info->dwProductVersionMS == high && info->dwProductVersionLS == low &&
            info->dwFileType == VFT_DLL,
        module + L": file and product version " + std::to_wstring(ORV_EXPECTED_MAJOR) + L"." +
            std::to_wstring(ORV_EXPECTED_MINOR) + L"." + std::to_wstring(ORV_EXPECTED_PATCH) + L".0, a DLL");
  const std::wstring product = StringValue(block, L"ProductName");
  const std::wstring original = StringValue(block, L"OriginalFilename");
  const std::wstring description = StringValue(block, L"FileDescription");
  Check(product == L"ORVFile" && original == module + L".dll" && StringValue(block, L"InternalName") == module &&
            description.rfind(L"ORVFile ", 0) == 0,
        module + L": " + product + L", " + original + L", \"" + description + L"\"");
}

}  // namespace

int main() {
  try {
    ListScratchDirectory();
  } catch (const ORVFile::FileException& e) {
    Check(false, L"unexpected FileException: " + e.What());
  }
  const std::wstring directory = ProgramDirectory();
  for (const wchar_t* module :
       {L"ORVFile160NT", L"ORVBase160NT", L"ORV160NT", L"ORVThread160NT", L"ORVCharset160NT", L"ORVMem160NT"})
    CheckVersionResource(directory, module);
  // The test passes on this line, not on the exit code alone: under Wine a
  // crash can still end a program with exit code 0.
  if (g_failures == 0)
    std::wprintf(L"all checks held\n");
  else
    std::wprintf(L"%d check(s) failed\n", g_failures);
  return g_failures == 0 ? 0 : 1;
}
