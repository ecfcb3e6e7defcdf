/// \class ORVFile::CFileT
/// CFileT<unsigned int> (CFile): a thin owner of one Win32 file handle that
/// keeps its own idea of the position and size, and turns every failure of the
/// system into an exception of the FileException family. The disk buffer and
/// the file adapters (ORVCFileBuffer.h) write and read through it.
///
/// ~~~
///   CFile file("c:\\data\\out.bin");                 // closed until Open
///   file.Open(OpenMode::CreateReadWrite);            // CREATE_ALWAYS: now empty
///   file.Write(record, sizeof record, 1);
///   file.Seek(0, SeekMethod::Begin);
///   file.Read(&back, sizeof back, 1, true);          // exact: a short read throws
/// ~~~
///
/// Open modes (narrow CreateFileA, no security attributes, no template):
/// ~~~
///   OpenRead         GENERIC_READ                  FILE_SHARE_READ  OPEN_EXISTING
///   ReadWrite        GENERIC_READ | GENERIC_WRITE  0 (exclusive)    OPEN_ALWAYS
///   CreateReadWrite  GENERIC_READ | GENERIC_WRITE  0 (exclusive)    CREATE_ALWAYS
/// ~~~
/// FileHint gives the flags: Normal FILE_ATTRIBUTE_NORMAL, SequentialScan,
/// RandomAccess, Temporary (FILE_ATTRIBUTE_TEMPORARY), DeleteOnClose; any
/// other value none. buffered == false adds FILE_FLAG_WRITE_THROUGH, overlapped
/// mode FILE_FLAG_OVERLAPPED.
///
/// Position and size are unsigned 32-bit: files of 4 GiB or more are out of
/// range (the high words are ignored). The size is the size at Open, then the
/// greatest position ever reached, and callers rely on two of its turns:
/// ~~~
///   Seek(100, Begin) on a 10-byte file          ->  Size() == 100, nothing written;
///   TruncateFromEnd(-4) on a 10-byte file       ->  6 bytes on disk, Size() == 10.
/// ~~~
/// Seek distances are unsigned (the high word passed is 0): a move backwards is
/// made absolute by the caller. Seek(d, Current) counts from Tell(), as the
/// system's pointer does not follow overlapped writes. Resize(n, force) sets
/// the end of file (and lowers the size); TruncateFromEnd takes a signed
/// distance from the end.
///
/// Overlapped mode is meant for writing. Write starts the write and returns at
/// once; a write that comes while the previous one still runs is queued, the
/// data NOT copied: keep the bytes unchanged until the next other operation.
/// Every operation but such a queued Write first waits for the running write
/// and writes out the queue, in order. Position and size count the queued
/// bytes at once, so Tell() is where the next write lands. A read that the
/// system leaves pending is waited for, and the end of the file reads as 0
/// bytes, as without overlapped mode.
///
/// Failures: every failed call ends in Throw(Action), which reads the thread's
/// last error first, then signals the overlapped event (so that nobody stays
/// blocked on it) and raises, with `%1` the path, that error recorded and the
/// source file "ORVCFile.cpp":
/// ~~~
///   OpenRead / OpenWrite  1 / 2   SharingViolationException (32),
///                                 FileAccessDeniedException (5), else
///                                 FileCannotOpenException
///   DeleteFile            5       FileCannotDeleteException
///   SeekFile              11      FileException (SetFilePointer, SetEndOfFile)
///   WriteData             13      WriteErrorException (also FlushFileBuffers,
///                                 and an overlapped write that fails later)
///   ReadData              8       FileException (also GetFileInformationByHandle)
///   GetAttributes         15      FileException (GetFileSize at Open)
/// ~~~
/// Any other action value raises nothing and Throw returns. Codes recorded
/// where the system gave none: a short exact read ERROR_HANDLE_EOF, a short
/// write ERROR_DISK_FULL (what a full disk gives), a request of 4 GiB or more
/// and an unknown open mode ERROR_INVALID_PARAMETER. An unknown mode with a
/// handle open opens nothing and starts again from the beginning. A failed
/// Open leaves no handle open. After any other failure the object stays
/// usable, position and size counting the bytes that did move.
///
/// Ownership: the object owns the handle and, in overlapped mode, the OVERLAPPED
/// record and its event (manual-reset, created signalled in the constructor);
/// both close through the library's file-call table (ORVSeamHandle.h), as
/// every system call here does. The destructor does what Close does but cannot
/// report a failure: call Close to see one. No locking: one thread at a time.
///
/// `<windows.h>` defines DeleteFile as a macro; it renames Action::DeleteFile
/// alike in declaration and use, so the enumerator works with or without it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ORVDateTime.h"
#include "ORVFileDefs.h"
#include "ORVSeamHandle.h"

