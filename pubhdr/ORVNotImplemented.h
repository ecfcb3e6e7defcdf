/// \class ORVFile::NotImplemented
/// NotImplemented: what a buffer throws for an operation its class does not
/// support ("OCFileBuffer::Get : Not implemented!") or refuses on const memory
/// ("StaticMemoryBuffer::Put: Buffer is const!"). Such a failure is not a file
/// failure, so it is not a FileException: callers catch it as the standard
/// exception and read the text from what():
///
/// ~~~
///   try { out.vGet(dest, 4); } catch (const std::exception& e) { e.what(); }
/// ~~~
///
/// The object keeps a pointer to the text, not a copy, so that building and
/// copying it never throw: pass a literal (static storage). Any thread.
#pragma once

#include <exception>

#include "ORVFileDefs.h"

namespace ORVFile {

class ORVFILE_API NotImplemented : public std::exception {
 public:
  /// text: a literal such as "OCFileBuffer::Get : Not implemented!", the
  /// class and the operation refused.
  explicit NotImplemented(const char* text) noexcept;
  /// Copy the pointer to the text, never the text: they cannot throw.
  ///@{
  NotImplemented(const NotImplemented& other) noexcept;
  NotImplemented& operator=(const NotImplemented& other) noexcept;
  ///@}
  ~NotImplemented() override;

  /// The text given to the constructor, the same pointer.
  const char* what() const noexcept override;

 private:
  const char* m_text;
};

}  // namespace ORVFile
