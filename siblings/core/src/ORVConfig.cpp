#include "ORVConfig.h"

#include <cstdint>
#include <vector>

#include "ORVMemoryPool.h"

namespace ORV {

namespace {

using String = Config::String;

// Bump allocation in blocks of the memory pool; nothing is freed before the
// whole arena goes. An object too large for a quarter block gets its own.
class Arena final : public std::pmr::memory_resource {
 public:
  Arena() = default;
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;
  ~Arena() override {
    for (void* block : m_blocks) MemoryPool::Delete(block, MemoryPool::BLOCK_SIZE);
    for (void* large : m_large) ::operator delete(large);
  }

 private:
  static constexpr std::size_t kLargest = MemoryPool::BLOCK_SIZE / 4;

  void* do_allocate(std::size_t bytes, std::size_t alignment) override {
    if (bytes > kLargest) return Keep(m_large, ::operator new(bytes), [](void* p) { ::operator delete(p); });
    std::size_t padding = Padding(alignment);
    if (m_next == nullptr || padding + bytes > static_cast<std::size_t>(m_end - m_next)) {
      m_next = static_cast<char*>(Keep(m_blocks, MemoryPool::New(MemoryPool::BLOCK_SIZE),
                                       [](void* p) { MemoryPool::Delete(p, MemoryPool::BLOCK_SIZE); }));
      m_end = m_next + MemoryPool::BLOCK_SIZE;
      padding = Padding(alignment);
    }
    void* const at = m_next + padding;
    m_next += padding + bytes;
    return at;
  }
  void do_deallocate(void*, std::size_t, std::size_t) override {}
  bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override { return this == &other; }

  std::size_t Padding(std::size_t alignment) const {
    return static_cast<std::size_t>(-reinterpret_cast<std::uintptr_t>(m_next)) & (alignment - 1);
  }
  // Recorded for the destructor; given back at once when recording fails.
  template <class Free>
  static void* Keep(std::vector<void*>& list, void* memory, Free free) {
    try {
      list.push_back(memory);
    } catch (...) {
      free(memory);
      throw;
    }
    return memory;
  }

