#include "win32.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ORVFileCatalogue.h"
#include "ORVFileException.h"
#include "ORVMessages.h"
#include "ORVRaise.h"

using namespace ORVFile;

namespace {

// The catalogue texts as users read them, kept apart from the library's table.
const wchar* const kExpectedTexts[] = {
    L"It is impossible to open the configuration source %1.",
    L"An error occurred while opening the read-only file %1.",
    L"An error occurred while opening the write-only file %1.",
    L"An error occurred while copying the file %1 into %2.",
    L"An error occurred while creating the file %1.",
    L"An error occurred while deleting the file %1.",
    L"An error occurred while getting a view of the file %1.",
    L"An error occurred while moving the file %1 into %2.",
    L"An error occurred while reading data from file %1.",
    L"An error occurred while releasing a view of the file %1.",
    L"An error occurred while retrieving the server name for the file %1.",
    L"An error occurred while seeking in the file %1.",
    L"An error occurred while setting the attributes on file %1.",
    L"An error occurred while writing data in the file %1.",
    L"The configuration source is invalid.",
    L"An error occurred while getting the file attributes for %1.",
};

struct Record {
  std::string module;
  uint32_t number, fixedWord, textBytes;
  uint8_t fixedByte, closing;
  std::wstring text;
};

// A reader written from the byte layout alone, independent of the registry's.
class Reader {
 public:
  explicit Reader(const std::vector<unsigned char>& bytes) : m_bytes(bytes) {}
  uint8_t U8() { return m_bytes.at(m_pos++); }
  uint32_t U32() {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v |= uint32_t{U8()} << (8 * i);
    return v;
  }
  Record ReadRecord() {
    Record r;
    const uint32_t moduleLength = U32();
    for (uint32_t i = 0; i < moduleLength; ++i) r.module += static_cast<char>(U8());
    r.number = U32();
    r.fixedWord = U32();
    r.fixedByte = U8();
    r.textBytes = U32();
    for (uint32_t i = 0; i < r.textBytes / 2; ++i) {
      const uint8_t low = U8();
      r.text += static_cast<wchar>(low | (U8() << 8));
    }
    r.closing = U8();
    return r;
  }
  size_t Position() const { return m_pos; }

 private:
  const std::vector<unsigned char>& m_bytes;
  size_t m_pos = 0;
};

}  // namespace

TEST(Catalogue, BlobHoldsSixteenRecordsEndingAtByte2072) {
  const std::vector<unsigned char> blob(detail::kCatalogue.begin(), detail::kCatalogue.end());
  ASSERT_EQ(blob.size(), 2072u);
  Reader reader(blob);
  ASSERT_EQ(reader.U32(), 16u);
  for (uint32_t id = 0; id < 16; ++id) {
    SCOPED_TRACE(id);
    const Record r = reader.ReadRecord();
    EXPECT_EQ(r.module, "ORVFile");
    EXPECT_EQ(r.number, id);
    EXPECT_EQ(r.fixedWord, 2u);
    EXPECT_EQ(r.fixedByte, 1u);
    EXPECT_EQ(r.closing, 0u);
    EXPECT_EQ(r.text, kExpectedTexts[id]);
    EXPECT_EQ(r.textBytes, 2 * r.text.size());
  }
  EXPECT_EQ(reader.Position(), 2072u);
}

TEST(Catalogue, RegisteredWhileTheLibraryIsLoaded) {
  EXPECT_GE(ORV::ORVMessagesInit::m_cnt, 3);
  for (unsigned int id = 0; id < MSG_COUNT; ++id) {
    std::wstring text;
    ASSERT_TRUE(ORV::ORVMessages::Find(MSG_MODULE_NAME, id, text)) << id;
    EXPECT_EQ(text, kExpectedTexts[id]) << id;
  }
}

