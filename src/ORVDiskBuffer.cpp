#include "win32.h"

#include <process.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "ORVCFile.h"
#include "ORVCriticalSection.h"
#include "ORVDiskBuffer.h"

namespace ORVFile {

namespace {

constexpr std::uint32_t kUnknownPosition = std::numeric_limits<std::uint32_t>::max();

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// The process-wide part of the name generator: built once (a function-local
// static, so its construction is thread-safe), filled under its lock on first use.
struct TempNames {
  ORV::CriticalSection lock{4000};
  bool ready = false;
  std::string defaultDirectory;
  int processId = 0;
  volatile LONG counter = 0;

  static TempNames& Instance() {
    static TempNames names;
    return names;
  }

  void SetUpOnce() {
    const ORV::CriticalSectionLock held(lock);
    if (ready) return;
    defaultDirectory = Environment("TEMP");
    if (defaultDirectory.empty()) defaultDirectory = Environment("TMP");
    processId = ::_getpid();
    ready = true;
  }
};

}  // namespace

DiskBuffer::DiskBuffer(const std::string& directory, std::uint32_t cacheChunkSize, std::uint32_t memorySize)
    : BinaryStreamBuf(CanGet | CanSeek), m_cache(cacheChunkSize), m_memorySize(memorySize), m_directory(directory) {}

// Destroying the handle closes the file, and the system deletes it.
DiskBuffer::~DiskBuffer() = default;

std::string DiskBuffer::GetTempFileNameW(const std::string& directory, const std::string& prefix,
                                         const std::string& extension) {
  TempNames& names = TempNames::Instance();
  names.SetUpOnce();
  const LONG serial = ::InterlockedIncrement(&names.counter);
  std::string name = (directory.empty() ? names.defaultDirectory : directory) + "/" + prefix +
                     std::to_string(names.processId) + "-" + std::to_string(serial);
  if (!extension.empty()) name += "." + extension;
  return name;
}

std::uint32_t DiskBuffer::MemoryBufferSize() const { return m_memorySize; }

const std::string& DiskBuffer::Path() const { return m_directory; }

std::string DiskBuffer::TemporaryFile() const { return m_file ? m_file->Path() : std::string(); }

bool DiskBuffer::InWindow(std::uint32_t position) const {
  return m_memorySize != 0 && position >= m_windowStart && position - m_windowStart < m_memorySize;
}

std::uint32_t DiskBuffer::WindowLength(std::uint32_t start) const {
  return m_size > start ? std::min(m_size - start, m_memorySize) : 0;
}

void DiskBuffer::OpenAndSeek(std::uint32_t offset) {
  if (!m_file) {
    // Kept only once open: a directory that is missing now may be there next time.
    auto file = std::make_unique<CFile>(GetTempFileNameW(m_directory, "ORVDiskBuffer-", "tmp"), FileHint::DeleteOnClose,
                                        true, false);
    file->Open(OpenMode::CreateReadWrite);
    m_file = std::move(file);
    m_filePosition = 0;
    m_transfer.resize(kTransferPiece);
  }
  if (m_filePosition == offset) return;
  // Unknown until the seek succeeds, so that a failed one is not trusted later.
  m_filePosition = kUnknownPosition;
  m_file->Seek(offset, SeekMethod::Begin);
  m_filePosition = offset;
}

// The handle writes all or throws (ORVCFile.h): a short write never comes back here.
void DiskBuffer::WriteToFile(std::uint32_t offset, const unsigned char* data, std::uint32_t count) {
  OpenAndSeek(offset);
  m_filePosition = kUnknownPosition;
  m_file->Write(data, 1, count);
  m_filePosition = offset + count;
}

void DiskBuffer::ReadFromFile(std::uint32_t offset, unsigned char* dest, std::uint32_t count) {
  OpenAndSeek(offset);
  m_filePosition = kUnknownPosition;
  m_file->Read(dest, 1, count, true);
  m_filePosition = offset + count;
}

void DiskBuffer::WriteBack() {
  if (!m_dirty) return;
  const std::uint32_t length = WindowLength(m_windowStart);
  m_cache.DropLookAhead();
  m_cache.vSeekG(0, Begin);
  OpenAndSeek(m_windowStart);
  for (std::uint32_t written = 0; written < length;) {
    const std::uint32_t got = m_cache.vGet(m_transfer.data(), std::min(length - written, kTransferPiece));
    if (got == 0) break;
    WriteToFile(m_windowStart + written, m_transfer.data(), got);
    written += got;
  }
  m_dirty = false;
}

void DiskBuffer::MoveWindow(std::uint32_t offset) {
  WriteBack();
  m_windowStart = offset;
  const std::uint32_t length = WindowLength(offset);
  m_cache.vSeekP(0, Begin);
  if (length == 0) return;
  OpenAndSeek(offset);
  m_filePosition = kUnknownPosition;
  std::uint32_t loaded = 0;
  while (loaded < length) {
    const std::uint32_t got = m_file->Read(m_transfer.data(), 1, std::min(length - loaded, kTransferPiece), false);
    if (got == 0) break;
    m_cache.vPut(m_transfer.data(), got);
    loaded += got;
  }
  m_filePosition = offset + loaded;
}

// Not to the window's very end: data that fills the window exactly needs no file yet.
void DiskBuffer::FollowPosition(std::uint32_t position) {
  const bool beyond = position > std::uint64_t{m_windowStart} + m_memorySize;
  if (m_memorySize != 0 && (position < m_windowStart || beyond)) MoveWindow(position);
}

std::uint32_t DiskBuffer::vPut(const void* data, std::uint32_t count) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  std::uint32_t done = 0;
  while (done < count) {
    std::uint32_t piece = count - done;
    if (InWindow(m_put)) {
      piece = std::min(piece, m_windowStart + m_memorySize - m_put);
      m_cache.vSeekP(static_cast<std::int32_t>(m_put - m_windowStart), Begin);
      m_cache.vPut(bytes + done, piece);
      m_dirty = true;
    } else {
      if (m_memorySize != 0 && m_put < m_windowStart) piece = std::min(piece, m_windowStart - m_put);
      WriteToFile(m_put, bytes + done, piece);
    }
    m_put += piece;
    done += piece;
    // Kept up to date piece by piece, so that a failure later leaves the buffer whole.
    m_size = std::max(m_size, m_put);
  }
  FollowPosition(m_put);
  return done;
}

