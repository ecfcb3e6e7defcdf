/// \class ORV::Variant
/// Variant: one value of any of sixteen types that remembers which type it was
/// built from, so that it can be stored and read back as that type (the stream
/// form in ORVFile160NT's ORVVariantStream.h writes the type number first).
///
/// The type is a pointer to one of the sixteen traits objects below, or null
/// for an empty variant. Each traits object reports its number through the
/// first operation of its interface, Type(); the numbers are a stored format:
/// \code
///    1 bool            5 long            9 unsigned short   13 wchar pointer
///    2 char            6 float          10 unsigned int     14 DateTime
///    3 short           7 double         11 unsigned long    15 std::string
///    4 int             8 unsigned char  12 char pointer     16 std::wstring
/// \endcode
/// (long is 32-bit, as everywhere on Windows.)
///
/// A variant is a value: it owns what it holds, a char or wchar pointer
/// variant included (it keeps its own copy of the text, so the caller's buffer
/// may go at once; a null pointer is taken as empty text). Copies are
/// independent; a moved-from variant is empty. The constructors are explicit,
/// so that a stray int or string never becomes a variant unseen (a
/// `stream << "text"` would otherwise write a tagged variant). Read it from any
/// number of threads; change it from one.
///
/// Every accessor answers for every type, empty included (0, 0.0, "", nullptr):
/// - AsLong / AsULong: an integer (bool 0 or 1, char as signed, DateTime as its
/// \code
///   Unix time) or text keeps its low 32 bits, as a cast does:
///     Variant(-1L).AsULong() == 0xFFFFFFFF, Variant(std::string("4294967295")).AsLong() == -1;
///   a float or double is truncated toward zero and held to the target's range
///   (NaN gives 0): Variant(1e300).AsLong() == LONG_MAX, Variant(-2.5).AsULong() == 0.
/// \endcode
/// - AsDouble: the number; float and double exactly as held.
/// - AsDateTime: the integer (64-bit) as a Unix time; a double truncated.
/// - Text is read as a number by std::from_chars, locale-free, from its first
/// \code
///   character: "-12abc" -> -12, " 12" and "+12" -> 0 (no blanks, no plus
///   sign), a number out of range -> 0. AsDouble reads "1.5e3" as 1500.
/// \endcode
/// - AsString / AsWString: text as held; numbers in decimal, the shortest text
/// \code
///   that reads back to the same float or double ("0.1" for 0.1f), bool "1" or
///   "0", DateTime its Unix time. Between the widths each byte is one unit
///   (0x00-0xFF, no code page), and a unit above 0xFF becomes '?'.
/// \endcode
/// - AsCharP / AsWCharP: the held text of a text type of that width (types 12
/// \code
///   and 15, 13 and 16), valid until the variant changes or goes; nullptr for
///   every other type: a pointer into a converted copy would need an owner.
/// \endcode
#pragma once

#include <string>
#include <variant>

#include "ORVCoreDefs.h"
#include "ORVDateTime.h"

namespace ORV {

/// The stored type numbers (see Variant); Empty for an empty variant.
enum class VariantType : unsigned int {
  Empty = 0,
  Bool = 1,
  Char = 2,
  Short = 3,
  Int = 4,
  Long = 5,
  Float = 6,
  Double = 7,
  UChar = 8,
  UShort = 9,
  UInt = 10,
  ULong = 11,
  CharP = 12,
  WCharP = 13,
  DateTime = 14,
  String = 15,
  WString = 16,
};

/// The type of a variant. Only the sixteen objects below exist; compare types
/// by address or by Type().
class ORV_CORE_API VariantTraits final {
 public:
  /// Only the library builds the sixteen objects.
  explicit VariantTraits(VariantType type) noexcept;
  VariantTraits(const VariantTraits&) = delete;
  VariantTraits& operator=(const VariantTraits&) = delete;

  /// The first operation: the type's number, 1 to 16.
  virtual VariantType Type() const noexcept;

 private:
  VariantType m_type;
};

///@{
/// The traits object of one type.
extern ORV_CORE_API const VariantTraits g_VariantTraitsBoolType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsCharType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsShortType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsIntType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsLongType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsFloatType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsDoubleType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsUCharType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsUShortType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsUIntType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsULongType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsCharPType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsWCharPType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsDateTimeType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsStringType;
extern ORV_CORE_API const VariantTraits g_VariantTraitsWStringType;
///@}

class ORV_CORE_API Variant {
 public:
  Variant() noexcept;  ///< empty
  ///@{
  /// A variant of the argument's type holding its value; a text pointer is
  /// copied (null: empty text).
  explicit Variant(bool value) noexcept;
  explicit Variant(char value) noexcept;
  explicit Variant(short value) noexcept;
  explicit Variant(int value) noexcept;
  explicit Variant(long value) noexcept;
  explicit Variant(float value) noexcept;
  explicit Variant(double value) noexcept;
  explicit Variant(unsigned char value) noexcept;
  explicit Variant(unsigned short value) noexcept;
  explicit Variant(unsigned int value) noexcept;
  explicit Variant(unsigned long value) noexcept;
  explicit Variant(const char* text);
  explicit Variant(const wchar* text);
  explicit Variant(const DateTime& value) noexcept;
  explicit Variant(std::string text) noexcept;
  explicit Variant(std::wstring text) noexcept;
  ///@}
  ///@{
  /// Copies are independent; a moved-from variant is empty.
  Variant(const Variant& other);
  Variant(Variant&& other) noexcept;
  Variant& operator=(const Variant& other);
  Variant& operator=(Variant&& other) noexcept;
  ///@}
  ~Variant();

  /// Null for an empty variant.
  const VariantTraits* Traits() const noexcept;
  /// The type number; VariantType::Empty for an empty variant.
  VariantType Type() const noexcept;
  /// True when the variant holds no value.
  bool IsEmpty() const noexcept;

  ///@{
  /// The value as that type, converted by the rules above.
  long AsLong() const noexcept;
  unsigned long AsULong() const noexcept;
  double AsDouble() const noexcept;
  const char* AsCharP() const noexcept;
  const wchar* AsWCharP() const noexcept;
  DateTime AsDateTime() const noexcept;
  std::string AsString() const;
  std::wstring AsWString() const;
  ///@}

  ///@{
  /// Same type and same value (so 1.0f and 1.0 differ, and NaN differs from itself).
  friend ORV_CORE_API bool operator==(const Variant& a, const Variant& b) noexcept;
  friend ORV_CORE_API bool operator!=(const Variant& a, const Variant& b) noexcept;
  ///@}

 private:
  // Every integer type and DateTime as a 64-bit integer, float and double as
  // double, text as a string of its width.
  using Value = std::variant<long long, double, std::string, std::wstring>;

  Variant(const VariantTraits& traits, Value value) noexcept;

  const VariantTraits* m_traits = nullptr;
  Value m_value;
};

}  // namespace ORV
