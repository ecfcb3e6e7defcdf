// The fault seam, for tests: every Win32 call behind the file handle (CFileT,
// and so the disk buffer that writes through it) and the memory-mapped file
// goes through this one table of function pointers, filled with the system's
// functions.
//
// Test-only: a test swaps an entry through FileCallsForTesting() to make a
// call fail with the code it chooses, and puts the old entry back when done:
//
//   auto& calls = ORVFile::detail::FileCallsForTesting();
//   const auto saved = calls.WriteFile;
//   calls.WriteFile = [](HANDLE, LPCVOID, DWORD, LPDWORD, LPOVERLAPPED) -> BOOL {
//     ::SetLastError(ERROR_DISK_FULL);
//     return FALSE;
//   };
//   ...
//   calls.WriteFile = saved;
//
// The table is process-wide and not locked: swap entries only while no other
// thread uses a file handle. Production code never writes to it.
//
// Not installed: only the DLL's sources and the test programs see this header,
// so an application can neither swap the DLL's system calls nor get
// <windows.h> from it.
#pragma once

#include "win32.h"

#include "ORVFileDefs.h"
#include "ORVSeamHandle.h"

namespace ORVFile::detail {

struct FileCalls {
  // The file handle.
  decltype(&::CreateFileA) CreateFileA;
  decltype(&::CreateFileW) CreateFileW;
  decltype(&::ReadFile) ReadFile;
  decltype(&::WriteFile) WriteFile;
  decltype(&::SetFilePointer) SetFilePointer;
  decltype(&::SetEndOfFile) SetEndOfFile;
  decltype(&::FlushFileBuffers) FlushFileBuffers;
  decltype(&::GetFileSize) GetFileSize;
  decltype(&::GetFileInformationByHandle) GetFileInformationByHandle;
  decltype(&::CloseHandle) CloseHandle;
  // Overlapped mode.
  decltype(&::CreateEventW) CreateEventW;
  decltype(&::SetEvent) SetEvent;
  decltype(&::WaitForSingleObject) WaitForSingleObject;
  decltype(&::GetOverlappedResult) GetOverlappedResult;
  // The memory-mapped file.
  decltype(&::GetFileSizeEx) GetFileSizeEx;
  decltype(&::CreateFileMappingW) CreateFileMappingW;
  decltype(&::MapViewOfFile) MapViewOfFile;
  decltype(&::FlushViewOfFile) FlushViewOfFile;
  decltype(&::UnmapViewOfFile) UnmapViewOfFile;
};

/// The table the library calls through.
FileCalls& Calls() noexcept;

/// Test-only: the same table, for a test to swap entries.
ORVFILE_API FileCalls& FileCallsForTesting() noexcept;

}  // namespace ORVFile::detail
