// The exception family, the library's catalogue blob and the raising helper
// (compiled in; the classes come from the DLL).
#include "win32.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "ORVCatalogueBlob.h"
#include "ORVFileCatalogue.h"
#include "ORVFileException.h"
#include "ORVFileTestSupport.h"
#include "ORVRaise.h"

using namespace ORVFile;
using orvtest::Catch;

TEST(Catalogue, BlobHoldsTheSixteenTextsInTheRegistryLayout) {
  // The texts as users read them, kept apart from the library's table.
  // "@": "An error occurred while ", "~": " the file %1.", "|" ends a text.
  const std::wstring texts =
      L"It is impossible to open the configuration source %1.|@opening the read-only file %1.|"
      L"@opening the write-only file %1.|@copying the file %1 into %2.|@creating~|@deleting~|@getting a view of~|"
      L"@moving the file %1 into %2.|@reading data from file %1.|@releasing a view of~|"
      L"@retrieving the server name for~|@seeking in~|@setting the attributes on file %1.|@writing data in~|"
      L"The configuration source is invalid.|@getting the file attributes for %1.|";
  std::vector<orvtest::CatalogueRecord> records;
  std::wstring text;
  for (const wchar_t c : texts)
    if (c != L'|')
      text += c == L'@' ? L"An error occurred while " : c == L'~' ? L" the file %1." : std::wstring(1, c);
    else
      records.push_back({"ORVFile", std::uint32_t(records.size()), text}), text.clear();
  EXPECT_TRUE(std::vector<unsigned char>(detail::kCatalogue.begin(), detail::kCatalogue.end()) ==
              orvtest::CatalogueBlob(records));
}

TEST(FileException, CopiesKeepOnlyTheTextAssignmentKeepsAll) {
  const FileException empty;
  EXPECT_TRUE(empty.What().empty() && empty.TypeName() == L"FileException" && !empty.Info());
  EXPECT_EQ(FileException(L"text", "MyName").TypeName(), L"MyName");

  SmartPtr<MessageInfo> info(new MessageInfo("ORVFile", MSG_WRITE, "here.cpp", 1));
  info->AddArgument(L"f");
  const WriteErrorException original(info, WriteErrorException::ClassName());
  const std::wstring text = L"An error occurred while writing data in the file f.";
  const WriteErrorException constructed(original);
  const std::unique_ptr<BaseException> copied(original.Copy());
  for (const BaseException* copy : std::initializer_list<const BaseException*>{&constructed, copied.get()})
    EXPECT_TRUE(dynamic_cast<const WriteErrorException*>(copy) && copy->What() == text && copy->TypeName().empty() &&
                !copy->Info());
  const orvtest::Raised thrown = Catch([&] { original.Throw(); });
  EXPECT_TRUE(thrown.what == text && thrown.type.empty() && thrown.number == ~0u);

  WriteErrorException assigned(SmartPtr<MessageInfo>(), nullptr);
  assigned = original;
  assigned = *&assigned;  // self-assignment, spelt so that Clang does not warn
  EXPECT_TRUE(assigned.What() == text && assigned.TypeName() == L"WriteErrorException" && assigned.Info() == info);
  EXPECT_EQ(info->NbRef(), 3);  // this handle, original's and assigned's
  assigned = WriteErrorException(SmartPtr<MessageInfo>(), nullptr);
  EXPECT_EQ(info->NbRef(), 2) << "the old record was released";
}

TEST(Raise, RecordsNumberPlaceArgumentsAndTheWin32Error) {
  // The open failures by error, for reading or writing; the three classes are siblings: none catches another.
  for (const auto& [error, forWriting, type, id] :
       {std::tuple{DWORD{ERROR_SHARING_VIOLATION}, false, "SharingViolationException", MSG_OPEN_READ_ONLY},
        {ERROR_FILE_NOT_FOUND, false, "FileCannotOpenException", MSG_OPEN_READ_ONLY},
        {ERROR_ACCESS_DENIED, true, "FileAccessDeniedException", MSG_OPEN_WRITE_ONLY},
        {0xE0001234ul, true, "FileCannotOpenException", MSG_OPEN_WRITE_ONLY}}) {  // unknown codes are kept
    bool cannotOpen = false;
    const orvtest::Raised raised = Catch([&, error = error, forWriting = forWriting] {
      try {
        detail::RaiseOpenFailure(ORVFILE_THROW_SITE, forWriting, error, std::wstring(L"f"));
      } catch (const FileCannotOpenException&) {
        cannotOpen = true;
        throw;
      }
    });
    EXPECT_EQ(
        std::tuple(raised.type, raised.number, raised.lastError, cannotOpen),
        std::tuple(type, static_cast<unsigned>(id), unsigned{error}, type == std::string("FileCannotOpenException")));
  }
  EXPECT_THROW(detail::Raise<WriteErrorException>(ORVFILE_THROW_SITE, MSG_WRITE, 112, std::string("f")),
               FilePermissionDeniedException);
  const orvtest::Raised copy = Catch([] {
    ::SetLastError(ERROR_ALREADY_EXISTS);
    detail::RaiseLastError<FileCannotCopyException>(ORVFILE_THROW_SITE, MSG_COPY, std::string("a"), std::string("b"));
  });
  EXPECT_EQ(std::tuple(copy.type, copy.source, copy.lastError, copy.what),
            std::tuple("FileCannotCopyException", "ORVFileException_test.cpp", unsigned{ERROR_ALREADY_EXISTS},
                       L"An error occurred while copying the file a into b."));

  // Narrow arguments are widened and cut at 1024 units, wide ones kept whole; a placeholder inside is not expanded.
  const auto deleting = [](const auto& path) {
    return Catch([&] { detail::Raise<FileCannotDeleteException>(ORVFILE_THROW_SITE, MSG_DELETE, 5, path); }).what;
  };
  const std::wstring prefix = L"An error occurred while deleting the file ";
  EXPECT_EQ(deleting(std::string(1500, 'p')), prefix + std::wstring(1024, L'p') + L".");
  EXPECT_EQ(deleting(std::wstring(1500, L'w')), prefix + std::wstring(1500, L'w') + L".");
  EXPECT_EQ(deleting(std::string("caf\xE9 %1")), prefix + L"caf\xE9 %1.");
}
