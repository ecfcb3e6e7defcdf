#include "win32.h"

#include "ORVHandle.h"

namespace ORV {

void CloseKernelHandle(NativeHandle handle) noexcept {
  const DWORD saved = ::GetLastError();
  ::CloseHandle(handle);
  ::SetLastError(saved);
}

void CloseFindHandle(NativeHandle handle) noexcept {
  const DWORD saved = ::GetLastError();
  ::FindClose(handle);
  ::SetLastError(saved);
}

}  // namespace ORV
