// Throughput of NewPathT::Set (file, validated) for both widths against the
// system's and the standard library's path canonicalisers, on one million
// generated mixed paths. Each figure is one tab-separated row on stdout:
// figure, value, peer, peer value, unit, goal ratio, higher-is-better.
// Any other stdout line is a note for the report; progress goes to stderr.
#include "win32.h"

#include <fcntl.h>
#include <io.h>
#include <pathcch.h>
#include <shlwapi.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "BenchClock.h"
#include "ORVFileException.h"
#include "ORVNewPath.h"

// Newer SDK headers have it; MinGW-w64's does not yet.
#ifndef PATHCCH_CANONICALIZE_SLASHES
#define PATHCCH_CANONICALIZE_SLASHES 0x40
#endif

namespace {

using ORVFile::NewPath;
using ORVFile::NewPathW;
using ORVFile::PathType;

constexpr std::size_t kTextCount = 1000000;
// lexically_normal manages about 60,000 paths a second here; a leading share
// of the texts keeps its five runs to seconds.
constexpr std::size_t kSlowPeerCount = 100000;
constexpr int kRuns = 5;
constexpr std::uint64_t kSeed = 20240611;
constexpr std::size_t kMinLength = 20;
constexpr std::size_t kMaxLength = 120;

// Every timed loop feeds it, so that no result is optimised away.
volatile std::size_t g_sink;

// Only the engine's raw output: its sequence is fixed by the standard, a
// distribution's is not.
class Random {
 public:
  std::size_t Below(std::size_t n) { return static_cast<std::size_t>(engine_() % n); }
  bool OneIn(std::size_t n) { return Below(n) == 0; }

