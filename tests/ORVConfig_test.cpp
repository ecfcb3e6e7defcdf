#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>

#include "ORVConfig.h"
#include "ORVToLower.h"

namespace {

using ORV::Config;

// "[s]k=v|d*=w|" with names folded, so that a store and the model compare.
std::wstring Dump(const Config::Map& values) {
  std::wstring text;
  for (const auto& section : values) {
    text += L"[" + ORV::ToLower(section.first) + L"]";
    for (const auto& key : section.second)
      text += ORV::ToLower(key.first) + (key.second.second ? L"*=" : L"=") + key.second.first + L"|";
  }
  return text;
}
std::wstring Dump(const Config& store) { return Dump(store.Values()); }

// The store as its header describes it, kept the plain way under folded
// names: the application's values and the defaults apart, the store shown
// derived from them.
struct Model {
  std::map<std::wstring, std::map<std::wstring, std::wstring>> own, defaults;
  std::set<std::wstring> sections;

  void Set(const std::wstring& s, const std::wstring& k, std::wstring v, bool isDefault) {
    for (std::size_t at; (at = v.find(L"\r\n")) != std::wstring::npos;) v.erase(at, 1);
    std::replace(v.begin(), v.end(), L'\r', L'\n');
    sections.insert(ORV::ToLower(s));
    (isDefault ? defaults : own)[ORV::ToLower(s)][ORV::ToLower(k)] = v;
  }
  void Merge(const Config::Map& other, bool allDefaults) {
    for (const auto& section : other) {
      if (!allDefaults) sections.insert(ORV::ToLower(section.first));
      for (const auto& key : section.second)
        Set(section.first, key.first, key.second.first, allDefaults || key.second.second);
    }
  }
  Config::Map Shown() {
    Config::Map shown;
    for (const std::wstring& s : sections) {
      auto& keys = shown[s];
      for (const auto& key : defaults[s]) keys[key.first] = {key.second, true};
      for (const auto& key : own[s]) keys[key.first] = {key.second, false};
    }
    return shown;
  }
};

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

  Config store, copy;
  std::wstring copied = Dump(copy);
  Model model;
  for (int step = 0; step < 20000; ++step) {
    const std::wstring s = pick(sections), k = pick(keys), v = pick(values), fs = ORV::ToLower(s);
    const Config::Map map = randomMap();
    switch (random() % 5) {
      case 0:
        store.SetValue(s, k, v);
        model.Set(s, k, v, false);
        break;
      case 1:
        store.AddSection(s);
        model.sections.insert(fs);
        break;
      case 2:
        ASSERT_EQ(store.RemoveKey(s, k), model.sections.count(fs) && model.own[fs].erase(ORV::ToLower(k)));
        break;
      case 3:
        ASSERT_EQ(store.RemoveSection(s), model.sections.count(fs) == 1);
        model.own.erase(fs);
        if (model.defaults[fs].empty()) model.sections.erase(fs);
        break;
      default:
        (store.*(step % 2 ? &Config::LoadDefault : &Config::Merge))(map);
        model.Merge(map, step % 2);
    }
    ASSERT_EQ(Dump(store), Dump(model.Shown())) << "step " << step;
    ASSERT_EQ(store.IsModified(), !store.Values().empty()) << "step " << step;  // the reference: the empty store
    ASSERT_EQ(store.FindDefaults(s).count(k) == 1, store.IsDefault(s, k)) << "step " << step;
    // A copy shares the values until one side changes: the other must not see it.
    ASSERT_EQ(Dump(copy), copied) << "step " << step;
    if (step % 50 == 0) copied = Dump(copy = store);
  }
}

TEST(Config, LineEndsOfGivenValuesAndTheReferenceCopy) {
  Config store(Config::Map{{L"s", {{L"k", {L"x\r\ny", false}}}}});
  EXPECT_EQ(Dump(store), L"[s]k=x\ny|");
  store.SetValue(L"S", L"K", L"2");
  EXPECT_TRUE(store.IsModified());
  store.SetValue(L"s", L"k", L"x\ny");  // back to the reference copy
  EXPECT_FALSE(store.IsModified());
}

}  // namespace
