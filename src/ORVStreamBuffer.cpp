#include "ORVStreamBuffer.h"

#include "ORVNotImplemented.h"

namespace ORVFile {

namespace {

constexpr std::uint32_t kUnknown = 0xFFFFFFFFu;

std::ios_base::seekdir Origin(ORV::BinaryStreamBuf::Direction direction) {
  using Buf = ORV::BinaryStreamBuf;
  return direction == Buf::Begin ? std::ios_base::beg : direction == Buf::End ? std::ios_base::end : std::ios_base::cur;
}

std::uint32_t Position(std::streampos position) {
  return static_cast<std::uint32_t>(static_cast<std::streamoff>(position));
}

}  // namespace

StreamAdapter::StreamAdapter(unsigned char capabilities, std::ios* stream, bool owns, std::ios_base::openmode side)
    : BinaryStreamBuf(capabilities), m_owns(owns), m_stream(stream), m_side(side) {}

StreamAdapter::~StreamAdapter() {
  if (m_owns) delete m_stream;
}

void StreamAdapter::vFlush() {}

// Every step is skipped on a failed stream (fail or bad bit).
std::uint32_t StreamAdapter::vSize() {
  if (m_stream->fail()) return kUnknown;
  std::streambuf& buffer = *m_stream->rdbuf();
  const std::streampos position = buffer.pubseekoff(0, std::ios_base::cur, m_side);
  const std::streampos end = buffer.pubseekoff(0, std::ios_base::end, m_side);
  buffer.pubseekpos(position, m_side);
  return Position(end);
}

bool StreamAdapter::vEndOfFile() { return m_stream->eof(); }

std::uint32_t StreamAdapter::Tell() {
  if (m_stream->fail()) return kUnknown;
  return Position(m_stream->rdbuf()->pubseekoff(0, std::ios_base::cur, m_side));
}

std::uint32_t StreamAdapter::Seek(std::int32_t offset, Direction direction) {
  if (m_stream->eof()) m_stream->clear();
  if (!m_stream->fail()) m_stream->rdbuf()->pubseekoff(offset, Origin(direction), m_side);
  return Tell();
}

OStreamBuffer::OStreamBuffer(std::ostream& stream) : OStreamBuffer(&stream, false) {}

OStreamBuffer::OStreamBuffer(std::ostream* stream, bool owns)
    : StreamAdapter(CanSeek, stream, owns, std::ios_base::out), m_out(stream) {}

OStreamBuffer::~OStreamBuffer() = default;

std::uint32_t OStreamBuffer::vPut(const void* data, std::uint32_t count) {
  m_out->write(static_cast<const char*>(data), count);
  return count;
}

std::uint32_t OStreamBuffer::vTellP() { return Tell(); }

std::uint32_t OStreamBuffer::vSeekP(std::int32_t offset, Direction direction) { return Seek(offset, direction); }

std::uint32_t OStreamBuffer::vGet(void*, std::uint32_t) {
  throw NotImplemented("OStreamBuffer::Get : Not implemented!");
}

std::uint32_t OStreamBuffer::vTellG() { throw NotImplemented("OStreamBuffer::TellG : Not implemented!"); }

std::uint32_t OStreamBuffer::vSeekG(std::int32_t, Direction) {
  throw NotImplemented("OStreamBuffer::SeekG : Not implemented!");
}

void OStreamBuffer::vClear() { throw NotImplemented("OStreamBuffer::Clear : Not implemented!"); }

void OStreamBuffer::vClearMemory() { throw NotImplemented("OStreamBuffer::ClearMemory : Not implemented!"); }

void OStreamBuffer::vClearEnd() { throw NotImplemented("OStreamBuffer::ClearEnd : Not implemented!"); }

IStreamBuffer::IStreamBuffer(std::istream& stream) : IStreamBuffer(&stream, false) {}

IStreamBuffer::IStreamBuffer(std::istream* stream, bool owns)
    : StreamAdapter(CanGet | CanSeek, stream, owns, std::ios_base::in), m_in(stream) {}

IStreamBuffer::~IStreamBuffer() = default;

std::uint32_t IStreamBuffer::vPut(const void*, std::uint32_t) {
  throw NotImplemented("IStreamBuffer::SeekP: Not implemented!");
}

std::uint32_t IStreamBuffer::vTellP() { throw NotImplemented("PStreamBuffer::TellP : Not implemented!"); }

std::uint32_t IStreamBuffer::vSeekP(std::int32_t, Direction) {
  throw NotImplemented("IStreamBuffer::SeekP: Not implemented!");
}

std::uint32_t IStreamBuffer::vGet(void* dest, std::uint32_t count) {
  m_in->read(static_cast<char*>(dest), count);
  return static_cast<std::uint32_t>(m_in->gcount());
}

std::uint32_t IStreamBuffer::vTellG() { return Tell(); }

std::uint32_t IStreamBuffer::vSeekG(std::int32_t offset, Direction direction) { return Seek(offset, direction); }

void IStreamBuffer::vClear() { throw NotImplemented("IStreamBuffer::Clear : Not implemented!"); }

void IStreamBuffer::vClearMemory() { throw NotImplemented("IStreamBuffer::ClearMemory : Not implemented!"); }

void IStreamBuffer::vClearEnd() { throw NotImplemented("IStreamBuffer::ClearEnd : Not implemented!"); }

}  // namespace ORVFile
