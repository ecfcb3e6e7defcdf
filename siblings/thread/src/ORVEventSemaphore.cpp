#include "win32.h"

#include "ORVEventSemaphore.h"
#include "ORVThreadException.h"

namespace ORV {
namespace {

HANDLE CreateEventWrp(bool manualReset, bool signalled) {
  const HANDLE event = ::CreateEventW(nullptr, manualReset, signalled, nullptr);
  if (event == nullptr) ThrowLastError("CreateEventW");
  return event;
}

}  // namespace

EventSemaphore::EventSemaphore(bool manualReset, bool signalled) : m_event(CreateEventWrp(manualReset, signalled)) {}

EventSemaphore::~EventSemaphore() = default;

void EventSemaphore::Set() {
  if (!TrySet()) ThrowLastError("SetEvent");
}

bool EventSemaphore::TrySet() noexcept { return ::SetEvent(m_event.Get()) != FALSE; }

void EventSemaphore::Reset() {
  if (!::ResetEvent(m_event.Get())) ThrowLastError("ResetEvent");
}

bool EventSemaphore::Wait(unsigned long milliseconds) const {
  const DWORD result = ::WaitForSingleObject(m_event.Get(), milliseconds);
  if (result == WAIT_FAILED) ThrowLastError("WaitForSingleObject");
  // An event is never abandoned (only mutexes are): anything else is the signal.
  return result != WAIT_TIMEOUT;
}

NativeHandle EventSemaphore::Native() const noexcept { return m_event.Get(); }

}  // namespace ORV
