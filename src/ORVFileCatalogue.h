// The library's message catalogue as the registry receives it: 2072 bytes,
// built at compile time from the texts below (layout in ORVMessages.h).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "ORVFileDefs.h"
#include "ORVFileMsg-I.h"

namespace ORVFile::detail {

// Indexed by MessageId.
inline constexpr const wchar* kMessageTexts[MSG_COUNT] = {
    L"It is impossible to open the configuration source %1.",
    L"An error occurred while opening the read-only file %1.",
    L"An error occurred while opening the write-only file %1.",
    L"An error occurred while copying the file %1 into %2.",
    L"An error occurred while creating the file %1.",
    L"An error occurred while deleting the file %1.",
    L"An error occurred while getting a view of the file %1.",
    L"An error occurred while moving the file %1 into %2.",
    L"An error occurred while reading data from file %1.",
    L"An error occurred while releasing a view of the file %1.",
    L"An error occurred while retrieving the server name for the file %1.",
    L"An error occurred while seeking in the file %1.",
    L"An error occurred while setting the attributes on file %1.",
    L"An error occurred while writing data in the file %1.",
    L"The configuration source is invalid.",
    L"An error occurred while getting the file attributes for %1.",
};

// The two fixed fields of every record carry nothing here; readers skip them.
inline constexpr uint32_t kRecordFixedWord = 2;
inline constexpr uint8_t kRecordFixedByte = 1;

template <class CharT>
constexpr size_t Length(const CharT* text) {
  size_t length = 0;
  while (text[length] != 0) ++length;
  return length;
}

constexpr size_t CatalogueSize() {
  size_t size = 4;
  for (const wchar* text : kMessageTexts) size += 4 + Length(MSG_MODULE_NAME) + 4 + 4 + 1 + 4 + 2 * Length(text) + 1;
  return size;
}

class CatalogueWriter {
 public:
  static constexpr size_t kSize = CatalogueSize();

  constexpr std::array<unsigned char, kSize> Build() {
    U32(MSG_COUNT);
    for (uint32_t number = 0; number < MSG_COUNT; ++number) Record(number, kMessageTexts[number]);
    return m_blob;
  }

 private:
  constexpr void U8(uint8_t value) { m_blob[m_pos++] = value; }
  constexpr void U32(uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) U8(static_cast<uint8_t>(value >> shift));
  }
  constexpr void Record(uint32_t number, const wchar* text) {
    const size_t moduleLength = Length(MSG_MODULE_NAME);
    U32(static_cast<uint32_t>(moduleLength));
    for (size_t i = 0; i < moduleLength; ++i) U8(static_cast<uint8_t>(MSG_MODULE_NAME[i]));
    U32(number);
    U32(kRecordFixedWord);
    U8(kRecordFixedByte);
    const size_t units = Length(text);
    U32(static_cast<uint32_t>(2 * units));
    for (size_t i = 0; i < units; ++i) {
      U8(static_cast<uint8_t>(text[i] & 0xFF));
      U8(static_cast<uint8_t>(text[i] >> 8));
    }
    U8(0);
  }

  std::array<unsigned char, kSize> m_blob{};
  size_t m_pos = 0;
};

inline constexpr std::array<unsigned char, CatalogueWriter::kSize> kCatalogue = CatalogueWriter().Build();
static_assert(kCatalogue.size() == 2072, "the catalogue blob is 2072 bytes");

}  // namespace ORVFile::detail
