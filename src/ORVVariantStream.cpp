#include "ORVVariantStream.h"

#include <cstdint>
#include <cstring>
#include <string>

using ORV::BinaryStream;
using ORV::DateTime;
using ORV::Variant;
using ORV::VariantType;

namespace {

constexpr int kNarrow = BinaryStream::NarrowString;
constexpr int kWide = BinaryStream::WideString;

// IEEE 754 bits, whatever the host: the stream form is little-endian integers of those bits.
template <class Bits, class Real>
Bits BitsOf(Real value) {
  static_assert(sizeof(Bits) == sizeof(Real));
  Bits bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

template <class Real, class Bits>
Real RealOf(Bits bits) {
  Real value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// sizeof(T) bytes, least significant first, through the stream's integer form.
template <class T>
T Read(BinaryStream& stream) {
  T value;
  stream >> value;
  return value;
}

template <class Text>
Text ReadText(BinaryStream& stream, int form) {
  Text text;
  BinaryStream_Get(stream, text, form);
  return text;
}

void WriteValue(BinaryStream& stream, const Variant& value) {
  switch (value.Type()) {
    case VariantType::Bool:
      stream << static_cast<std::uint8_t>(value.AsLong() != 0 ? 1 : 0);
      break;
    case VariantType::Char:
      stream << static_cast<std::int8_t>(value.AsLong());
      break;
    case VariantType::Short:
      stream << static_cast<std::int16_t>(value.AsLong());
      break;
    case VariantType::Int:
    case VariantType::Long:
      stream << static_cast<std::int32_t>(value.AsLong());
      break;
    case VariantType::Float:
      stream << BitsOf<std::uint32_t>(static_cast<float>(value.AsDouble()));
      break;
    case VariantType::Double:
      stream << BitsOf<std::uint64_t>(value.AsDouble());
      break;
    case VariantType::UChar:
      stream << static_cast<std::uint8_t>(value.AsULong());
      break;
    case VariantType::UShort:
      stream << static_cast<std::uint16_t>(value.AsULong());
      break;
    case VariantType::UInt:
    case VariantType::ULong:
      stream << static_cast<std::uint32_t>(value.AsULong());
      break;
    case VariantType::CharP:
      BinaryStream_Put(stream, std::string(value.AsCharP()), kNarrow);
      break;
    case VariantType::WCharP:
      BinaryStream_Put(stream, std::wstring(value.AsWCharP()), kWide);
      break;
    case VariantType::DateTime:
      stream << static_cast<std::int32_t>(value.AsDateTime().UnixTime());
      break;
    case VariantType::String:
      BinaryStream_Put(stream, value.AsString(), kNarrow);
      break;
    case VariantType::WString:
      BinaryStream_Put(stream, value.AsWString(), kWide);
      break;
    case VariantType::Empty:
      break;
  }
}

Variant ReadValue(BinaryStream& stream, VariantType type) {
  switch (type) {
    case VariantType::Bool:
      return Variant(Read<std::uint8_t>(stream) != 0);
    case VariantType::Char:
      return Variant(Read<char>(stream));
    case VariantType::Short:
      return Variant(Read<short>(stream));
    case VariantType::Int:
      return Variant(Read<int>(stream));
    case VariantType::Long:
      return Variant(Read<long>(stream));
    case VariantType::Float:
      return Variant(RealOf<float>(Read<std::uint32_t>(stream)));
    case VariantType::Double:
      return Variant(RealOf<double>(Read<std::uint64_t>(stream)));
    case VariantType::UChar:
      return Variant(Read<unsigned char>(stream));
    case VariantType::UShort:
      return Variant(Read<unsigned short>(stream));
    case VariantType::UInt:
      return Variant(Read<unsigned int>(stream));
    case VariantType::ULong:
      return Variant(Read<unsigned long>(stream));
    case VariantType::CharP:
      return Variant(ReadText<std::string>(stream, kNarrow).c_str());
    case VariantType::WCharP:
      return Variant(ReadText<std::wstring>(stream, kWide).c_str());
    case VariantType::DateTime:
      return Variant(DateTime(Read<std::int32_t>(stream)));
    case VariantType::String:
      return Variant(ReadText<std::string>(stream, kNarrow));
    case VariantType::WString:
      return Variant(ReadText<std::wstring>(stream, kWide));
    case VariantType::Empty:
      break;
  }
  return Variant();
}

}  // namespace

ORV::BinaryStream& operator<<(ORV::BinaryStream& stream, const ORV::Variant& value) {
  stream << static_cast<std::uint8_t>(value.Type());
  WriteValue(stream, value);
  return stream;
}

ORV::BinaryStream& operator>>(ORV::BinaryStream& stream, ORV::Variant& value) {
  std::uint8_t byte = 0;
  stream.Buf().SafeGet(&byte, 1);
  const int tag = static_cast<std::int8_t>(byte);
  if (tag < static_cast<int>(VariantType::Bool) || tag > static_cast<int>(VariantType::WString)) return stream;
  value = ReadValue(stream, static_cast<VariantType>(tag));
  return stream;
}
