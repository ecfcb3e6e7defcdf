#include "win32.h"

#include "ORVDiskSpaceWatcher.h"

#include <algorithm>

#include "ORVPath.h"
#include "ORVThread.h"
#include "ORVToLower.h"
#include "ORVWatcherSeam.h"

namespace ORVFile {

namespace detail {
namespace {

std::uint64_t PathAvailableBytes(const Path& directory) {
  ULARGE_INTEGER bytes;
  directory.GetAvailableDiskSpace(bytes);
  return bytes.QuadPart;
}

AvailableBytesCall g_availableBytes = PathAvailableBytes;

}  // namespace

AvailableBytesCall AvailableBytes() noexcept { return g_availableBytes; }

AvailableBytesCall& AvailableBytesForTesting() noexcept { return g_availableBytes; }

}  // namespace detail

namespace {

constexpr unsigned long kSpinCount = 4000;
constexpr std::size_t kComparedLength = 65535;

// As _strnicmp(a, b, 65535) == 0 in the C locale.
bool SamePath(const std::string& a, const std::string& b) noexcept {
  const std::size_t length = std::min(a.size(), kComparedLength);
  if (length != std::min(b.size(), kComparedLength)) return false;
  for (std::size_t i = 0; i < length; ++i)
    if (ORV::AsciiToLower(a[i]) != ORV::AsciiToLower(b[i])) return false;
  return true;
}

}  // namespace

DiskSpaceWatcherNotification::DiskSpaceWatcherNotification(const std::string& path, std::uint64_t available,
                                                           std::uint64_t required)
    : m_path(path), m_available(available), m_required(required) {}

DiskSpaceWatcherNotification::DiskSpaceWatcherNotification(const DiskSpaceWatcherNotification& other) = default;

DiskSpaceWatcherNotification& DiskSpaceWatcherNotification::operator=(const DiskSpaceWatcherNotification& other) =
    default;

DiskSpaceWatcherNotification::~DiskSpaceWatcherNotification() = default;

const std::string& DiskSpaceWatcherNotification::Path() const noexcept { return m_path; }

std::uint64_t DiskSpaceWatcherNotification::Available() const noexcept { return m_available; }

std::uint64_t DiskSpaceWatcherNotification::Required() const noexcept { return m_required; }

DiskSpaceWatcher::DiskSpaceWatcher(const SmartPtr<ORV::Function>& callback, unsigned int period)
    : m_callback(callback), m_period(period), m_lock(kSpinCount), m_stop(true, false) {
  StartWorker();
}

DiskSpaceWatcher::~DiskSpaceWatcher() {
  // Should the signal fail, the generation still stops the worker at the end
  // of its present wait.
  m_stop.TrySet();
  DropWorker();
}

void DiskSpaceWatcher::AddWatchedPath(const std::string& path, std::uint64_t required) {
  ORV::CriticalSectionLock lock(m_lock);
  m_entries.push_back({path, required});
}

void DiskSpaceWatcher::RemoveWatchedPath(const std::string& path) {
  ORV::CriticalSectionLock lock(m_lock);
  const auto found =
      std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& entry) { return SamePath(entry.path, path); });
  if (found != m_entries.end()) m_entries.erase(found);
}

void DiskSpaceWatcher::ClearWatchedPaths() {
  ORV::CriticalSectionLock lock(m_lock);
  m_entries.clear();
}

void DiskSpaceWatcher::Pause() {
  m_stop.Set();
  DropWorker();
}

void DiskSpaceWatcher::Resume() {
  if (m_worker.Running()) return;
  m_stop.Reset();
  StartWorker();
}

bool DiskSpaceWatcher::Paused() const noexcept { return m_worker.Empty(); }

void DiskSpaceWatcher::StartWorker() {
  void* const generation = reinterpret_cast<void*>(m_generation.load());
  SmartPtr<ORV::Function> loop(new ORV::MemberFunction<DiskSpaceWatcher>(*this, &DiskSpaceWatcher::WatchThread));
  m_worker.Start(SmartPtr<ORV::Thread>(new ORV::Thread(L"DiskSpaceWatcher", loop, generation)));
}

// After the stop signal: waits for the worker unless called on it.
void DiskSpaceWatcher::DropWorker() noexcept {
  ++m_generation;
  m_worker.Drop();
}

bool DiskSpaceWatcher::Stopping(void* generation) const {
  return m_stop.Wait(0) || reinterpret_cast<std::uintptr_t>(generation) != m_generation.load();
}

unsigned long DiskSpaceWatcher::WatchThread(void* generation) {
  while (!Stopping(generation)) {
    DiskSpaceWatcherNotifications shortfalls = Check();
    // Outside the lock: the callback may change the list.
    if (!shortfalls.empty()) (*m_callback)(&shortfalls);
    // A callback that paused and resumed its watcher has reset the stop
    // event for the new worker: only the generation tells this one to end.
    if (Stopping(generation)) break;
    m_stop.Wait(m_period * 1000u);
  }
  return 0;
}

DiskSpaceWatcherNotifications DiskSpaceWatcher::Check() {
  DiskSpaceWatcherNotifications shortfalls;
  ORV::CriticalSectionLock lock(m_lock);
  for (const Entry& entry : m_entries) {
    const Path directory(entry.path);
    if (!directory.IsDirectory()) continue;
    const std::uint64_t available = detail::AvailableBytes()(directory);
    if (available < entry.required) shortfalls.emplace_back(entry.path, available, entry.required);
  }
  return shortfalls;
}

}  // namespace ORVFile
