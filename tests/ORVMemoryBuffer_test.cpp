// The three memory buffers against plain reference models (BufferModel.h)
// over a million random operations each, with chunks of 1 to 16 bytes and
// small windows so that every boundary is crossed; then hand-worked cases
// for the rules the models were written from.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "BufferModel.h"
#include "ORVCFile.h"
#include "ORVCFileBuffer.h"
#include "ORVFastVector.h"
#include "ORVFileTestSupport.h"
#include "ORVMemoryBuffer.h"
#include "ORVStaticMemoryBuffer.h"
#include "ORVSubBinaryStreamBuf.h"

namespace {

using namespace model;
using ORV::BinaryStreamBuf;
using ORVFile::MemoryBuffer;
using ORVFile::StaticMemoryBuffer;
using ORVFile::SubBinaryStreamBuf;

constexpr int kOps = 1000000;
constexpr int kEpisode = 2000;

// SubBinaryStreamBuf over a MemoryBuffer's model.
struct SubModel : Model {
  SubModel(std::uint32_t s, std::uint32_t e, MemModel& u) : start(s), end(e), under(u) {
    if (s == 0) under.store.clear();
    under.vSeekG(static_cast<std::int32_t>(s), Dir::Begin);
  }
  std::int32_t Window(std::int64_t t) const { return static_cast<std::int32_t>(Clamp(t < 1 ? 0 : t, start, end)); }
  std::int64_t Target(std::int64_t cur, std::int32_t off, Dir dir) const {
    return dir == Dir::Begin ? start + std::int64_t{off}
           : dir == Dir::End ? end - std::int64_t{off}
                             : cur + (dir == Dir::Current ? off : 0);
  }
  std::uint32_t vTellG() override { return under.get - U32(under.store.size()) - start; }
  std::uint32_t vTellP() override { return under.put - start; }
  std::uint32_t vSize() override { return end - start; }
  bool vEndOfFile() override { return start + (vTellG() - U32(store.size())) >= end; }
  std::uint32_t vSeekG(std::int32_t off, Dir dir) override {
    const std::int32_t t = Window(Target(std::int64_t{under.get} - U32(under.store.size()), off, dir));
    if (t == 0) under.store.clear();
    return under.vSeekG(t, Dir::Begin) - start;
  }
  std::uint32_t vSeekP(std::int32_t off, Dir dir) override {
    return under.vSeekP(Window(Target(under.put, off, dir)), Dir::Begin) - start;
  }
  std::uint32_t vPut(const std::uint8_t* data, std::uint32_t n) override { return under.vPut(data, n); }
  std::uint32_t vGet(std::uint8_t* dest, std::uint32_t n) override {
    const std::int64_t left = std::int64_t{U32(store.size())} + vSize() - vTellG();
    return under.Get(dest, U32(Clamp(left, 0, n)));
  }
  void vClear() override { Refuse("SubBinaryStreamBuf::Clear: Not implemented!"); }
  void vClearMemory() override { Refuse("SubBinaryStreamBuf::ClearMemory: Not implemented!"); }
  void vClearEnd() override { Refuse("SubBinaryStreamBuf::ClearEnd: Not implemented!"); }
  std::string Extra() override {
    return under.Extra() + " " + std::to_string(under.get) + "/" + std::to_string(under.put) + "/" +
           std::to_string(under.store.size());
  }
  std::uint32_t start, end;
  MemModel& under;
};

std::string MemoryExtra(MemoryBuffer& b) {
  return Contents(b) + " chunks " + std::to_string(b.Capacity() / b.ChunkSize());
}

}  // namespace

TEST(MemoryBuffer, AgreesWithItsModelOverAMillionOperations) {
  Driver(0x4D454D31u).Run(kOps, kEpisode, [](Driver& d) {
    const std::uint32_t cs = std::vector<std::uint32_t>{1, 2, 7, 16}[d.Below(4)];
    auto real = std::make_unique<MemoryBuffer>(cs);
    MemoryBuffer& b = *real;
    return Pair{std::move(real), std::make_unique<MemModel>(cs), [&b] { return MemoryExtra(b); }, nullptr};
  });
}

