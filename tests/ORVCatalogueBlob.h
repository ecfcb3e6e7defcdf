// The message catalogue layout, written from its byte description alone (not
// from the library's writer), for the tests of the registry, the library's
// blob and the start-up.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvtest {

struct CatalogueRecord {
  std::string module;
  std::uint32_t number;
  std::wstring text;
};

/// Little-endian, no padding: count, then per record the module length and
/// name, the number, the fixed fields (4 bytes, 1 byte), the text length in
/// bytes and its UTF-16LE units, a closing 0.
inline std::vector<unsigned char> CatalogueBlob(const std::vector<CatalogueRecord>& records,
                                                std::uint32_t fixedWord = 2, unsigned char fixedByte = 1) {
  std::vector<unsigned char> blob;
  const auto u32 = [&](std::size_t v) {
    for (int i = 0; i < 4; ++i) blob.push_back(static_cast<unsigned char>(v >> (8 * i)));
  };
  u32(records.size());
  for (const CatalogueRecord& r : records) {
    u32(r.module.size());
    blob.insert(blob.end(), r.module.begin(), r.module.end());
    u32(r.number), u32(fixedWord), blob.push_back(fixedByte), u32(2 * r.text.size());
    for (wchar_t c : r.text)
      blob.push_back(static_cast<unsigned char>(c)), blob.push_back(static_cast<unsigned char>(c >> 8));
    blob.push_back(0);
  }
  return blob;
}

}  // namespace orvtest
