#include "win32.h"

#include "ORVDateTime.h"

namespace ORV {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
// Seconds from 1601-01-01 (the FILETIME epoch) to 1970-01-01.
constexpr std::int64_t kEpochDifference = 11644473600;
constexpr unsigned long long kTicksPerSecond = 10000000;

// Floor division: a time before 1970 belongs to the day that starts before it.
std::int64_t FloorDiv(std::int64_t a, std::int64_t b) { return a / b - (a % b < 0 ? 1 : 0); }

// Days since 1970-01-01 of a proleptic Gregorian date (month 1-12), by whole
// 400-year eras of 146097 days counted from March, so that the leap day ends
// each era's year and needs no handling of its own.
std::int64_t DaysFromCivil(std::int64_t year, std::int64_t month, std::int64_t day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = FloorDiv(year, 400);
  const std::int64_t yearOfEra = year - era * 400;                                          // [0, 399]
  const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;  // [0, 365]
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

struct Civil {
  std::int64_t year;
  int month;  // 1-12
  int day;
};

// The inverse of DaysFromCivil.
Civil CivilFromDays(std::int64_t days) {
  days += 719468;
  const std::int64_t era = FloorDiv(days, 146097);
  const std::int64_t dayOfEra = days - era * 146097;  // [0, 146096]
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;  // [0, 399]
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);             // [0, 365]
  const std::int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;                                             // [0, 11]
  const int day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
  const int month = static_cast<int>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
  return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

Civil CivilOf(std::int64_t unixTime) { return CivilFromDays(FloorDiv(unixTime, kSecondsPerDay)); }

int SecondOfDay(std::int64_t unixTime) {
  // Not unixTime - day * 86400: at the bottom of the range that product overflows.
  const std::int64_t remainder = unixTime % kSecondsPerDay;
  return static_cast<int>(remainder < 0 ? remainder + kSecondsPerDay : remainder);
}

}  // namespace

DateTime::DateTime(int year, int month, int day, int hour, int minute, int second) noexcept {
  // 64-bit throughout: every combination of int fields fits without overflow.
  const std::int64_t yearCarry = FloorDiv(month, 12);
  const std::int64_t days = DaysFromCivil(year + yearCarry, month - yearCarry * 12 + 1, 1) + day - 1;
  m_unixTime = days * kSecondsPerDay + std::int64_t{hour} * 3600 + std::int64_t{minute} * 60 + second;
}

int DateTime::Year() const noexcept { return static_cast<int>(CivilOf(m_unixTime).year); }
int DateTime::Month() const noexcept { return CivilOf(m_unixTime).month - 1; }
int DateTime::Day() const noexcept { return CivilOf(m_unixTime).day; }
int DateTime::Hour() const noexcept { return SecondOfDay(m_unixTime) / 3600; }
int DateTime::Minute() const noexcept { return SecondOfDay(m_unixTime) / 60 % 60; }
int DateTime::Second() const noexcept { return SecondOfDay(m_unixTime) % 60; }

long long FileTimeToUnixTime(unsigned long long fileTime) noexcept {
  // Unsigned division floors; the epoch shift is whole seconds, so the floor holds.
  return static_cast<std::int64_t>(fileTime / kTicksPerSecond) - kEpochDifference;
}

long long FileTimeToUnixTime(std::uint32_t low, std::uint32_t high) noexcept {
  return FileTimeToUnixTime(static_cast<unsigned long long>(high) << 32 | low);
}

unsigned long long UnixTimeToFileTime(long long unixTime) noexcept {
  constexpr long long kFirst = -kEpochDifference;
  constexpr long long kLast = static_cast<long long>(~0ULL / kTicksPerSecond) - kEpochDifference;
  if (unixTime <= kFirst) return 0;
  if (unixTime > kLast) unixTime = kLast;
  return static_cast<unsigned long long>(unixTime + kEpochDifference) * kTicksPerSecond;
}

}  // namespace ORV

namespace ORV {

BinaryStream& operator<<(BinaryStream& stream, const DateTime& time) { return stream << std::int64_t{time.UnixTime()}; }

BinaryStream& operator>>(BinaryStream& stream, DateTime& time) {
  std::int64_t unixTime = 0;
  stream >> unixTime;
  time = DateTime(unixTime);
  return stream;
}

}  // namespace ORV