std::uint32_t DiskBuffer::vTellP() { return m_put; }

std::uint32_t DiskBuffer::vSeekP(std::int32_t offset, Direction direction) {
  return m_put = ORV::SeekRange(0, m_size).Seek(m_put, offset, direction);
}

std::uint32_t DiskBuffer::vGet(void* dest, std::uint32_t count) {
  auto* bytes = static_cast<unsigned char*>(dest);
  const std::uint32_t wanted = std::min(count, m_size - std::min(m_get, m_size));
  std::uint32_t done = 0;
  while (done < wanted) {
    std::uint32_t piece = wanted - done;
    if (InWindow(m_get)) {
      piece = std::min(piece, m_windowStart + m_memorySize - m_get);
      if (m_get == m_windowStart) m_cache.DropLookAhead();
      m_cache.vSeekG(static_cast<std::int32_t>(m_get - m_windowStart), Begin);
      piece = m_cache.vGet(bytes + done, piece);
      if (piece == 0) break;  // dropped by ClearMemory
    } else {
      if (m_memorySize != 0 && m_get < m_windowStart) piece = std::min(piece, m_windowStart - m_get);
      ReadFromFile(m_get, bytes + done, piece);
    }
    m_get += piece;
    done += piece;
  }
  FollowPosition(m_get);
  return done;
}

std::uint32_t DiskBuffer::vTellG() { return m_get; }

std::uint32_t DiskBuffer::vSeekG(std::int32_t offset, Direction direction) {
  return m_get = ORV::SeekRange(0, m_size).Seek(m_get, offset, direction);
}

void DiskBuffer::vFlush() {
  if (m_file) m_file->Flush();
}

void DiskBuffer::vClear() {
  DropLookAhead();
  vSeekG(0, Begin);
  vSeekP(0, Begin);
  vClearEnd();
  m_windowStart = 0;
  m_file.reset();
}

void DiskBuffer::vClearMemory() {
  m_cache.DropLookAhead();
  m_cache.vClear();
  m_cache.vClearMemory();
}

void DiskBuffer::vClearEnd() {
  const std::uint32_t inWindow = m_put > m_windowStart ? m_put - m_windowStart : 0;
  m_cache.vSeekP(static_cast<std::int32_t>(std::min(inWindow, m_cache.vSize())), Begin);
  m_cache.vClearEnd();
  m_size = m_put;
  m_get = std::min(m_get, m_put);
  if (!m_file) return;
  m_filePosition = kUnknownPosition;
  m_file->Resize(m_put, true);
  m_filePosition = m_file->Tell();
}

std::uint32_t DiskBuffer::vSize() { return m_size; }

bool DiskBuffer::vEndOfFile() { return m_get == m_size; }

}  // namespace ORVFile
