/// \class ORV::ScopedHandle
/// Owners of Win32 handles: each closes its handle when it goes, so that no
/// exit path of a caller leaks one. They are move-only; null and
/// INVALID_HANDLE_VALUE both count as "no handle". Closing keeps the calling
/// thread's last error as it was, so an owner may go out of scope between a
/// failed call and the GetLastError that reads its code.
///
///     FindHandle find(::FindFirstFileW(pattern, &data));
///     if (!find) return;                  // nothing found: nothing to close
///     while (::FindNextFileW(find.Get(), &data)) ...
///
/// Kinds: Handle (CloseHandle: files, events, threads, mappings) and
/// FindHandle (FindClose). One owner per object; not shared between threads.
/// Traits supplies a static noexcept Close(NativeHandle).
#pragma once

#include <cstdint>
#include <utility>

#include "ORVBaseDefs.h"

namespace ORV {

/// A Win32 HANDLE without `<windows.h>.`
using NativeHandle = void*;

/// CloseHandle, keeping the thread's last error.
ORV_BASE_API void CloseKernelHandle(NativeHandle handle) noexcept;
/// FindClose, keeping the thread's last error.
ORV_BASE_API void CloseFindHandle(NativeHandle handle) noexcept;

/// Closes with CloseHandle: files, events, threads, mappings.
struct KernelHandleTraits {
  /// Closes handle, keeping the thread's last error.
  static void Close(NativeHandle handle) noexcept { CloseKernelHandle(handle); }
};
/// Closes with FindClose: FindFirstFile searches.
struct FindHandleTraits {
  /// Closes handle, keeping the thread's last error.
  static void Close(NativeHandle handle) noexcept { CloseFindHandle(handle); }
};

template <class Traits>
class ScopedHandle {
 public:
  /// Holds no handle.
  ScopedHandle() noexcept = default;
  /// Takes ownership of handle (null or INVALID_HANDLE_VALUE: none).
  explicit ScopedHandle(NativeHandle handle) noexcept : m_handle(handle) {}
  ///@{
  /// Takes other's handle; other is left empty. Assignment closes the
  /// handle held first.
  ScopedHandle(ScopedHandle&& other) noexcept : m_handle(other.Release()) {}
  ScopedHandle& operator=(ScopedHandle&& other) noexcept {
    Reset(other.Release());
    return *this;
  }
  ///@}
  ScopedHandle(const ScopedHandle&) = delete;
  ScopedHandle& operator=(const ScopedHandle&) = delete;
  ~ScopedHandle() { Reset(); }

  /// False for null and INVALID_HANDLE_VALUE.
  static bool IsValid(NativeHandle handle) noexcept {
    return handle != nullptr && handle != reinterpret_cast<NativeHandle>(~std::uintptr_t{0});
  }

  /// True when a handle is held.
  explicit operator bool() const noexcept { return IsValid(m_handle); }
  /// The handle, still owned here.
  NativeHandle Get() const noexcept { return m_handle; }

  /// Closes the handle held, if any, and takes the new one.
  void Reset(NativeHandle handle = nullptr) noexcept {
    if (IsValid(m_handle)) Traits::Close(m_handle);
    m_handle = handle;
  }
  /// Gives the handle up without closing it; the caller now owns it.
  [[nodiscard]] NativeHandle Release() noexcept { return std::exchange(m_handle, nullptr); }

 private:
  NativeHandle m_handle = nullptr;
};

/// Owner of a kernel object's handle.
using Handle = ScopedHandle<KernelHandleTraits>;
/// Owner of a FindFirstFile search.
using FindHandle = ScopedHandle<FindHandleTraits>;

}  // namespace ORV
