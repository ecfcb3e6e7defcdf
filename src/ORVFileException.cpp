#include "ORVFileException.h"

#include "ORVFileStartup.h"

namespace ORVFile {

FileException::FileException() : Exception(detail::SharedEmptyText(), ClassName()) {}

FileException::FileException(const wchar* text) : Exception(text, ClassName()) {}

FileException::FileException(const std::wstring& text) : Exception(text, ClassName()) {}

FileException::FileException(const wchar* text, const char* typeName) : Exception(text, typeName) {}

FileException::FileException(const std::wstring& text, const char* typeName) : Exception(text, typeName) {}

FileException::FileException(const SmartPtr<MessageInfo>& info) : Exception(info, ClassName()) {}

FileException::FileException(const SmartPtr<MessageInfo>& info, const char* typeName) : Exception(info, typeName) {}

// Only the text travels: the copy has no type name and no MessageInfo.
FileException::FileException(const FileException& other) : Exception(other.What(), nullptr) {}

FileException& FileException::operator=(const FileException& other) {
  if (this != &other) Exception::operator=(other);
  return *this;
}

FileException::~FileException() = default;

BaseException* FileException::Copy() const { return CopyOf(*this); }

void FileException::Throw() const { throw *this; }

}  // namespace ORVFile
