#include "win32.h"

#include "ORVCFileBuffer.h"
#include "ORVNotImplemented.h"
#include "ORVRaise.h"

namespace ORVFile {

CFileAdapter::CFileAdapter(unsigned char capabilities, CFile& file) : BinaryStreamBuf(capabilities), m_file(&file) {}

CFileAdapter::~CFileAdapter() = default;

void CFileAdapter::SetCFile(CFile& file) { m_file = &file; }

CFile& CFileAdapter::GetCFile() const { return *m_file; }

void CFileAdapter::vFlush() { m_file->Flush(); }

std::uint32_t CFileAdapter::vSize() {
  const std::uint32_t position = m_file->Tell();
  m_file->Seek(0, SeekMethod::End);
  const std::uint32_t size = m_file->Tell();
  m_file->Seek(position, SeekMethod::Begin);
  return size;
}

bool CFileAdapter::vEndOfFile() { return m_file->EndOfFile(); }

std::uint32_t CFileAdapter::Tell() { return m_file->Tell(); }

// The handle's Seek takes forward distances only: a negative offset becomes
// a position from the start, or the seek error when that would lie before it.
std::uint32_t CFileAdapter::Seek(std::int32_t offset, Direction direction) {
  const SeekMethod method = direction == Begin ? SeekMethod::Begin
                            : direction == End ? SeekMethod::End
                                               : SeekMethod::Current;
  if (offset >= 0) {
    m_file->Seek(static_cast<std::uint32_t>(offset), method);
    return m_file->Tell();
  }
  const std::uint32_t back = 0u - static_cast<std::uint32_t>(offset);
  const std::uint32_t from = method == SeekMethod::Current ? m_file->Tell()
                             : method == SeekMethod::End   ? m_file->Size()
                                                           : 0;
  if (method == SeekMethod::Begin || from < back)
    detail::Raise<FileException>(ORVFILE_THROW_SITE, MSG_SEEK, ERROR_NEGATIVE_SEEK, m_file->Path());
  m_file->Seek(from - back, SeekMethod::Begin);
  return m_file->Tell();
}

OCFileBuffer::OCFileBuffer(CFile& file) : CFileAdapter(CanSeek, file) {}

OCFileBuffer::~OCFileBuffer() = default;

std::uint32_t OCFileBuffer::vPut(const void* data, std::uint32_t count) { return GetCFile().Write(data, 1, count); }

std::uint32_t OCFileBuffer::vTellP() { return Tell(); }

std::uint32_t OCFileBuffer::vSeekP(std::int32_t offset, Direction direction) { return Seek(offset, direction); }

std::uint32_t OCFileBuffer::vGet(void*, std::uint32_t) { throw NotImplemented("OCFileBuffer::Get : Not implemented!"); }

std::uint32_t OCFileBuffer::vTellG() { throw NotImplemented("OCFileBuffer::TellG : Not implemented!"); }

std::uint32_t OCFileBuffer::vSeekG(std::int32_t, Direction) {
  throw NotImplemented("OCFileBuffer::SeekG : Not implemented!");
}

void OCFileBuffer::vClear() { throw NotImplemented("OCFileBuffer::Clear : Not implemented!"); }

void OCFileBuffer::vClearMemory() { throw NotImplemented("OCFileBuffer::ClearClearMemory : Not implemented!"); }

void OCFileBuffer::vClearEnd() { throw NotImplemented("OCFileBuffer::ClearEnd : Not implemented!"); }

ICFileBuffer::ICFileBuffer(CFile& file) : CFileAdapter(CanGet | CanSeek, file) {}

ICFileBuffer::~ICFileBuffer() = default;

std::uint32_t ICFileBuffer::vPut(const void*, std::uint32_t) {
  throw NotImplemented("ICFileBuffer::SeekP: Not implemented!");
}

std::uint32_t ICFileBuffer::vTellP() { throw NotImplemented("PCFileBuffer::TellP : Not implemented!"); }

std::uint32_t ICFileBuffer::vSeekP(std::int32_t, Direction) {
  throw NotImplemented("ICFileBuffer::SeekP: Not implemented!");
}

std::uint32_t ICFileBuffer::vGet(void* dest, std::uint32_t count) { return GetCFile().Read(dest, 1, count, false); }

std::uint32_t ICFileBuffer::vTellG() { return Tell(); }

std::uint32_t ICFileBuffer::vSeekG(std::int32_t offset, Direction direction) { return Seek(offset, direction); }

void ICFileBuffer::vClear() { throw NotImplemented("ICFileBuffer::Clear : Not implemented!"); }

void ICFileBuffer::vClearMemory() { throw NotImplemented("ICFileBuffer::ClearMemory : Not implemented!"); }

void ICFileBuffer::vClearEnd() { throw NotImplemented("ICFileBuffer::ClearEnd : Not implemented!"); }

}  // namespace ORVFile