TEST(FileException, ConstructorsSetTextTypeNameAndRecord) {
  const FileException empty;
  EXPECT_EQ(empty.What(), L"");
  EXPECT_EQ(empty.TypeName(), L"FileException");
  EXPECT_FALSE(empty.Info());

  EXPECT_EQ(FileException(static_cast<const wchar*>(nullptr)).What(), L"");
  const FileException named(L"text", "MyName");
  EXPECT_EQ(named.What(), L"text");
  EXPECT_EQ(named.TypeName(), L"MyName");

  SmartPtr<MessageInfo> info(new MessageInfo("ORVFile", MSG_DELETE, "here.cpp", 7));
  info->AddArgument(L"c:\\x.txt");
  const FileException byRecord(info);
  EXPECT_EQ(byRecord.What(), L"An error occurred while deleting the file c:\\x.txt.");
  EXPECT_EQ(byRecord.Info(), info);
  EXPECT_EQ(FileException(info, "Other").TypeName(), L"Other");
  EXPECT_EQ(info->NbRef(), 2);  // this handle and byRecord's
}

TEST(FileException, CopiesKeepOnlyTheTextAssignmentKeepsAll) {
  SmartPtr<MessageInfo> info(new MessageInfo("ORVFile", MSG_WRITE, "here.cpp", 1));
  info->AddArgument(L"f");
  const WriteErrorException original(info, WriteErrorException::ClassName());
  const std::wstring text = L"An error occurred while writing data in the file f.";

  // The copy constructor, Copy() and Throw(): the text only, the type kept.
  const auto textOnly = [&text](const BaseException& copy) {
    EXPECT_NE(dynamic_cast<const WriteErrorException*>(&copy), nullptr);
    EXPECT_EQ(copy.What(), text);
    EXPECT_EQ(copy.TypeName(), L"");
    EXPECT_FALSE(copy.Info());
  };
  textOnly(WriteErrorException(original));
  textOnly(*std::unique_ptr<BaseException>(original.Copy()));
  try {
    original.Throw();
    FAIL() << "Throw returned";
  } catch (const WriteErrorException& thrown) {
    textOnly(thrown);
  }

  WriteErrorException assigned(SmartPtr<MessageInfo>(), nullptr);
  assigned = original;
  EXPECT_EQ(assigned.What(), text);
  EXPECT_EQ(assigned.TypeName(), L"WriteErrorException");
  EXPECT_EQ(assigned.Info(), info);
  EXPECT_EQ(info->NbRef(), 3);

  assigned = *&assigned;  // self-assignment, spelt so that Clang does not warn
  EXPECT_EQ(assigned.TypeName(), L"WriteErrorException");
  EXPECT_EQ(info->NbRef(), 3);

  assigned = WriteErrorException(SmartPtr<MessageInfo>(), nullptr);
  EXPECT_EQ(info->NbRef(), 2);  // the old record was released
}

TEST(FileException, HandlersCatchByTheClassTree) {
  const auto writeError = [] {
    detail::Raise<WriteErrorException>(ORVFILE_THROW_SITE, MSG_WRITE, 112, std::string("f"));
  };
  EXPECT_THROW(writeError(), FilePermissionDeniedException);

  // The three open failures are siblings: none catches another.
  const auto sharing = [] {
    detail::RaiseOpenFailure(ORVFILE_THROW_SITE, false, ERROR_SHARING_VIOLATION, std::string("f"));
  };
  const auto denied = [] {
    detail::RaiseOpenFailure(ORVFILE_THROW_SITE, false, ERROR_ACCESS_DENIED, std::string("f"));
  };
  for (const auto& raise : {+sharing, +denied}) {
    try {
      raise();
    } catch (const FileCannotOpenException&) {
      ADD_FAILURE() << "caught by FileCannotOpenException";
    } catch (const FileException&) {
    }
  }
  EXPECT_THROW(sharing(), SharingViolationException);
  EXPECT_THROW(denied(), FileAccessDeniedException);

  // A stored copy rethrows with its most-derived type.
  std::unique_ptr<BaseException> stored;
  try {
    sharing();
  } catch (const BaseException& e) {
    stored.reset(e.Copy());
  }
  ASSERT_TRUE(stored);
  EXPECT_THROW(stored->Throw(), SharingViolationException);
}

