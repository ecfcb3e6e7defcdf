// The configuration grammar seam, for tests: one line read by the format's
// three regular expressions (see ORVConfigFile.h), the reference that
// ConfigFile's hand scanner follows, so that a test can build the store a
// source must load as and compare it with what ConfigFile loads:
//
//   ORVFile::detail::ReadConfigLineForTesting(L"  k = a b ").value == L"a b"
//
// Test-only: production code never calls it.
#pragma once

#include <string>
#include <string_view>

#include "ORVFileDefs.h"

namespace ORVFile::detail {

/// One line as the grammar reads it.
struct ConfigLine {
  /// Which expression the line matches; Invalid: none.
  enum class Kind { Section, Key, Blank, Invalid };
  Kind kind = Kind::Invalid;
  /// The section name, or the key.
  std::wstring name;
  /// The value of a key line.
  std::wstring value;
};

/// Test-only: line (without its line end) read by regex_match with the three
/// expressions in the format's order (section, key, blank). Boost gives up on
/// long lines of many words (its stack): that raises
/// Config::InvalidConfigException.
ORVFILE_API ConfigLine ReadConfigLineForTesting(std::wstring_view line);

}  // namespace ORVFile::detail