TEST(StaticMemoryBuffer, AgreesWithItsModelOverAMillionOperations) {
  Bytes block;
  Driver(0x5354A7u).Run(kOps, kEpisode, [&block](Driver& d) {
    block = d.Random(d.Below(64));
    const bool constant = d.Below(3) == 0;
    auto real = constant
                    ? std::make_unique<StaticMemoryBuffer>(static_cast<const void*>(block.data()), U32(block.size()))
                    : std::make_unique<StaticMemoryBuffer>(block.data(), U32(block.size()));
    return Pair{std::move(real), std::make_unique<StaticModel>(block, constant),
                [&block] { return std::string(block.begin(), block.end()); }, nullptr};
  });
}

TEST(SubBinaryStreamBuf, AgreesWithItsModelOverAMillionOperations) {
  std::unique_ptr<MemoryBuffer> realUnder;
  std::unique_ptr<MemModel> modelUnder;
  Driver(0x5B5B0Fu).Run(kOps, kEpisode, [&](Driver& d) {
    const Bytes content = d.Random(d.Below(80));
    auto fresh = std::make_unique<MemoryBuffer>(content.data(), U32(content.size()), 7);
    auto freshModel = std::make_unique<MemModel>(7);
    freshModel->vPut(content.data(), U32(content.size()));
    const std::uint32_t ahead = d.Below(17);  // a look-ahead store for the window to drop or to count
    std::uint8_t held[16];
    fresh->Peek(held, ahead), freshModel->Peek(ahead);
    Pair pair;
    const std::uint32_t start = d.Below(d.Below(4) != 0 ? U32(content.size()) + 10 : 1);
    const std::uint32_t end = start + d.Below(U32(content.size()) + 11);
    pair.real = std::make_unique<SubBinaryStreamBuf>(start, end, *fresh);
    pair.model = std::make_unique<SubModel>(start, end, *freshModel);
    MemoryBuffer& under = *fresh;
    pair.extra = [&under] {
      return MemoryExtra(under) + " " + std::to_string(under.vTellG()) + "/" + std::to_string(under.vTellP()) + "/" +
             std::to_string(under.LookAheadCount());
    };
    MemModel& underModel = *freshModel;
    pair.peekUnder = [&under, &underModel](std::uint32_t n) {
      std::uint8_t bytes[16];
      under.Peek(bytes, n), underModel.Peek(n);
    };
    realUnder = std::move(fresh), modelUnder = std::move(freshModel);
    return pair;
  });
}

// Hand-worked cases: they pin the rules the models were written from, where
// a misreading would be shared by model and code.
TEST(MemoryBuffers, WorkedCases) {
  struct Row {
    const char* what;
    std::function<std::string()> run;
    std::string expected;
  };
  const auto state = [](BinaryStreamBuf& b) {
    return std::to_string(b.vSize()) + "/" + std::to_string(b.vTellG()) + "/" + std::to_string(b.vTellP());
  };
  // The bytes, zeros shown as '0'; the get position is put back.
  const auto text = [](BinaryStreamBuf& b) {
    const std::uint32_t get = b.vTellG();
    std::string out;
    b.vSeekG(0, Dir::Begin), b.vCopy(out, BinaryStreamBuf::kAll), b.vSeekG(static_cast<std::int32_t>(get), Dir::Begin);
    for (char& c : out) c = c ? c : '0';
    return out;
  };
  // Each unit as its two bytes, low first.
  const auto units = [](const std::wstring& w) {
    std::string out;
    for (wchar_t u : w) out += {static_cast<char>(u & 0xFF), static_cast<char>(u >> 8)};
    return out;
  };
  static const char kData[] = "abcdefghij";
  const Row rows[] = {
      {"chunk size 0 means 1024; 1025 bytes take two chunks",
       [] {
         MemoryBuffer b(0);
         b.vPut(nullptr, 1025);
         return std::to_string(b.ChunkSize()) + " " + std::to_string(b.Capacity());
       },
       "1024 2048"},
      {"SeekP(100) on an empty buffer puts 100 zeros",
       [&] {
         MemoryBuffer b(7);
         b.vSeekP(100, Dir::Begin);
         return state(b) + (text(b) == std::string(100, '0') ? " zeros" : " not zeros");
       },
       "100/0/100 zeros"},
      {"SeekP past the end writes its zeros at the put position",
       [&] {
         MemoryBuffer b(kData, 6, 4);
         b.vSeekP(2, Dir::Begin), b.vSeekP(8, Dir::Begin);
         const std::string before = state(b);
         b.vPut("X", 1);
         return before + " " + state(b) + " " + text(b);
       },
       "6/0/8 9/0/9 ab00ef00X"},
      {"ClearEnd at put position 0 frees every chunk",
       [&] {
         MemoryBuffer b(kData, 10, 3);
         b.vSeekP(0, Dir::Begin), b.vClearEnd();
         return state(b) + " " + std::to_string(b.Capacity());
       },
       "0/0/0 0"},
      {"SeekG(10, End) clamps on a MemoryBuffer, counts back on a StaticMemoryBuffer",
       [] {
         char block[50] = {};
         MemoryBuffer mem(block, 50, 7);
         StaticMemoryBuffer fixed(static_cast<const void*>(block), 50);
         return std::to_string(mem.vSeekG(10, Dir::End)) + " " + std::to_string(fixed.vSeekG(10, Dir::End));
       },
       "50 40"},
      {"a writable StaticMemoryBuffer of 8 takes 8 of 10 bytes",
       [] {
         char block[9] = "........";
         StaticMemoryBuffer b(block, 8);
         const std::uint32_t taken = b.vPut(kData, 10);
         return std::to_string(taken) + " " + block;
       },
       "8 abcdefgh"},
      {"the UTF-16 copy reads from twice the get position and never past the block",
       [&] {
         StaticMemoryBuffer b(static_cast<const void*>("aAbBcCdDe"), 9);
         std::wstring at0, at2, at6;
         b.vCopy(at0, 4), b.vSeekG(2, Dir::Begin), b.vCopy(at2, 4), b.vSeekG(6, Dir::Begin);
         const std::uint32_t taken = b.vCopy(at6, 9);
         return units(at0) + " " + units(at2) + " [" + units(at6) + "] " + std::to_string(taken) + " " +
                std::to_string(b.vTellG());
       },
       "aAbB cCdD [] 3 9"},
  };
  for (const Row& row : rows) EXPECT_EQ(row.run(), row.expected) << row.what;
}

