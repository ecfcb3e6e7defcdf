#include "ORVStreamBuffer.h"

#include <ios>

#include "ORVNotImplemented.h"

namespace ORVFile {

namespace {

using Buf = ORV::BinaryStreamBuf;

constexpr std::uint32_t kUnknown = 0xFFFFFFFFu;

bool Failed(const std::ios& stream) { return stream.fail(); }  // fail or bad

std::ios_base::seekdir Origin(Buf::Direction direction) {
  return direction == Buf::Begin ? std::ios_base::beg : direction == Buf::End ? std::ios_base::end : std::ios_base::cur;
}

// The position on one side: which is std::ios_base::out or in.
std::uint32_t StreamTell(std::ios& stream, std::ios_base::openmode which) {
  if (Failed(stream)) return kUnknown;
  return static_cast<std::uint32_t>(
      static_cast<std::streamoff>(stream.rdbuf()->pubseekoff(0, std::ios_base::cur, which)));
}

std::uint32_t StreamSeek(std::ios& stream, std::int32_t offset, Buf::Direction direction,
                         std::ios_base::openmode which) {
  if (stream.eof()) stream.clear();
  if (!Failed(stream)) stream.rdbuf()->pubseekoff(offset, Origin(direction), which);
  return StreamTell(stream, which);
}

// To the end and back; every step is skipped on a failed stream.
std::uint32_t StreamSize(std::ios& stream, std::ios_base::openmode which) {
  if (Failed(stream)) return kUnknown;
  std::streambuf& buffer = *stream.rdbuf();
  const std::streampos position = buffer.pubseekoff(0, std::ios_base::cur, which);
  const std::streampos end = buffer.pubseekoff(0, std::ios_base::end, which);
  buffer.pubseekpos(position, which);
  return static_cast<std::uint32_t>(static_cast<std::streamoff>(end));
}

}  // namespace

OStreamBuffer::OStreamBuffer(std::ostream& stream) : BinaryStreamBuf(CanSeek), m_owns(false), m_stream(&stream) {}

OStreamBuffer::OStreamBuffer(std::ostream* stream, bool owns)
    : BinaryStreamBuf(CanSeek), m_owns(owns), m_stream(stream) {}

OStreamBuffer::~OStreamBuffer() {
  if (m_owns) delete m_stream;
}

std::uint32_t OStreamBuffer::vPut(const void* data, std::uint32_t count) {
  m_stream->write(static_cast<const char*>(data), count);
  return count;
}

std::uint32_t OStreamBuffer::vTellP() { return StreamTell(*m_stream, std::ios_base::out); }

std::uint32_t OStreamBuffer::vSeekP(std::int32_t offset, Direction direction) {
  return StreamSeek(*m_stream, offset, direction, std::ios_base::out);
}

std::uint32_t OStreamBuffer::vGet(void*, std::uint32_t) {
  throw NotImplemented("OStreamBuffer::Get : Not implemented!");
}

std::uint32_t OStreamBuffer::vTellG() { throw NotImplemented("OStreamBuffer::TellG : Not implemented!"); }

std::uint32_t OStreamBuffer::vSeekG(std::int32_t, Direction) {
  throw NotImplemented("OStreamBuffer::SeekG : Not implemented!");
}

void OStreamBuffer::vFlush() {}

void OStreamBuffer::vClear() { throw NotImplemented("OStreamBuffer::Clear : Not implemented!"); }

void OStreamBuffer::vClearMemory() { throw NotImplemented("OStreamBuffer::ClearMemory : Not implemented!"); }

void OStreamBuffer::vClearEnd() { throw NotImplemented("OStreamBuffer::ClearEnd : Not implemented!"); }

std::uint32_t OStreamBuffer::vSize() { return StreamSize(*m_stream, std::ios_base::out); }

bool OStreamBuffer::vEndOfFile() { return m_stream->eof(); }

IStreamBuffer::IStreamBuffer(std::istream& stream)
    : BinaryStreamBuf(CanGet | CanSeek), m_owns(false), m_stream(&stream) {}

IStreamBuffer::IStreamBuffer(std::istream* stream, bool owns)
    : BinaryStreamBuf(CanGet | CanSeek), m_owns(owns), m_stream(stream) {}

IStreamBuffer::~IStreamBuffer() {
  if (m_owns) delete m_stream;
}

std::uint32_t IStreamBuffer::vPut(const void*, std::uint32_t) {
  throw NotImplemented("IStreamBuffer::SeekP: Not implemented!");
}

std::uint32_t IStreamBuffer::vTellP() { throw NotImplemented("PStreamBuffer::TellP : Not implemented!"); }

std::uint32_t IStreamBuffer::vSeekP(std::int32_t, Direction) {
  throw NotImplemented("IStreamBuffer::SeekP: Not implemented!");
}

std::uint32_t IStreamBuffer::vGet(void* dest, std::uint32_t count) {
  m_stream->read(static_cast<char*>(dest), count);
  return static_cast<std::uint32_t>(m_stream->gcount());
}

std::uint32_t IStreamBuffer::vTellG() { return StreamTell(*m_stream, std::ios_base::in); }

std::uint32_t IStreamBuffer::vSeekG(std::int32_t offset, Direction direction) {
  return StreamSeek(*m_stream, offset, direction, std::ios_base::in);
}

void IStreamBuffer::vFlush() {}

void IStreamBuffer::vClear() { throw NotImplemented("IStreamBuffer::Clear : Not implemented!"); }

void IStreamBuffer::vClearMemory() { throw NotImplemented("IStreamBuffer::ClearMemory : Not implemented!"); }

void IStreamBuffer::vClearEnd() { throw NotImplemented("IStreamBuffer::ClearEnd : Not implemented!"); }

std::uint32_t IStreamBuffer::vSize() { return StreamSize(*m_stream, std::ios_base::in); }

bool IStreamBuffer::vEndOfFile() { return m_stream->eof(); }

}  // namespace ORVFile
