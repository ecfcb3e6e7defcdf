#include "ORVConfig.h"

namespace ORV {

namespace {

// "a\r\nb" and "a\rb" -> "a\nb": one separator for the lines of a value,
// whatever the platform that produced them.
std::wstring NormaliseLineEnds(std::wstring text) {
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

const Config::Value* Find(const Config::Map& values, const std::wstring& section, const std::wstring& key) {
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
  SetValues(std::move(values));
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

bool Config::HasSection(const std::wstring& section) const { return m_values->count(section) != 0; }

bool Config::HasKey(const std::wstring& section, const std::wstring& key) const {
  return Find(*m_values, section, key) != nullptr;
}

std::wstring Config::GetValue(const std::wstring& section, const std::wstring& key,
                              const std::wstring& fallback) const {
  const Value* value = Find(*m_values, section, key);
  return value ? value->first : fallback;
}

bool Config::IsDefault(const std::wstring& section, const std::wstring& key) const {
  const Value* value = Find(*m_values, section, key);
  return value && value->second;
}

const Config::Map& Config::Values() const { return *m_values; }

const Config::Map& Config::Defaults() const { return m_defaults; }

void Config::AddSection(const std::wstring& section) { Own()[section]; }

void Config::SetValue(const std::wstring& section, const std::wstring& key, const std::wstring& value) {
  Value own(NormaliseLineEnds(value), false);
  Own()[section][key] = std::move(own);
}

// Nothing is unshared for a call that changes nothing.
bool Config::RemoveKey(const std::wstring& section, const std::wstring& key) {
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

bool Config::RemoveSection(const std::wstring& section) {
  if (!HasSection(section)) return false;
  const auto s = Own().find(section);
  const auto d = m_defaults.find(section);
  if (d == m_defaults.end())
    m_values->erase(s);
  else
    s->second = d->second;
  return true;
}

void Config::InstallDefault(const std::wstring& section, const std::wstring& key, const std::wstring& value) {
  const Value fallback(NormaliseLineEnds(value), true);
  Keys& shown = Own()[section];
  const auto k = shown.find(key);
  if (k == shown.end())
    shown.emplace(key, fallback);
  else if (k->second.second)
    k->second = fallback;
  m_defaults[section][key] = fallback;
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

Config::Keys Config::FindDefaults(const std::wstring& section) const {
  Keys found;
  const auto s = m_values->find(section);
  if (s == m_values->end()) return found;
  for (const auto& key : s->second)
    if (key.second.second) found.insert(key);
  return found;
}

bool Config::IsModified() const { return m_values != m_reference && *m_values != *m_reference; }

void Config::Save(const std::string&, bool) { throw ConfigException(L"Config::Save : Not implemented!"); }

void Config::SetValues(Map values) { m_values = std::make_shared<Map>(std::move(values)); }

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
