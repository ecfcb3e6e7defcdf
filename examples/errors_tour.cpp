// A tour of how ORVFile reports failures: every failure is an exception of the
// FileException family that carries a catalogue message, the paths involved
// and the Win32 error seen at the failure.
//
// The demo makes real Win32 calls fail and raises the exceptions the library
// raises for them, built the same way (module "ORVFile", message number,
// path, recorded error), then catches them as a caller would.
#include <windows.h>

#include <cstdio>
#include <string>

#include "ORVFileException.h"
#include "ORVFileMsg-I.h"

using namespace ORVFile;

namespace {

template <class E>
[[noreturn]] void Raise(MessageId id, unsigned long lastError, const std::wstring& path) {
  SmartPtr<MessageInfo> info(new MessageInfo(MSG_MODULE_NAME, id, __FILE__, __LINE__));
  info->AddArgument(path);
  info->SetLastError(static_cast<unsigned int>(lastError));
  throw E(info, E::ClassName());
}

void Print(const char* title, const FileException& e) {
  std::printf("%s\n  class:       %ls\n  message %2u:  %ls\n  Win32 error: %u\n\n", title, e.TypeName().c_str(),
              e.Info()->Number(), e.What().c_str(), e.Info()->LastError());
}

std::wstring TempPath(const wchar_t* name) {
  wchar_t dir[MAX_PATH];
  ::GetTempPathW(MAX_PATH, dir);
  return std::wstring(dir) + name;
}

void DeleteMissingFile() {
  const std::wstring path = TempPath(L"orvfile-demo-missing.txt");
  if (!::DeleteFileW(path.c_str())) Raise<FileCannotDeleteException>(MSG_DELETE, ::GetLastError(), path);
}

void OpenFileHeldByAnotherHandle() {
  const std::wstring path = TempPath(L"orvfile-demo-held.txt");
  const HANDLE held =
      ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  const HANDLE second = ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  const unsigned long err = ::GetLastError();
  ::CloseHandle(second == INVALID_HANDLE_VALUE ? held : second);
  if (second != INVALID_HANDLE_VALUE) ::CloseHandle(held);
  if (second == INVALID_HANDLE_VALUE) Raise<SharingViolationException>(MSG_OPEN_READ_ONLY, err, path);
}

void WriteThroughReadOnlyHandle() {
  const std::wstring path = TempPath(L"orvfile-demo-readonly.txt");
  const HANDLE file =
      ::CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr);
  DWORD written = 0;
  const BOOL ok = ::WriteFile(file, "x", 1, &written, nullptr);
  const unsigned long err = ::GetLastError();
  ::CloseHandle(file);
  if (!ok) Raise<WriteErrorException>(MSG_WRITE, err, path);
}

}  // namespace

int main() {
  std::printf("== Errors and messages ==\n\n");
  try {
    DeleteMissingFile();
  } catch (const FileCannotDeleteException& e) {
    Print("Deleting a file that is not there:", e);
  }
  try {
    OpenFileHeldByAnotherHandle();
  } catch (const FileCannotOpenException&) {
    std::printf("not reached: a sharing violation is not a FileCannotOpenException\n");
  } catch (const SharingViolationException& e) {
    Print("Opening a file another handle holds without sharing:", e);
  }
  try {
    WriteThroughReadOnlyHandle();
  } catch (const FilePermissionDeniedException& e) {  // also catches WriteErrorException
    Print("Writing through a handle opened for reading (caught as FilePermissionDeniedException):", e);
  }
  FileException stored;
  try {
    DeleteMissingFile();
  } catch (const FileException& e) {
    stored = e;  // assignment keeps text, class name and record; a copy keeps only the text
  }
  const FileException copied(stored);
  std::printf("An assigned exception keeps its class name \"%ls\"; a copy keeps only the text (class name \"%ls\").\n",
              stored.TypeName().c_str(), copied.TypeName().c_str());
  return 0;
}