TEST(Raise, RecordsModuleNumberPlaceArgumentsAndLastError) {
  const unsigned int line = __LINE__ + 3;
  try {
    ::SetLastError(ERROR_ALREADY_EXISTS);
    detail::RaiseLastError<FileCannotCopyException>(ORVFILE_THROW_SITE, MSG_COPY, std::string("a.txt"),
                                                    std::string("b.txt"));
  } catch (const FileCannotCopyException& e) {
    ASSERT_TRUE(e.Info());
    const MessageInfo& info = *e.Info();
    EXPECT_STREQ(info.Module(), "ORVFile");
    EXPECT_EQ(info.Number(), MSG_COPY);
    EXPECT_STREQ(info.SourceFile(), "ORVFileException_test.cpp");
    EXPECT_EQ(info.Line(), line);
    EXPECT_EQ(info.LastError(), unsigned{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(info.Arguments(), (std::vector<std::wstring>{L"a.txt", L"b.txt"}));
    EXPECT_EQ(e.TypeName(), L"FileCannotCopyException");
    EXPECT_EQ(e.What(), L"An error occurred while copying the file a.txt into b.txt.");
  }
}

TEST(Raise, ArgumentsAreWidenedAndNarrowOnesCutAt1024) {
  const std::string longPath(1500, 'p');
  const auto whatOf = [](const auto& path) {
    try {
      detail::Raise<FileCannotDeleteException>(ORVFILE_THROW_SITE, MSG_DELETE, 5, path);
    } catch (const FileCannotDeleteException& e) {
      return e.Info()->Arguments().at(0);
    }
    return std::wstring(L"not thrown");
  };
  EXPECT_EQ(whatOf(longPath), std::wstring(1024, L'p'));
  EXPECT_EQ(whatOf(std::string(1024, 'q')), std::wstring(1024, L'q'));
  EXPECT_EQ(whatOf(std::wstring(1500, L'w')), std::wstring(1500, L'w'));  // wide text is not cut
  EXPECT_EQ(whatOf(std::string("caf\xE9")), L"caf\xE9");

  // A path that contains a placeholder is entered once, never expanded again.
  try {
    detail::Raise<FileCannotMoveException>(ORVFILE_THROW_SITE, MSG_MOVE, 5, std::wstring(L"100%2"), std::wstring(L"x"));
  } catch (const FileCannotMoveException& e) {
    EXPECT_EQ(e.What(), L"An error occurred while moving the file 100%2 into x.");
  }
}

TEST(Raise, OpenFailureClassFollowsTheWin32Error) {
  struct Row {
    unsigned long error;
    bool forWriting;
    const char* typeName;
    MessageId id;
  };
  const Row rows[] = {
      {ERROR_SHARING_VIOLATION, false, "SharingViolationException", MSG_OPEN_READ_ONLY},
      {ERROR_FILE_NOT_FOUND, false, "FileCannotOpenException", MSG_OPEN_READ_ONLY},
      {ERROR_ACCESS_DENIED, true, "FileAccessDeniedException", MSG_OPEN_WRITE_ONLY},
      {0xE0001234, true, "FileCannotOpenException", MSG_OPEN_WRITE_ONLY},  // unknown codes are kept
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(i);
    try {
      detail::RaiseOpenFailure(ORVFILE_THROW_SITE, rows[i].forWriting, rows[i].error, std::wstring(L"f.txt"));
    } catch (const FileException& e) {
      EXPECT_EQ(e.Info()->LastError(), rows[i].error);
      EXPECT_EQ(e.Info()->Number(), rows[i].id);
      EXPECT_EQ(e.TypeName(), std::wstring(rows[i].typeName, rows[i].typeName + strlen(rows[i].typeName)));
    }
  }
}
