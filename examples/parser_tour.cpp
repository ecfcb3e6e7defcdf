// A tour of the binary stream parser over a small log file, read through the
// file handle CFile and its input adapter ICFileBuffer: the fields of the
// first lines split on a byte set, a keyword found across the end of the
// first 4096-byte block, and the lines of one worker captured by record
// fetching. The log file is removed at the end.
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "ORVBinaryStreamParser.h"
#include "ORVCFile.h"
#include "ORVCFileBuffer.h"
#include "ORVDiskBuffer.h"
#include "ORVFileException.h"
#include "TourMain.h"

using namespace ORVFile;

namespace {

constexpr const char* kAlarm = "<<DISK FULL>>";
constexpr std::uint32_t kBlock = BinaryStreamParser::BSP_BLOCK_SIZE;

// About 12 KiB of lines, with the alarm written so that it straddles the end of the first block.
std::string LogText() {
  std::string text;
  for (int i = 0; text.size() < 12000; ++i) {
    if (text.size() > kBlock - 120 && text.find(kAlarm) == std::string::npos) {
      text.append(kBlock - 5 - text.size(), '.');
      text += std::string(kAlarm) + " volume D: at 99%\n";
    }
    char line[96];
    std::snprintf(line, sizeof line, "10:%02d:%02d worker-%d job=%d status=%s took=%dms\n", i / 60 % 60, i % 60, i % 4,
                  1000 + i, i % 7 == 3 ? "retry" : "ok", 5 + i * 37 % 200);
    text += line;
  }
  return text;
}

// Removes the file when the tour ends, also when it ends in an exception.
struct RemoveAtEnd {
  CFile& file;
  ~RemoveAtEnd() {
    try {
      file.Delete();
    } catch (const FileException&) {
      // nothing more to do on the way out
    }
  }
};

void SplitFields(BinaryStreamParser& parser) {
  std::printf("Fields of the first three lines, split on \" =\\n\":\n");
  std::string field;
  for (int line = 0; line < 3; ++line) {
    std::printf(" ");
    while (parser.FetchUntil(" =\n", field)) {
      std::printf(" [%s]", field.c_str());
      const bool endOfLine = parser.GetCurrentChar() == '\n';
      parser.Fetch(1, false, false);
      if (endOfLine) break;
    }
    std::printf("\n");
  }
}

void FindAlarm(BinaryStreamParser& parser) {
  parser.Reset();
  if (!parser.FetchBeyond(kAlarm, false)) throw std::runtime_error("the alarm was not found");
  const std::uint32_t end = parser.GetCurrentStreamOffset();
  const std::uint32_t start = end - static_cast<std::uint32_t>(std::string(kAlarm).size());
  std::printf("\n\"%s\" found at bytes %u to %u: across the block end at %u.\n", kAlarm, start, end - 1, kBlock);
  std::string rest;
  parser.FetchTo('\n', rest);
  std::printf("The rest of its line:%s\n", rest.c_str());
}

void CaptureWorker(BinaryStreamParser& parser) {
  parser.Reset();
  parser.SetRecordFetching(true);
  std::printf("\nThe retried jobs of worker-3, each line as record fetching captured it:\n");
  int shown = 0;
  while (shown < 4 && parser.FetchBeyond("worker-3 ", false)) {
    parser.FetchTo('\n', false);  // the record buffer now holds what this fetch passed over
    std::string line;
    parser.GetRecordFetchingContent(line, 0, 0);
    if (line.find("retry") == std::string::npos) continue;
    std::printf("  worker-3 %s\n", line.c_str());
    ++shown;
  }
  parser.SetRecordFetching(false);
}

void Tour() {
  const std::string text = LogText();
  CFile file(DiskBuffer::GetTempFileNameW("", "orvfile-parser-tour-", "log"));
  RemoveAtEnd removal{file};
  file.Open(OpenMode::CreateReadWrite);
  file.Write(text.data(), 1, static_cast<unsigned int>(text.size()));
  file.Open(OpenMode::OpenRead);
  std::printf("Log of %zu bytes in %s, read through ICFileBuffer.\n\n", text.size(), file.Path().c_str());

  ICFileBuffer input(file);
  BinaryStreamParser parser(input, true);
  SplitFields(parser);
  FindAlarm(parser);
  CaptureWorker(parser);
}

}  // namespace

int main() { return TourMain("Parser", Tour); }
