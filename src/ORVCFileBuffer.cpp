#include "win32.h"

#include "ORVCFileBuffer.h"
#include "ORVNotImplemented.h"
#include "ORVRaise.h"

namespace ORVFile {

namespace {

// The handle's Seek takes forward distances only: a negative offset becomes
// a position from the start, or the seek error when that would lie before it.
std::uint32_t SeekFile(CFile& file, std::int32_t offset, ORV::BinaryStreamBuf::Direction direction) {
  using Buf = ORV::BinaryStreamBuf;
  const SeekMethod method = direction == Buf::Begin ? SeekMethod::Begin
                            : direction == Buf::End ? SeekMethod::End
                                                    : SeekMethod::Current;
  if (offset >= 0) {
    file.Seek(static_cast<std::uint32_t>(offset), method);
    return file.Tell();
  }
  const std::uint32_t back = 0u - static_cast<std::uint32_t>(offset);
  const std::uint32_t from = method == SeekMethod::Current ? file.Tell() : method == SeekMethod::End ? file.Size() : 0;
  if (method == SeekMethod::Begin || from < back)
    detail::Raise<FileException>(ORVFILE_THROW_SITE, MSG_SEEK, ERROR_NEGATIVE_SEEK, file.Path());
  file.Seek(from - back, SeekMethod::Begin);
  return file.Tell();
}

// To the end and back: the position stays where it was.
std::uint32_t FileSize(CFile& file) {
  const std::uint32_t position = file.Tell();
  file.Seek(0, SeekMethod::End);
  const std::uint32_t size = file.Tell();
  file.Seek(position, SeekMethod::Begin);
  return size;
}

}  // namespace

OCFileBuffer::OCFileBuffer(CFile& file) : BinaryStreamBuf(CanSeek), m_file(&file) {}

OCFileBuffer::~OCFileBuffer() = default;

void OCFileBuffer::SetCFile(CFile& file) { m_file = &file; }

CFile& OCFileBuffer::GetCFile() const { return *m_file; }

std::uint32_t OCFileBuffer::vPut(const void* data, std::uint32_t count) { return m_file->Write(data, 1, count); }

std::uint32_t OCFileBuffer::vTellP() { return m_file->Tell(); }

std::uint32_t OCFileBuffer::vSeekP(std::int32_t offset, Direction direction) {
  return SeekFile(*m_file, offset, direction);
}

std::uint32_t OCFileBuffer::vGet(void*, std::uint32_t) { throw NotImplemented("OCFileBuffer::Get : Not implemented!"); }

std::uint32_t OCFileBuffer::vTellG() { throw NotImplemented("OCFileBuffer::TellG : Not implemented!"); }

std::uint32_t OCFileBuffer::vSeekG(std::int32_t, Direction) {
  throw NotImplemented("OCFileBuffer::SeekG : Not implemented!");
}

void OCFileBuffer::vFlush() { m_file->Flush(); }

void OCFileBuffer::vClear() { throw NotImplemented("OCFileBuffer::Clear : Not implemented!"); }

void OCFileBuffer::vClearMemory() { throw NotImplemented("OCFileBuffer::ClearClearMemory : Not implemented!"); }

void OCFileBuffer::vClearEnd() { throw NotImplemented("OCFileBuffer::ClearEnd : Not implemented!"); }

std::uint32_t OCFileBuffer::vSize() { return FileSize(*m_file); }

bool OCFileBuffer::vEndOfFile() { return m_file->EndOfFile(); }

ICFileBuffer::ICFileBuffer(CFile& file) : BinaryStreamBuf(CanGet | CanSeek), m_file(&file) {}

ICFileBuffer::~ICFileBuffer() = default;

void ICFileBuffer::SetCFile(CFile& file) { m_file = &file; }

CFile& ICFileBuffer::GetCFile() const { return *m_file; }

std::uint32_t ICFileBuffer::vPut(const void*, std::uint32_t) {
  throw NotImplemented("ICFileBuffer::SeekP: Not implemented!");
}

std::uint32_t ICFileBuffer::vTellP() { throw NotImplemented("PCFileBuffer::TellP : Not implemented!"); }

std::uint32_t ICFileBuffer::vSeekP(std::int32_t, Direction) {
  throw NotImplemented("ICFileBuffer::SeekP: Not implemented!");
}

std::uint32_t ICFileBuffer::vGet(void* dest, std::uint32_t count) { return m_file->Read(dest, 1, count, false); }

std::uint32_t ICFileBuffer::vTellG() { return m_file->Tell(); }

std::uint32_t ICFileBuffer::vSeekG(std::int32_t offset, Direction direction) {
  return SeekFile(*m_file, offset, direction);
}

void ICFileBuffer::vFlush() { m_file->Flush(); }

void ICFileBuffer::vClear() { throw NotImplemented("ICFileBuffer::Clear : Not implemented!"); }

void ICFileBuffer::vClearMemory() { throw NotImplemented("ICFileBuffer::ClearMemory : Not implemented!"); }

void ICFileBuffer::vClearEnd() { throw NotImplemented("ICFileBuffer::ClearEnd : Not implemented!"); }

std::uint32_t ICFileBuffer::vSize() { return FileSize(*m_file); }

bool ICFileBuffer::vEndOfFile() { return m_file->EndOfFile(); }

}  // namespace ORVFile
