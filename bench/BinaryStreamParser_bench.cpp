// Throughput of BinaryStreamParser over a MemoryBuffer: splitting 64 MiB of
// text lines (FetchTo to the line end, then Fetch(1) over it; once keeping
// nothing, once with the line as a string) against a memchr loop and
// std::getline, and FetchBeyond of an 8-byte keyword through 64 MiB of random
// text against std::string_view::find. Rows on stdout as in NewPath_bench;
// progress on stderr.
#include "win32.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "BenchClock.h"
#include "BenchMain.h"
#include "ORVBinaryStreamParser.h"
#include "ORVMemoryBuffer.h"

namespace {

using ORVFile::BinaryStreamParser;
using ORVFile::MemoryBuffer;

constexpr std::size_t kTotal = std::size_t{64} << 20;
constexpr std::uint32_t kChunk = 1024 * 1024;
constexpr int kRuns = 5;
constexpr std::uint64_t kSeed = 20240611;
const std::string kKeyword = "Qz7#kWp!";
constexpr std::size_t kKeywordEvery = 1 << 20;  // one occurrence per MiB, at a varying place

// Every timed loop feeds it, so that no result is optimised away.
volatile std::size_t g_sink;

// Raw 64-bit LCG output: the text is the same on every run and machine.
class Random {
 public:
  std::uint32_t Below(std::uint32_t n) {
    return static_cast<std::uint32_t>(((m_state = m_state * 6364136223846793005ull + 1442695040888963407ull) >> 33) %
                                      n);
  }

 private:
  std::uint64_t m_state = kSeed;
};

char Printable(Random& rnd) { return static_cast<char>(' ' + rnd.Below(95)); }

// Lines of 20 to 60 printable bytes (about 40), each ended by '\n'.
std::string Lines(std::size_t& count) {
  Random rnd;
  std::string text;
  text.reserve(kTotal + 64);
  for (count = 0; text.size() < kTotal; ++count) {
    for (std::uint32_t n = 20 + rnd.Below(41); n > 0; --n) text += Printable(rnd);
    text += '\n';
  }
  return text;
}

// Printable random bytes with the keyword once in every kKeywordEvery.
std::string RandomText() {
  Random rnd;
  std::string text(kTotal, ' ');
  for (char& c : text) c = Printable(rnd);
  for (std::size_t at = 0; at + kKeywordEvery <= kTotal; at += kKeywordEvery)
    text.replace(at + rnd.Below(kKeywordEvery - kKeyword.size()), kKeyword.size(), kKeyword);
  return text;
}

std::size_t LinesByParser(MemoryBuffer& buffer) {
  BinaryStreamParser parser(buffer, true);
  std::size_t lines = 0;
  while (parser.FetchTo('\n', false) && parser.Fetch(1, false, false)) ++lines;
  g_sink = parser.GetCurrentStreamOffset();
  return lines;
}

std::size_t LinesByParserStrings(MemoryBuffer& buffer) {
  BinaryStreamParser parser(buffer, true);
  std::string line;
  std::size_t lines = 0, bytes = 0;
  while (parser.FetchTo('\n', line) && parser.Fetch(1, false, false)) ++lines, bytes += line.size();
  g_sink = bytes;
  return lines;
}

std::size_t LinesByMemchr(const std::string& text) {
  const char* p = text.data();
  const char* const end = p + text.size();
  std::size_t lines = 0;
  while (const void* found = std::memchr(p, '\n', static_cast<std::size_t>(end - p))) {
    p = static_cast<const char*>(found) + 1;
    ++lines;
  }
  g_sink = static_cast<std::size_t>(p - text.data());
  return lines;
}

std::size_t LinesByGetline(std::istringstream& in) {
  std::string line;
  std::size_t lines = 0, bytes = 0;
  while (std::getline(in, line)) ++lines, bytes += line.size();
  g_sink = bytes;
  return lines;
}

std::size_t KeywordsByParser(MemoryBuffer& buffer) {
  BinaryStreamParser parser(buffer, true);
  std::size_t found = 0;
  while (parser.FetchBeyond(kKeyword, false)) ++found;
  return found;
}

std::size_t KeywordsByFind(std::string_view text) {
  std::size_t found = 0;
  for (std::size_t at = text.find(kKeyword); at != std::string_view::npos;
       at = text.find(kKeyword, at + kKeyword.size()))
    ++found;
  return found;
}

// Times one pass over kTotal bytes in MB/s; every side must count `expected`.
template <class F>
double Rate(std::size_t expected, F pass) {
  const double start = Now();
  const std::size_t counted = pass();
  const double seconds = Now() - start;
  if (counted != expected)
    throw std::runtime_error("a side counted " + std::to_string(counted) + " instead of " + std::to_string(expected));
  return static_cast<double>(kTotal) / 1e6 / seconds;
}

void Row(const char* figure, double library, const char* peer, double peerValue, double goal) {
  std::printf("%s\t%.0f\t%s\t%.0f\tMB/s\t%.2f\t1\n", figure, library, peer, peerValue, goal);
}

void SplitLines() {
  std::size_t count = 0;
  const std::string text = Lines(count);
  MemoryBuffer buffer(text.data(), static_cast<std::uint32_t>(text.size()), kChunk);
  std::vector<double> plain, strings, memchrRates, getlineRates;
  for (int run = 0; run < kRuns; ++run) {
    std::istringstream in(text);  // built outside the timing: only the reading is compared
    plain.push_back(Rate(count, [&] { return LinesByParser(buffer); }));
    memchrRates.push_back(Rate(count, [&] { return LinesByMemchr(text); }));
    strings.push_back(Rate(count, [&] { return LinesByParserStrings(buffer); }));
    getlineRates.push_back(Rate(count, [&] { return LinesByGetline(in); }));
  }
  const char* plainFigure = "Split 64 MiB of 40-byte lines: FetchTo('\\n', false) + Fetch(1)";
  const char* stringFigure = "Split 64 MiB of 40-byte lines: FetchTo('\\n', line) + Fetch(1)";
  Row(plainFigure, Median(plain), "std::getline over std::istringstream", Median(getlineRates), 5.0);
  Row(plainFigure, Median(plain), "memchr loop over one block", Median(memchrRates), 0.25);
  Row(stringFigure, Median(strings), "std::getline over std::istringstream", Median(getlineRates), 5.0);
  Row(stringFigure, Median(strings), "memchr loop over one block", Median(memchrRates), 0.25);
}

void FindKeywords() {
  const std::string text = RandomText();
  MemoryBuffer buffer(text.data(), static_cast<std::uint32_t>(text.size()), kChunk);
  const std::size_t count = KeywordsByFind(text);
  std::vector<double> library, peer;
  for (int run = 0; run < kRuns; ++run) {
    library.push_back(Rate(count, [&] { return KeywordsByParser(buffer); }));
    peer.push_back(Rate(count, [&] { return KeywordsByFind(text); }));
  }
  Row("FetchBeyond of an 8-byte keyword through 64 MiB of random text", Median(library), "std::string_view::find",
      Median(peer), 0.5);
}

int Run() {
  std::fprintf(stderr, "BinaryStreamParser_bench: 64 MiB of lines, then of random text, %d runs each\n", kRuns);
  SplitLines();
  FindKeywords();
  return 0;
}

}  // namespace

int main() { return BenchMain("BinaryStreamParser_bench", Run); }
