/// \class ORVFile::DiskBuffer
/// DiskBuffer: a BinaryStreamBuf for data that may grow beyond what should be
/// kept in memory. One window of the data lives in a MemoryBuffer (the cache);
/// the rest goes to a temporary file, created only when a byte first falls
/// outside the window and deleted by the system when the buffer is cleared or
/// destroyed (the file handle opens it delete-on-close).
///
/// The window covers the offsets window start .. window start + memory size - 1.
/// Puts and gets inside it touch only the cache; bytes before or beyond it go
/// straight to or from the file. When a put or a get leaves the position
/// outside the window, the window moves there: the cache is written back if
/// it holds unwritten bytes, then loaded from the file, both in pieces of at
/// most 16384 bytes through one transfer area. A position just at the window's
/// end does not move it, so that data filling the window exactly from 0 needs
/// no file:
/// ~~~
///   memory size 1000: Put 1000 bytes -> no file; Put 1 more -> the byte goes
///   to the new file at 1000, then the window (0..999) is written back and moves
///   to 1001.
/// ~~~
/// A memory size of 0 sends every byte to the file.
///
/// Temporary files are named `<directory>/ORVDiskBuffer-<process id>-<n>.tmp`,
/// n counting up through the process; the directory is the one given, else the
/// TEMP or TMP environment variable as the process first saw it, else nothing
/// (the root of the current drive). No existence test, no retry. The name
/// generator is the one state shared between threads (its set-up is guarded by
/// a critical section, its counter interlocked); a buffer is for one thread.
///
/// Seeks clamp to 0..size and never move the window or touch the file:
/// ~~~
///   size 50: SeekG(5, End) -> 50, SeekG(-5, End) -> 45, SeekG(-60, Current) -> 0.
/// ~~~
/// Flush flushes the file only: a window not yet written back stays in memory.
/// ClearMemory gives the cache's memory back and drops the window's bytes not
/// yet written, as it always has: until the window moves, reads inside it find
/// nothing, and bytes dropped before they reached the file read back as a
/// read failure. ClearEnd cuts the cache where the put position falls in the
/// window (a choice of this class: the cache's own put position is where the
/// last put in the window ended, which may lie beyond a later, shorter end)
/// and the file at the put position.
///
/// Failures of the file are the file handle's exceptions (ORVCFile.h): a
/// directory that does not exist gives FileCannotOpenException at the first
/// byte outside the window, and the buffer stays usable (the file is tried
/// again next time). The file handle writes all it is given or throws
/// WriteErrorException, a short write included, so Put never returns less
/// than it was given: when a write fails part-way, Put throws that exception,
/// and the bytes of the Put before the failing piece stay placed, with the
/// positions and the size counting them (the failing piece counts as not
/// written, whatever part of it reached the disk). A failed read leaves the
/// bytes before it placed alike. Windows and positions stay below 2 GiB.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ORVBinaryStreamBuf.h"
#include "ORVFileDefs.h"
#include "ORVMemoryBuffer.h"

namespace ORVFile {

template <class T>
class CFileT;

class ORVFILE_API DiskBuffer : public ORV::BinaryStreamBuf {
 public:
  /// The largest piece moved between the cache and the file at once; the
  /// transfer area has this size, allocated when the file is first opened.
  static constexpr std::uint32_t kTransferPiece = 16384;

  /// directory: where the temporary file goes, empty for the default; the
  /// cache is a MemoryBuffer of cacheChunkSize chunks; memorySize: the
  /// window's length, 0 for none.
  DiskBuffer(const std::string& directory, std::uint32_t cacheChunkSize, std::uint32_t memorySize);
  ~DiskBuffer() override;

  /// The next temporary name: directory (or the default) + "/" + prefix +
  /// process id + "-" + counter, then "." + extension when it is not empty.
  /// Narrow despite its name, as it always was. Any thread.
  static std::string GetTempFileNameW(const std::string& directory, const std::string& prefix,
                                      const std::string& extension);

  /// The window's length as given to the constructor.
  std::uint32_t MemoryBufferSize() const;
  /// The directory given to the constructor, empty for the default; not the
  /// temporary file (see TemporaryFile).
  const std::string& Path() const;
  /// The temporary file's name while it exists, else empty.
  std::string TemporaryFile() const;

  std::uint32_t vPut(const void* data, std::uint32_t count) override;
  std::uint32_t vTellP() override;
  std::uint32_t vSeekP(std::int32_t offset, Direction direction) override;
  std::uint32_t vGet(void* dest, std::uint32_t count) override;
  std::uint32_t vTellG() override;
  std::uint32_t vSeekG(std::int32_t offset, Direction direction) override;
  void vFlush() override;
  void vClear() override;
  void vClearMemory() override;
  void vClearEnd() override;
  std::uint32_t vSize() override;
  bool vEndOfFile() override;

 private:
  bool InWindow(std::uint32_t position) const;
  std::uint32_t WindowLength(std::uint32_t start) const;  // the bytes of data a window from start holds
  void OpenAndSeek(std::uint32_t offset);
  void WriteToFile(std::uint32_t offset, const unsigned char* data, std::uint32_t count);
  void ReadFromFile(std::uint32_t offset, unsigned char* dest, std::uint32_t count);
  void WriteBack();
  void MoveWindow(std::uint32_t offset);
  void FollowPosition(std::uint32_t position);  // moves the window there when it lies outside

  MemoryBuffer m_cache;
  std::uint32_t m_windowStart = 0;
  std::uint32_t m_memorySize;
  bool m_dirty = false;
  std::string m_directory;
  std::unique_ptr<CFileT<unsigned int>> m_file;
  std::uint32_t m_filePosition = 0;
  std::uint32_t m_get = 0;
  std::uint32_t m_put = 0;
  std::uint32_t m_size = 0;
  std::vector<unsigned char> m_transfer;
};

}  // namespace ORVFile
