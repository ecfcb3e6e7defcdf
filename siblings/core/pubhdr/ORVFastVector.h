/// \class ORV::FastVector
/// `FastVector<T>:` a growable array of small trivially copyable values (byte
/// pointers, offsets) for code that appends one at a time and never inserts.
/// Growth copies the values with memcpy into a new block and frees the old
/// one; what the values point to is never touched, so a pointer held in the
/// array stays valid across growth.
///
/// Growth rule, from a full array of n values: n * 2.0 while n is below 257,
/// n * 1.25 from 257 on, computed in floating point and truncated, and at
/// least 16:
/// \code
///   0 -> 16 -> 32 -> ... -> 256 -> 512 -> 640 -> 800 -> 1000 -> 1250 -> 1562
/// \endcode
/// Removing values (Truncate, Clear) keeps the capacity.
///
/// The array owns its block, not what the values point to. One thread at a
/// time. Header-only by design: a template over the caller's value type, with
/// nothing for the core library's DLL to export.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

namespace ORV {

template <class T>
class FastVector {
  static_assert(std::is_trivially_copyable_v<T> && std::is_default_constructible_v<T>,
                "FastVector moves its values with memcpy");

 public:
  /// The smallest capacity the array grows to.
  static constexpr std::size_t kMinCapacity = 16;
  /// From this many values on, growth is by 1.25 instead of 2.
  static constexpr std::size_t kSmallLimit = 257;

  /// Empty, with no block.
  FastVector() noexcept = default;
  FastVector(const FastVector&) = delete;
  FastVector& operator=(const FastVector&) = delete;

  /// The capacity the array grows to when it is full with count values.
  static constexpr std::size_t GrownCapacity(std::size_t count) noexcept {
    const double factor = count < kSmallLimit ? 2.0 : 1.25;
    const auto grown = static_cast<std::size_t>(static_cast<double>(count) * factor);
    return grown < kMinCapacity ? kMinCapacity : grown;
  }

  /// Values held.
  std::size_t Size() const noexcept { return m_size; }
  /// Values the block holds before it must grow.
  std::size_t Capacity() const noexcept { return m_capacity; }
  ///@{
  /// The value at index, unchecked (index below Size()).
  T& operator[](std::size_t index) noexcept { return m_values[index]; }
  const T& operator[](std::size_t index) const noexcept { return m_values[index]; }
  ///@}

  /// May throw std::bad_alloc, leaving the array as it was.
  void PushBack(T value) {
    if (m_size == m_capacity) Grow();
    m_values[m_size++] = value;
  }
  /// Keeps the first count values (count at most Size()).
  void Truncate(std::size_t count) noexcept { m_size = count; }
  /// Removes every value; the capacity stays.
  void Clear() noexcept { m_size = 0; }

 private:
  void Grow() {
    const std::size_t capacity = GrownCapacity(m_capacity);
    std::unique_ptr<T[]> values(new T[capacity]);
    if (m_size != 0) std::memcpy(values.get(), m_values.get(), m_size * sizeof(T));
    m_values = std::move(values);
    m_capacity = capacity;
  }

  std::unique_ptr<T[]> m_values;
  std::size_t m_size = 0;
  std::size_t m_capacity = 0;
};

}  // namespace ORV
