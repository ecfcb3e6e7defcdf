#include "win32.h"

#include "ORVAdvSearchOptions.h"

#include <algorithm>
#include <climits>

#include "ORVFileException.h"
#include "ORVNewPath.h"
#include "ORVRaise.h"

namespace ORVFile {

namespace {

// The largest signed 32-bit Unix time less one day.
constexpr std::int32_t kLatestTime = 2147397247;

}  // namespace

AdvSearchOptions::AdvSearchOptions()
    : m_sizeLower(0),
      m_sizeUpper(~std::uint64_t{0}),
      m_modification{0, kLatestTime},
      m_creation{0, kLatestTime},
      m_access{0, kLatestTime},
      m_attributeMask(0),
      m_attributeValue(0) {}

AdvSearchOptions::AdvSearchOptions(const AdvSearchOptions& other) = default;
AdvSearchOptions& AdvSearchOptions::operator=(const AdvSearchOptions& other) = default;
AdvSearchOptions::~AdvSearchOptions() = default;

void AdvSearchOptions::GetSizeLimits(std::uint64_t& lower, std::uint64_t& upper) const {
  lower = m_sizeLower;
  upper = m_sizeUpper;
}

void AdvSearchOptions::SetSizeLimits(const std::uint64_t& lower, const std::uint64_t& upper) {
  m_sizeLower = lower;
  m_sizeUpper = upper;
}

void AdvSearchOptions::Get(const TimeRange& range, ORV::DateTime& lower, ORV::DateTime& upper) {
  lower = ORV::DateTime(range.lower);
  upper = ORV::DateTime(range.upper);
}

void AdvSearchOptions::Set(TimeRange& range, const ORV::DateTime& lower, const ORV::DateTime& upper) {
  const auto clamp = [](const ORV::DateTime& time) {
    return static_cast<std::int32_t>(std::clamp<long long>(time.UnixTime(), INT32_MIN, INT32_MAX));
  };
  range = TimeRange{clamp(lower), clamp(upper)};
}

void AdvSearchOptions::GetModifTimeLimits(ORV::DateTime& lower, ORV::DateTime& upper) const {
  Get(m_modification, lower, upper);
}
void AdvSearchOptions::SetModifTimeLimits(const ORV::DateTime& lower, const ORV::DateTime& upper) {
  Set(m_modification, lower, upper);
}
void AdvSearchOptions::GetCreationTimeLimits(ORV::DateTime& lower, ORV::DateTime& upper) const {
  Get(m_creation, lower, upper);
}
void AdvSearchOptions::SetCreationTimeLimits(const ORV::DateTime& lower, const ORV::DateTime& upper) {
  Set(m_creation, lower, upper);
}
void AdvSearchOptions::GetAccessTimeLimits(ORV::DateTime& lower, ORV::DateTime& upper) const {
  Get(m_access, lower, upper);
}
void AdvSearchOptions::SetAccessTimeLimits(const ORV::DateTime& lower, const ORV::DateTime& upper) {
  Set(m_access, lower, upper);
}

void AdvSearchOptions::GetAttrib(unsigned long& mask, unsigned long& value) const {
  mask = m_attributeMask;
  value = m_attributeValue;
}

void AdvSearchOptions::SetAttrib(const unsigned long& mask, const unsigned long& value) {
  m_attributeMask = static_cast<std::uint32_t>(mask);
  m_attributeValue = static_cast<std::uint32_t>(value);
}

bool AdvSearchOptions::operator==(const AdvSearchOptions& other) const {
  if (this == &other) return true;
  return m_sizeLower == other.m_sizeLower && m_sizeUpper == other.m_sizeUpper &&
         m_modification == other.m_modification && m_creation == other.m_creation && m_access == other.m_access &&
         m_attributeMask == other.m_attributeMask && m_attributeValue == other.m_attributeValue;
}

template <class CharT>
bool AdvSearchOptions::MatchEntry(const Win32FindData<CharT>& entry) const {
  return m_sizeLower <= entry.size && entry.size <= m_sizeUpper &&
         (entry.attributes & m_attributeMask) == m_attributeValue && m_modification.Contains(entry.lastWriteTime) &&
         m_creation.Contains(entry.creationTime) && m_access.Contains(entry.lastAccessTime);
}

// The order of the reads is that of the family's other filters: the two
// times first (they throw for a missing path), then the cached properties.
template <class CharT>
bool AdvSearchOptions::MatchPath(const NewPathT<CharT>& path) const {
  const ORV::DateTime created = path.FileTime(FileDate::Creation);
  const ORV::DateTime accessed = path.FileTime(FileDate::LastAccess);
  if (!path.Exists())
    detail::Raise<FileNotFoundException>(ORVFILE_THROW_SITE, MSG_GET_ATTRIBUTES, ERROR_FILE_NOT_FOUND, path.RawPath());
  const std::uint64_t size = path.Size();
  if (size < m_sizeLower || size > m_sizeUpper) return false;
  if ((path.FileAttribute(0xFFFFFFFFu) & m_attributeMask) != m_attributeValue) return false;
  return m_modification.Contains(path.LastModificationTime().UnixTime()) && m_creation.Contains(created.UnixTime()) &&
         m_access.Contains(accessed.UnixTime());
}

bool AdvSearchOptions::Match(const Win32FindData<char>& entry) const { return MatchEntry(entry); }
bool AdvSearchOptions::Match(const Win32FindData<wchar>& entry) const { return MatchEntry(entry); }
bool AdvSearchOptions::Match(const NewPathT<char>& path) const { return MatchPath(path); }
bool AdvSearchOptions::Match(const NewPathT<wchar>& path) const { return MatchPath(path); }

}  // namespace ORVFile
