#include "win32.h"

#include <utility>

#include "ORVFileSeam.h"
#include "ORVMemoryMapFile.h"
#include "ORVRaise.h"

namespace ORVFile {

namespace {

using detail::Calls;

// What can fail here, by the codes the file handle uses for the same steps.
enum class MapAction { OpenRead = 0, OpenWrite = 1, GetView = 4, ReleaseView = 5 };

// Unlike the file handle's open, the class does not follow the error.
[[noreturn]] void Fail(MapAction action, unsigned long error, const std::wstring& path) {
  const detail::ThrowSite site = ORVFILE_THROW_SITE;
  switch (action) {
    case MapAction::OpenRead:
      detail::Raise<FileCannotOpenException>(site, MSG_OPEN_READ_ONLY, error, path);
    case MapAction::OpenWrite:
      detail::Raise<FileCannotOpenException>(site, MSG_OPEN_WRITE_ONLY, error, path);
    case MapAction::GetView:
      detail::Raise<FileException>(site, MSG_GET_VIEW, error, path);
    default:  // MapAction::ReleaseView
      detail::Raise<FileException>(site, MSG_RELEASE_VIEW, error, path);
  }
}

struct Mode {
  DWORD access;
  DWORD disposition;
  DWORD protection;
  DWORD view;
  MapAction open;
};

// Indexed by Access.
constexpr Mode kModes[] = {
    {GENERIC_READ, OPEN_EXISTING, PAGE_READONLY, FILE_MAP_READ, MapAction::OpenRead},
    {GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS, PAGE_READWRITE, FILE_MAP_WRITE, MapAction::OpenWrite},
};

const Mode& ModeOf(MemoryMapFile::Access access) { return kModes[static_cast<int>(access)]; }

// Views start at multiples of it (64 KiB on every Windows so far).
std::uint64_t Granularity() {
  static const DWORD granularity = [] {
    SYSTEM_INFO info;
    ::GetSystemInfo(&info);
    return info.dwAllocationGranularity;
  }();
  return granularity;
}

}  // namespace

MemoryMapView::MemoryMapView() noexcept = default;

MemoryMapView::MemoryMapView(void* base, std::size_t skip, std::size_t size, std::uint64_t offset,
                             const std::wstring& path)
    : m_base(base), m_data(static_cast<unsigned char*>(base) + skip), m_size(size), m_offset(offset), m_path(path) {}

MemoryMapView::MemoryMapView(MemoryMapView&& other) noexcept
    : m_base(std::move(other.m_base)),
      m_data(std::exchange(other.m_data, nullptr)),
      m_size(std::exchange(other.m_size, 0)),
      m_offset(std::exchange(other.m_offset, 0)),
      m_path(std::move(other.m_path)) {}

MemoryMapView& MemoryMapView::operator=(MemoryMapView&& other) noexcept {
  if (this != &other) {
    m_base = std::move(other.m_base);
    m_data = std::exchange(other.m_data, nullptr);
    m_size = std::exchange(other.m_size, 0);
    m_offset = std::exchange(other.m_offset, 0);
    m_path = std::move(other.m_path);
  }
  return *this;
}

MemoryMapView::~MemoryMapView() = default;

bool MemoryMapView::IsMapped() const noexcept { return static_cast<bool>(m_base); }

unsigned char* MemoryMapView::Data() const noexcept { return m_data; }

std::size_t MemoryMapView::Size() const noexcept { return m_size; }

std::uint64_t MemoryMapView::Offset() const noexcept { return m_offset; }

void MemoryMapView::Flush() {
  if (!Calls().FlushViewOfFile(m_data, m_size)) Fail(MapAction::ReleaseView, ::GetLastError(), m_path);
}

void MemoryMapView::Unmap() {
  if (!m_base) return;
  void* const base = m_base.Release();
  m_data = nullptr;
  m_size = 0;
  if (!Calls().UnmapViewOfFile(base)) Fail(MapAction::ReleaseView, ::GetLastError(), m_path);
}

MemoryMapFile::MemoryMapFile(const std::string& path, Access access, std::uint64_t size)
    : m_path(detail::MessageArgument(path)), m_access(access) {
  const Mode& mode = ModeOf(access);
  MapFile(Calls().CreateFileA(path.c_str(), mode.access, FILE_SHARE_READ, nullptr, mode.disposition,
                              FILE_ATTRIBUTE_NORMAL, nullptr),
          size);
}

MemoryMapFile::MemoryMapFile(const std::wstring& path, Access access, std::uint64_t size)
    : m_path(path), m_access(access) {
  const Mode& mode = ModeOf(access);
  MapFile(Calls().CreateFileW(path.c_str(), mode.access, FILE_SHARE_READ, nullptr, mode.disposition,
                              FILE_ATTRIBUTE_NORMAL, nullptr),
          size);
}

MemoryMapFile::~MemoryMapFile() = default;

// Called with what CreateFile returned, before any other system call.
void MemoryMapFile::MapFile(void* file, std::uint64_t size) {
  const Mode& mode = ModeOf(m_access);
  if (file == INVALID_HANDLE_VALUE) Fail(mode.open, ::GetLastError(), m_path);
  m_file.Reset(file);
  if (size == 0) {
    LARGE_INTEGER fileSize;
    if (!Calls().GetFileSizeEx(file, &fileSize)) Fail(mode.open, ::GetLastError(), m_path);
    size = static_cast<std::uint64_t>(fileSize.QuadPart);
  }
  const HANDLE mapping = Calls().CreateFileMappingW(file, nullptr, mode.protection, static_cast<DWORD>(size >> 32),
                                                    static_cast<DWORD>(size), nullptr);
  if (!detail::SeamHandle::IsValid(mapping)) Fail(mode.open, ::GetLastError(), m_path);
  m_mapping.Reset(mapping);
  m_size = size;
}

std::uint64_t MemoryMapFile::Size() const noexcept { return m_size; }

MemoryMapFile::Access MemoryMapFile::GetAccess() const noexcept { return m_access; }

MemoryMapView MemoryMapFile::Map(std::uint64_t offset, std::size_t length) {
  if (length == 0 && offset < m_size) length = static_cast<std::size_t>(m_size - offset);
  if (offset >= m_size || length > m_size - offset) Fail(MapAction::GetView, ERROR_INVALID_PARAMETER, m_path);
  const std::uint64_t start = offset - offset % Granularity();
  const auto skip = static_cast<std::size_t>(offset - start);
  void* const base = Calls().MapViewOfFile(m_mapping.Get(), ModeOf(m_access).view, static_cast<DWORD>(start >> 32),
                                           static_cast<DWORD>(start), skip + length);
  if (!detail::SeamView::IsValid(base)) Fail(MapAction::GetView, ::GetLastError(), m_path);
  return MemoryMapView(base, skip, length, offset, m_path);
}

void MemoryMapFile::Close() noexcept {
  m_mapping.Reset();
  m_file.Reset();
}

}  // namespace ORVFile
