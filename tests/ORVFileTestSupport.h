// What the file-handle and mapped-file tests share: a fresh directory per
// test, removed without recursion in TearDown (a handle left open or a file
// left behind fails the test), the exception a call raises with its record,
// and a guard that puts the file-call table back however a test ends.
#pragma once

#include "win32.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <initializer_list>
#include <string>
#include <type_traits>

#include "ORVBaseException.h"
#include "ORVFileSeam.h"
#include "ORVHandle.h"
#include "ORVUnderWine.h"

namespace orvtest {

/// The multiplier of random test counts: ORV_TEST_SCALE when positive, else 1.
inline int TestScale() {
  const char* scale = std::getenv("ORV_TEST_SCALE");
  const int n = scale != nullptr ? std::atoi(scale) : 0;
  return n > 0 ? n : 1;
}

/// What a call raised: the class by its type name ("" when nothing was
/// thrown), the catalogue message, the Win32 error recorded, the text.
struct Raised {
  std::string type;
  unsigned number = ~0u;
  unsigned lastError = 0;
  std::string source;
  std::wstring what;
};

template <class F>
Raised Catch(F&& f) {
  Raised raised;
  try {
    f();
  } catch (const ORV::BaseException& e) {
    raised.type.assign(e.TypeName().begin(), e.TypeName().end());
    raised.what = e.What();
    if (e.Info()) {
      raised.number = e.Info()->Number();
      raised.lastError = e.Info()->LastError();
      raised.source = e.Info()->SourceFile();
    }
  }
  return raised;
}

/// Swap entries of the table freely; all come back at the end of the scope.
class SeamGuard {
 public:
  SeamGuard() : m_saved(Calls()) {}
  ~SeamGuard() { Calls() = m_saved; }
  SeamGuard(const SeamGuard&) = delete;
  SeamGuard& operator=(const SeamGuard&) = delete;

  static ORVFile::detail::FileCalls& Calls() { return ORVFile::detail::FileCallsForTesting(); }

 private:
  ORVFile::detail::FileCalls m_saved;
};

/// Counts, in its scope, the handles opened through the table (files and
/// mappings) and those closed; at its end none may be left open.
class HandleCount : public SeamGuard {
 public:
  HandleCount() {
    opened = closed = 0;
    Calls().CreateFileA = [](LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition,
                             DWORD flags, HANDLE model) {
      return Opened(::CreateFileA(path, access, share, security, disposition, flags, model));
    };
    Calls().CreateFileMappingW = [](HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection, DWORD high,
                                    DWORD low, LPCWSTR name) {
      return Opened(::CreateFileMappingW(file, security, protection, high, low, name));
    };
    Calls().CloseHandle = [](HANDLE handle) { return ++closed, ::CloseHandle(handle); };
  }
  ~HandleCount() { EXPECT_EQ(closed, opened) << "handles left open"; }
  static inline int opened = 0, closed = 0;

 private:
  static HANDLE Opened(HANDLE handle) {
    opened += handle != nullptr && handle != INVALID_HANDLE_VALUE;
    return handle;
  }
};

/// The error the failing fakes below report.
inline DWORD g_fakeError = 0;

// A stand-in for one entry of the table that fails with g_fakeError:
//   guard.Calls().WriteFile = Failing<decltype(guard.Calls().WriteFile)>::Call;
template <class Signature>
struct Failing;
template <class R, class... A>
struct Failing<R (*)(A...)> {
  static R WINAPI Call(A...) {
    ::SetLastError(g_fakeError);
    if constexpr (std::is_pointer_v<R>)
      return INVALID_HANDLE_VALUE;  // handles and views alike: the library tests both null and this
    else if constexpr (std::is_same_v<R, BOOL>)
      return FALSE;
    else
      return static_cast<R>(~0ul);  // INVALID_SET_FILE_POINTER, INVALID_FILE_SIZE
  }
};

// A capture-free arming of one entry: ORV_FAIL(WriteFile, ERROR_DISK_FULL) makes it fail with that error.
#define ORV_FAIL(call, error) \
  [](ORVFile::detail::FileCalls& c) { orvtest::g_fakeError = error, c.call = orvtest::Failing<decltype(c.call)>::Call; }

class TempDirTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char temp[MAX_PATH + 1];
    const DWORD length = ::GetTempPathA(MAX_PATH + 1, temp);
    static unsigned serial = 0;
    m_dir =
        std::string(temp, length) + "orvcf-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++serial);
    ASSERT_TRUE(::CreateDirectoryA(m_dir.c_str(), nullptr)) << ::GetLastError();
  }

  void TearDown() override {
    EXPECT_TRUE(::RemoveDirectoryA(m_dir.c_str())) << "left behind or held open, error " << ::GetLastError();
  }

  std::string P(const std::string& name) const { return m_dir + "\\" + name; }

  /// The end of a test: the file must go, which a handle left open prevents.
  void Remove(const std::string& name) {
    ::SetFileAttributesA(P(name).c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_TRUE(::DeleteFileA(P(name).c_str())) << name << " error " << ::GetLastError();
  }

  /// Names ending in "\\" are directories, made in the order given; the others files holding "x".
  void Make(std::initializer_list<std::string> names) {
    for (const std::string& name : names) {
      if (name.back() != '\\') Put(name, "x");
      EXPECT_TRUE(name.back() != '\\' || ::CreateDirectoryA(P(name).c_str(), nullptr)) << name;
    }
  }

  /// What f raises, in one line: "class number error", then " named" when the text names P(name)
  /// (a number of -1: no message record).
  template <class F>
  std::string Raises(F&& f, const std::string& name) const {
    const Raised r = Catch(f);
    const std::string path = P(name);
    const bool named = r.what.find(std::wstring(path.begin(), path.end())) != std::wstring::npos;
    return r.type + " " + std::to_string(static_cast<int>(r.number)) + " " + std::to_string(r.lastError) +
           (named ? " named" : "");
  }

  void Put(const std::string& name, const std::string& bytes) {
    const ORV::Handle file(::CreateFileA(P(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    DWORD written = 0;
    ASSERT_TRUE(::WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) << name;
  }

  /// The file's bytes as they are on disk; "<cannot open>" when it cannot be read.
  std::string Got(const std::string& name) const {
    const ORV::Handle file(::CreateFileA(P(name).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
    if (!file) return "<cannot open>";
    std::string bytes;
    char block[65536];
    DWORD read = 0;
    while (::ReadFile(file.Get(), block, sizeof block, &read, nullptr) && read > 0) bytes.append(block, read);
    return bytes;
  }

  std::string m_dir;
};

}  // namespace orvtest
