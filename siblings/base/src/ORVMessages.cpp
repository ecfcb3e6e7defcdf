#include "win32.h"

#include "ORVMessages.h"

#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace ORV {
namespace {

using MessageKey = std::pair<std::string, unsigned int>;
using MessageTable = std::map<MessageKey, std::wstring>;

// Readers (exceptions being built on any thread) share the lock; Init, Load
// and Free take it alone.
SRWLOCK g_lock = SRWLOCK_INIT;
std::unique_ptr<MessageTable> g_table;

class SharedLock {
 public:
  SharedLock() { ::AcquireSRWLockShared(&g_lock); }
  ~SharedLock() { ::ReleaseSRWLockShared(&g_lock); }
  SharedLock(const SharedLock&) = delete;
  SharedLock& operator=(const SharedLock&) = delete;
};

class ExclusiveLock {
 public:
  ExclusiveLock() { ::AcquireSRWLockExclusive(&g_lock); }
  ~ExclusiveLock() { ::ReleaseSRWLockExclusive(&g_lock); }
  ExclusiveLock(const ExclusiveLock&) = delete;
  ExclusiveLock& operator=(const ExclusiveLock&) = delete;
};

// Reads the catalogue format field by field; every read checks the bounds.
class BlobReader {
 public:
  BlobReader(const unsigned char* data, size_t size) : m_data(data), m_size(size) {}

  bool U8(uint8_t& value) {
    if (m_size - m_pos < 1) return false;
    value = m_data[m_pos++];
    return true;
  }

  bool U32(uint32_t& value) {
    if (m_size - m_pos < 4) return false;
    value = 0;
    for (int shift = 0; shift < 32; shift += 8) value |= uint32_t{m_data[m_pos++]} << shift;
    return true;
  }

  bool Bytes(size_t count, const unsigned char*& start) {
    if (m_size - m_pos < count) return false;
    start = m_data + m_pos;
    m_pos += count;
    return true;
  }

  size_t Position() const { return m_pos; }
  bool AtEnd() const { return m_pos == m_size; }

 private:
  const unsigned char* m_data;
  size_t m_size;
  size_t m_pos = 0;
};

struct ParsedMessage {
  MessageKey key;
  std::wstring text;
};

bool ReadRecord(BlobReader& reader, ParsedMessage& message) {
  uint32_t moduleLength = 0, number = 0, fixed32 = 0, textLength = 0;
  uint8_t fixed8 = 0, closing = 0;
  const unsigned char* module = nullptr;
  const unsigned char* text = nullptr;
  if (!reader.U32(moduleLength) || !reader.Bytes(moduleLength, module)) return false;
  if (!reader.U32(number) || !reader.U32(fixed32) || !reader.U8(fixed8)) return false;
  if (!reader.U32(textLength) || textLength % 2 != 0 || !reader.Bytes(textLength, text)) return false;
  if (!reader.U8(closing)) return false;

  message.key = {std::string(reinterpret_cast<const char*>(module), moduleLength), number};
  message.text.resize(textLength / 2);
  for (size_t i = 0; i < message.text.size(); ++i)
    message.text[i] = static_cast<wchar>(text[2 * i] | (text[2 * i + 1] << 8));
  return true;
}

void ReportRejected(const char* name, const char* reason, size_t offset) {
  const std::string line = std::string("ORVMessages: catalogue \"") + (name ? name : "") + "\" refused: " + reason +
                           " (byte " + std::to_string(offset) + ")\n";
  ::OutputDebugStringA(line.c_str());
}

std::optional<std::vector<ParsedMessage>> ParseCatalogue(const unsigned char* blob, unsigned int size,
                                                         const char* name) {
  BlobReader reader(blob, blob ? size : 0);
  uint32_t count = 0;
  if (!reader.U32(count)) {
    ReportRejected(name, "no record count", 0);
    return std::nullopt;
  }
  std::vector<ParsedMessage> messages;
  for (uint32_t i = 0; i < count; ++i) {
    ParsedMessage message;
    if (!ReadRecord(reader, message)) {
      ReportRejected(name, "record cut short or malformed", reader.Position());
      return std::nullopt;
    }
    messages.push_back(std::move(message));
  }
  if (!reader.AtEnd()) {
    ReportRejected(name, "bytes left after the last record", reader.Position());
    return std::nullopt;
  }
  return messages;
}

std::wstring Widen(const char* ascii) { return std::wstring(ascii, ascii + strlen(ascii)); }

std::wstring DescribeUnregistered(const MessageInfo& info) {
  std::wstring text = L"Message " + std::to_wstring(info.Number()) + L" of module \"" +
                      Widen(info.Module() ? info.Module() : "") + L"\" is not registered";
  const auto& arguments = info.Arguments();
  for (size_t i = 0; i < arguments.size(); ++i) text += (i == 0 ? L": \"" : L", \"") + arguments[i] + L"\"";
  return text + L".";
}

// "%1" .. "%9" take the arguments in one pass, so that a path containing
// "%2" is never expanded a second time.
std::wstring FillPlaceholders(const std::wstring& pattern, const std::vector<std::wstring>& arguments) {
  std::wstring text;
  text.reserve(pattern.size());
  for (size_t i = 0; i < pattern.size(); ++i) {
    const bool placeholder =
        pattern[i] == L'%' && i + 1 < pattern.size() && pattern[i + 1] >= L'1' && pattern[i + 1] <= L'9';
    const size_t index = placeholder ? static_cast<size_t>(pattern[i + 1] - L'1') : 0;
    if (placeholder && index < arguments.size()) {
      text += arguments[index];
      ++i;
    } else {
      text += pattern[i];
    }
  }
  return text;
}

}  // namespace

void ORVMessages::Init() {
  auto table = std::make_unique<MessageTable>();
  ExclusiveLock lock;
  g_table = std::move(table);
}

bool ORVMessages::Load(const unsigned char* blob, unsigned int size, const char* name) {
  auto messages = ParseCatalogue(blob, size, name);
  if (!messages) return false;
  ExclusiveLock lock;
  if (!g_table) {
    ReportRejected(name, "the registry is not initialised", 0);
    return false;
  }
  for (auto& message : *messages) (*g_table)[std::move(message.key)] = std::move(message.text);
  return true;
}

void ORVMessages::Free() {
  std::unique_ptr<MessageTable> released;
  ExclusiveLock lock;
  released.swap(g_table);
}

bool ORVMessages::IsInitialized() {
  SharedLock lock;
  return g_table != nullptr;
}

bool ORVMessages::Find(const char* module, unsigned int number, std::wstring& text) {
  if (module == nullptr) return false;
  SharedLock lock;
  if (!g_table) return false;
  const auto found = g_table->find(MessageKey(module, number));
  if (found == g_table->end()) return false;
  text = found->second;
  return true;
}

std::wstring ORVMessages::Format(const MessageInfo& info) {
  std::wstring pattern;
  if (!Find(info.Module(), info.Number(), pattern)) return DescribeUnregistered(info);
  return FillPlaceholders(pattern, info.Arguments());
}

int ORVMessagesInit::m_cnt = 0;

ORVMessagesInit::ORVMessagesInit() {
  const int previous = m_cnt;
  m_cnt = previous + 1;
  if (previous == 0) ORVMessages::Init();
}

ORVMessagesInit::ORVMessagesInit(const unsigned char* blob, unsigned int size, const char* name) : ORVMessagesInit() {
  ORVMessages::Load(blob, size, name);
}

ORVMessagesInit::~ORVMessagesInit() {
  if (--m_cnt == 0) ORVMessages::Free();
}

}  // namespace ORV
