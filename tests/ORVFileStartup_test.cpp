// Loads and frees ORVFile160NT.dll at run time and watches the message
// registry it shares with every other module of the process.
#include "win32.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
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

// Twice alone, then with another user of the registry, which the library's start-up neither initialises again
// nor frees: the catalogue stays until the last user leaves.
TEST(Startup, FirstUserInitialisesAndLastUserFrees) {
  ASSERT_FALSE(ORVMessages::IsInitialized());
  const std::vector<unsigned char> other = orvtest::CatalogueBlob({{"Other", 3, L"hi"}});
  for (const bool others : {false, false, true}) {
    std::optional<ORVMessagesInit> otherModule;
    if (others) otherModule.emplace(other.data(), static_cast<unsigned int>(other.size()), "Other-I");
    EXPECT_TRUE(WhileLoaded([&] {
      EXPECT_EQ(ORVMessagesInit::m_cnt, 3 + others);
      EXPECT_TRUE(Registered("ORVFile", 0) && Registered("ORVFile", 15) && !Registered("ORVFile", 16));
      EXPECT_EQ(Registered("Other", 3), others) << "the registry was initialised a second time";
    }));
    EXPECT_EQ(std::tuple(ORVMessagesInit::m_cnt, ORVMessages::IsInitialized(), Registered("ORVFile", 13)),
              std::tuple(int{others}, others, others));
  }
  EXPECT_FALSE(ORVMessagesInit::m_cnt != 0 || ORVMessages::IsInitialized());
}
