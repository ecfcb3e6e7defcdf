// Loads and frees ORVFile160NT.dll at run time and watches the message
// registry it shares with every other module of the process.
#include "win32.h"

#include <gtest/gtest.h>

#include <string>

#include "ORVMessages.h"

using ORV::ORVMessages;
using ORV::ORVMessagesInit;

namespace {

class LoadedLibrary {
 public:
  LoadedLibrary() : m_module(::LoadLibraryW(L"ORVFile160NT.dll")) {}
  ~LoadedLibrary() { Free(); }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;
  bool Loaded() const { return m_module != nullptr; }
  void Free() {
    if (m_module) ::FreeLibrary(m_module);
    m_module = nullptr;
  }

 private:
  HMODULE m_module;
};

bool Registered(const char* module, unsigned int number) {
  std::wstring text;
  return ORVMessages::Find(module, number, text);
}

// A one-message catalogue of another module.
const unsigned char kOtherCatalogue[] = {1, 0, 0, 0,                           // one record
                                         5, 0, 0, 0, 'O', 't', 'h', 'e', 'r',  // module "Other"
                                         3, 0, 0, 0,                           // number 3
                                         2, 0, 0, 0, 1,                        // fixed fields
                                         4, 0, 0, 0, 'h', 0,   'i', 0,         // "hi"
                                         0};

}  // namespace

TEST(Startup, FirstUserInitialisesAndLastUserFrees) {
  ASSERT_EQ(ORVMessagesInit::m_cnt, 0);
  ASSERT_FALSE(ORVMessages::IsInitialized());
  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round);
    LoadedLibrary library;
    ASSERT_TRUE(library.Loaded());
    EXPECT_EQ(ORVMessagesInit::m_cnt, 3);
    EXPECT_TRUE(ORVMessages::IsInitialized());
    std::wstring text;
    ASSERT_TRUE(ORVMessages::Find("ORVFile", 13, text));
    EXPECT_EQ(text, L"An error occurred while writing data in the file %1.");
    EXPECT_TRUE(Registered("ORVFile", 0));
    EXPECT_TRUE(Registered("ORVFile", 15));
    EXPECT_FALSE(Registered("ORVFile", 16));

    library.Free();
    EXPECT_EQ(ORVMessagesInit::m_cnt, 0);
    EXPECT_FALSE(ORVMessages::IsInitialized());
    EXPECT_FALSE(Registered("ORVFile", 13));
  }
}

TEST(Startup, LaterUserNeitherReinitialisesNorFrees) {
  ASSERT_EQ(ORVMessagesInit::m_cnt, 0);
  {
    const ORVMessagesInit otherModule(kOtherCatalogue, sizeof kOtherCatalogue, "Other-I");
    ASSERT_EQ(ORVMessagesInit::m_cnt, 1);
    ASSERT_TRUE(Registered("Other", 3));

    LoadedLibrary library;
    ASSERT_TRUE(library.Loaded());
    EXPECT_EQ(ORVMessagesInit::m_cnt, 4);
    EXPECT_TRUE(Registered("Other", 3)) << "the registry was initialised a second time";
    EXPECT_TRUE(Registered("ORVFile", 13));

    library.Free();
    EXPECT_EQ(ORVMessagesInit::m_cnt, 1);
    EXPECT_TRUE(ORVMessages::IsInitialized());
    // The catalogue stays until the last user of the registry leaves.
    EXPECT_TRUE(Registered("ORVFile", 13));
    EXPECT_TRUE(Registered("Other", 3));
  }
  EXPECT_EQ(ORVMessagesInit::m_cnt, 0);
  EXPECT_FALSE(ORVMessages::IsInitialized());
}
