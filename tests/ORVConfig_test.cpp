#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>

#include "ORVConfig.h"
#include "ORVToLower.h"

namespace {

using ORV::Config;

std::wstring Fold(std::wstring_view text) { return ORV::ToLower(std::wstring(text)); }

// "[s]k=v|d*=w|" with names folded, so that a store and the model compare.
std::wstring Dump(const Config::Map& values) {
  std::wstring text;
  for (const auto& section : values) {
    text += L"[" + Fold(section.first) + L"]";
    for (const auto& key : section.second)
      text += Fold(key.first) + (key.second.second ? L"*=" : L"=") + std::wstring(key.second.first) + L"|";
  }
  return text;
}

// The store as its header describes it, kept the plain way under folded
// names: the application's values and the defaults apart, what the store
// shows derived from them; line ends as the store normalises them.
struct Model {
  std::map<std::wstring, std::map<std::wstring, std::wstring>> own, defaults;
  std::set<std::wstring> sections;

  void Set(std::wstring_view s, std::wstring_view k, std::wstring_view v, bool isDefault) {
    std::wstring text;
    for (std::size_t i = 0; i < v.size(); ++i)
      if (v[i] != L'\r' || i + 1 == v.size() || v[i + 1] != L'\n') text += v[i] == L'\r' ? L'\n' : v[i];
    sections.insert(Fold(s));
    (isDefault ? defaults : own)[Fold(s)][Fold(k)] = text;
  }
  void Merge(const Config::Map& other, bool allDefaults) {
    for (const auto& section : other) {
      if (!allDefaults) sections.insert(Fold(section.first));
      for (const auto& key : section.second)
        Set(section.first, key.first, key.second.first, allDefaults || key.second.second);
    }
  }
  std::wstring Shown() {
    std::map<std::wstring, std::map<std::wstring, std::wstring>> shown;
    for (const std::wstring& s : sections) {
      auto& keys = shown[s];
      for (const auto& key : defaults[s]) keys[key.first] = L"*=" + key.second;
      for (const auto& key : own[s]) keys[key.first] = L"=" + key.second;
    }
    std::wstring text;
    for (const auto& section : shown) {
      text += L"[" + section.first + L"]";
      for (const auto& key : section.second) text += key.first + key.second + L"|";
    }
    return text;
  }
};

TEST(Config, RandomOperationsAgainstAModel) {
  const std::wstring_view sections[] = {L"Main", L"MAIN", L"net", L"\x00C9t\x00E9", L"\x00E9T\x00C9"};
  const std::wstring_view keys[] = {L"port", L"PORT", L"host", L"x.y"};
  const std::wstring_view values[] = {L"", L"80", L"a\r\nb", L"a\rb\r", L"line\none"};
  std::mt19937 random(11);
  const auto pick = [&](const auto& pool) { return Config::String(pool[random() % std::size(pool)]); };
  const auto randomMap = [&] {
    Config::Map map;
    for (int n = random() % 4; n > 0; --n) map[pick(sections)][pick(keys)] = {pick(values), random() % 2 == 0};
    if (random() % 4 == 0) map[pick(sections)];
    return map;
  };

  Config store, copy;
  std::wstring copied = Dump(copy.Values());
  Model model;
  for (int step = 0; step < 20000; ++step) {
    const Config::String s = pick(sections), k = pick(keys), v = pick(values);
    const Config::Map map = randomMap();
    switch (random() % 5) {
      case 0:
        store.SetValue(s, k, v);
        model.Set(s, k, v, false);
        break;
      case 1:
        store.AddSection(s);
        model.sections.insert(Fold(s));
        break;
      case 2:
        ASSERT_EQ(store.RemoveKey(s, k), model.sections.count(Fold(s)) && model.own[Fold(s)].erase(Fold(k)));
        break;
      case 3:
        ASSERT_EQ(store.RemoveSection(s), model.sections.count(Fold(s)) == 1);
        model.own.erase(Fold(s));
        if (model.defaults[Fold(s)].empty()) model.sections.erase(Fold(s));
        break;
      default:
        (store.*(step % 2 ? &Config::LoadDefault : &Config::Merge))(map);
        model.Merge(map, step % 2);
    }
    ASSERT_EQ(Dump(store.Values()), model.Shown()) << "step " << step;
    ASSERT_EQ(store.IsModified(), !store.Values().empty()) << "step " << step;  // the reference: the empty store
    ASSERT_EQ(store.FindDefaults(s).count(k) == 1, store.IsDefault(s, k)) << "step " << step;
    ASSERT_EQ(store.GetValue(s, k, L"?"),
              store.HasKey(s, k) ? std::wstring(store.Values().find(s)->second.find(k)->second.first) : L"?");
    // A copy shares the values until one side changes: the other must not see it.
    ASSERT_EQ(Dump(copy.Values()), copied) << "step " << step;
    if (step % 50 == 0) copied = Dump((copy = store).Values());
  }
}

TEST(Config, LineEndsOfGivenValuesAndTheReferenceCopy) {
  Config store(Config::Map{{L"s", {{L"k", {L"x\r\ny", false}}}}});
  EXPECT_EQ(Dump(store.Values()), L"[s]k=x\ny|");
  store.SetValue(L"S", L"K", L"2");
  EXPECT_TRUE(store.IsModified());
  store.SetValue(L"s", L"k", L"x\ny");  // back to the reference copy
  EXPECT_FALSE(store.IsModified());
}

}  // namespace
