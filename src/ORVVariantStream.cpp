#include "ORVVariantStream.h"

#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <type_traits>

using ORV::BinaryStream;
using ORV::DateTime;
using ORV::Variant;

namespace {

// How one type goes to the stream and comes back: a row of the table in the header.
struct Form {
  void (*put)(BinaryStream& stream, const Variant& value);
  Variant (*get)(BinaryStream& stream);
};

// sizeof(T) bytes, least significant first, through the stream's integer form.
template <class T>
T Read(BinaryStream& stream) {
  T value;
  stream >> value;
  return value;
}

// T travels as Wire: a signed Wire takes the value's AsLong, an unsigned one its AsULong.
template <class Wire, class T>
constexpr Form Integer() {
  return {[](BinaryStream& stream, const Variant& value) {
            if constexpr (std::is_signed_v<Wire>)
              stream << static_cast<Wire>(value.AsLong());
            else
              stream << static_cast<Wire>(value.AsULong());
          },
          [](BinaryStream& stream) { return Variant(static_cast<T>(Read<Wire>(stream))); }};
}

// IEEE 754 bits as a little-endian integer, whatever the host.
template <class Real, class Bits>
constexpr Form Ieee() {
  static_assert(sizeof(Real) == sizeof(Bits));
  return {[](BinaryStream& stream, const Variant& value) {
            const auto real = static_cast<Real>(value.AsDouble());
            Bits bits;
            std::memcpy(&bits, &real, sizeof bits);
            stream << bits;
          },
          [](BinaryStream& stream) {
            const Bits bits = Read<Bits>(stream);
            Real real;
            std::memcpy(&real, &bits, sizeof real);
            return Variant(real);
          }};
}

// Text through BinaryStream_Put/Get, form 16 narrow or 17 wide; a pointer
// type is written from its pointer and read back as one (a copy of the text).
template <class Text, bool Pointer>
constexpr Form TextForm() {
  constexpr bool narrow = std::is_same_v<Text, std::string>;
  constexpr int form = narrow ? BinaryStream::NarrowString : BinaryStream::WideString;
  return {[](BinaryStream& stream, const Variant& value) {
            if constexpr (narrow)
              BinaryStream_Put(stream, Pointer ? Text(value.AsCharP()) : value.AsString(), form);
            else
              BinaryStream_Put(stream, Pointer ? Text(value.AsWCharP()) : value.AsWString(), form);
          },
          [](BinaryStream& stream) {
            Text text;
            BinaryStream_Get(stream, text, form);
            return Pointer ? Variant(text.c_str()) : Variant(std::move(text));
          }};
}

constexpr Form kBool = {[](BinaryStream& stream, const Variant& value) { stream << std::uint8_t{value.AsLong() != 0}; },
                        [](BinaryStream& stream) { return Variant(Read<std::uint8_t>(stream) != 0); }};

// The low 32 bits of the Unix time, read back as signed.
constexpr Form kDateTime = {[](BinaryStream& stream, const Variant& value) {
                              stream << static_cast<std::int32_t>(value.AsDateTime().UnixTime());
                            },
                            [](BinaryStream& stream) { return Variant(DateTime(Read<std::int32_t>(stream))); }};

// Indexed by tag - 1.
constexpr Form kForms[] = {
    kBool,
    Integer<std::int8_t, char>(),
    Integer<std::int16_t, short>(),
    Integer<std::int32_t, int>(),
    Integer<std::int32_t, long>(),
    Ieee<float, std::uint32_t>(),
    Ieee<double, std::uint64_t>(),
    Integer<std::uint8_t, unsigned char>(),
    Integer<std::uint16_t, unsigned short>(),
    Integer<std::uint32_t, unsigned int>(),
    Integer<std::uint32_t, unsigned long>(),
    TextForm<std::string, true>(),
    TextForm<std::wstring, true>(),
    kDateTime,
    TextForm<std::string, false>(),
    TextForm<std::wstring, false>(),
};

// The row for a tag, or null for a tag that carries no value (0, above 16, negative).
const Form* FormOf(int tag) {
  return tag >= 1 && tag <= static_cast<int>(std::size(kForms)) ? &kForms[tag - 1] : nullptr;
}

}  // namespace

ORV::BinaryStream& operator<<(ORV::BinaryStream& stream, const ORV::Variant& value) {
  const auto tag = static_cast<std::uint8_t>(value.Type());
  stream << tag;
  if (const Form* form = FormOf(tag)) form->put(stream, value);
  return stream;
}

ORV::BinaryStream& operator>>(ORV::BinaryStream& stream, ORV::Variant& value) {
  std::uint8_t byte = 0;
  stream.Buf().SafeGet(&byte, 1);
  if (const Form* form = FormOf(static_cast<std::int8_t>(byte))) value = form->get(stream);
  return stream;
}
