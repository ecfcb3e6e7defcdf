// Loads and frees ORVFile160NT.dll at run time and watches the message
// registry it shares with every other module of the process.
#include "win32.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ORVCatalogueBlob.h"
#include "ORVMessages.h"

using ORV::ORVMessages;
using ORV::ORVMessagesInit;

namespace {

bool Registered(const char* module, unsigned int number) {
  std::wstring text;
  return ORVMessages::Find(module, number, text) && !text.empty();
}

// Runs `loaded` while the library is loaded; true when it loaded.
template <class Check>
bool WhileLoaded(const Check& loaded) {
  const std::unique_ptr<HINSTANCE__, decltype(&::FreeLibrary)> library(::LoadLibraryW(L"ORVFile160NT.dll"),
                                                                       &::FreeLibrary);
  if (library) loaded();
  return library != nullptr;
}

}  // namespace

TEST(Startup, FirstUserInitialisesAndLastUserFrees) {
  ASSERT_FALSE(ORVMessages::IsInitialized());
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(WhileLoaded([] {
      EXPECT_EQ(ORVMessagesInit::m_cnt, 3);
      EXPECT_TRUE(Registered("ORVFile", 0) && Registered("ORVFile", 15) && !Registered("ORVFile", 16));
    }));
    EXPECT_EQ(ORVMessagesInit::m_cnt, 0) << round;
    EXPECT_FALSE(ORVMessages::IsInitialized() || Registered("ORVFile", 13)) << round;
  }
}

TEST(Startup, LaterUserNeitherReinitialisesNorFrees) {
  {
    const std::vector<unsigned char> other = orvtest::CatalogueBlob({{"Other", 3, L"hi"}});
    const ORVMessagesInit otherModule(other.data(), static_cast<unsigned int>(other.size()), "Other-I");
    EXPECT_TRUE(WhileLoaded([] {
      EXPECT_EQ(ORVMessagesInit::m_cnt, 4);
      EXPECT_TRUE(Registered("Other", 3)) << "the registry was initialised a second time";
    }));
    EXPECT_EQ(ORVMessagesInit::m_cnt, 1);
    // The catalogue stays until the last user of the registry leaves.
    EXPECT_TRUE(Registered("ORVFile", 13) && Registered("Other", 3));
  }
  EXPECT_FALSE(ORVMessagesInit::m_cnt != 0 || ORVMessages::IsInitialized());
}
