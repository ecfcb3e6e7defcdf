#include "win32.h"

#include <io.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "ORVCFile.h"
#include "ORVFileSeam.h"
#include "ORVPath.h"
#include "ORVRaise.h"

namespace ORVFile {

namespace {

using detail::Calls;

static_assert(static_cast<DWORD>(SeekMethod::Begin) == FILE_BEGIN);
static_assert(static_cast<DWORD>(SeekMethod::Current) == FILE_CURRENT);
static_assert(static_cast<DWORD>(SeekMethod::End) == FILE_END);

struct OpenArguments {
  DWORD access;
  DWORD share;
  DWORD disposition;
};

// Indexed by OpenMode.
constexpr OpenArguments kOpenArguments[] = {
    {GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING},
    {GENERIC_READ | GENERIC_WRITE, 0, OPEN_ALWAYS},
    {GENERIC_READ | GENERIC_WRITE, 0, CREATE_ALWAYS},
};

// Indexed by FileHint.
constexpr DWORD kHintFlags[] = {FILE_ATTRIBUTE_NORMAL, FILE_FLAG_SEQUENTIAL_SCAN, FILE_FLAG_RANDOM_ACCESS,
                                FILE_ATTRIBUTE_TEMPORARY, FILE_FLAG_DELETE_ON_CLOSE};

DWORD OpenFlags(FileHint hint, bool buffered, bool overlapped) {
  const auto index = static_cast<std::uint32_t>(hint);
  DWORD flags = index < std::size(kHintFlags) ? kHintFlags[index] : 0;
  if (!buffered) flags |= FILE_FLAG_WRITE_THROUGH;
  if (overlapped) flags |= FILE_FLAG_OVERLAPPED;
  return flags;
}

std::uint64_t OffsetOf(const OVERLAPPED& record) { return (std::uint64_t{record.OffsetHigh} << 32) | record.Offset; }

// Actions 2, 4 and those above 8 raise nothing.
bool Raises(CFileBase::Action action) {
  const auto value = static_cast<std::uint32_t>(action);
  return value <= 8 && value != 2 && value != 4;
}

bool UnlinkWrp(const std::string& path) { return ::_unlink(path.c_str()) == 0; }

// The fields of a FILETIME in local time.
bool LocalTimeWrp(const FILETIME& time, SYSTEMTIME* fields) {
  FILETIME local;
  return ::FileTimeToLocalFileTime(&time, &local) && ::FileTimeToSystemTime(&local, fields);
}

}  // namespace

struct CFileBase::Overlapped {
  OVERLAPPED record{};
  detail::SeamHandle event;
  // A write was started whose result nobody has read yet.
  bool writeInFlight = false;
};

CFileBase::CFileBase(const std::string& path, FileHint hint, bool buffered, bool overlapped)
    : m_path(path), m_hint(hint), m_buffered(buffered) {
  if (!overlapped) return;
  m_overlapped = std::make_unique<Overlapped>();
  // Manual-reset and signalled: the first wait finds nothing running.
  const HANDLE event = Calls().CreateEventW(nullptr, TRUE, TRUE, nullptr);
  if (event == nullptr) Throw(Action::OpenWrite);
  m_overlapped->event.Reset(event);
  m_overlapped->record.hEvent = event;
}

// Close reports a failure to write out the queue; a destructor cannot.
CFileBase::~CFileBase() {
  try {
    Settle();
  } catch (const FileException&) {
  }
}

const std::string& CFileBase::Path() const noexcept { return m_path; }

FileHint CFileBase::Hint() const noexcept { return m_hint; }

bool CFileBase::IsBuffered() const noexcept { return m_buffered; }

bool CFileBase::IsOverlapped() const noexcept { return m_overlapped != nullptr; }

bool CFileBase::IsOpen() const noexcept { return static_cast<bool>(m_handle); }

bool CFileBase::IsWritable() const noexcept { return m_writable; }

void CFileBase::Throw(Action action) {
  const DWORD error = ::GetLastError();
  if (Raises(action)) Fail(action, error);
}

void CFileBase::Fail(Action action, unsigned long error) {
  SignalEvent();
  const detail::ThrowSite site = ORVFILE_THROW_SITE;
  switch (action) {
    case Action::OpenRead:
    case Action::OpenWrite:
      detail::RaiseOpenFailure(site, action == Action::OpenWrite, error, m_path);
    case Action::DeleteFile:
      detail::Raise<FileCannotDeleteException>(site, MSG_DELETE, error, m_path);
    case Action::SeekFile:
      detail::Raise<FileException>(site, MSG_SEEK, error, m_path);
    case Action::WriteData:
      detail::Raise<WriteErrorException>(site, MSG_WRITE, error, m_path);
    case Action::ReadData:
      detail::Raise<FileException>(site, MSG_READ, error, m_path);
    default:  // Action::GetAttributes: Throw passes no other
      detail::Raise<FileException>(site, MSG_GET_ATTRIBUTES, error, m_path);
  }
}

void CFileBase::SignalEvent() noexcept {
  if (m_overlapped != nullptr && m_overlapped->event) Calls().SetEvent(m_overlapped->event.Get());
}

std::uint32_t CFileBase::ByteCount(std::uint32_t elementSize, std::uint32_t count, Action action) {
  const std::uint64_t bytes = std::uint64_t{elementSize} * count;
  if (bytes > 0xFFFFFFFFu) Fail(action, ERROR_INVALID_PARAMETER);
  return static_cast<std::uint32_t>(bytes);
}

std::uint32_t CFileBase::OpenHandle(OpenMode mode) {
  const auto index = static_cast<std::uint32_t>(mode);
  const Action action = mode == OpenMode::OpenRead ? Action::OpenRead : Action::OpenWrite;
  if (index < std::size(kOpenArguments)) {
    // Closed first, so that opening the same file again is no sharing violation.
    ReleaseHandle();
    const OpenArguments& open = kOpenArguments[index];
    const HANDLE handle = Calls().CreateFileA(m_path.c_str(), open.access, open.share, nullptr, open.disposition,
                                              OpenFlags(m_hint, m_buffered, IsOverlapped()), nullptr);
    if (handle == INVALID_HANDLE_VALUE) Throw(action);
    m_handle.Reset(handle);
    m_writable = mode != OpenMode::OpenRead;
  } else if (!m_handle) {
    Fail(action, ERROR_INVALID_PARAMETER);
  } else {
    // An unknown mode opens nothing: the open handle starts again from the beginning.
    MovePointer(0, SeekMethod::Begin);
  }
  SetOffset(0);
  DWORD high = 0;
  const DWORD size = Calls().GetFileSize(m_handle.Get(), &high);
  if (size == INVALID_FILE_SIZE) {
    // A size of 4 GiB - 1 is no failure: only an error code makes one.
    const DWORD error = ::GetLastError();
    if (error != NO_ERROR) {
      m_handle.Reset();
      Fail(Action::GetAttributes, error);
    }
  }
  return size;
}

void CFileBase::ReleaseHandle() {
  // The handle closes even when writing out the queue fails.
  struct Closer {
    detail::SeamHandle& handle;
    ~Closer() { handle.Reset(); }
  } closer{m_handle};
  Settle();
}

void CFileBase::Settle() {
  if (m_overlapped == nullptr) return;
  AwaitWrite();
  const auto pending = std::exchange(m_pending, {});
  for (const auto& [data, count] : pending) {
    IssueWrite(data, count);
    AwaitWrite();
  }
}

void CFileBase::IssueWrite(const void* data, std::uint32_t count) {
  OVERLAPPED& record = m_overlapped->record;
  if (!Calls().WriteFile(m_handle.Get(), data, count, nullptr, &record)) {
    const DWORD error = ::GetLastError();
    if (error != ERROR_IO_PENDING) Fail(Action::WriteData, error);
  }
  m_overlapped->writeInFlight = true;
  SetOffset(OffsetOf(record) + count);
}

// A write that fails after it was started is reported here, by the next operation.
void CFileBase::AwaitWrite() {
  if (!m_overlapped->writeInFlight) return;
  m_overlapped->writeInFlight = false;
  DWORD written = 0;
  if (!AwaitResult(&written)) Throw(Action::WriteData);
}

bool CFileBase::AwaitResult(unsigned long* bytes) {
  if (Calls().WaitForSingleObject(m_overlapped->event.Get(), INFINITE) == WAIT_FAILED) return false;
  return Calls().GetOverlappedResult(m_handle.Get(), &m_overlapped->record, bytes, FALSE) != FALSE;
}

std::uint64_t CFileBase::MovePointer(std::int64_t distance, SeekMethod method) {
  LONG high = static_cast<LONG>(distance >> 32);
  const DWORD low =
      Calls().SetFilePointer(m_handle.Get(), static_cast<LONG>(distance), &high, static_cast<DWORD>(method));
  if (low == INVALID_SET_FILE_POINTER) {
    // A file of 4 GiB can end there: only an error code makes it a failure.
    const DWORD error = ::GetLastError();
    if (error != NO_ERROR) Fail(Action::SeekFile, error);
  }
  const std::uint64_t position = (std::uint64_t{static_cast<DWORD>(high)} << 32) | low;
  SetOffset(position);
  return position;
}

void CFileBase::SetEnd() {
  if (!Calls().SetEndOfFile(m_handle.Get())) Throw(Action::SeekFile);
}

void CFileBase::SetOffset(std::uint64_t position) noexcept {
  if (m_overlapped == nullptr) return;
  m_overlapped->record.Offset = static_cast<DWORD>(position);
  m_overlapped->record.OffsetHigh = static_cast<DWORD>(position >> 32);
}

CFileBase::Transfer CFileBase::WriteBytes(const void* data, std::uint32_t count) {
  if (m_overlapped != nullptr) {
    if (!HasOverlappedIoCompleted(&m_overlapped->record)) {
      m_pending.emplace_back(data, count);
    } else {
      Settle();
      IssueWrite(data, count);
    }
    return {count, 0};
  }
  DWORD written = 0;
  if (!Calls().WriteFile(m_handle.Get(), data, count, &written, nullptr)) return {written, ::GetLastError()};
  return {written, written < count ? ERROR_DISK_FULL : 0ul};
}

CFileBase::Transfer CFileBase::ReadBytes(void* dest, std::uint32_t count) {
  Settle();
  DWORD read = 0;
  if (m_overlapped == nullptr) {
    if (!Calls().ReadFile(m_handle.Get(), dest, count, &read, nullptr)) return {read, ::GetLastError()};
    return {read, 0};
  }
  OVERLAPPED& record = m_overlapped->record;
  DWORD error = Calls().ReadFile(m_handle.Get(), dest, count, &read, &record) ? 0 : ::GetLastError();
  // Failing a pending read would leave the system writing into dest after the throw.
  if (error == ERROR_IO_PENDING) error = AwaitResult(&read) ? 0 : ::GetLastError();
  // The end of the file reads as 0 bytes, as it does without overlapped mode.
  if (error == ERROR_HANDLE_EOF) error = read = 0;
  SetOffset(OffsetOf(record) + read);
  return {read, error};
}

void CFileBase::FlushBuffers() {
  if (m_writable && !Calls().FlushFileBuffers(m_handle.Get())) Throw(Action::WriteData);
}

ORV::DateTime CFileBase::LastWriteTime() {
  BY_HANDLE_FILE_INFORMATION information;
  if (!Calls().GetFileInformationByHandle(m_handle.Get(), &information)) Throw(Action::ReadData);
  SYSTEMTIME t;
  if (!LocalTimeWrp(information.ftLastWriteTime, &t)) Throw(Action::ReadData);
  // DateTime counts months from 0.
  return ORV::DateTime(t.wYear, t.wMonth - 1, t.wDay, t.wHour, t.wMinute, t.wSecond);
}

void CFileBase::Unlink() {
  if (ORVFile::Path(m_path).IsFile() && !UnlinkWrp(m_path)) Throw(Action::DeleteFile);
}

template <class T>
CFileT<T>::CFileT(const std::string& path, FileHint hint, bool buffered, bool overlapped)
    : CFileBase(path, hint, buffered, overlapped) {}

template <class T>
CFileT<T>::~CFileT() = default;

template <class T>
T CFileT<T>::Open(OpenMode mode) {
  const T size = OpenHandle(mode);
  m_position = 0;
  m_size = size;
  return size;
}

template <class T>
void CFileT<T>::Close() {
  ReleaseHandle();
}

template <class T>
void CFileT<T>::Delete() {
  Close();
  Unlink();
}

template <class T>
T CFileT<T>::Tell() {
  Settle();
  return m_position;
}

template <class T>
bool CFileT<T>::EndOfFile() {
  Settle();
  return m_position == m_size;
}

// From Current counts from the kept position: in overlapped mode the
// system's file pointer does not follow the writes.
template <class T>
void CFileT<T>::Seek(T offset, SeekMethod method) {
  Settle();
  if (method == SeekMethod::Current)
    MoveTo(MovePointer(std::int64_t{m_position} + offset, SeekMethod::Begin));
  else
    MoveTo(MovePointer(offset, method));
}

template <class T>
T CFileT<T>::Write(const void* data, T elementSize, T count) {
  const Transfer done = WriteBytes(data, ByteCount(elementSize, count, Action::WriteData));
  Advance(done.bytes);
  if (done.error != 0) Fail(Action::WriteData, done.error);
  return done.bytes;
}

template <class T>
T CFileT<T>::Read(void* dest, T elementSize, T count, bool exact) {
  const T wanted = ByteCount(elementSize, count, Action::ReadData);
  const Transfer done = ReadBytes(dest, wanted);
  Advance(done.bytes);
  if (done.error != 0) Fail(Action::ReadData, done.error);
  if (exact && done.bytes < wanted) Fail(Action::ReadData, ERROR_HANDLE_EOF);
  return done.bytes;
}

template <class T>
T CFileT<T>::Size() {
  Settle();
  return m_size;
}

template <class T>
ORV::DateTime CFileT<T>::LastModification() {
  Settle();
  return LastWriteTime();
}

template <class T>
void CFileT<T>::Resize(T newSize, bool force) {
  if (newSize == Size() && !force) return;
  MovePointer(newSize, SeekMethod::Begin);
  SetEnd();
  m_position = m_size = newSize;
}

template <class T>
void CFileT<T>::Flush() {
  Settle();
  FlushBuffers();
}

template <class T>
void CFileT<T>::TruncateFromEnd(SignedT delta) {
  Settle();
  MoveTo(MovePointer(delta, SeekMethod::End));
  SetEnd();
}

template <class T>
void CFileT<T>::MoveTo(std::uint64_t position) noexcept {
  m_position = static_cast<T>(position);
  m_size = std::max(m_size, m_position);
}

template <class T>
void CFileT<T>::Advance(T bytes) noexcept {
  m_position += bytes;
  m_size = std::max(m_size, m_position);
}

// The export already comes from the extern declaration in the header; GCC
// reports the repeated attribute as ignored, which is harmless here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattributes"
template class ORVFILE_API CFileT<unsigned int>;
#pragma GCC diagnostic pop

}  // namespace ORVFile
