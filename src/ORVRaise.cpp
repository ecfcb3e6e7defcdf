#include "ORVRaise.h"

#include <algorithm>
#include <cstdlib>

namespace ORVFile::detail {

std::wstring MessageArgument(const std::string& text) {
  if (text.empty()) return MessageInfo::EmptyText();
  wchar buffer[kMaxWidenedArgument];
  const size_t converted = std::mbstowcs(buffer, text.c_str(), kMaxWidenedArgument);
  if (converted != static_cast<size_t>(-1)) return std::wstring(buffer, converted);
  // Not valid in the current locale: keep every byte rather than lose the path.
  std::wstring bytes(std::min(text.size(), kMaxWidenedArgument), L'\0');
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(text[i]);
  return bytes;
}

SmartPtr<MessageInfo> MakeMessageInfo(const ThrowSite& site, MessageId id, unsigned long lastError,
                                      std::initializer_list<std::wstring> arguments) {
  SmartPtr<MessageInfo> info(new MessageInfo(MSG_MODULE_NAME, id, site.file, site.line));
  for (const std::wstring& argument : arguments) info->AddArgument(argument);
  info->SetLastError(static_cast<unsigned int>(lastError));
  return info;
}

}  // namespace ORVFile::detail
