// A tour of configuration files: a commented settings file is loaded with a
// few defaults under it, one value changed, a key and a section added,
// another section removed, and the store saved over the file. The file is
// printed before and after, so that the kept layout shows: comments and
// spacing stay, the removed section's keys go, new keys come at the end of
// their section and the new section at the end of the file.
#include "win32.h"

#include <cstdio>
#include <string>

#include "ORVConfigFile.h"
#include "ORVHandle.h"
#include "TourMain.h"

using ORV::Config;
using ORVFile::ConfigFile;

namespace {

const char kSettings[] =
    "; Settings of the indexer\n"
    "[Index]\n"
    "  root     = c:\\data\n"
    "  exclude  = *.tmp\n"
    "  exclude  = *.bak\n"
    "; how often, in minutes\n"
    "  interval = 30\n"
    "\n"
    "[Proxy]\n"
    "host = proxy.example.com\n"
    "port = 3128\n";

std::string ReadAll(const std::string& path) {
  const ORV::Handle file(
      ::CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  std::string bytes(::GetFileSize(file.Get(), nullptr), '\0');
  DWORD read = 0;
  if (!bytes.empty()) ::ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
  return bytes;
}

void WriteAll(const std::string& path, const std::string& bytes) {
  const ORV::Handle file(::CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  DWORD written = 0;
  ::WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

void Print(const char* title, const std::string& bytes) {
  std::printf("%s\n-----\n", title);
  for (const char byte : bytes)
    if (byte != '\r') std::putchar(byte);
  std::printf("-----\n\n");
}

void Tour(const std::string& path) {
  WriteAll(path, kSettings);
  Print(("The file " + path + " as written by hand:").c_str(), ReadAll(path));

  Config* defaults = new Config;
  defaults->SetValue(L"Index", L"threads", L"4");
  defaults->SetValue(L"Index", L"interval", L"60");
  ConfigFile settings(path, ORV::SmartPtrToConst<Config>(defaults));
  std::printf("Loaded: exclude = \"%ls\", interval = %ls, threads = %ls (a default)\n\n",
              settings.GetValue(L"index", L"EXCLUDE").c_str(), settings.GetValue(L"Index", L"interval").c_str(),
              settings.GetValue(L"Index", L"threads").c_str());

  settings.SetValue(L"Index", L"interval", L"15");
  settings.SetValue(L"Index", L"log", L"c:\\logs\\indexer.log");
  settings.SetValue(L"Schedule", L"start", L"02:00");
  settings.RemoveSection(L"Proxy");
  std::printf("Changed interval, added Index.log and [Schedule], removed [Proxy]: modified %s\n\n",
              settings.IsModified() ? "yes" : "no");
  settings.Save(path, false);
  Print("The file after Save (the default threads = 4 is not written):", ReadAll(path));
}

}  // namespace

int main() {
  char temp[MAX_PATH];
  const DWORD length = ::GetTempPathA(MAX_PATH, temp);
  const std::string path =
      std::string(temp, length) + "orvfile-config-tour-" + std::to_string(::GetCurrentProcessId()) + ".ini";
  const int status = TourMain("Configuration files", [&] { Tour(path); });
  ::DeleteFileA(path.c_str());
  return status;
}
