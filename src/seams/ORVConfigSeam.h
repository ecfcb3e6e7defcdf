// The configuration grammar seam, for tests: one line read by the scanner
// that ConfigFile uses, or by the format's three regular expressions (see
// ORVConfigFile.h) that the scanner stands for, so that a test can feed both
// the same lines and compare:
//
//   using ORVFile::detail::ReadConfigLineForTesting;
//   EXPECT_EQ(ReadConfigLineForTesting(L"  k = a b ", false), ReadConfigLineForTesting(L"  k = a b ", true));
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

  /// Same kind, name and value.
  bool operator==(const ConfigLine& other) const {
    return kind == other.kind && name == other.name && value == other.value;
  }
};

/// Test-only: line (without its line end) read by the library's scanner, or,
/// with byExpressions, by regex_match with the three expressions in the
/// format's order (section, key, blank). Boost gives up on long lines of
/// many words (its stack): that raises Config::InvalidConfigException.
ORVFILE_API ConfigLine ReadConfigLineForTesting(std::wstring_view line, bool byExpressions);

}  // namespace ORVFile::detail
