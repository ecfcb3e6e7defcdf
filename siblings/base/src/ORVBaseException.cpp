#include "ORVBaseException.h"

#include <string>
#include <string_view>

#include "ORVMessages.h"

namespace ORV {
namespace {

// Type names are class names, plain ASCII: each byte is widened to the unit
// of the same value (this library sits below the charset library).
std::wstring WidenTypeName(const char* typeName) {
  if (typeName == nullptr) return {};
  const std::string_view name(typeName);
  return std::wstring(name.begin(), name.end());
}

std::wstring TextOf(const SmartPtr<MessageInfo>& info) { return info ? ORVMessages::Format(*info) : std::wstring(); }

}  // namespace

BaseException::BaseException(const wchar* text, const char* typeName)
    : m_text(text ? text : L""), m_typeName(WidenTypeName(typeName)) {}

BaseException::BaseException(const std::wstring& text, const char* typeName)
    : m_text(text), m_typeName(WidenTypeName(typeName)) {}

BaseException::BaseException(const SmartPtr<MessageInfo>& info, const char* typeName)
    : m_text(TextOf(info)), m_typeName(WidenTypeName(typeName)), m_info(info) {}

BaseException::~BaseException() = default;

const std::wstring& BaseException::What() const { return m_text; }

BaseException* BaseException::Copy() const { return CopyOf(*this); }

void BaseException::Throw() const { throw *this; }

Exception::Exception(const wchar* text, const char* typeName) : BaseException(text, typeName) {}

Exception::Exception(const std::wstring& text, const char* typeName) : BaseException(text, typeName) {}

Exception::Exception(const SmartPtr<MessageInfo>& info, const char* typeName) : BaseException(info, typeName) {}

Exception::~Exception() = default;

BaseException* Exception::Copy() const { return CopyOf(*this); }

void Exception::Throw() const { throw *this; }

}  // namespace ORV
