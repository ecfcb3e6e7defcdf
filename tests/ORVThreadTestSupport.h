// What the thread and watcher tests share: whether they run under Wine, a
// snapshot of the process's threads and handles to compare before and after
// (nothing left behind), a patience for waits that stands for "never", the
// name the system gives the calling thread, and a fresh directory per test,
// removed without recursion at the end (a handle left open or a file left
// behind fails the test).
#pragma once

#include "win32.h"

#include <tlhelp32.h>
#include <winternl.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ORVHandle.h"

namespace orvtest {

/// Milliseconds: a wait that runs out means the awaited thing never came.
constexpr unsigned long kPatience = 20000;

inline bool UnderWine() { return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

/// GetThreadDescription of the calling thread; "" where the system lacks it.
inline std::wstring CurrentThreadName() {
  using Call = HRESULT(WINAPI*)(HANDLE, PWSTR*);
  const auto call = reinterpret_cast<Call>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "GetThreadDescription")));
  PWSTR text = nullptr;
  if (call == nullptr || FAILED(call(::GetCurrentThread(), &text))) return L"";
  std::wstring name(text);
  ::LocalFree(text);
  return name;
}

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

class TempDirTest : public ::testing::Test {
 protected:
  void SetUp() override {
    wchar_t temp[MAX_PATH + 1];
    const DWORD length = ::GetTempPathW(MAX_PATH + 1, temp);
    static int serial = 0;
    m_dir = std::wstring(temp, length) + L"ORVWatch-" + std::to_wstring(::GetCurrentProcessId()) + L"-" +
            std::to_wstring(::GetTickCount64()) + L"-" + std::to_wstring(++serial);
    ASSERT_TRUE(::CreateDirectoryW(m_dir.c_str(), nullptr));
  }

  void TearDown() override {
    EXPECT_TRUE(::RemoveDirectoryW(m_dir.c_str())) << "left behind or held open: " << ::GetLastError();
  }

  std::wstring P(const std::wstring& name) const { return m_dir + L"\\" + name; }

  /// Appends bytes to the file, creating it if need be.
  static void Write(const std::wstring& path, const char* bytes) {
    const ORV::Handle file(
        ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(file) << ::GetLastError();
    ::SetFilePointer(file.Get(), 0, nullptr, FILE_END);
    DWORD written = 0;
    ASSERT_TRUE(::WriteFile(file.Get(), bytes, static_cast<DWORD>(std::strlen(bytes)), &written, nullptr));
  }

  /// The text in the ANSI code page, for the narrow interfaces.
  static std::string Narrow(const std::wstring& text) {
    const int length = ::WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(length), '\0');
    ::WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, narrow.data(), length, nullptr, nullptr);
    narrow.pop_back();
    return narrow;
  }

  std::wstring m_dir;
};

}  // namespace orvtest
