#include "win32.h"

#include "ORVPath.h"

#include "ORVPathCommon.h"

namespace ORVFile {

// ---- BasePath: the separators and the attribute cache of both path classes.

BasePath::BasePath()
    : m_stat(BP_UNKNOWN_STAT),
      m_pathSeparator(DefaultPathSeparator()),
      m_driveSeparator(':'),
      m_extensionSeparator('.') {}

BasePath::BasePath(const BasePath& other) noexcept = default;
BasePath& BasePath::operator=(const BasePath& other) noexcept = default;
BasePath::~BasePath() = default;

char BasePath::DefaultPathSeparator() { return '\\'; }

char BasePath::PathSeparator() const { return m_pathSeparator; }
void BasePath::PathSeparator(char separator) { m_pathSeparator = separator; }
char BasePath::DriveSeparator() const { return m_driveSeparator; }
void BasePath::DriveSeparator(char separator) { m_driveSeparator = separator; }
char BasePath::ExtensionSeparator() const { return m_extensionSeparator; }
void BasePath::ExtensionSeparator(char separator) { m_extensionSeparator = separator; }

// A missing path leaves the cache unknown, so the next query asks again.
unsigned long BasePath::GetStat() const {
  if (m_stat == BP_UNKNOWN_STAT) m_stat = GetStatInfo();
  return m_stat;
}

void BasePath::ClearStat() const { m_stat = BP_UNKNOWN_STAT; }
void BasePath::SetStat(unsigned long word) const { m_stat = word; }

bool BasePath::IsValid() const { return GetStat() != BP_UNKNOWN_STAT; }

bool BasePath::IsDirectory() const { return IsValid() && (GetStat() & FILE_ATTRIBUTE_DIRECTORY) != 0; }

bool BasePath::IsFile() const { return IsValid() && (GetStat() & FILE_ATTRIBUTE_DIRECTORY) == 0; }

bool BasePath::IsReadable() const { return IsValid() && (GetStat() & FILE_ATTRIBUTE_OFFLINE) == 0; }

bool BasePath::IsWritable() const {
  return IsValid() && (GetStat() & (FILE_ATTRIBUTE_OFFLINE | FILE_ATTRIBUTE_READONLY)) == 0;
}

bool BasePath::IsHidden() const { return IsValid() && (GetStat() & FILE_ATTRIBUTE_HIDDEN) != 0; }

// The export already comes from the extern declaration in the header; GCC
// reports the repeated attribute as ignored, which is harmless here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattributes"
template class ORVFILE_API BasicPath<char, Path>;
#pragma GCC diagnostic pop

}  // namespace ORVFile
