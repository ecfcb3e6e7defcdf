// A tour of the byte buffers: 64 MiB spilled to a temporary file through a
// DiskBuffer with a 4 MiB window, written and read back through progress
// buffers that draw a bar, every byte checked; then a short report of what
// happened, stored as Variant records in a file written and read back through
// the file handle CFile. Both files are gone at the end: the disk buffer's is
// deleted by the system when the buffer goes, the report's by CFile::Delete.
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "ORVBinaryStreamMemory.h"
#include "ORVCFile.h"
#include "ORVDiskBuffer.h"
#include "ORVFileException.h"
#include "ORVNewPath.h"
#include "ORVProgressBuffer.h"
#include "ORVVariantStream.h"

using namespace ORVFile;

namespace {

constexpr std::uint32_t kTotal = 64u << 20;
constexpr std::uint32_t kPiece = 64u << 10;
constexpr std::uint32_t kWindow = 4u << 20;
constexpr std::uint32_t kSteps = 40;  // one per mark of the bar

// A bar on one line, redrawn with '\r' when the shown percentage changes.
class TextBar : public LogEntryCallInterface {
 public:
  explicit TextBar(const char* label) : m_label(label) {}

  void Progress(double fraction) override {
    const int marks = static_cast<int>(fraction * kSteps);
    if (marks == m_shown) return;
    m_shown = marks;
    std::printf("\r  %-8s [%s%s] %3d%%", m_label, std::string(marks, '#').c_str(),
                std::string(kSteps - marks, '.').c_str(), marks * 100 / kSteps);
    std::fflush(stdout);
  }

  // Reports come per chunk and an input's lag one read behind: the caller, who
  // knows that it is done, draws the end.
  void Finish() {
    Progress(1.0);
    std::printf("\n");
  }

 private:
  const char* m_label;
  int m_shown = -1;
};

// The byte at offset i: not periodic within a piece, so a misplaced piece shows.
void Fill(std::vector<unsigned char>& piece, std::uint32_t offset) {
  for (std::uint32_t i = 0; i < piece.size(); ++i) {
    const std::uint32_t at = offset + i;
    piece[i] = static_cast<unsigned char>((at >> 16) ^ (at * 131));
  }
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Rounded to a tenth, so that the shortest text of the double stays short.
double MegabytesPerSecond(double seconds) { return std::round(kTotal / seconds / 1e5) / 10; }

struct Spill {
  std::string temporaryFile;
  double writeSeconds = 0;
  double readSeconds = 0;
  bool intact = true;
};

double Write(DiskBuffer& disk, std::vector<unsigned char>& piece) {
  SmartPtr<TextBar> bar(new TextBar("writing"));
  OProgressBuffer out(disk, SmartPtr<LogEntryCallInterface>(bar), kTotal, kSteps);
  const auto start = std::chrono::steady_clock::now();
  for (std::uint32_t offset = 0; offset < kTotal; offset += kPiece) {
    Fill(piece, offset);
    out.SafePut(piece.data(), kPiece);
  }
  const double seconds = SecondsSince(start);
  bar->Finish();
  return seconds;
}

bool ReadBack(DiskBuffer& disk, std::vector<unsigned char>& piece, double* seconds) {
  SmartPtr<TextBar> bar(new TextBar("reading"));
  disk.SeekG(0, ORV::BinaryStreamBuf::Begin);
  IProgressBuffer in(disk, SmartPtr<LogEntryCallInterface>(bar), 0, kSteps);  // total: the buffer's size
  std::vector<unsigned char> read(kPiece);
  bool intact = true;
  const auto start = std::chrono::steady_clock::now();
  for (std::uint32_t offset = 0; offset < kTotal; offset += kPiece) {
    in.SafeGet(read.data(), kPiece);
    Fill(piece, offset);
    intact = intact && read == piece;
  }
  *seconds = SecondsSince(start);
  bar->Finish();
  return intact && in.EndOfFile();
}

Spill SpillToDisk() {
  std::printf("64 MiB through a DiskBuffer with a 4 MiB window (the rest goes to a temporary file):\n");
  Spill spill;
  std::vector<unsigned char> piece(kPiece);
  DiskBuffer disk("", kPiece, kWindow);
  spill.writeSeconds = Write(disk, piece);
  spill.intact = ReadBack(disk, piece, &spill.readSeconds);
  spill.temporaryFile = disk.TemporaryFile();
  return spill;
}

// Name and value pairs, each a Variant in its stream form.
std::vector<unsigned char> Records(const Spill& spill, bool fileGone) {
  ORV::BinaryStreamMemory memory;
  ORV::BinaryStream stream(memory);
  const auto add = [&stream](const char* name, const ORV::Variant& value) { stream << ORV::Variant(name) << value; };
  add("bytes", ORV::Variant(static_cast<unsigned long>(kTotal)));
  add("write MB/s", ORV::Variant(MegabytesPerSecond(spill.writeSeconds)));
  add("read MB/s", ORV::Variant(MegabytesPerSecond(spill.readSeconds)));
  add("every byte as written", ORV::Variant(spill.intact));
  add("temporary file", ORV::Variant(spill.temporaryFile));
  add("temporary file gone", ORV::Variant(fileGone));
  return memory.Bytes();
}

void Report(const std::vector<unsigned char>& records) {
  CFile file(DiskBuffer::GetTempFileNameW("", "orvfile-buffers-report-", "bin"));
  file.Open(OpenMode::CreateReadWrite);
  file.Write(records.data(), 1, static_cast<unsigned int>(records.size()));
  file.Seek(0, SeekMethod::Begin);
  std::vector<unsigned char> back(file.Size());
  file.Read(back.data(), 1, static_cast<unsigned int>(back.size()), true);
  std::printf("\nReport: %zu bytes of Variant records through CFile (%s), read back:\n", back.size(),
              file.Path().c_str());
  file.Delete();

  ORV::BinaryStreamMemory memory(back.data(), static_cast<std::uint32_t>(back.size()));
  ORV::BinaryStream stream(memory);
  while (!memory.EndOfFile()) {
    ORV::Variant name, value;
    stream >> name >> value;
    std::printf("  %-22s %-45s (tag %u)\n", name.AsCharP(), value.AsString().c_str(),
                static_cast<unsigned>(value.Type()));
  }
}

}  // namespace

int main() {
  std::printf("== Buffers ==\n\n");
  try {
    const Spill spill = SpillToDisk();
    Report(Records(spill, !NewPath::PathExists(spill.temporaryFile)));
    if (!spill.intact) return 1;
  } catch (const FileException& e) {
    std::printf("\nfailed: %ls\n", e.What().c_str());
    return 1;
  } catch (const std::exception& e) {
    std::printf("\nfailed: %s\n", e.what());
    return 1;
  }
  std::printf("\n");
  return 0;
}
