/// \class ORVFile::AdvSearchOptions
/// AdvSearchOptions: the filter of a directory listing beyond the name
/// pattern. An entry passes when its size, its three times and its attributes
/// all lie within the bounds held here; every bound is inclusive.
///
/// ~~~
///   AdvSearchOptions onlyDirectories;
///   onlyDirectories.SetAttrib(FILE_ATTRIBUTE_DIRECTORY, FILE_ATTRIBUTE_DIRECTORY);
///   dir.GetFileList(found, L"*", true, onlyDirectories);
/// ~~~
///
/// The default object passes everything a listing can meet: sizes 0 to
/// 2^64-1, times from 1970-01-01 to 2147397247 (one day below the end of
/// signed 32-bit Unix time) and any attributes (mask 0, value 0).
///
/// Times are held as signed 32-bit Unix times: a bound given beyond that range
/// is clamped to its end. Sizes are compared as the listing reports them, on
/// the low 32 bits of a file's size (a 5 GiB file counts as 1 GiB).
///
/// A value type; share a const object between threads freely.
#pragma once

#include <cstdint>

#include "ORVDateTime.h"
#include "ORVFileDefs.h"

namespace ORVFile {

template <class CharT>
class NewPathT;
template <class CharT>
struct Win32FindData;

class ORVFILE_API AdvSearchOptions {
 public:
  /// The default object passes everything (see the top of this header).
  AdvSearchOptions();
  /// Copies every bound.
  ///@{
  AdvSearchOptions(const AdvSearchOptions& other);
  AdvSearchOptions& operator=(const AdvSearchOptions& other);
  ///@}
  ~AdvSearchOptions();

  /// The inclusive size bounds, in bytes. Set takes them as given: lower above
  /// upper is not checked and lets nothing pass.
  ///@{
  void GetSizeLimits(std::uint64_t& lower, std::uint64_t& upper) const;
  void SetSizeLimits(const std::uint64_t& lower, const std::uint64_t& upper);
  ///@}
  /// The inclusive bounds of the last write, creation and last access times.
  /// Set clamps each bound to signed 32-bit Unix time and does not check their
  /// order; Get returns the bounds as held, so after a clamp not the times given.
  ///@{
  void GetModifTimeLimits(ORV::DateTime& lower, ORV::DateTime& upper) const;
  void SetModifTimeLimits(const ORV::DateTime& lower, const ORV::DateTime& upper);
  void GetCreationTimeLimits(ORV::DateTime& lower, ORV::DateTime& upper) const;
  void SetCreationTimeLimits(const ORV::DateTime& lower, const ORV::DateTime& upper);
  void GetAccessTimeLimits(ORV::DateTime& lower, ORV::DateTime& upper) const;
  void SetAccessTimeLimits(const ORV::DateTime& lower, const ORV::DateTime& upper);
  ///@}
  /// An entry passes when (attributes & mask) == value; both are the Win32
  /// FILE_ATTRIBUTE_ bits, kept to their low 32 bits.
  ///@{
  void GetAttrib(unsigned long& mask, unsigned long& value) const;
  void SetAttrib(const unsigned long& mask, const unsigned long& value);
  ///@}

  /// Equal when every bound is equal, so two equal objects pass the same entries.
  ///@{
  bool operator==(const AdvSearchOptions& other) const;
  bool operator!=(const AdvSearchOptions& other) const { return !(*this == other); }
  ///@}

  /// Whether a listed entry passes: size, attributes, last write, creation and
  /// access time, in that order, from the entry alone (no file system call).
  ///@{
  bool Match(const Win32FindData<char>& entry) const;
  bool Match(const Win32FindData<wchar>& entry) const;
  ///@}
  /// The same tests on what the file system says of the path (the path's
  /// cache for size, attributes and last write; creation and access time read
  /// anew); throws FileNotFoundException when it does not exist.
  ///@{
  bool Match(const NewPathT<char>& path) const;
  bool Match(const NewPathT<wchar>& path) const;
  ///@}

 private:
  struct TimeRange {
    std::int32_t lower;
    std::int32_t upper;
    bool Contains(long long unixTime) const noexcept { return lower <= unixTime && unixTime <= upper; }
    bool operator==(const TimeRange& other) const noexcept { return lower == other.lower && upper == other.upper; }
  };

  template <class CharT>
  bool MatchEntry(const Win32FindData<CharT>& entry) const;
  template <class CharT>
  bool MatchPath(const NewPathT<CharT>& path) const;
  static void Get(const TimeRange& range, ORV::DateTime& lower, ORV::DateTime& upper);
  static void Set(TimeRange& range, const ORV::DateTime& lower, const ORV::DateTime& upper);

  std::uint64_t m_sizeLower;
  std::uint64_t m_sizeUpper;
  TimeRange m_modification;
  TimeRange m_creation;
  TimeRange m_access;
  std::uint32_t m_attributeMask;
  std::uint32_t m_attributeValue;
};

}  // namespace ORVFile
