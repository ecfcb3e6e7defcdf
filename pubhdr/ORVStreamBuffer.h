/// \class ORVFile::OStreamBuffer
/// OStreamBuffer and IStreamBuffer: one-way buffers (BinaryStreamBuf) over a
/// standard narrow output or input stream, so that what writes to a buffer can
/// write to a std::ofstream or a std::ostringstream, and the other way round.
/// The output adapter has only the put side, the input adapter only the get
/// side; positions are the stream buffer's (pubseekoff on the side used).
///
/// Stream failures never become exceptions: they show as a short count from
/// vGet (gcount), a position of 0xFFFFFFFF (-1) from a stream whose fail or bad
/// bit is set, or a seek that is skipped. vPut returns the count asked whatever
/// the stream did with it; vSeekP / vSeekG clear an end-of-file state first.
/// vSize goes to the end and back and answers 0xFFFFFFFF when the stream had
/// failed. vFlush does nothing: the stream is flushed by its owner.
///
/// Built from a reference the adapter borrows the stream; built from
/// (pointer, true) it owns it and deletes it when it goes. Both derive from
/// StreamAdapter, which holds what they share. One thread at a time.
///
/// The other operations throw NotImplemented (a std::exception), with these
/// texts exactly, slips included:
/// ~~~
///   OStreamBuffer: "OStreamBuffer::Get : Not implemented!", "...::TellG : ...",
///     "...::SeekG : ...", "...::Clear : ...", "...::ClearMemory : ...",
///     "OStreamBuffer::ClearEnd : Not implemented!"
///   IStreamBuffer: vPut and vSeekP "IStreamBuffer::SeekP: Not implemented!",
///     vTellP "PStreamBuffer::TellP : Not implemented!", "IStreamBuffer::Clear :
///     Not implemented!", "...::ClearMemory : ...", "...::ClearEnd : ..."
/// ~~~
#pragma once

#include <cstdint>
#include <ios>
#include <istream>
#include <ostream>

#include "ORVBinaryStreamBuf.h"
#include "ORVFileDefs.h"

namespace ORVFile {

/// What the two stream adapters share: the stream (owned or borrowed), the
/// side they use, and the operations that are the same on either side. Not
/// used on its own.
class ORVFILE_API StreamAdapter : public ORV::BinaryStreamBuf {
 public:
  /// Deletes the stream when it owns it.
  ~StreamAdapter() override;

  /// Nothing: the stream is flushed by its owner.
  void vFlush() override;
  /// To the end and back; 0xFFFFFFFF on a failed stream.
  std::uint32_t vSize() override;
  /// The stream's end-of-file bit.
  bool vEndOfFile() override;

 protected:
  /// side: std::ios_base::out or std::ios_base::in.
  StreamAdapter(unsigned char capabilities, std::ios* stream, bool owns, std::ios_base::openmode side);
  /// The position on the side used; 0xFFFFFFFF when the stream has failed.
  std::uint32_t Tell();
  /// Clears an end-of-file state, seeks on the side used unless the stream
  /// has failed (then nothing moves), and returns Tell().
  std::uint32_t Seek(std::int32_t offset, Direction direction);

 private:
  bool m_owns;
  std::ios* m_stream;
  std::ios_base::openmode m_side;
};

/// The put side over a std::ostream; see the top of this header.
class ORVFILE_API OStreamBuffer : public StreamAdapter {
 public:
  /// Borrows stream, which must outlive the buffer; from a pointer with owns
  /// the buffer deletes it when it goes.
  ///@{
  explicit OStreamBuffer(std::ostream& stream);
  OStreamBuffer(std::ostream* stream, bool owns);
  ///@}
  ~OStreamBuffer() override;

  std::uint32_t vPut(const void* data, std::uint32_t count) override;
  std::uint32_t vTellP() override;
  std::uint32_t vSeekP(std::int32_t offset, Direction direction) override;
  std::uint32_t vGet(void* dest, std::uint32_t count) override;
  std::uint32_t vTellG() override;
  std::uint32_t vSeekG(std::int32_t offset, Direction direction) override;
  void vClear() override;
  void vClearMemory() override;
  void vClearEnd() override;

 private:
  std::ostream* m_out;
};

/// The get side over a std::istream; see the top of this header.
class ORVFILE_API IStreamBuffer : public StreamAdapter {
 public:
  /// Borrows stream, which must outlive the buffer; from a pointer with owns
  /// the buffer deletes it when it goes.
  ///@{
  explicit IStreamBuffer(std::istream& stream);
  IStreamBuffer(std::istream* stream, bool owns);
  ///@}
  ~IStreamBuffer() override;

  std::uint32_t vPut(const void* data, std::uint32_t count) override;
  std::uint32_t vTellP() override;
  std::uint32_t vSeekP(std::int32_t offset, Direction direction) override;
  /// read(dest, count); returns gcount.
  std::uint32_t vGet(void* dest, std::uint32_t count) override;
  std::uint32_t vTellG() override;
  std::uint32_t vSeekG(std::int32_t offset, Direction direction) override;
  void vClear() override;
  void vClearMemory() override;
  void vClearEnd() override;

 private:
  std::istream* m_in;
};

}  // namespace ORVFile
