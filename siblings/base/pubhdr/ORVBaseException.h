/// \class ORV::BaseException
/// BaseException and Exception: the roots of every exception family of the
/// ORV libraries.
///
/// An exception holds its message text (What), the type name its thrower
/// gave, widened, and an optional shared MessageInfo describing the failure.
/// Built from a MessageInfo, the text is the registry's catalogue text with
/// the record's arguments filled in, formatted once at construction. Copying
/// copies all three; subclasses may choose otherwise. Copy() gives a heap copy
/// of the most-derived class (null when the heap refuses it) and Throw()
/// throws a copy by value with the most-derived type, so that a caught
/// exception can be stored and raised again elsewhere.
#pragma once

#include <string>

#include "ORVBaseDefs.h"
#include "ORVMessageInfo.h"
#include "ORVSmartPtr.h"

namespace ORV {

class ORV_BASE_API BaseException {
 public:
  /// A null text is an empty text; a null type name leaves the type name empty.
  ///@{
  explicit BaseException(const wchar* text, const char* typeName = nullptr);
  explicit BaseException(const std::wstring& text, const char* typeName = nullptr);
  ///@}
  /// The text is the catalogue message info names, with its arguments filled
  /// in; the record is shared, not copied.
  BaseException(const SmartPtr<MessageInfo>& info, const char* typeName);
  virtual ~BaseException();

  /// The finished message text.
  virtual const std::wstring& What() const;
  /// A heap copy with the most-derived type, owned by the caller; null when
  /// memory runs out.
  virtual BaseException* Copy() const;
  /// Throws a copy of this object as its most-derived type.
  virtual void Throw() const;

  /// The thrower's type name, widened; empty when none was given.
  const std::wstring& TypeName() const { return m_typeName; }
  /// The failure record, or null for an exception built from text.
  const SmartPtr<MessageInfo>& Info() const { return m_info; }

 protected:
  ///@{
  /// Copies text, type name and the shared record.
  BaseException(const BaseException&) = default;
  BaseException& operator=(const BaseException&) = default;
  ///@}

  /// Heap copy for Copy(): null instead of an exception when memory runs out.
  template <class E>
  static BaseException* CopyOf(const E& exception) noexcept {
    try {
      return new E(exception);
    } catch (...) {
      return nullptr;
    }
  }

 private:
  std::wstring m_text;
  std::wstring m_typeName;
  SmartPtr<MessageInfo> m_info;
};

/// The general failure of the base library (a stream cut short, a bad
/// argument) and the base of the other libraries' exception families.
/// Constructors and copying as BaseException's.
class ORV_BASE_API Exception : public BaseException {
 public:
  ///@{
  /// As BaseException's.
  explicit Exception(const wchar* text, const char* typeName = nullptr);
  explicit Exception(const std::wstring& text, const char* typeName = nullptr);
  Exception(const SmartPtr<MessageInfo>& info, const char* typeName);
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;
  ///@}
  ~Exception() override;

  BaseException* Copy() const override;
  void Throw() const override;
};

}  // namespace ORV
