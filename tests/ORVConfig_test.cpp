#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "ORVConfig.h"
#include "ORVToLower.h"

namespace {

using ORV::Config;

// The store as its header describes it, kept the plain way: values of the
// application and defaults in two maps under folded names, the visible
// store derived from them.
class StoreModel {
 public:
  using Keys = std::map<std::wstring, std::wstring>;

  void SetValue(const std::wstring& s, const std::wstring& k, const std::wstring& v) {
    m_sections[Fold(s)];
    m_own[Fold(s)][Fold(k)] = Normalised(v);
  }
  void AddSection(const std::wstring& s) { m_sections[Fold(s)]; }
  bool RemoveKey(const std::wstring& s, const std::wstring& k) {
    return m_sections.count(Fold(s)) && m_own[Fold(s)].erase(Fold(k)) == 1;
  }
  bool RemoveSection(const std::wstring& s) {
    if (!m_sections.count(Fold(s))) return false;
    m_own.erase(Fold(s));
    if (m_defaults[Fold(s)].empty()) m_sections.erase(Fold(s));
    return true;
  }
  void LoadDefault(const Config::Map& defaults) {
    for (const auto& section : defaults)
      for (const auto& key : section.second) InstallDefault(section.first, key.first, key.second.first);
  }
  void Merge(const Config::Map& other) {
    for (const auto& section : other) {
      AddSection(section.first);
      for (const auto& key : section.second) {
        if (key.second.second)
          InstallDefault(section.first, key.first, key.second.first);
        else
          SetValue(section.first, key.first, key.second.first);
      }
    }
  }

  // "[s]k=v|d*=w|" in folded names.
  std::wstring Dump() {
    std::wstring text;
    for (const auto& section : m_sections) {
      text += L"[" + section.first + L"]";
      std::map<std::wstring, std::pair<std::wstring, bool>> shown;
      for (const auto& key : m_defaults[section.first]) shown[key.first] = {key.second, true};
      for (const auto& key : m_own[section.first]) shown[key.first] = {key.second, false};
      for (const auto& key : shown) text += key.first + (key.second.second ? L"*=" : L"=") + key.second.first + L"|";
    }
    return text;
  }

 private:
  static std::wstring Fold(const std::wstring& name) { return ORV::ToLower(name); }
  static std::wstring Normalised(std::wstring value) {
    for (std::size_t at; (at = value.find(L"\r\n")) != std::wstring::npos;) value.erase(at, 1);
    for (wchar_t& unit : value)
      if (unit == L'\r') unit = L'\n';
    return value;
  }
  void InstallDefault(const std::wstring& s, const std::wstring& k, const std::wstring& v) {
    m_sections[Fold(s)];
    m_defaults[Fold(s)][Fold(k)] = Normalised(v);
  }

