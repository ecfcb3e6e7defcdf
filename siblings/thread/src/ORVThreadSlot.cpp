#include "ORVThreadSlot.h"

#include <utility>

namespace ORV {
namespace {

bool OnThread(const SmartPtr<Thread>& thread) noexcept { return thread && thread->IsCurrent(); }

}  // namespace

ThreadSlot::ThreadSlot() noexcept = default;

ThreadSlot::~ThreadSlot() { Drop(); }

void ThreadSlot::Start(const SmartPtr<Thread>& thread) {
  Drop();
  thread->Run();
  m_worker = thread;
}

void ThreadSlot::Drop() noexcept {
  SmartPtr<Thread> own = OnThread(m_worker) ? m_worker : OnThread(m_stoppedFromWithin) ? m_stoppedFromWithin : nullptr;
  // Each Reset waits for a thread that is not the caller's.
  m_worker.Reset();
  m_stoppedFromWithin = std::move(own);
}

bool ThreadSlot::Empty() const noexcept { return !m_worker; }

// The worker asking about itself is running (and cannot join itself).
bool ThreadSlot::Running() const { return m_worker && (m_worker->IsCurrent() || !m_worker->Join(0)); }

}  // namespace ORV
