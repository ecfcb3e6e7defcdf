#include "ORVVariant.h"

#include <charconv>
#include <limits>
#include <utility>

namespace ORV {

const VariantTraits g_VariantTraitsBoolType(VariantType::Bool);
const VariantTraits g_VariantTraitsCharType(VariantType::Char);
const VariantTraits g_VariantTraitsShortType(VariantType::Short);
const VariantTraits g_VariantTraitsIntType(VariantType::Int);
const VariantTraits g_VariantTraitsLongType(VariantType::Long);
const VariantTraits g_VariantTraitsFloatType(VariantType::Float);
const VariantTraits g_VariantTraitsDoubleType(VariantType::Double);
const VariantTraits g_VariantTraitsUCharType(VariantType::UChar);
const VariantTraits g_VariantTraitsUShortType(VariantType::UShort);
const VariantTraits g_VariantTraitsUIntType(VariantType::UInt);
const VariantTraits g_VariantTraitsULongType(VariantType::ULong);
const VariantTraits g_VariantTraitsCharPType(VariantType::CharP);
const VariantTraits g_VariantTraitsWCharPType(VariantType::WCharP);
const VariantTraits g_VariantTraitsDateTimeType(VariantType::DateTime);
const VariantTraits g_VariantTraitsStringType(VariantType::String);
const VariantTraits g_VariantTraitsWStringType(VariantType::WString);

namespace {

template <class... F>
struct Overloaded : F... {
  using F::operator()...;
};
template <class... F>
Overloaded(F...) -> Overloaded<F...>;

// One unit per byte and back; what a byte cannot hold becomes '?'.
std::string Narrow(const std::wstring& text) {
  std::string result(text.size(), '?');
  for (std::size_t i = 0; i < text.size(); ++i)
    if (text[i] <= 0xFF) result[i] = static_cast<char>(text[i]);
  return result;
}

std::wstring Widen(const std::string& text) {
  std::wstring result(text.size(), L'\0');
  for (std::size_t i = 0; i < text.size(); ++i) result[i] = static_cast<unsigned char>(text[i]);
  return result;
}

// The number at the start of text, or 0.
template <class T>
T Parse(const std::string& text) noexcept {
  T value{};
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

// Truncated toward zero and held to T's range; NaN gives 0. The bounds as
// doubles may round up (2^63 for the 64-bit maximum): >= sends them to the maximum.
template <class T>
T Saturated(double value) noexcept {
  using Limits = std::numeric_limits<T>;
  if (value != value) return 0;
  if (value <= static_cast<double>(Limits::min())) return Limits::min();
  if (value >= static_cast<double>(Limits::max())) return Limits::max();
  return static_cast<T>(value);
}

// Integers and text give their 64-bit value cut to T (as a cast does), reals are saturated.
template <class T, class Value>
T Integer(const Value& value) noexcept {
  return std::visit(Overloaded{[](long long v) { return static_cast<T>(v); }, [](double v) { return Saturated<T>(v); },
                               [](const std::string& v) { return static_cast<T>(Parse<long long>(v)); },
                               [](const std::wstring& v) { return static_cast<T>(Parse<long long>(Narrow(v))); }},
                    value);
}

template <class T>
std::string Shortest(T value) {
  char text[32];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

}  // namespace

VariantTraits::VariantTraits(VariantType type) noexcept : m_type(type) {}

VariantType VariantTraits::Type() const noexcept { return m_type; }

Variant::Variant() noexcept = default;
Variant::Variant(const VariantTraits& traits, Value value) noexcept : m_traits(&traits), m_value(std::move(value)) {}
Variant::Variant(bool value) noexcept : Variant(g_VariantTraitsBoolType, value ? 1LL : 0LL) {}
Variant::Variant(char value) noexcept : Variant(g_VariantTraitsCharType, static_cast<long long>(value)) {}
Variant::Variant(short value) noexcept : Variant(g_VariantTraitsShortType, static_cast<long long>(value)) {}
Variant::Variant(int value) noexcept : Variant(g_VariantTraitsIntType, static_cast<long long>(value)) {}
Variant::Variant(long value) noexcept : Variant(g_VariantTraitsLongType, static_cast<long long>(value)) {}
Variant::Variant(float value) noexcept : Variant(g_VariantTraitsFloatType, static_cast<double>(value)) {}
Variant::Variant(double value) noexcept : Variant(g_VariantTraitsDoubleType, value) {}
Variant::Variant(unsigned char value) noexcept : Variant(g_VariantTraitsUCharType, static_cast<long long>(value)) {}
Variant::Variant(unsigned short value) noexcept : Variant(g_VariantTraitsUShortType, static_cast<long long>(value)) {}
Variant::Variant(unsigned int value) noexcept : Variant(g_VariantTraitsUIntType, static_cast<long long>(value)) {}
Variant::Variant(unsigned long value) noexcept : Variant(g_VariantTraitsULongType, static_cast<long long>(value)) {}
Variant::Variant(const char* text) : Variant(g_VariantTraitsCharPType, std::string(text ? text : "")) {}
Variant::Variant(const wchar* text) : Variant(g_VariantTraitsWCharPType, std::wstring(text ? text : L"")) {}
Variant::Variant(const DateTime& value) noexcept : Variant(g_VariantTraitsDateTimeType, value.UnixTime()) {}
Variant::Variant(std::string text) noexcept : Variant(g_VariantTraitsStringType, std::move(text)) {}
Variant::Variant(std::wstring text) noexcept : Variant(g_VariantTraitsWStringType, std::move(text)) {}
Variant::Variant(const Variant& other) = default;
Variant::Variant(Variant&& other) noexcept
    : m_traits(std::exchange(other.m_traits, nullptr)), m_value(std::exchange(other.m_value, Value())) {}
Variant& Variant::operator=(const Variant& other) = default;
Variant& Variant::operator=(Variant&& other) noexcept {
  m_traits = std::exchange(other.m_traits, nullptr);
  m_value = std::exchange(other.m_value, Value());
  return *this;
}
Variant::~Variant() = default;

const VariantTraits* Variant::Traits() const noexcept { return m_traits; }

VariantType Variant::Type() const noexcept { return m_traits ? m_traits->Type() : VariantType::Empty; }

bool Variant::IsEmpty() const noexcept { return m_traits == nullptr; }

long Variant::AsLong() const noexcept { return Integer<long>(m_value); }

unsigned long Variant::AsULong() const noexcept { return Integer<unsigned long>(m_value); }

double Variant::AsDouble() const noexcept {
  return std::visit(Overloaded{[](long long v) { return static_cast<double>(v); }, [](double v) { return v; },
                               [](const std::string& v) { return Parse<double>(v); },
                               [](const std::wstring& v) { return Parse<double>(Narrow(v)); }},
                    m_value);
}

const char* Variant::AsCharP() const noexcept {
  const std::string* text = std::get_if<std::string>(&m_value);
  return text ? text->c_str() : nullptr;
}

const wchar* Variant::AsWCharP() const noexcept {
  const std::wstring* text = std::get_if<std::wstring>(&m_value);
  return text ? text->c_str() : nullptr;
}

DateTime Variant::AsDateTime() const noexcept { return DateTime(Integer<long long>(m_value)); }

std::string Variant::AsString() const {
  if (IsEmpty()) return {};
  const bool isFloat = m_traits == &g_VariantTraitsFloatType;
  return std::visit(Overloaded{[](long long v) { return std::to_string(v); },
                               [isFloat](double v) { return isFloat ? Shortest(static_cast<float>(v)) : Shortest(v); },
                               [](const std::string& v) { return v; }, [](const std::wstring& v) { return Narrow(v); }},
                    m_value);
}

std::wstring Variant::AsWString() const {
  if (const std::wstring* text = std::get_if<std::wstring>(&m_value)) return *text;
  return Widen(AsString());
}

bool operator==(const Variant& a, const Variant& b) noexcept {
  return a.m_traits == b.m_traits && a.m_value == b.m_value;
}

bool operator!=(const Variant& a, const Variant& b) noexcept { return !(a == b); }

}  // namespace ORV
