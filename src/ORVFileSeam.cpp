#include "win32.h"

#include "ORVFileSeam.h"

namespace ORVFile::detail {

namespace {

FileCalls g_calls = {
    ::CreateFileA,         ::CreateFileW,         ::ReadFile,
    ::WriteFile,           ::SetFilePointer,      ::SetEndOfFile,
    ::FlushFileBuffers,    ::GetFileSize,         ::GetFileInformationByHandle,
    ::CloseHandle,         ::CreateEventW,        ::SetEvent,
    ::WaitForSingleObject, ::GetOverlappedResult, ::GetFileSizeEx,
    ::CreateFileMappingW,  ::MapViewOfFile,       ::FlushViewOfFile,
    ::UnmapViewOfFile,
};

}  // namespace

FileCalls& Calls() noexcept { return g_calls; }

FileCalls& FileCallsForTesting() noexcept { return g_calls; }

// The owners close without a word: the last error is the caller's to read.
void CloseSeamHandle(void* handle) noexcept {
  const DWORD saved = ::GetLastError();
  g_calls.CloseHandle(handle);
  ::SetLastError(saved);
}

void UnmapSeamView(void* address) noexcept {
  const DWORD saved = ::GetLastError();
  g_calls.UnmapViewOfFile(address);
  ::SetLastError(saved);
}

}  // namespace ORVFile::detail
