// What the thread and watcher tests share: the calling thread's system name,
// a wait for a thread's end, and a count of the process's threads and handles
// (nothing may be left behind).
#pragma once

#include "win32.h"

#include <tlhelp32.h>
#include <winternl.h>

#include <string>
#include <vector>

#include "ORVHandle.h"
#include "ORVUnderWine.h"

namespace orvtest {

constexpr unsigned long kPatience = 20000;  // ms: a wait that runs out means "never"

template <class Call>
Call Export(const wchar_t* module, const char* name) {
  return reinterpret_cast<Call>(reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(module), name)));
}

/// GetThreadDescription of the calling thread; "" where the system lacks it.
inline std::wstring CurrentThreadName() {
  const auto call = Export<HRESULT(WINAPI*)(HANDLE, PWSTR*)>(L"kernel32.dll", "GetThreadDescription");
  PWSTR text = nullptr;
  if (call == nullptr || FAILED(call(::GetCurrentThread(), &text))) return L"";
  std::wstring name(text);
  ::LocalFree(text);
  return name;
}

inline bool WaitThreadEnd(DWORD id) {
  const ORV::Handle thread(::OpenThread(SYNCHRONIZE, FALSE, id));
  return !thread || ::WaitForSingleObject(thread.Get(), kPatience) == WAIT_OBJECT_0;
}

/// {handles, threads} of this process. Wine 8 answers 0 to
/// GetProcessHandleCount whatever is open: the system's handle table counts.
inline std::vector<int> TakeResources() {
  // SystemExtendedHandleInformation (64): a count, a reserved word, then rows
  // of five words {object, process id, handle, access, type and attributes}.
  const auto query = Export<NTSTATUS(WINAPI*)(ULONG, void*, ULONG, ULONG*)>(L"ntdll.dll", "NtQuerySystemInformation");
  std::vector<ULONG_PTR> table(1 << 17);
  ULONG length = 0;
  while (query(64, table.data(), static_cast<ULONG>(table.size() * sizeof(ULONG_PTR)), &length) ==
         static_cast<NTSTATUS>(0xC0000004))  // length mismatch
    table.resize(table.size() * 2);
  std::vector<int> counts{0, 0};
  for (ULONG_PTR i = 0; i < table[0]; ++i) counts[0] += table[2 + 5 * i + 1] == ::GetCurrentProcessId();
  const ORV::Handle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = ::Thread32First(snapshot.Get(), &entry); more; more = ::Thread32Next(snapshot.Get(), &entry))
    counts[1] += entry.th32OwnerProcessID == ::GetCurrentProcessId();
  return counts;
}

}  // namespace orvtest
