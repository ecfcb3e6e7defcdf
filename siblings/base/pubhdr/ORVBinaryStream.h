/// \class ORV::BinaryStream
/// BinaryStream: the formatted stream over a BinaryStreamBuf. It writes and
/// reads integers in a fixed little-endian form whatever the host, and strings
/// through BinaryStream_Put / BinaryStream_Get. The stream borrows the buffer
/// (which must outlive it) and keeps no state of its own, so several streams
/// over one buffer see one sequence of bytes. One thread at a time.
///
/// Integers: every integer type but bool takes exactly sizeof(T) bytes, least
/// significant first; signed values in two's complement.
///
///     (std::uint16_t)0x1234 -> 34 12      (std::int32_t)-2 -> FE FF FF FF
///
/// Strings, form 16 (narrow, std::string; the units are bytes, copied as they
/// are: no code page is applied) and form 17 (16-bit, std::wstring, UTF-16
/// units kept as they are, lone surrogates included):
///
///     bytes 0-3  the length in units, unsigned 32-bit little-endian
///     then       the units: form 16 one byte each, form 17 two bytes each,
///                least significant first; no terminator, embedded zeros kept.
///     "AB" form 16 -> 02 00 00 00 41 42
///     L"A\x20AC" form 17 -> 02 00 00 00 41 00 AC 20
///
/// A std::string goes only with form 16 and a std::wstring only with form 17;
/// another form throws ORV::Exception without touching the buffer.
///
/// Failures throw ORV::Exception: an integer or a string cut short by the end
/// of the data, a string longer than 0xFFFFFFFF units on writing. A failed read
/// leaves the target as it was but has consumed what it read; the string body
/// is read in bounded pieces, so a corrupt length costs no more memory than the
/// data that is actually there.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include "ORVBaseDefs.h"
#include "ORVBinaryStreamBuf.h"

namespace ORV {

class ORV_BASE_API BinaryStream {
 public:
  /// The form arguments of BinaryStream_Put / BinaryStream_Get.
  enum StringForm : int { NarrowString = 16, WideString = 17 };

  /// Borrows buf, which must outlive the stream.
  explicit BinaryStream(BinaryStreamBuf& buf) : m_buf(buf) {}

  /// The buffer the stream reads and writes.
  BinaryStreamBuf& Buf() const { return m_buf; }

  /// The low width bytes of value (width 1 to 8), least significant first.
  void PutUnsigned(std::uint64_t value, unsigned width);
  /// width bytes (1 to 8), least significant first; throws when cut short.
  std::uint64_t GetUnsigned(unsigned width);

  /// Writes an integer (not bool) as sizeof(T) bytes, least significant first.
  template <class T, std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>, int> = 0>
  BinaryStream& operator<<(T value) {
    PutUnsigned(static_cast<std::make_unsigned_t<T>>(value), sizeof(T));
    return *this;
  }

  /// Reads an integer (not bool) of sizeof(T) bytes; throws ORV::Exception
  /// when cut short, leaving value as it was.
  template <class T, std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>, int> = 0>
  BinaryStream& operator>>(T& value) {
    value = static_cast<T>(static_cast<std::make_unsigned_t<T>>(GetUnsigned(sizeof(T))));
    return *this;
  }

 private:
  BinaryStreamBuf& m_buf;
};

///@{
/// Writes text as a length and its units: form 16 (BinaryStream::NarrowString)
/// for std::string, 17 (BinaryStream::WideString) for std::wstring; another
/// form, or more than 0xFFFFFFFF units, throws ORV::Exception.
ORV_BASE_API BinaryStream& BinaryStream_Put(BinaryStream& stream, const std::string& text, int form);
ORV_BASE_API BinaryStream& BinaryStream_Put(BinaryStream& stream, const std::wstring& text, int form);
///@}
///@{
/// Reads a string written by BinaryStream_Put in the same form; a wrong form
/// or data cut short throws ORV::Exception and leaves text as it was.
ORV_BASE_API BinaryStream& BinaryStream_Get(BinaryStream& stream, std::string& text, int form);
ORV_BASE_API BinaryStream& BinaryStream_Get(BinaryStream& stream, std::wstring& text, int form);
///@}

}  // namespace ORV
