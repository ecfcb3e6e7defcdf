#include "ORVBinaryStream.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "ORVBaseException.h"

namespace ORV {
namespace {

// Bounded pieces: a corrupt length must not make us allocate what the data cannot back.
constexpr std::uint32_t kPieceBytes = 65536;

[[noreturn]] void Fail(const std::wstring& text) { throw Exception(text, "ORV::Exception"); }

void CheckForm(const wchar* function, int form, int expected) {
  if (form != expected)
    Fail(std::wstring(function) + L": form " + std::to_wstring(form) + L" does not fit this string type (expected " +
         std::to_wstring(expected) + L")");
}

std::uint32_t LengthOf(std::size_t units) {
  if (units > 0xFFFFFFFFu)
    Fail(L"BinaryStream_Put: a string of " + std::to_wstring(units) + L" units exceeds the 32-bit length");
  return static_cast<std::uint32_t>(units);
}

// Reads exactly count bytes into dest, or throws naming what was cut short.
void GetBody(BinaryStreamBuf& buf, unsigned char* dest, std::uint32_t count, std::uint64_t done, std::uint64_t total) {
  std::uint32_t got = 0;
  while (got < count) {
    const std::uint32_t piece = buf.Get(dest + got, count - got);
    if (piece == 0)
      Fail(L"BinaryStream_Get: the string claims " + std::to_wstring(total) + L" bytes, only " +
           std::to_wstring(done + got) + L" follow");
    got += piece;
  }
}

}  // namespace

void BinaryStream::PutUnsigned(std::uint64_t value, unsigned width) {
  unsigned char bytes[8];
  width = std::min(width, 8u);
  for (unsigned i = 0; i < width; ++i) bytes[i] = static_cast<unsigned char>(value >> (8 * i));
  m_buf.SafePut(bytes, width);
}

std::uint64_t BinaryStream::GetUnsigned(unsigned width) {
  unsigned char bytes[8];
  width = std::min(width, 8u);
  std::uint32_t got = 0;
  while (got < width) {
    const std::uint32_t piece = m_buf.Get(bytes + got, width - got);
    if (piece == 0)
      Fail(L"BinaryStream: a " + std::to_wstring(width) + L"-byte integer is cut short after " + std::to_wstring(got) +
           L" bytes");
    got += piece;
  }
  std::uint64_t value = 0;
  for (unsigned i = 0; i < width; ++i) value |= std::uint64_t{bytes[i]} << (8 * i);
  return value;
}

BinaryStream& BinaryStream_Put(BinaryStream& stream, const std::string& text, int form) {
  CheckForm(L"BinaryStream_Put", form, BinaryStream::NarrowString);
  const std::uint32_t length = LengthOf(text.size());
  stream.PutUnsigned(length, 4);
  stream.Buf().SafePut(text.data(), length);
  return stream;
}

BinaryStream& BinaryStream_Put(BinaryStream& stream, const std::wstring& text, int form) {
  CheckForm(L"BinaryStream_Put", form, BinaryStream::WideString);
  const std::uint32_t length = LengthOf(text.size());
  stream.PutUnsigned(length, 4);
  std::vector<unsigned char> piece(std::min<std::size_t>(2 * std::size_t{length}, kPieceBytes));
  for (std::uint32_t start = 0; start < length;) {
    const std::uint32_t units = std::min(length - start, kPieceBytes / 2);
    for (std::uint32_t i = 0; i < units; ++i) {
      const auto unit = static_cast<std::uint16_t>(text[start + i]);
      piece[2 * i] = static_cast<unsigned char>(unit);
      piece[2 * i + 1] = static_cast<unsigned char>(unit >> 8);
    }
    stream.Buf().SafePut(piece.data(), 2 * units);
    start += units;
  }
  return stream;
}

BinaryStream& BinaryStream_Get(BinaryStream& stream, std::string& text, int form) {
  CheckForm(L"BinaryStream_Get", form, BinaryStream::NarrowString);
  const auto length = static_cast<std::uint32_t>(stream.GetUnsigned(4));
  std::string read;
  while (read.size() < length) {
    const std::size_t done = read.size();
    const std::uint32_t piece = std::min<std::uint32_t>(length - static_cast<std::uint32_t>(done), kPieceBytes);
    read.resize(done + piece);
    GetBody(stream.Buf(), reinterpret_cast<unsigned char*>(&read[done]), piece, done, length);
  }
  text.swap(read);
  return stream;
}

BinaryStream& BinaryStream_Get(BinaryStream& stream, std::wstring& text, int form) {
  CheckForm(L"BinaryStream_Get", form, BinaryStream::WideString);
  const auto length = static_cast<std::uint32_t>(stream.GetUnsigned(4));
  std::wstring read;
  std::vector<unsigned char> piece(std::min<std::size_t>(2 * std::size_t{length}, kPieceBytes));
  while (read.size() < length) {
    const std::size_t done = read.size();
    const std::uint32_t units = std::min<std::uint32_t>(length - static_cast<std::uint32_t>(done), kPieceBytes / 2);
    GetBody(stream.Buf(), piece.data(), 2 * units, 2 * std::uint64_t{done}, 2 * std::uint64_t{length});
    for (std::uint32_t i = 0; i < units; ++i) read += static_cast<wchar>(piece[2 * i] | piece[2 * i + 1] << 8);
  }
  text.swap(read);
  return stream;
}

}  // namespace ORV