// A file adapter that notes the largest piece it is given.
struct PieceSpy : ORVFile::OCFileBuffer {
  using OCFileBuffer::OCFileBuffer;
  std::uint32_t vPut(const void* data, std::uint32_t count) override {
    largest = std::max(largest, count);
    return OCFileBuffer::vPut(data, count);
  }
  std::uint32_t largest = 0;
};

using FileCopies = orvtest::TempDirTest;

TEST_F(FileCopies, ReachAFileAdapterInPiecesOf32KiBAtMost) {
  Driver d(7);
  const Bytes data = d.Random(100000);
  MemoryBuffer chunked(data.data(), 100000, 65536);
  StaticMemoryBuffer fixed(static_cast<const void*>(data.data()), 100000);
  for (BinaryStreamBuf* source : {static_cast<BinaryStreamBuf*>(&chunked), static_cast<BinaryStreamBuf*>(&fixed)}) {
    ORVFile::CFile file(P("copy.bin"));
    file.Open(ORVFile::OpenMode::CreateReadWrite);
    PieceSpy out(file);
    EXPECT_EQ(source->Copy(out), 100000u);
    EXPECT_EQ(out.largest, 32768u);
    file.Close();
    EXPECT_EQ(Got("copy.bin"), std::string(data.begin(), data.end()));
  }
  Remove("copy.bin");
}

TEST(FastVector, GrowsByTheFamilyRuleAndKeepsItsValues) {
  ORV::FastVector<unsigned char*> v;
  std::vector<std::size_t> capacities;
  for (std::size_t i = 0; i < 1600; ++i) {
    v.PushBack(reinterpret_cast<unsigned char*>(i + 1));
    if (capacities.empty() || capacities.back() != v.Capacity()) capacities.push_back(v.Capacity());
  }
  EXPECT_EQ(capacities, (std::vector<std::size_t>{16, 32, 64, 128, 256, 512, 640, 800, 1000, 1250, 1562, 1952}));
  bool kept = true;
  for (std::size_t i = 0; i < v.Size(); ++i) kept = kept && v[i] == reinterpret_cast<unsigned char*>(i + 1);
  EXPECT_TRUE(kept);
  v.Truncate(3), v.Clear();
  EXPECT_EQ(v.Size(), 0u);
  EXPECT_EQ(v.Capacity(), 1952u);
}
