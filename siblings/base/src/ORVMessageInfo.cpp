#include "win32.h"

#include "ORVMessageInfo.h"

namespace ORV {

MessageInfo::MessageInfo(const char* module, unsigned int number, const char* sourceFile, unsigned int line)
    : m_module(module), m_number(number), m_sourceFile(sourceFile), m_line(line) {}

MessageInfo::~MessageInfo() = default;

const std::wstring& MessageInfo::EmptyText() {
  static const std::wstring empty;
  return empty;
}

void MessageInfo::AddArgument(const std::wstring& text) { m_arguments.push_back(text); }

void MessageInfo::SetLastError(unsigned int code) { m_lastError = code; }

long MessageInfo::AddRef() { return ::InterlockedIncrement(&m_refCount); }

long MessageInfo::Release() {
  const long remaining = ::InterlockedDecrement(&m_refCount);
  if (remaining == 0) delete this;
  return remaining;
}

long MessageInfo::NbRef() const { return m_refCount; }

}  // namespace ORV
