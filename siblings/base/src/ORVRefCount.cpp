#include "win32.h"

#include "ORVRefCount.h"

namespace ORV {

RefCounted::~RefCounted() = default;

long RefCounted::AddRef() const noexcept { return ::InterlockedIncrement(&m_cnt); }

long RefCounted::Release() const noexcept {
  const long count = ::InterlockedDecrement(&m_cnt);
  if (count == 0) delete this;
  return count;
}

long RefCounted::NbRef() const noexcept { return m_cnt; }

}  // namespace ORV
