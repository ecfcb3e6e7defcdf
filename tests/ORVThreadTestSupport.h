// What the thread and watcher tests share: whether they run under Wine, a
// snapshot of the process's threads and handles to compare before and after
// (nothing left behind), and a patience for waits that stands for "never".
#pragma once

#include "win32.h"

#include <tlhelp32.h>
#include <winternl.h>

#include <gtest/gtest.h>

#include <vector>

#include "ORVHandle.h"

namespace orvtest {

/// Milliseconds: a wait that runs out means the awaited thing never came.
constexpr unsigned long kPatience = 20000;

inline bool UnderWine() { return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

/// Waits until the thread with this id has ended (true at once when it is gone).
inline bool WaitThreadEnd(DWORD id) {
  const ORV::Handle thread(::OpenThread(SYNCHRONIZE, FALSE, id));
  return !thread || ::WaitForSingleObject(thread.Get(), kPatience) == WAIT_OBJECT_0;
}

struct Resources {
  DWORD processHandles = 0;  // GetProcessHandleCount
  int listedHandles = 0;     // this process's entries in the system handle table
  int threads = 0;
};

inline int ThreadCount() {
  const ORV::Handle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  int count = 0;
  for (BOOL more = ::Thread32First(snapshot.Get(), &entry); more; more = ::Thread32Next(snapshot.Get(), &entry))
    count += entry.th32OwnerProcessID == ::GetCurrentProcessId();
  return count;
}

// SystemExtendedHandleInformation (64): the handle table that Process
// Explorer reads; it counts under Wine too.
inline int ListedHandleCount() {
  struct Entry {
    void* object;
    ULONG_PTR processId;
    ULONG_PTR handle;
    ULONG access;
    USHORT creatorBackTrace, objectType;
    ULONG attributes, reserved;
  };
  struct Table {
    ULONG_PTR count, reserved;
    Entry entries[1];
  };
  using Query = NTSTATUS(WINAPI*)(ULONG, void*, ULONG, ULONG*);
  const auto query = reinterpret_cast<Query>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  std::vector<ULONG_PTR> buffer(1 << 17);
  ULONG length = 0;
  NTSTATUS status;
  const ULONG kLengthMismatch = 0xC0000004;
  while ((status = query(64, buffer.data(), static_cast<ULONG>(buffer.size() * sizeof(ULONG_PTR)), &length)) ==
         static_cast<NTSTATUS>(kLengthMismatch))
    buffer.resize(buffer.size() * 2);
  if (status != 0) return -1;
  const Table& table = *reinterpret_cast<const Table*>(buffer.data());
  int count = 0;
  for (ULONG_PTR i = 0; i < table.count; ++i) count += table.entries[i].processId == ::GetCurrentProcessId();
  return count;
}

inline Resources TakeResources() {
  Resources r;
  ::GetProcessHandleCount(::GetCurrentProcess(), &r.processHandles);
  r.listedHandles = ListedHandleCount();
  r.threads = ThreadCount();
  return r;
}

inline void ExpectNothingLeftBehind(const Resources& before) {
  const Resources after = TakeResources();
  EXPECT_EQ(after.threads, before.threads);
  EXPECT_EQ(after.listedHandles, before.listedHandles);
  // Wine 8 does not implement GetProcessHandleCount: it answers 0 whatever
  // is open, so only the handle table above counts there.
  if (!UnderWine()) {
    EXPECT_EQ(after.processHandles, before.processHandles);
  }
}

}  // namespace orvtest
