#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "ORVConfig.h"
#include "ORVMemoryPool.h"
#include "ORVToLower.h"

namespace {

using ORV::Config;
using ORV::MemoryPool;

std::wstring Fold(std::wstring_view text) { return ORV::ToLower(std::wstring(text)); }

// Section -> key -> "=value" or "*=default", names folded.
using Flat = std::map<std::wstring, std::map<std::wstring, std::wstring>>;

Flat Flatten(const Config::Map& values) {
  Flat flat;
  for (const auto& [section, keys] : values) {
    auto& out = flat[Fold(section)];
    for (const auto& [key, value] : keys) out[Fold(key)] = (value.second ? L"*=" : L"=") + std::wstring(value.first);
  }
  return flat;
}

// The store as its header describes it, kept the plain way under folded
// names: the application's values and the defaults apart, what the store
// shows derived from them.
struct Model {
  std::map<std::wstring, std::map<std::wstring, std::wstring>> own, defaults;
  std::set<std::wstring> sections;

  void Set(std::wstring_view s, std::wstring_view k, std::wstring v, bool isDefault) {
    for (std::size_t at; (at = v.find(L"\r\n")) != std::wstring::npos;) v.erase(at, 1);
    std::replace(v.begin(), v.end(), L'\r', L'\n');
    sections.insert(Fold(s));
    (isDefault ? defaults : own)[Fold(s)][Fold(k)] = v;
  }
  void Merge(const Config::Map& other, bool allDefaults) {
    for (const auto& [section, keys] : other) {
      if (!allDefaults) sections.insert(Fold(section));
      for (const auto& [key, value] : keys) Set(section, key, std::wstring(value.first), allDefaults || value.second);
    }
  }
  Flat Shown() {
    Flat shown;
    for (const std::wstring& s : sections) {
      auto& keys = shown[s];
      for (const auto& [k, v] : defaults[s]) keys[k] = L"*=" + v;
      for (const auto& [k, v] : own[s]) keys[k] = L"=" + v;
    }
    return shown;
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

  // Given values keep their flags and lose "\r"; they are the reference copy.
  Config store(Config::Map{{L"net", {{L"host", {L"a\r\nb", false}}}}}), copy;
  Model model;
  model.Set(L"net", L"host", L"a\r\nb", false);
  const Flat reference = model.Shown();
  Flat copied = Flatten(copy.Values());
  for (int step = 0; step < 20000; ++step) {
    const Config::String s = pick(sections), k = pick(keys), v = pick(values);
    const Config::Map map = randomMap();
    switch (random() % 5) {
      case 0:
        store.SetValue(s, k, v);
        model.Set(s, k, std::wstring(v), false);
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
    ASSERT_EQ(Flatten(store.Values()), model.Shown()) << "step " << step;
    ASSERT_EQ(store.IsModified(), Flatten(store.Values()) != reference) << "step " << step;
    ASSERT_EQ(store.FindDefaults(s).count(k) == 1, store.IsDefault(s, k)) << "step " << step;
    // A copy shares the values until one side changes: the other must not see it.
    ASSERT_EQ(Flatten(copy.Values()), copied) << "step " << step;
    if (step % 50 == 0) copied = Flatten((copy = store).Values());
  }
  store = Config(Config::Map{{L"s", {}}});
  store.AddSection(L"S");  // a copy, equal to the reference
  EXPECT_FALSE(store.IsModified());
}

// Blocks given back serve the next New, up to the cap; other sizes are not kept.
TEST(MemoryPool, KeepsGivenBackBlocksUpToTheCap) {
  std::vector<void*> blocks(MemoryPool::MAX_CACHED_BLOCKS + 1);
  for (void*& block : blocks) block = MemoryPool::New(MemoryPool::BLOCK_SIZE);
  for (void* block : blocks) MemoryPool::Delete(block, MemoryPool::BLOCK_SIZE);
  std::set<void*> kept(blocks.begin(), blocks.end() - 1), again;
  for (std::size_t i = 0; i < MemoryPool::MAX_CACHED_BLOCKS; ++i) again.insert(MemoryPool::New(MemoryPool::BLOCK_SIZE));
  EXPECT_EQ(again, kept);
  for (void* block : again) MemoryPool::Delete(block, MemoryPool::BLOCK_SIZE);
  MemoryPool::Delete(MemoryPool::New(100), 100);
}

}  // namespace
