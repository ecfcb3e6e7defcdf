/// \class ORV::MessageInfo
/// MessageInfo: the description of one failure, shared by the exceptions that
/// report it.
///
/// It names a catalogue message by module and number (the text itself lives in
/// the ORVMessages registry), carries the texts that fill `"%1",` `"%2",` ... in
/// order, the source file and line that raised the failure, and the Win32 error
/// that was current then. Records live on the heap and are shared through
/// `SmartPtr<MessageInfo>;` the count is interlocked, so exceptions that share a
/// record may travel to other threads. Module and source-file names are not
/// copied: pass texts with static storage (literals).
#pragma once

#include <string>
#include <vector>

#include "ORVBaseDefs.h"

namespace ORV {

class ORV_BASE_API MessageInfo {
 public:
  /// module and sourceFile are kept as pointers: pass literals. The count
  /// starts at zero; the first SmartPtr takes the record.
  MessageInfo(const char* module, unsigned int number, const char* sourceFile, unsigned int line);
  MessageInfo(const MessageInfo&) = delete;
  MessageInfo& operator=(const MessageInfo&) = delete;

  /// The shared empty text, entered for an argument that has no text.
  static const std::wstring& EmptyText();

  /// Appends the text for the next placeholder `("%1"` first).
  void AddArgument(const std::wstring& text);
  /// Records the Win32 error of the failure.
  void SetLastError(unsigned int code);

  ///@{
  /// What the constructor was given.
  const char* Module() const { return m_module; }
  unsigned int Number() const { return m_number; }
  const char* SourceFile() const { return m_sourceFile; }
  unsigned int Line() const { return m_line; }
  ///@}
  /// The placeholder texts, in order.
  const std::vector<std::wstring>& Arguments() const { return m_arguments; }
  /// The Win32 error recorded by SetLastError; 0 (ERROR_SUCCESS) until then.
  unsigned int LastError() const { return m_lastError; }

  /// Raises the count (interlocked); returns the new count.
  long AddRef();
  /// Lowers the count and deletes the record when it reaches zero.
  long Release();
  /// The count now; other threads may change it at once.
  long NbRef() const;

 private:
  ~MessageInfo();

  volatile long m_refCount = 0;
  const char* m_module;
  unsigned int m_number;
  const char* m_sourceFile;
  unsigned int m_line;
  std::vector<std::wstring> m_arguments;
  unsigned int m_lastError = 0;
};

}  // namespace ORV
