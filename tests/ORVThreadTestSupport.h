// What the thread and watcher tests share: Wine detection, a snapshot of the
// process's threads and handles (nothing may be left behind), the calling
// thread's system name, and a fresh directory per test, removed without
// recursion at the end (a handle left open or a file left behind fails).
#pragma once

#include "win32.h"

#include <tlhelp32.h>
#include <winternl.h>

#include <gtest/gtest.h>

#include <cstring>
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

struct Resources {
  DWORD processHandles = 0;  // GetProcessHandleCount
  int listedHandles = 0;     // this process's rows of the system handle table
  int threads = 0;
};

inline Resources TakeResources() {
  Resources r;
  ::GetProcessHandleCount(::GetCurrentProcess(), &r.processHandles);
  // SystemExtendedHandleInformation (64): rows of {object, process id, handle, ...}.
  struct Row {
    void* object;
    ULONG_PTR processId, handle;
    ULONG access;
    USHORT backTrace, type;
    ULONG attributes, reserved;
  };
  const auto query = Export<NTSTATUS(WINAPI*)(ULONG, void*, ULONG, ULONG*)>(L"ntdll.dll", "NtQuerySystemInformation");
  std::vector<ULONG_PTR> table(1 << 17);
  ULONG length = 0;
  while (query(64, table.data(), static_cast<ULONG>(table.size() * sizeof(ULONG_PTR)), &length) ==
         static_cast<NTSTATUS>(0xC0000004))  // length mismatch
    table.resize(table.size() * 2);
  const Row* rows = reinterpret_cast<const Row*>(table.data() + 2);
  for (ULONG_PTR i = 0; i < table[0]; ++i) r.listedHandles += rows[i].processId == ::GetCurrentProcessId();

  const ORV::Handle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = ::Thread32First(snapshot.Get(), &entry); more; more = ::Thread32Next(snapshot.Get(), &entry))
    r.threads += entry.th32OwnerProcessID == ::GetCurrentProcessId();
  return r;
}

inline void ExpectNothingLeftBehind(const Resources& before) {
  const Resources after = TakeResources();
  EXPECT_EQ(after.threads, before.threads);
  EXPECT_EQ(after.listedHandles, before.listedHandles);
  // Wine 8 does not implement GetProcessHandleCount (it answers 0 whatever
  // is open): there only the handle table above counts.
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
  void TearDown() override { EXPECT_TRUE(::RemoveDirectoryW(m_dir.c_str())) << "left behind: " << ::GetLastError(); }

  std::wstring P(const std::wstring& name) const { return m_dir + L"\\" + name; }

  /// Appends bytes to the file, creating it if need be.
  static void Write(const std::wstring& path, const char* bytes) {
    const ORV::Handle file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr));
    DWORD written = 0;
    ASSERT_TRUE(::SetFilePointer(file.Get(), 0, nullptr, FILE_END) != INVALID_SET_FILE_POINTER &&
                ::WriteFile(file.Get(), bytes, static_cast<DWORD>(std::strlen(bytes)), &written, nullptr))
        << ::GetLastError();
  }

  /// In the ANSI code page, for the narrow interfaces.
  static std::string Narrow(const std::wstring& text) {
    char narrow[4 * MAX_PATH];
    const int length = ::WideCharToMultiByte(CP_ACP, 0, text.c_str(), static_cast<int>(text.size()), narrow,
                                             sizeof narrow, nullptr, nullptr);
    return std::string(narrow, static_cast<std::size_t>(length));
  }

  std::wstring m_dir;
};

}  // namespace orvtest
