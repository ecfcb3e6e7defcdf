// Configuration files: loading a generated 2 MiB file (1,000 sections of 40
// keys, comments mixed in) and reading every value, with ConfigFile against
// SimpleIni (CSimpleIniA) and against GetPrivateProfileSectionNamesW +
// GetPrivateProfileSectionW per section; then saving the store back over the
// file after changing 1 % of its values, against the load of the same file.
// Rows on stdout as in the other programs; progress on stderr.
#include "win32.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchClock.h"
#include "BenchMain.h"
#include "ORVConfigFile.h"
#include "ORVHandle.h"
#include "SimpleIni.h"

namespace {

using ORVFile::ConfigFile;

constexpr int kSections = 1000;
constexpr int kKeys = 40;
constexpr int kRuns = 5;

std::string TempName(const std::string& who) {
  char temp[MAX_PATH + 1];
  const DWORD length = ::GetTempPathA(MAX_PATH + 1, temp);
  if (length == 0 || length > MAX_PATH) throw std::runtime_error("GetTempPathA failed");
  return std::string(temp, length) + "ORVConfigBench-" + std::to_string(::GetCurrentProcessId()) + "-" + who + ".ini";
}

// About 2 MiB: per section a comment, a header and 40 key lines of about 50
// bytes, every tenth key line followed by a comment.
std::string Generate() {
  std::string text;
  for (int s = 0; s < kSections; ++s) {
    text += "; settings of module " + std::to_string(s) + "\r\n[module_" + std::to_string(s) + "]\r\n";
    for (int k = 0; k < kKeys; ++k) {
      text +=
          "  option_" + std::to_string(k) + " = value " + std::to_string(s * kKeys + k) + " of the module's cache\r\n";
      if (k % 10 == 9) text += "; the next options tune the cache\r\n";
    }
    text += "\r\n";
  }
  return text;
}

void Write(const std::string& path, const std::string& bytes) {
  const ORV::Handle file(
      ::CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  if (!file || !::WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) ||
      written != bytes.size())
    throw std::runtime_error("cannot write " + path);
}

using ProfileStore = std::map<std::wstring, std::map<std::wstring, std::wstring>>;

const std::wstring& ValueOf(const std::wstring& value) { return value; }
const ORV::Config::String& ValueOf(const ORV::Config::Value& value) { return value.first; }

// The lengths of the values read, summed, so that no side's reading of its
// values is optimised away.
std::size_t g_valueUnits = 0;

// Reads every value of a map of maps: the keys found.
template <class Map>
std::size_t ReadValues(const Map& store) {
  std::size_t keys = 0;
  for (const auto& section : store) {
    for (const auto& key : section.second) g_valueUnits += ValueOf(key.second).size();
    keys += section.second.size();
  }
  return keys;
}

void Remove(const std::string& path) {
  if (!::DeleteFileA(path.c_str())) throw std::runtime_error("cannot delete " + path);
}

void Check(std::size_t keys) {
  if (keys != kSections * kKeys) throw std::runtime_error("a side found " + std::to_string(keys) + " keys");
}

// The peer builds the same kind of store: section -> key -> value.
ProfileStore LoadWithProfileCalls(const std::wstring& path) {
  std::vector<wchar_t> names(1 << 16), section(1 << 16);
  const DWORD length = ::GetPrivateProfileSectionNamesW(names.data(), static_cast<DWORD>(names.size()), path.c_str());
  ProfileStore store;
  for (const wchar_t* name = names.data(); name < names.data() + length && *name; name += wcslen(name) + 1) {
    auto& values = store[name];
    ::GetPrivateProfileSectionW(name, section.data(), static_cast<DWORD>(section.size()), path.c_str());
    for (const wchar_t* entry = section.data(); *entry; entry += wcslen(entry) + 1) {
      const wchar_t* equals = wcschr(entry, L'=');
      if (equals) values[std::wstring(entry, equals)] = equals + 1;
    }
  }
  return store;
}

// Each side builds its store and reads every value inside the timing, and
// frees the store after: freeing is no part of loading.
double TimeLoad(const std::string& path) {
  const double start = Now();
  const ConfigFile store(path);
  const std::size_t keys = ReadValues(store.Values());
  const double seconds = Now() - start;
  Check(keys);
  return seconds;
}

// SimpleIni's narrow store, names without case as in Config; the bytes stay
// bytes, as the library reads them.
std::size_t ReadValues(const CSimpleIniA& ini) {
  CSimpleIniA::TNamesDepend sections;
  ini.GetAllSections(sections);
  std::size_t keys = 0;
  for (const auto& section : sections) {
    const CSimpleIniA::TKeyVal& values = *ini.GetSection(section.pItem);
    for (const auto& key : values) g_valueUnits += std::strlen(key.second);
    keys += values.size();
  }
  return keys;
}

double TimeSimpleIni(const std::string& path) {
  CSimpleIniA ini;
  const double start = Now();
  if (ini.LoadFile(path.c_str()) != SI_OK) throw std::runtime_error("SimpleIni cannot load " + path);
  const std::size_t keys = ReadValues(ini);
  const double seconds = Now() - start;
  Check(keys);
  return seconds;
}

// Dates the file an hour back: Wine parses a profile written moments ago
// again on every call (1 MB/s here), one dated earlier once per file name.
void Age(const std::string& path) {
  const ORV::Handle file(::CreateFileA(path.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  FILETIME time;
  ::GetSystemTimeAsFileTime(&time);
  ULARGE_INTEGER earlier{{time.dwLowDateTime, time.dwHighDateTime}};
  earlier.QuadPart -= 3600 * 10000000ull;
  time = {earlier.LowPart, earlier.HighPart};
  if (!file || !::SetFileTime(file.Get(), nullptr, nullptr, &time)) throw std::runtime_error("cannot date " + path);
}

// Wine keeps a parsed profile per file name: each run reads a copy of its
// own, so that it parses the file once, as a program that starts does.
double TimeProfileCalls(const std::string& text, int run) {
  const std::string path = TempName("peer" + std::to_string(run));
  Write(path, text);
  Age(path);
  const double start = Now();
  const ProfileStore store = LoadWithProfileCalls(std::wstring(path.begin(), path.end()));
  const double seconds = Now() - start;
  Check(ReadValues(store));
  Remove(path);
  return seconds;
}

double TimeSave(ConfigFile& store, const std::string& path) {
  const double start = Now();
  store.Save(path, false);
  return Now() - start;
}

// Changes every hundredth value, differently in each run.
void ChangeOnePercent(ConfigFile& store, int run) {
  int n = 0;
  for (const auto& section : ORV::Config::Map(store.Values()))
    for (const auto& key : section.second)
      if (n++ % 100 == 0) store.SetValue(section.first, key.first, L"changed in run " + std::to_wstring(run));
}

int Run() {
  const std::string path = TempName("library");
  const std::string text = Generate();
  const double bytes = static_cast<double>(text.size());
  Write(path, text);

  std::fprintf(stderr, "ConfigFile_bench: loading %.0f bytes, %d runs\n", bytes, kRuns);
  std::vector<double> library, simpleIni, profile;
  for (int run = 0; run < kRuns; ++run) {
    library.push_back(TimeLoad(path));
    simpleIni.push_back(TimeSimpleIni(path));
    profile.push_back(TimeProfileCalls(text, run));
  }
  const double load = bytes / Median(library);
  std::printf("ConfigFile load + every value, 2 MiB, 1,000 sections of 40 keys\t%.0f\t%s\t%.0f\tB/s\t2.0\t1\n", load,
              "SimpleIni CSimpleIniA LoadFile + every value", bytes / Median(simpleIni));
  std::printf("ConfigFile load + every value, 2 MiB, 1,000 sections of 40 keys\t%.0f\t%s\t%.0f\tB/s\t1.0\t1\n", load,
              "GetPrivateProfileSectionNamesW + GetPrivateProfileSectionW per section", bytes / Median(profile));

  std::fprintf(stderr, "ConfigFile_bench: saving after 1 %% of values changed, %d runs\n", kRuns);
  std::vector<double> saves, loads;
  for (int run = 0; run < kRuns; ++run) {
    ConfigFile store(path);
    ChangeOnePercent(store, run);
    saves.push_back(TimeSave(store, path));
    loads.push_back(TimeLoad(path));
  }
  std::printf("ConfigFile::Save over the file, 1 %% of 40,000 values changed\t%.0f\t%s\t%.0f\tB/s\t0.5\t1\n",
              bytes / Median(saves), "ConfigFile load of the same file", bytes / Median(loads));
  Remove(path);
  return 0;
}

}  // namespace

int main() { return BenchMain("ConfigFile_bench", Run); }
