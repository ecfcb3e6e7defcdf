/// \class ORVFile::MemoryMapFile
/// MemoryMapFile: a file mapped into memory, read-only or read-write, and
/// MemoryMapView, one mapped range of it. Sizes and offsets are 64-bit: files
/// of 4 GiB and more map like any other.
///
/// ~~~
///   MemoryMapFile file("c:\\data\\index.bin", MemoryMapFile::Access::ReadWrite, 1 << 20);
///   MemoryMapView view = file.Map(70000, 512);      // any offset
///   std::memcpy(view.Data(), record, 512);
///   view.Flush();                                   // the range's pages to the file
/// ~~~
///
/// Opening: ReadOnly opens an existing file (GENERIC_READ, OPEN_EXISTING) and
/// maps it PAGE_READONLY; ReadWrite opens or creates it (GENERIC_READ |
/// GENERIC_WRITE, OPEN_ALWAYS) and maps it PAGE_READWRITE. Both share reading
/// with others. A size of 0 maps the whole file; a larger size in ReadWrite
/// grows the file to it (the system fills the growth with zeros). Windows
/// cannot map an empty file: mapping one with size 0 fails (ERROR_FILE_INVALID).
///
/// Views: Map(offset, length) maps the range at offset; length 0 means to the
/// end. The system maps from multiples of the allocation granularity (64 KiB),
/// so the view maps from the boundary below and Data() points at offset itself.
/// A view keeps its part of the mapping alive on its own: it may outlive the
/// MemoryMapFile (Windows holds the mapping until the last view goes), and the
/// file cannot be deleted while a view of it exists. Flush writes the range's
/// dirty pages to the file (FlushViewOfFile: it does not wait for the disk).
///
/// Failures raise, with `%1` the path, the Win32 error recorded and the source
/// file "ORVMemoryMapFile.cpp":
/// ~~~
///   opening (CreateFile, GetFileSizeEx, CreateFileMapping)
///                      1 read-only / 2 read-write  FileCannotOpenException,
///                                                   whatever the error
///   Map                6 "getting a view"           FileException
///                        (a range beyond the mapped size: ERROR_INVALID_PARAMETER)
///   Unmap, Flush       9 "releasing a view"         FileException
/// ~~~
/// There is no delete here: close, let the views go, then remove the file with
/// the path classes.
///
/// Ownership: the file object owns the file and mapping handles, a view owns
/// its mapped address; all are released in the destructors (quietly: call
/// Unmap to see a failure) and close through the library's file-call table
/// (ORVSeamHandle.h). Objects are not locked: one thread at a time per object;
/// the bytes of a view may be shared between threads as any memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "ORVFileDefs.h"
#include "ORVSeamHandle.h"

namespace ORVFile {

/// One mapped range of a MemoryMapFile, made by MemoryMapFile::Map. Move-only:
/// it owns its mapped address, released by Unmap or the destructor.
class ORVFILE_API MemoryMapView {
 public:
  /// An empty view: nothing mapped.
  MemoryMapView() noexcept;
  /// Takes the other's range; the other is left empty.
  MemoryMapView(MemoryMapView&& other) noexcept;
  /// Unmaps what this view held, quietly, then takes the other's range.
  MemoryMapView& operator=(MemoryMapView&& other) noexcept;
  MemoryMapView(const MemoryMapView&) = delete;
  MemoryMapView& operator=(const MemoryMapView&) = delete;
  ~MemoryMapView();

  /// Whether an address is held: false for an empty, moved-from or unmapped view.
  bool IsMapped() const noexcept;
  /// The byte at the offset asked for; null when nothing is mapped.
  unsigned char* Data() const noexcept;
  /// The bytes usable from Data(): the length asked for (or up to the end of
  /// the mapping), not counting the part below offset that the system maps; 0
  /// when nothing is mapped.
  std::size_t Size() const noexcept;
  /// The file offset Data() stands for. Unmap leaves it as it was.
  std::uint64_t Offset() const noexcept;

  /// Writes the range's dirty pages to the file without waiting for the disk.
  /// FileException (message 9) when the system refuses, also for a view that
  /// holds nothing.
  void Flush();
  /// Releases the range now, so that a failure can be seen: FileException
  /// (message 9). The view is empty afterwards even then. Nothing to do for an
  /// empty view.
  void Unmap();

 private:
  friend class MemoryMapFile;
  MemoryMapView(void* base, std::size_t skip, std::size_t size, std::uint64_t offset, const std::wstring& path);

  detail::SeamView m_base;  // where the mapping starts, at the granularity boundary
  unsigned char* m_data = nullptr;
  std::size_t m_size = 0;
  std::uint64_t m_offset = 0;
  std::wstring m_path;
};

class ORVFILE_API MemoryMapFile {
 public:
  /// How the file is opened and mapped (see the top of this header).
  enum class Access { ReadOnly, ReadWrite };

  /// Opens path and maps size bytes of it (0: the whole file); the narrow path
  /// is in the ANSI code page. FileCannotOpenException (message 1 or 2) when
  /// opening, reading the size or mapping fails; nothing stays open then.
  ///@{
  MemoryMapFile(const std::string& path, Access access, std::uint64_t size = 0);
  MemoryMapFile(const std::wstring& path, Access access, std::uint64_t size = 0);
  ///@}
  MemoryMapFile(const MemoryMapFile&) = delete;
  MemoryMapFile& operator=(const MemoryMapFile&) = delete;
  ~MemoryMapFile();

  /// The size mapped: the file's, or the size asked for.
  std::uint64_t Size() const noexcept;
  /// The access given to the constructor.
  Access GetAccess() const noexcept;

  /// A view of length bytes from offset (0: to the end of the mapped size).
  /// FileException (message 6) when the range does not lie within Size()
  /// (ERROR_INVALID_PARAMETER recorded), when the system refuses, and after Close.
  [[nodiscard]] MemoryMapView Map(std::uint64_t offset, std::size_t length = 0);
  /// Closes the mapping and the file; views already made stay usable.
  void Close() noexcept;

 private:
  void MapFile(void* file, std::uint64_t size);

  std::wstring m_path;  // as messages show it
  Access m_access;
  std::uint64_t m_size = 0;
  detail::SeamHandle m_file;
  detail::SeamHandle m_mapping;
};

}  // namespace ORVFile
