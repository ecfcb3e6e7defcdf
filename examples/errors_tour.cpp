// A tour of how ORVFile reports failures: real calls of the library that fail,
// each caught by the class that names the failure, with the catalogue text
// (paths filled in), the message number and the Win32 error seen at the call.
//
// The files live in a fresh directory under the temporary directory, removed
// with everything in it at the end.
#include "win32.h"

#include <cstdio>
#include <string>

#include "ORVCFile.h"
#include "ORVConfigFile.h"
#include "ORVFileException.h"
#include "ORVMemoryMapFile.h"
#include "ORVNewPath.h"
#include "TourMain.h"

namespace {

void Print(const char* title, const ORV::Exception& e) {
  std::printf("%s\n  class:       %ls\n  message %2u:  %ls\n  Win32 error: %u\n\n", title, e.TypeName().c_str(),
              e.Info()->Number(), e.What().c_str(), e.Info()->LastError());
}

void WriteFile(const std::string& path, const std::string& bytes) {
  ORVFile::CFile file(path);
  file.Open(ORVFile::OpenMode::CreateReadWrite);
  file.Write(bytes.data(), 1, static_cast<unsigned>(bytes.size()));
}

void Tour(const std::string& dir) {
  const std::string missing = dir + "\\missing.bin";
  try {
    ORVFile::CFile file(missing);
    file.Open(ORVFile::OpenMode::OpenRead);
  } catch (const ORVFile::SharingViolationException&) {
    std::printf("not reached: the file is missing, nobody holds it\n");
  } catch (const ORVFile::FileCannotOpenException& e) {
    Print("Opening a missing file for reading with the file handle:", e);
  }

  const std::string held = dir + "\\held.bin";
  ORVFile::CFile holder(held);
  holder.Open(ORVFile::OpenMode::CreateReadWrite);  // exclusive until closed
  try {
    ORVFile::CFile second(held);
    second.Open(ORVFile::OpenMode::OpenRead);
  } catch (const ORVFile::FileCannotOpenException&) {
    std::printf("not reached: a sharing violation is a sibling of FileCannotOpenException\n");
  } catch (const ORVFile::SharingViolationException& e) {
    Print("Opening a file that another handle holds without sharing:", e);
  }
  holder.Close();

  const std::string plain = dir + "\\plain.txt";
  WriteFile(plain, "a file, not a directory");
  try {
    ORVFile::NewPath(plain + "\\reports\\new.txt").Create();
  } catch (const ORVFile::FileException& e) {  // the root of the family catches every class of it
    Print("Creating a path whose parent is a file (caught as FileException):", e);
  }

  const std::string settings = dir + "\\settings.ini";
  WriteFile(settings, "[Index]\nroot = c:\\data\nmy-key = 1\n");
  try {
    ORVFile::ConfigFile config(settings);
  } catch (const ORV::Config::InvalidConfigException& e) {  // of the configuration store's family, not FileException
    Print("Loading a configuration file with a line the grammar refuses (\"my-key = 1\"):", e);
  }

  try {
    ORVFile::MemoryMapFile mapped(missing, ORVFile::MemoryMapFile::Access::ReadOnly);
  } catch (const ORVFile::FileCannotOpenException& e) {
    Print("Mapping a missing file into memory:", e);
  }

  ORVFile::FileException stored;
  try {
    ORVFile::NewPath(missing).Delete();
  } catch (const ORVFile::FileException& e) {
    stored = e;  // assignment keeps text, class name and record; a copy keeps only the text
  }
  const ORVFile::FileException copied(stored);
  std::printf(
      "An assigned exception keeps its class name \"%ls\" and message %u; a copy keeps only the text "
      "(class name \"%ls\").\n",
      stored.TypeName().c_str(), stored.Info()->Number(), copied.TypeName().c_str());
}

}  // namespace

int main() {
  char temp[MAX_PATH + 1];
  const DWORD length = ::GetTempPathA(MAX_PATH + 1, temp);
  const std::string dir = std::string(temp, length) + "orvfile-errors-" + std::to_string(::GetCurrentProcessId());
  ORVFile::NewPath(dir, ORVFile::PathType::Directory).Create();
  const int result = TourMain("Errors and messages", [&] { Tour(dir); });
  ORVFile::NewPath(dir, ORVFile::PathType::Directory).Delete();
  return result;
}