  std::map<std::wstring, int> m_sections;
  std::map<std::wstring, Keys> m_own, m_defaults;
};

std::wstring Dump(const Config& store) {
  std::wstring text;
  for (const auto& section : store.Values()) {
    text += L"[" + ORV::ToLower(section.first) + L"]";
    for (const auto& key : section.second)
      text += ORV::ToLower(key.first) + (key.second.second ? L"*=" : L"=") + key.second.first + L"|";
  }
  return text;
}

TEST(Config, RandomOperationsAgainstAModel) {
  const std::wstring sections[] = {L"Main", L"MAIN", L"net", L"\x00C9t\x00E9", L"\x00E9T\x00C9"};
  const std::wstring keys[] = {L"port", L"PORT", L"host", L"x.y"};
  const std::wstring values[] = {L"", L"80", L"a\r\nb", L"a\rb\r", L"line\none"};
  std::mt19937 random(11);
  const auto pick = [&](const auto& pool) { return pool[random() % std::size(pool)]; };
  const auto randomMap = [&] {
    Config::Map map;
    for (int n = random() % 4; n > 0; --n) map[pick(sections)][pick(keys)] = {pick(values), random() % 2 == 0};
    if (random() % 4 == 0) map[pick(sections)];
    return map;
  };

  Config store;
  StoreModel model;
  for (int step = 0; step < 20000; ++step) {
    const std::wstring s = pick(sections), k = pick(keys), v = pick(values);
    switch (random() % 6) {
      case 0:
        store.SetValue(s, k, v);
        model.SetValue(s, k, v);
        break;
      case 1:
        store.AddSection(s);
        model.AddSection(s);
        break;
      case 2:
        ASSERT_EQ(store.RemoveKey(s, k), model.RemoveKey(s, k)) << "step " << step;
        break;
      case 3:
        ASSERT_EQ(store.RemoveSection(s), model.RemoveSection(s)) << "step " << step;
        break;
      case 4: {
        const Config::Map defaults = randomMap();
        store.LoadDefault(defaults);
        model.LoadDefault(defaults);
        break;
      }
      default: {
        const Config::Map other = randomMap();
        store.Merge(other);
        model.Merge(other);
      }
    }
    ASSERT_EQ(Dump(store), model.Dump()) << "step " << step;
    const Config::Keys defaults = store.FindDefaults(s);
    for (const auto& key : defaults) ASSERT_TRUE(store.IsDefault(s, key.first)) << "step " << step;
    ASSERT_EQ(defaults.count(k) == 1, store.IsDefault(s, k)) << "step " << step;
  }
}

TEST(Config, NamesIgnoreCaseAndValuesLeaveReturnsOut) {
  Config store;
  store.SetValue(L"Main", L"Port", L"80");
  store.SetValue(L"MAIN", L"port", L"a\r\nb\rc");
  EXPECT_EQ(store.Values().size(), 1u);
  EXPECT_EQ(store.Values().begin()->first, L"Main");
  EXPECT_EQ(store.Values().begin()->second.begin()->first, L"Port");
  EXPECT_EQ(store.GetValue(L"main", L"PORT"), L"a\nb\nc");
  EXPECT_EQ(store.GetValue(L"main", L"host", L"none"), L"none");
  EXPECT_EQ(Config(Config::Map{{L"s", {{L"k", {L"x\r\ny", true}}}}}).GetValue(L"s", L"k"), L"x\ny");
}

TEST(Config, CopiesReferenceAndSave) {
  Config store;
  EXPECT_FALSE(store.IsModified());
  store.SetValue(L"s", L"k", L"1");
  EXPECT_TRUE(store.IsModified());
  store.LoadDefault({{L"s", {{L"d", {L"2", false}}}}});

  Config copy(store);
  EXPECT_EQ(Dump(copy), L"[s]d*=2|k=1|");
  EXPECT_EQ(copy.Defaults(), store.Defaults());
  copy.RemoveKey(L"s", L"k");
  Config assigned;
  assigned = copy;
  EXPECT_EQ(Dump(assigned), L"[s]d*=2|");
  EXPECT_EQ(Dump(store), L"[s]d*=2|k=1|");

  // Shared as defaults through a counted handle; the last handle deletes it.
  const ORV::SmartPtrToConst<Config> shared(new Config(store));
  EXPECT_EQ(shared->NbRef(), 1);

  try {
    store.Save("c:\\x.ini", false);
    ADD_FAILURE() << "saved";
  } catch (const Config::ConfigException& e) {
    EXPECT_EQ(e.What(), L"Config::Save : Not implemented!");
    EXPECT_EQ(e.TypeName(), L"ConfigException");
    const Config::ConfigException copied(e);
    EXPECT_EQ(copied.What(), e.What());
    EXPECT_EQ(copied.TypeName(), L"");
    Config::ConfigException assignedException(L"other");
    assignedException = e;
    EXPECT_EQ(assignedException.TypeName(), L"ConfigException");
  }
}

}  // namespace
