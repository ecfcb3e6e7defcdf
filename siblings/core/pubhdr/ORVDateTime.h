/// \class ORV::DateTime
/// DateTime: a point in time as a Unix time, whole seconds since 1970-01-01
/// 00:00:00 UTC, signed 64-bit. It knows no time zone and no leap seconds:
/// the calendar fields are those of UTC in the proleptic Gregorian calendar
/// (astronomical years: year 0 is 1 BC), computed here, not by the C runtime,
/// so they agree for every year and under Wine. A value type: copy it freely,
/// read it from any thread.
///
/// The constructor from fields takes them as given, without a time-zone shift,
/// and lets out-of-range fields carry over as timegm does:
/// \code
///   DateTime(2024, 12, 1, 0, 0, 0)  ==  DateTime(2025, 0, 1, 0, 0, 0)
///   DateTime(2024, 1, 30, 0, 0, 0)  ==  DateTime(2024, 2, 1, 0, 0, 0)   // 2024 is a leap year
/// \endcode
/// The field accessors are exact while the year fits in an int (Unix times
/// within about +-6.7e16 seconds); the Unix time itself is always exact.
///
/// FileTimeToUnixTime / UnixTimeToFileTime convert to and from a Windows
/// FILETIME (100-ns intervals since 1601-01-01 UTC). To Unix time they round
/// toward earlier times: 1969-12-31 23:59:59.5 gives -1, not 0. Back to a
/// FILETIME a Unix time before 1601 gives 0 and one past the last whole second
/// a FILETIME holds (in the year 60056) gives that second.
#pragma once

#include <cstdint>

#include "ORVBinaryStream.h"
#include "ORVCoreDefs.h"

namespace ORV {

class ORV_CORE_API DateTime {
 public:
  /// 1970-01-01 00:00:00 UTC.
  DateTime() noexcept = default;
  /// unixTime seconds after 1970-01-01 00:00:00 UTC (before, when negative).
  explicit DateTime(long long unixTime) noexcept : m_unixTime(unixTime) {}
  /// month counts from 0 as in struct tm, year is the full year (2024, not 124).
  DateTime(int year, int month, int day, int hour, int minute, int second) noexcept;

  /// Seconds since 1970-01-01 00:00:00 UTC.
  long long UnixTime() const noexcept { return m_unixTime; }

  int Year() const noexcept;    ///< the full year, astronomical (0 is 1 BC)
  int Month() const noexcept;   ///< 0-11
  int Day() const noexcept;     ///< 1-31
  int Hour() const noexcept;    ///< 0-23
  int Minute() const noexcept;  ///< 0-59
  int Second() const noexcept;  ///< 0-59

  ///@{
  /// Compares the Unix times.
  friend bool operator==(DateTime a, DateTime b) noexcept { return a.m_unixTime == b.m_unixTime; }
  friend bool operator!=(DateTime a, DateTime b) noexcept { return a.m_unixTime != b.m_unixTime; }
  friend bool operator<(DateTime a, DateTime b) noexcept { return a.m_unixTime < b.m_unixTime; }
  friend bool operator<=(DateTime a, DateTime b) noexcept { return a.m_unixTime <= b.m_unixTime; }
  friend bool operator>(DateTime a, DateTime b) noexcept { return a.m_unixTime > b.m_unixTime; }
  friend bool operator>=(DateTime a, DateTime b) noexcept { return a.m_unixTime >= b.m_unixTime; }
  ///@}

 private:
  std::int64_t m_unixTime = 0;
};

/// A FILETIME's 100-ns count as a Unix time, rounded toward earlier times.
ORV_CORE_API long long FileTimeToUnixTime(unsigned long long fileTime) noexcept;
/// The two halves of a FILETIME, dwLowDateTime and dwHighDateTime.
ORV_CORE_API long long FileTimeToUnixTime(std::uint32_t low, std::uint32_t high) noexcept;
/// A Unix time as a FILETIME's 100-ns count, held to the range a FILETIME
/// holds (see above).
ORV_CORE_API unsigned long long UnixTimeToFileTime(long long unixTime) noexcept;

/// The stream form: the Unix time as 8 bytes, signed, least significant first.
ORV_CORE_API BinaryStream& operator<<(BinaryStream& stream, const DateTime& time);
/// Throws ORV::Exception when cut short, leaving time as it was.
ORV_CORE_API BinaryStream& operator>>(BinaryStream& stream, DateTime& time);

}  // namespace ORV