  std::vector<void*> m_blocks, m_large;
  char* m_next = nullptr;
  char* m_end = nullptr;
};

// The map goes before its arena.
struct ArenaMap {
  Arena arena;
  Config::Map map{Config::Map::allocator_type(&arena)};
};

// "a\r\nb" and "a\rb" -> "a\nb": one separator for the lines of a value,
// whatever the platform that produced them.
String NormaliseLineEnds(String text) {
  std::size_t out = 0;
  for (std::size_t in = 0; in < text.size(); ++in) {
    if (text[in] != L'\r') {
      text[out++] = text[in];
      continue;
    }
    text[out++] = L'\n';
    if (in + 1 < text.size() && text[in + 1] == L'\n') ++in;
  }
  text.resize(out);
  return text;
}

void NormaliseLineEnds(Config::Map& values) {
  for (auto& section : values)
    for (auto& key : section.second)
      if (key.second.first.find(L'\r') != std::wstring::npos)
        key.second.first = NormaliseLineEnds(std::move(key.second.first));
}

const Config::Value* Find(const Config::Map& values, std::wstring_view section, std::wstring_view key) {
  const auto s = values.find(section);
  if (s == values.end()) return nullptr;
  const auto k = s->second.find(key);
  return k == s->second.end() ? nullptr : &k->second;
}

}  // namespace

Config::ConfigException::ConfigException(const std::wstring& text) : Exception(text, ClassName()) {}

Config::ConfigException::ConfigException(const SmartPtr<MessageInfo>& info, const char* typeName)
    : Exception(info, typeName) {}

// Only the text travels: the copy has no type name and no MessageInfo.
Config::ConfigException::ConfigException(const ConfigException& other) : Exception(other.What(), nullptr) {}

Config::ConfigException& Config::ConfigException::operator=(const ConfigException& other) {
  if (this != &other) Exception::operator=(other);
  return *this;
}

Config::ConfigException::~ConfigException() = default;

BaseException* Config::ConfigException::Copy() const { return CopyOf(*this); }

void Config::ConfigException::Throw() const { throw *this; }

Config::Config() : m_values(std::make_shared<Map>()), m_reference(m_values) {}

Config::Config(Map values) : Config() {
  NormaliseLineEnds(values);
  m_values = std::make_shared<Map>(std::move(values));
  SetReference();
}

Config::Config(const Config& other) = default;

Config& Config::operator=(const Config& other) {
  if (this == &other) return *this;
  Config copy(other);
  Swap(copy);
  return *this;
}

Config::~Config() = default;

bool Config::HasSection(std::wstring_view section) const { return m_values->count(section) != 0; }

bool Config::HasKey(std::wstring_view section, std::wstring_view key) const {
  return Find(*m_values, section, key) != nullptr;
}

std::wstring Config::GetValue(std::wstring_view section, std::wstring_view key, const std::wstring& fallback) const {
  const Value* value = Find(*m_values, section, key);
  return value ? std::wstring(value->first) : fallback;
}

bool Config::IsDefault(std::wstring_view section, std::wstring_view key) const {
  const Value* value = Find(*m_values, section, key);
  return value && value->second;
}

const Config::Map& Config::Values() const { return *m_values; }

const Config::Map& Config::Defaults() const { return m_defaults; }

void Config::AddSection(std::wstring_view section) { Own()[String(section)]; }

void Config::SetValue(std::wstring_view section, std::wstring_view key, std::wstring_view value) {
  Value own(NormaliseLineEnds(String(value)), false);
  Own()[String(section)][String(key)] = std::move(own);
}

// Nothing is unshared for a call that changes nothing.
bool Config::RemoveKey(std::wstring_view section, std::wstring_view key) {
  if (!HasKey(section, key) || IsDefault(section, key)) return false;
  const auto s = Own().find(section);
  const auto k = s->second.find(key);
  const Value* fallback = Find(m_defaults, section, key);
  if (fallback)
    k->second = *fallback;
  else
    s->second.erase(k);
  return true;
}

bool Config::RemoveSection(std::wstring_view section) {
  if (!HasSection(section)) return false;
  const auto s = Own().find(section);
  const auto d = m_defaults.find(section);
  if (d == m_defaults.end())
    m_values->erase(s);
  else
    s->second = d->second;
  return true;
}

void Config::InstallDefault(std::wstring_view section, std::wstring_view key, std::wstring_view value) {
  const Value fallback(NormaliseLineEnds(String(value)), true);
  Keys& shown = Own()[String(section)];
  const auto k = shown.find(key);
  if (k == shown.end())
    shown.emplace(String(key), fallback);
  else if (k->second.second)
    k->second = fallback;
  m_defaults[String(section)][String(key)] = fallback;
}

// Built aside and swapped in: a failed allocation leaves the store as it was.
void Config::LoadDefault(const Map& defaults) {
  Config result(*this);
  for (const auto& section : defaults)
    for (const auto& key : section.second) result.InstallDefault(section.first, key.first, key.second.first);
  Swap(result);
}

void Config::Merge(const Map& other) {
  Config result(*this);
  for (const auto& section : other) {
    result.AddSection(section.first);
    for (const auto& key : section.second) {
      if (key.second.second)
        result.InstallDefault(section.first, key.first, key.second.first);
      else
        result.SetValue(section.first, key.first, key.second.first);
    }
  }
  Swap(result);
}

Config::Keys Config::FindDefaults(std::wstring_view section) const {
  Keys found;
  const auto s = m_values->find(section);
  if (s == m_values->end()) return found;
  for (const auto& key : s->second)
    if (key.second.second) found.insert(key);
  return found;
}

bool Config::IsModified() const { return m_values != m_reference && *m_values != *m_reference; }

void Config::Save(const std::string&, bool) { throw ConfigException(L"Config::Save : Not implemented!"); }

Config::Map& Config::NewValues() {
  const auto owner = std::make_shared<ArenaMap>();
  m_values = std::shared_ptr<Map>(owner, &owner->map);
  return *m_values;
}

void Config::SetReference() { m_reference = m_values; }

Config::Map& Config::Own() {
  if (m_values.use_count() > 1) m_values = std::make_shared<Map>(*m_values);
  return *m_values;
}

void Config::Swap(Config& other) noexcept {
  m_values.swap(other.m_values);
  m_defaults.swap(other.m_defaults);
  m_reference.swap(other.m_reference);
}

}  // namespace ORV
