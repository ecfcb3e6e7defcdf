/// \class ORVFile::OCFileBuffer
/// OCFileBuffer and ICFileBuffer: one-way buffers (BinaryStreamBuf) over a
/// file handle CFile (ORVCFile.h), so that a buffer's Copy, a BinaryStream or
/// a parser can write to or read from a file. The output adapter has only the
/// put side, the input adapter only the get side.
///
/// Both borrow the handle (SetCFile swaps it): it must stay alive and open as
/// long as they use it. Positions and the size are the handle's; vSize seeks
/// to the end and back, so the position stays where it was. The handle's Seek
/// takes only forward distances, so a negative offset is made absolute first:
/// ~~~
///   position 20: vSeekP(-10, Current) -> Seek(10, Begin) -> 10
///   position 4:  vSeekP(-10, Current) -> FileException, message 11
/// ~~~
/// A negative offset from Begin, or one that reaches before the start, raises
/// FileException with message 11 ("An error occurred while seeking in the file
/// `%1`.", the handle's path, source file "ORVCFileBuffer.cpp", recorded error
/// ERROR_NEGATIVE_SEEK). A positive offset from End goes past the end and so
/// raises the handle's size. File failures come from the handle.
///
/// The other operations throw NotImplemented (a std::exception), with these
/// texts exactly, slips included:
/// ~~~
///   OCFileBuffer: "OCFileBuffer::Get : Not implemented!", "...::TellG : ...",
///     "...::SeekG : ...", "...::Clear : ...", "OCFileBuffer::ClearClearMemory :
///     Not implemented!", "OCFileBuffer::ClearEnd : Not implemented!"
///   ICFileBuffer: vPut and vSeekP "ICFileBuffer::SeekP: Not implemented!",
///     vTellP "PCFileBuffer::TellP : Not implemented!", "ICFileBuffer::Clear :
///     Not implemented!", "...::ClearMemory : ...", "...::ClearEnd : ..."
/// ~~~
/// Both derive from CFileAdapter, which holds what they share. One thread at a
/// time, as for the handle.
#pragma once

#include <cstdint>

#include "ORVBinaryStreamBuf.h"
#include "ORVCFile.h"
#include "ORVFileDefs.h"

namespace ORVFile {

/// What the two file adapters share: the borrowed handle, and the operations
/// that are the same on either side. Not used on its own.
class ORVFILE_API CFileAdapter : public ORV::BinaryStreamBuf {
 public:
  ~CFileAdapter() override;

  /// The handle used from now on, borrowed like the first one; its position
  /// is taken as it stands. GetCFile returns the handle in use.
  ///@{
  void SetCFile(CFile& file);
  CFile& GetCFile() const;
  ///@}

  /// The handle's Flush.
  void vFlush() override;
  /// To the end and back: the position stays where it was.
  std::uint32_t vSize() override;
  /// The handle's EndOfFile.
  bool vEndOfFile() override;

 protected:
  /// capabilities as BinaryStreamBuf takes them; file is borrowed.
  CFileAdapter(unsigned char capabilities, CFile& file);
  /// The handle's Tell.
  std::uint32_t Tell();
  /// A negative offset made absolute, or the seek error.
  std::uint32_t Seek(std::int32_t offset, Direction direction);

 private:
  CFile* m_file;
};

/// The put side over a CFile opened for writing; see the top of this header.
class ORVFILE_API OCFileBuffer : public CFileAdapter {
 public:
  /// Borrows file, which must stay alive and open while the buffer uses it.
  explicit OCFileBuffer(CFile& file);
  ~OCFileBuffer() override;

  /// The handle's Write; returns its result.
  std::uint32_t vPut(const void* data, std::uint32_t count) override;
  std::uint32_t vTellP() override;
  std::uint32_t vSeekP(std::int32_t offset, Direction direction) override;
  std::uint32_t vGet(void* dest, std::uint32_t count) override;
  std::uint32_t vTellG() override;
  std::uint32_t vSeekG(std::int32_t offset, Direction direction) override;
  void vClear() override;
  void vClearMemory() override;
  void vClearEnd() override;
};

/// The get side over a CFile; see the top of this header.
class ORVFILE_API ICFileBuffer : public CFileAdapter {
 public:
  /// Borrows file, which must stay alive and open while the buffer uses it.
  explicit ICFileBuffer(CFile& file);
  ~ICFileBuffer() override;

  std::uint32_t vPut(const void* data, std::uint32_t count) override;
  std::uint32_t vTellP() override;
  std::uint32_t vSeekP(std::int32_t offset, Direction direction) override;
  /// The handle's Read, not exact: fewer bytes at the end.
  std::uint32_t vGet(void* dest, std::uint32_t count) override;
  std::uint32_t vTellG() override;
  std::uint32_t vSeekG(std::int32_t offset, Direction direction) override;
  void vClear() override;
  void vClearMemory() override;
  void vClearEnd() override;
};

}  // namespace ORVFile
