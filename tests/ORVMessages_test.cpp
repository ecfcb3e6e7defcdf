#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ORVBaseException.h"
#include "ORVCatalogueBlob.h"
#include "ORVMessages.h"

using namespace ORV;
using orvtest::CatalogueBlob;

namespace {

bool Load(const std::vector<unsigned char>& blob) {
  return ORVMessages::Load(blob.data(), static_cast<unsigned int>(blob.size()), "Test-I");
}

std::wstring Text(const char* module, unsigned int number) {
  std::wstring text;
  return (ORVMessages::Find(module, number, text) ? text : L"<none>") + L"|";
}

std::wstring Format(unsigned int number, std::vector<std::wstring> arguments) {
  const SmartPtr<MessageInfo> info(new MessageInfo("M", number, "t.cpp", 1));
  for (const auto& a : arguments) info->AddArgument(a);
  return ORVMessages::Format(*info);
}

class Registry : public ::testing::Test {
 protected:
  void SetUp() override { ORVMessages::Init(); }
  void TearDown() override { ORVMessages::Free(); }
};

}  // namespace

TEST_F(Registry, LoadsFindsReplacesAndFrees) {
  ASSERT_TRUE(Load(CatalogueBlob({{"Mod", 0, L"zero %1"}, {"Mod", 7, L"seven"}, {"Two", 0, L"\x00E9t\x00E9 \x20AC"}})));
  ASSERT_TRUE(Load(CatalogueBlob({{"Mod", 7, L"SEVEN"}}, 99, 42)));  // the fixed fields are not checked
  EXPECT_TRUE(Load(CatalogueBlob({})));
  // Module names are exact.
  EXPECT_EQ(Text("Mod", 0) + Text("Mod", 7) + Text("Two", 0) + Text("Mod", 1) + Text("mod", 0),
            L"zero %1|SEVEN|\x00E9t\x00E9 \x20AC|<none>|<none>|");

  ORVMessages::Free();
  EXPECT_FALSE(ORVMessages::IsInitialized() || Load(CatalogueBlob({{"Mod", 1, L"x"}})));  // nowhere to load into
  ORVMessages::Init();
  EXPECT_EQ(Text("Mod", 7), L"<none>|");
}

TEST_F(Registry, MalformedBlobIsRefusedWhole) {
  const auto blob = CatalogueBlob({{"Mod", 1, L"one"}, {"Mod", 2, L"two"}});
  for (std::size_t size = 0; size < blob.size(); ++size)
    EXPECT_FALSE(Load(std::vector<unsigned char>(blob.begin(), blob.begin() + size))) << size;
  auto longer = blob, oddText = blob, hugeCount = blob;
  longer.push_back(0);
  oddText[4 + 4 + 3 + 4 + 4 + 1] = 5;  // the first text 5 bytes long
  hugeCount[3] = 0x7F;
  EXPECT_FALSE(Load(longer) || Load(oddText) || Load(hugeCount) || ORVMessages::Load(nullptr, 10, "Null-I"));
  EXPECT_EQ(Text("Mod", 1), L"<none>|");
}

TEST_F(Registry, FormatFillsPlaceholdersOnceAndExceptionsUseIt) {
  ASSERT_TRUE(Load(CatalogueBlob({{"M", 1, L"copy %1 into %2."}, {"M", 2, L"%2 then %1, %3 and 100%"}})));
  EXPECT_EQ(Format(1, {L"%2", L"x"}), L"copy %2 into x.");
  EXPECT_EQ(Format(1, {L"a"}), L"copy a into %2.");
  EXPECT_EQ(Format(2, {L"a", L"b"}), L"b then a, %3 and 100%");
  EXPECT_EQ(Format(9, {L"a", L"b"}), L"Message 9 of module \"M\" is not registered: \"a\", \"b\".");
  EXPECT_EQ(Format(9, {}), L"Message 9 of module \"M\" is not registered.");

  SmartPtr<MessageInfo> info(new MessageInfo("M", 1, "t.cpp", 1));
  info->AddArgument(L"a"), info->AddArgument(L"b");
  // A base exception's copy keeps everything, unlike the file family's.
  const std::unique_ptr<BaseException> copy(Exception(info, "Kind").Copy());
  EXPECT_TRUE(copy->What() == L"copy a into b." && copy->TypeName() == L"Kind" && copy->Info() == info);
  EXPECT_THROW(copy->Throw(), Exception);
}
