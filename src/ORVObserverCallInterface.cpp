#include "win32.h"

#include "ORVObserverCallInterface.h"

#include <utility>

#include "ORVThread.h"
#include "ORVToLower.h"

namespace ORVFile {

namespace {

constexpr unsigned long kSpinCount = 4000;

}  // namespace

// The base's count holds one reference more than the users': the object's
// own, dropped by the users' last Release once the worker has ended.
ObserverCallInterface::ObserverCallInterface(const SmartPtr<ORV::UnhandledExceptionFunction>& onException)
    : m_lock(kSpinCount), m_wake(false, false) {
  RefCounted::AddRef();
  SmartPtr<ORV::Function> loop(
      new ORV::MemberFunction<ObserverCallInterface>(*this, &ObserverCallInterface::ProcessEvents));
  m_worker.Start(
      SmartPtr<ORV::Thread>(new ORV::Thread(L"ObserverCallInterface::ProcessEvents", loop, nullptr, onException)));
}

ObserverCallInterface::~ObserverCallInterface() = default;

long ObserverCallInterface::AddRef() const noexcept { return RefCounted::AddRef() - 1; }

long ObserverCallInterface::Release() const noexcept {
  const long count = RefCounted::Release() - 1;
  if (count == 0) {
    // The derived part is still whole here, and no user is left to need it.
    const_cast<ObserverCallInterface*>(this)->StopWorker();
    RefCounted::Release();
  }
  return count;
}

long ObserverCallInterface::NbRef() const noexcept { return RefCounted::NbRef() - 1; }

int ObserverCallInterface::Shutdown() {
  m_shutdown = true;
  m_wake.Set();
  return 0;
}

// Made up for a missing Shutdown, then waits for the handler in progress
// (unless called on the worker).
void ObserverCallInterface::StopWorker() noexcept {
  m_shutdown = true;
  m_wake.TrySet();
  m_worker.Drop();
}

void ObserverCallInterface::EventsOccurred(const std::vector<DeviceEvent>& events) {
  ORV::CriticalSectionLock lock(m_lock);
  // A worker that finds the queue non-empty drains it to the end: only an
  // empty queue can have a worker waiting.
  const bool mayWait = m_queue.empty();
  m_queue.insert(m_queue.end(), events.begin(), events.end());
  if (mayWait) m_wake.Set();
}

unsigned long ObserverCallInterface::ProcessEvents(void*) {
  DeviceEvent event;
  while (!m_shutdown) {
    m_wake.Wait(ORV::EventSemaphore::kInfinite);
    while (!m_shutdown && TakeFront(event)) Dispatch(event);
  }
  return 0;
}

bool ObserverCallInterface::TakeFront(DeviceEvent& event) {
  ORV::CriticalSectionLock lock(m_lock);
  if (m_queue.empty()) return false;
  event = std::move(m_queue.front());
  m_queue.pop_front();
  return true;
}

void ObserverCallInterface::Dispatch(const DeviceEvent& event) {
  const WPath path(ORV::ToLower(event.path));
  switch (event.kind) {
    case DeviceEvent::Modified:
      if (path.IsFile()) FileModified(path);
      break;
    case DeviceEvent::Added:
      if (path.IsDirectory())
        DirectoryAdded(path);
      else if (path.IsFile())
        FileAdded(path);
      break;
    case DeviceEvent::Removed:
      PathRemoved(path);
      break;
    default:
      break;
  }
}

DirectoryObserverCallInterface::DirectoryObserverCallInterface() noexcept = default;

DirectoryObserverCallInterface::DirectoryObserverCallInterface(const DirectoryObserverCallInterface&) noexcept {}

DirectoryObserverCallInterface& DirectoryObserverCallInterface::operator=(
    const DirectoryObserverCallInterface&) noexcept {
  return *this;
}

DirectoryObserverCallInterface::~DirectoryObserverCallInterface() = default;

long DirectoryObserverCallInterface::AddRef() const noexcept { return ::InterlockedIncrement(&m_cnt); }

long DirectoryObserverCallInterface::Release() const noexcept {
  const long count = ::InterlockedDecrement(&m_cnt);
  if (count == 0) delete this;
  return count;
}

long DirectoryObserverCallInterface::NbRef() const noexcept { return m_cnt; }

}  // namespace ORVFile