 private:
  std::mt19937_64 engine_{kSeed};
};

enum Kind { kDrive, kRelative, kUnc, kKinds };

bool IsDeviceName(const std::string& name) {
  static const char* const kDevices[] = {"aux",  "clock$", "con",  "nul",  "prn",  "com1", "com2", "com3",
                                         "com4", "com5",   "com6", "com7", "com8", "com9", "lpt1", "lpt2",
                                         "lpt3", "lpt4",   "lpt5", "lpt6", "lpt7", "lpt8", "lpt9"};
  std::string base = name.substr(0, name.find('.'));
  for (char& c : base) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return std::find(std::begin(kDevices), std::end(kDevices), base) != std::end(kDevices);
}

// A valid file name of exactly `length` characters, now and then with an extension.
std::string Name(Random& rnd, std::size_t length) {
  static const char kChars[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";
  for (;;) {
    std::string name;
    for (std::size_t i = 0; i < length; ++i) name += kChars[rnd.Below(sizeof kChars - 1)];
    if (length >= 5 && rnd.OneIn(4)) name[length - 4] = '.';
    if (!IsDeviceName(name)) return name;
  }
}

std::string ServerName(Random& rnd) {
  static const char kChars[] = "abcdefghijklmnopqrstuvwxyz0123456789-";
  std::string name;
  const std::size_t length = 1 + rnd.Below(15);
  for (std::size_t i = 0; i < length; ++i) name += kChars[rnd.Below(sizeof kChars - 1)];
  return name;
}

std::string MakePath(Random& rnd, Kind kind) {
  const std::size_t target = kMinLength + 1 + rnd.Below(kMaxLength - kMinLength);
  std::string s;
  switch (kind) {
    case kDrive:
      s = std::string(1, "CDEcde"[rnd.Below(6)]) + ":";
      break;
    case kUnc:
      s = "\\\\" + ServerName(rnd) + "\\" + Name(rnd, 1 + rnd.Below(8));
      break;
    default:
      s = rnd.OneIn(3) ? ".." : rnd.OneIn(2) ? "." : Name(rnd, 1 + rnd.Below(12));
      break;
  }
  while (s.size() + 2 <= target) {
    s += '\\';
    if (rnd.OneIn(30)) s += '\\';
    const std::size_t left = target > s.size() ? target - s.size() : 1;
    const std::size_t pick = rnd.Below(10);
    if (pick == 0 && left >= 2) {
      s += "..";
    } else if (pick == 1) {
      s += ".";
    } else {
      std::size_t n = std::min<std::size_t>(left, 1 + rnd.Below(12));
      if (left - n == 1) ++n;  // a leftover of one would stop the path one short
      s += Name(rnd, n);
    }
  }
  if (rnd.OneIn(10)) s += '\\';

  // Mostly backslashes, some paths all forward slashes, some mixed.
  const std::size_t style = rnd.Below(10);
  for (char& c : s) {
    if (c == '\\' && (style >= 8 || (style == 7 && rnd.OneIn(2)))) c = '/';
  }
  return s;
}

struct Texts {
  std::vector<std::string> narrow;
  std::vector<std::wstring> wide;
  std::vector<Kind> kind;
};

// The texts of one width copied in order into blocks allocated one after
// another, as a program that loads a list of paths holds them. Made in place,
// they would lie among the blocks their making freed, and each width's among
// the other's.
template <class String>
std::vector<String> LaidOut(const std::vector<String>& texts) {
  std::vector<String> copies;
  copies.reserve(texts.size());
  for (const String& text : texts) copies.emplace_back(text);
  return copies;
}

Texts Generate() {
  Texts made;
  made.narrow.reserve(kTextCount);
  made.wide.reserve(kTextCount);
  made.kind.reserve(kTextCount);
  Random rnd;
  while (made.narrow.size() < kTextCount) {
    const Kind kind = static_cast<Kind>(rnd.Below(kKinds));
    std::string s = MakePath(rnd, kind);
    if (s.size() < kMinLength || s.size() > kMaxLength) continue;
    made.wide.emplace_back(s.begin(), s.end());
    made.narrow.push_back(std::move(s));
    made.kind.push_back(kind);
  }
  Texts t;
  t.narrow = LaidOut(made.narrow);
  t.wide = LaidOut(made.wide);
  t.kind = std::move(made.kind);
  return t;
}

// Every text must pass validation, or the library's figure would time throws.
bool AllValid(const Texts& t) {
  NewPath narrow;
  NewPathW wide;
  for (std::size_t i = 0; i < t.narrow.size(); ++i) {
    try {
      narrow.Set(t.narrow[i], PathType::File, true);
      wide.Set(t.wide[i], PathType::File, true);
    } catch (const ORVFile::FileException&) {
      std::fprintf(stderr, "NewPath_bench: generated text refused: %s\n", t.narrow[i].c_str());
      return false;
    }
  }
  return true;
}

// Texts per second over the chosen texts; body(i) handles text i.
template <class Body>
double Rate(const std::vector<std::uint32_t>& set, Body body) {
  std::size_t sum = 0;
  const double start = Now();
  for (const std::uint32_t i : set) sum += body(i);
  const double seconds = Now() - start;
  g_sink = g_sink + sum;
  return static_cast<double>(set.size()) / seconds;
}

struct Medians {
  double narrow;
  double wide;
  double peer;
};

// Runs interleave the three, so that drift on a noisy machine hits all alike.
// narrow(i) and wide(i) handle text i of their width; peer, a wide text.
template <class Narrow, class Wide, class Peer>
Medians Compare(const Texts& t, const std::vector<std::uint32_t>& set, Narrow narrow, Wide wide, Peer peer) {
  std::vector<double> a, w, other;
  for (int run = 0; run < kRuns; ++run) {
    a.push_back(Rate(set, narrow));
    w.push_back(Rate(set, wide));
    other.push_back(Rate(set, [&](std::uint32_t i) { return peer(t.wide[i]); }));
  }
  return {Median(a), Median(w), Median(other)};
}

// Set, with or without validation, into one path object per width.
template <class Peer>
Medians CompareSet(const Texts& t, const std::vector<std::uint32_t>& set, Peer peer, bool validate = true) {
  NewPath a;
  NewPathW w;
  return Compare(
      t, set,
      [&](std::uint32_t i) {
        a.Set(t.narrow[i], PathType::File, validate);
        return a.RawPath().size();
      },
      [&](std::uint32_t i) {
        w.Set(t.wide[i], PathType::File, validate);
        return w.RawPath().size();
      },
      peer);
}

// A note, not a row: two parts of Set's cost, each in the same runs as the
// peer. Assigning each text to a reused string is the least a Set that keeps
// its result in a string pays (the C runtime's copy); Set without validation
// is the walk alone.
template <class Peer>
void NoteParts(const Texts& t, const std::vector<std::uint32_t>& set, Peer peer) {
  std::string narrow;
  std::wstring wide;
  const Medians assign = Compare(
      t, set, [&](std::uint32_t i) { return narrow.assign(t.narrow[i]).size(); },
      [&](std::uint32_t i) { return wide.assign(t.wide[i]).size(); }, peer);
  const Medians walk = CompareSet(t, set, peer, false);
  std::printf(
      "NewPath_bench: parts: assigning each text to a reused string runs at %.2f (narrow) and %.2f (wide) times "
      "PathCanonicalizeW's %.2f M paths/s, Set without validation at %.2f and %.2f times its %.2f M, in the same "
      "runs\n",
      assign.narrow / assign.peer, assign.wide / assign.peer, assign.peer / 1e6, walk.narrow / walk.peer,
      walk.wide / walk.peer, walk.peer / 1e6);
}

void Rows(const Medians& m, const std::string& texts, const char* peer) {
  const char* const kUnit = "paths/s";
  std::printf("NewPath::Set, %s\t%.0f\t%s\t%.0f\t%s\t1.0\t1\n", texts.c_str(), m.narrow, peer, m.peer, kUnit);
  std::printf("NewPathW::Set, %s\t%.0f\t%s\t%.0f\t%s\t1.0\t1\n", texts.c_str(), m.wide, peer, m.peer, kUnit);
  std::fflush(stdout);
}

std::vector<std::uint32_t> Indices(std::size_t count) {
  std::vector<std::uint32_t> set(count);
  for (std::size_t i = 0; i < count; ++i) set[i] = static_cast<std::uint32_t>(i);
  return set;
}

}  // namespace

int main() {
  // Rows end in "\n", not "\r\n".
  _setmode(_fileno(stdout), _O_BINARY);

  std::fprintf(stderr, "NewPath_bench: generating %zu paths\n", kTextCount);
  const Texts t = Generate();
  if (!AllValid(t)) return 1;

  const std::vector<std::uint32_t> all = Indices(kTextCount);
  const std::vector<std::uint32_t> leading = Indices(kSlowPeerCount);
  std::vector<std::uint32_t> absolute;
  for (std::size_t i = 0; i < kTextCount; ++i) {
    if (t.kind[i] != kRelative) absolute.push_back(static_cast<std::uint32_t>(i));
  }

  std::fprintf(stderr, "NewPath_bench: against GetFullPathNameW\n");
  Rows(CompareSet(t, all,
                  [](const std::wstring& s) {
                    wchar_t out[MAX_PATH];
                    return static_cast<std::size_t>(::GetFullPathNameW(s.c_str(), MAX_PATH, out, nullptr));
                  }),
       std::to_string(all.size()) + " mixed paths", "GetFullPathNameW");

  // PathCchCanonicalizeEx refuses relative paths: both sides get the drive and
  // UNC texts only. It is asked to turn forward slashes too, as Set does.
  std::fprintf(stderr, "NewPath_bench: against PathCchCanonicalizeEx\n");
  const unsigned long cchFlags = PATHCCH_CANONICALIZE_SLASHES;
  std::size_t failures = 0;
  Rows(CompareSet(t, absolute,
                  [&failures](const std::wstring& s) {
                    wchar_t out[MAX_PATH];
                    if (FAILED(::PathCchCanonicalizeEx(out, MAX_PATH, s.c_str(), cchFlags))) {
                      ++failures;
                      return std::size_t{0};
                    }
                    return static_cast<std::size_t>(out[0]);
                  }),
       std::to_string(absolute.size()) + " drive and UNC paths", "PathCchCanonicalizeEx");
  if (failures != 0) {
    std::printf("NewPath_bench: PathCchCanonicalizeEx failed on %zu of %zu texts per run\n", failures / kRuns,
                absolute.size());
  }
  wchar_t probe[MAX_PATH];
  if (SUCCEEDED(::PathCchCanonicalizeEx(probe, MAX_PATH, L"C:/a/../b", cchFlags)) && std::wcschr(probe, L'/')) {
    std::size_t slashed = 0;
    for (const std::uint32_t i : absolute) slashed += t.narrow[i].find('/') != std::string::npos;
    std::printf(
        "NewPath_bench: PathCchCanonicalizeEx ignores PATHCCH_CANONICALIZE_SLASHES here; it leaves forward "
        "slashes, and the dot segments they separate, as they are in %zu of its %zu texts\n",
        slashed, absolute.size());
  }

  // PathCanonicalizeW takes relative texts too, so it gets all of them. It
  // leaves forward slashes, and the dot segments between them, as they are.
  std::fprintf(stderr, "NewPath_bench: against PathCanonicalizeW\n");
  const auto canonicalize = [](const std::wstring& s) {
    wchar_t out[MAX_PATH];
    return ::PathCanonicalizeW(out, s.c_str()) ? static_cast<std::size_t>(out[0]) : std::size_t{0};
  };
  Rows(CompareSet(t, all, canonicalize), std::to_string(all.size()) + " mixed paths", "PathCanonicalizeW");
  NoteParts(t, all, canonicalize);

  std::fprintf(stderr, "NewPath_bench: against std::filesystem::path::lexically_normal\n");
  Rows(CompareSet(t, leading,
                  [](const std::wstring& s) { return std::filesystem::path(s).lexically_normal().native().size(); }),
       "first " + std::to_string(leading.size()) + " mixed paths", "std::filesystem::path::lexically_normal");
  return 0;
}