namespace ORVFile {

/// How the file will be used; Open turns it into CreateFile flags (see the top
/// of this header). Values outside the list open with no flags.
enum class FileHint : std::uint32_t {
  Normal = 0,
  SequentialScan = 1,
  RandomAccess = 2,
  Temporary = 3,
  DeleteOnClose = 4
};

/// Access, sharing and disposition of Open (table at the top of this header).
enum class OpenMode : std::uint32_t { OpenRead = 0, ReadWrite = 1, CreateReadWrite = 2 };

/// SetFilePointer's FILE_BEGIN, FILE_CURRENT and FILE_END.
enum class SeekMethod : std::uint32_t { Begin = 0, Current = 1, End = 2 };

/// The non-template part of CFileT: the handle, the overlapped record and the
/// failure path. Not used on its own; the protected members are the building
/// blocks CFileT's operations are made of.
class ORVFILE_API CFileBase {
 public:
  /// What failed, which selects the exception Throw raises (table at the top of
  /// this header). Values 2, 4 and above 8 raise nothing.
  enum class Action : std::uint32_t {
    OpenRead = 0,
    OpenWrite = 1,
    DeleteFile = 3,
    SeekFile = 5,
    WriteData = 6,
    ReadData = 7,
    GetAttributes = 8,
  };

  /// Copies the path; the handle stays closed until Open. In overlapped mode
  /// it creates the event now (failure: Action::OpenWrite).
  CFileBase(const std::string& path, FileHint hint, bool buffered, bool overlapped);
  CFileBase(const CFileBase&) = delete;
  CFileBase& operator=(const CFileBase&) = delete;
  virtual ~CFileBase();

  /// The constructor's arguments as given; IsOverlapped is also true only when
  /// the event was created. They never change and never throw.
  ///@{
  const std::string& Path() const noexcept;
  FileHint Hint() const noexcept;
  bool IsBuffered() const noexcept;
  bool IsOverlapped() const noexcept;
  ///@}
  /// A handle is held: between a successful Open and Close (or Delete).
  bool IsOpen() const noexcept;
  /// Set by Open: true for the two writing modes.
  bool IsWritable() const noexcept;

  /// Reads the thread's last error and raises the action's exception (see
  /// above); returns for an action that raises nothing.
  void Throw(Action action);

 protected:
  /// Bytes moved by one call, and the Win32 error when it failed (else 0).
  struct Transfer {
    std::uint32_t bytes;  ///< moved, also when the call failed part way
    unsigned long error;  ///< 0 on success
  };

  /// Throw with a given error instead of the last one: signals the overlapped
  /// event and raises the action's exception with error recorded. Only for the
  /// actions that raise (see Action).
  [[noreturn]] void Fail(Action action, unsigned long error);
  /// element size times count, or ERROR_INVALID_PARAMETER when that is 4 GiB or more.
  std::uint32_t ByteCount(std::uint32_t elementSize, std::uint32_t count, Action action);

