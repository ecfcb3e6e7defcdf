#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>

#include "ORVToLower.h"
#include "ORVWNoCase.h"

namespace {

using ORV::WNoCase;

TEST(WNoCase, OrdersByFoldedUnitsThenLength) {
  struct Row {
    std::wstring left, right;
    bool less;
  };
  const Row rows[] = {
      {L"a", L"AB", true},
      {L"AB", L"b", true},
      {L"b", L"ba", true},
      {L"Main", L"MAIN", false},
      {L"MAIN", L"Main", false},
      {L"_", L"a", true},
      {L"_", L"A", true},
      {L"", L"a", true},
      {L"a", L"", false},
      {L"\x00C9", L"\x00E9", false},
      {L"\x00E9", L"\x00C9", false},
      {L"z", L"\x00E9", true},
      {L"\x0394x", L"\x03B4y", true},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(::testing::Message() << "row " << i);
    EXPECT_EQ(WNoCase()(rows[i].left, rows[i].right), rows[i].less);
  }
}

// The order must be the plain comparison of the folded texts, or a map would
// lose entries or find the wrong ones.
TEST(WNoCase, AgreesWithComparingFoldedTexts) {
  const wchar_t units[] = {L'a', L'A', L'b', L'B', L'_', L'[', L'\x00C9', L'\x00E9', L'\x0394', L'\x03B4', L'\x00FF'};
  std::mt19937 random(5);
  const auto text = [&] {
    std::wstring result;
    for (int n = random() % 5; n > 0; --n) result += units[random() % std::size(units)];
    return result;
  };
  for (int i = 0; i < 100000; ++i) {
    const std::wstring left = text(), right = text();
    ASSERT_EQ(WNoCase()(left, right), ORV::ToLower(left) < ORV::ToLower(right))
        << ::testing::PrintToString(left) << " " << ::testing::PrintToString(right);
  }
}

}  // namespace
