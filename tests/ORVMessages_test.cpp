#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ORVBaseException.h"
#include "ORVMessages.h"

using namespace ORV;

namespace {

struct TestRecord {
  std::string module;
  uint32_t number;
  std::wstring text;
};

// Writes the catalogue layout; the fixed fields take any value a writer chose.
std::vector<unsigned char> MakeBlob(const std::vector<TestRecord>& records, uint32_t fixedWord = 2,
                                    uint8_t fixedByte = 1) {
  std::vector<unsigned char> blob;
  const auto u32 = [&](uint32_t v) {
    for (int i = 0; i < 4; ++i) blob.push_back(static_cast<unsigned char>(v >> (8 * i)));
  };
  u32(static_cast<uint32_t>(records.size()));
  for (const auto& r : records) {
    u32(static_cast<uint32_t>(r.module.size()));
    blob.insert(blob.end(), r.module.begin(), r.module.end());
    u32(r.number);
    u32(fixedWord);
    blob.push_back(fixedByte);
    u32(static_cast<uint32_t>(2 * r.text.size()));
    for (wchar c : r.text) {
      blob.push_back(static_cast<unsigned char>(c & 0xFF));
      blob.push_back(static_cast<unsigned char>(c >> 8));
    }
    blob.push_back(0);
  }
  return blob;
}

bool Load(const std::vector<unsigned char>& blob) {
  return ORVMessages::Load(blob.data(), static_cast<unsigned int>(blob.size()), "Test-I");
}

std::wstring Text(const char* module, unsigned int number) {
  std::wstring text;
  return ORVMessages::Find(module, number, text) ? text : L"<none>";
}

SmartPtr<MessageInfo> Info(const char* module, unsigned int number, std::vector<std::wstring> arguments) {
  SmartPtr<MessageInfo> info(new MessageInfo(module, number, "t.cpp", 1));
  for (const auto& a : arguments) info->AddArgument(a);
  return info;
}

class Registry : public ::testing::Test {
 protected:
  void SetUp() override { ORVMessages::Init(); }
  void TearDown() override { ORVMessages::Free(); }
};

}  // namespace

TEST_F(Registry, LoadsFindsReplacesAndFrees) {
  ASSERT_TRUE(Load(MakeBlob({{"Mod", 0, L"zero %1"}, {"Mod", 7, L"seven"}, {"Two", 0, L"\x00E9t\x00E9 \x20AC"}})));
  EXPECT_EQ(Text("Mod", 0), L"zero %1");
  EXPECT_EQ(Text("Mod", 7), L"seven");
  EXPECT_EQ(Text("Two", 0), L"\x00E9t\x00E9 \x20AC");
  EXPECT_EQ(Text("Mod", 1), L"<none>");
  EXPECT_EQ(Text("mod", 0), L"<none>");  // module names are exact

  ASSERT_TRUE(Load(MakeBlob({{"Mod", 7, L"SEVEN"}}, 99, 42)));  // fixed fields are not checked
  EXPECT_EQ(Text("Mod", 7), L"SEVEN");
  EXPECT_EQ(Text("Mod", 0), L"zero %1");
  EXPECT_TRUE(Load(MakeBlob({})));

  ORVMessages::Free();
  EXPECT_FALSE(ORVMessages::IsInitialized());
  EXPECT_EQ(Text("Mod", 7), L"<none>");
  EXPECT_FALSE(Load(MakeBlob({{"Mod", 1, L"x"}})));  // nowhere to load into
  ORVMessages::Init();
  EXPECT_EQ(Text("Mod", 7), L"<none>");
}

TEST_F(Registry, MalformedBlobIsRefusedWhole) {
  const auto blob = MakeBlob({{"Mod", 1, L"one"}, {"Mod", 2, L"two"}});
  for (size_t size = 0; size < blob.size(); ++size) {
    const std::vector<unsigned char> cut(blob.begin(), blob.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(Load(cut)) << size;
  }
  auto longer = blob;
  longer.push_back(0);
  EXPECT_FALSE(Load(longer));
  auto oddText = MakeBlob({{"Mod", 1, L"one"}});
  oddText[4 + 4 + 3 + 4 + 4 + 1] = 5;  // text length 5 bytes
  EXPECT_FALSE(Load(oddText));
  auto hugeCount = blob;
  hugeCount[3] = 0x7F;
  EXPECT_FALSE(Load(hugeCount));
  EXPECT_FALSE(ORVMessages::Load(nullptr, 10, "Null-I"));
  EXPECT_EQ(Text("Mod", 1), L"<none>");
  EXPECT_TRUE(Load(blob));
}

TEST_F(Registry, FormatFillsPlaceholdersOnce) {
  ASSERT_TRUE(Load(MakeBlob({{"M", 1, L"copy %1 into %2."}, {"M", 2, L"%2 then %1, %3 and 100%"}})));
  EXPECT_EQ(ORVMessages::Format(*Info("M", 1, {L"a", L"b"})), L"copy a into b.");
  EXPECT_EQ(ORVMessages::Format(*Info("M", 1, {L"%2", L"x"})), L"copy %2 into x.");
  EXPECT_EQ(ORVMessages::Format(*Info("M", 1, {L"a"})), L"copy a into %2.");
  EXPECT_EQ(ORVMessages::Format(*Info("M", 2, {L"a", L"b"})), L"b then a, %3 and 100%");
  EXPECT_EQ(ORVMessages::Format(*Info("M", 9, {L"a", L"b"})),
            L"Message 9 of module \"M\" is not registered: \"a\", \"b\".");
  EXPECT_EQ(ORVMessages::Format(*Info("M", 9, {})), L"Message 9 of module \"M\" is not registered.");
}

TEST_F(Registry, ExceptionsTakeTheirTextFromTheRecord) {
  ASSERT_TRUE(Load(MakeBlob({{"M", 4, L"cannot %1"}})));
  SmartPtr<MessageInfo> info = Info("M", 4, {L"go"});
  info->SetLastError(5);
  const Exception e(info, "Kind");
  EXPECT_EQ(e.What(), L"cannot go");
  EXPECT_EQ(e.TypeName(), L"Kind");
  EXPECT_EQ(e.Info()->LastError(), 5u);

  // A base exception copies everything, unlike the file family.
  std::unique_ptr<BaseException> copy(e.Copy());
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->What(), L"cannot go");
  EXPECT_EQ(copy->TypeName(), L"Kind");
  EXPECT_EQ(copy->Info(), info);
  EXPECT_THROW(copy->Throw(), Exception);
}