  /// Closes any open handle, opens anew, returns the low word of the size.
  std::uint32_t OpenHandle(OpenMode mode);
  /// Writes out the queue, then closes the handle; the handle is closed even
  /// when writing out fails (WriteData is raised after it). No-op when closed.
  void ReleaseHandle();
  /// Overlapped mode: waits for the running write and writes out the queue.
  void Settle();
  /// SetFilePointer with a 64-bit distance; raises SeekFile; returns the new pointer.
  std::uint64_t MovePointer(std::int64_t distance, SeekMethod method);
  /// SetEndOfFile at the system's file pointer; raises SeekFile.
  void SetEnd();
  /// Overlapped mode: where the next write or read goes.
  void SetOffset(std::uint64_t position) noexcept;
  /// One write, never raising: the caller decides. A short write reports
  /// ERROR_DISK_FULL. Overlapped mode starts or queues the write and reports
  /// count at once (a start that fails raises WriteData).
  Transfer WriteBytes(const void* data, std::uint32_t count);
  /// One read after Settle, never raising for the read itself; the end of the
  /// file is 0 bytes and no error. Overlapped mode waits for a pending read.
  Transfer ReadBytes(void* dest, std::uint32_t count);
  /// FlushFileBuffers when opened for writing, else nothing; raises WriteData.
  void FlushBuffers();
  /// The handle's last write time in local wall-clock fields; raises ReadData.
  ORV::DateTime LastWriteTime();
  /// Removes the file when the legacy Path class sees a file there; raises
  /// DeleteFile when _unlink fails. Expects the handle closed.
  void Unlink();

 private:
  struct Overlapped;

  void IssueWrite(const void* data, std::uint32_t count);
  void AwaitWrite();
  /// Waits on the event, then the result of the operation it signalled.
  bool AwaitResult(unsigned long* bytes);
  void SignalEvent() noexcept;

  std::string m_path;
  std::unique_ptr<Overlapped> m_overlapped;
  detail::SeamHandle m_handle;
  FileHint m_hint;
  bool m_buffered;
  bool m_writable = false;
  std::vector<std::pair<const void*, std::uint32_t>> m_pending;
};

template <class T>
class CFileT : public CFileBase {
  static_assert(std::is_same_v<T, unsigned int>, "positions and sizes are unsigned 32-bit");

 public:
  /// The distance type of TruncateFromEnd.
  using SignedT = std::make_signed_t<T>;

  /// See CFileBase's constructor: nothing is opened.
  explicit CFileT(const std::string& path, FileHint hint = FileHint::Normal, bool buffered = true,
                  bool overlapped = false);
  ~CFileT() override;

  /// The operations, in this order (their slot order is part of the family's
  /// binary interface).
  /// Opens (closing any open handle first) and returns the size; position 0.
  virtual T Open(OpenMode mode);
  /// Writes out the queue, then closes; position and size keep their values.
  virtual void Close();
  /// Close, then removes the file (_unlink) when the legacy Path class finds
  /// one there; a missing file is no failure.
  virtual void Delete();
  /// Where the next read or write goes, after the queue is written out.
  virtual T Tell();
  /// Whether the position equals the kept size (see the top of this header),
  /// which after a seek past the end is not the end on disk.
  virtual bool EndOfFile();
  /// Size becomes the greater of size and the new position.
  virtual void Seek(T offset, SeekMethod method);
  /// elementSize * count bytes; returns the bytes written (queued ones count).
  virtual T Write(const void* data, T elementSize, T count);
  /// Up to elementSize * count bytes; with exact, fewer raise ReadData
  /// (after the position has counted the bytes that came).
  virtual T Read(void* dest, T elementSize, T count, bool exact);
  /// The kept size (see the top of this header), after the queue is written out.
  virtual T Size();
  /// The last write time as local wall-clock fields (FileTimeToLocalFileTime),
  /// taken by DateTime as they stand.
  virtual ORV::DateTime LastModification();
  /// Sets the end of file at newSize; with the same size only when forced.
  /// Position and size become newSize.
  virtual void Resize(T newSize, bool force);
  /// Writes out the queue; FlushFileBuffers when opened for writing.
  virtual void Flush();
  /// Sets the end of file at delta from the end; the size is not lowered.
  virtual void TruncateFromEnd(SignedT delta);

 private:
  void MoveTo(std::uint64_t position) noexcept;
  void Advance(T bytes) noexcept;

  T m_position = 0;
  T m_size = 0;
};

/// The one instantiation: 32-bit unsigned positions and sizes.
using CFile = CFileT<unsigned int>;

extern template class ORVFILE_API CFileT<unsigned int>;

}  // namespace ORVFile
