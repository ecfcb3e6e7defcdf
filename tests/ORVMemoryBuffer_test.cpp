// The three memory buffers against their reference models (BufferModel.h)
// under random operations, with chunks of 1 to 16 bytes and small windows so
// that every boundary is crossed; then how the chunk array grows.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "BufferModel.h"
#include "ORVFastVector.h"
#include "ORVFileTestSupport.h"
#include "ORVMemoryBuffer.h"
#include "ORVStaticMemoryBuffer.h"
#include "ORVSubBinaryStreamBuf.h"

namespace {

using namespace model;
using ORVFile::MemoryBuffer;
using ORVFile::StaticMemoryBuffer;
using ORVFile::SubBinaryStreamBuf;

int Ops() { return 100000 * orvtest::TestScale(); }
constexpr int kEpisode = 2000;

// SubBinaryStreamBuf over a MemoryBuffer's model.
struct SubModel : Buf {
  SubModel(std::uint32_t s, std::uint32_t e, MemModel& u) : Buf(CanGet | CanSeek), start(s), end(e), under(u) {
    if (s == 0) under.DropLookAhead();
    under.vSeekG(static_cast<std::int32_t>(s), Begin);
  }
  std::int32_t Window(std::int64_t t) const { return static_cast<std::int32_t>(Clamp(t < 1 ? 0 : t, start, end)); }
  std::int64_t Target(std::int64_t cur, std::int32_t off, Dir dir) const {
    return dir == Begin ? start + std::int64_t{off}
           : dir == End ? end - std::int64_t{off}
                        : cur + (dir == Current ? off : 0);
  }
  std::uint32_t vTellG() override { return under.get - under.LookAheadCount() - start; }
  std::uint32_t vTellP() override { return under.put - start; }
  std::uint32_t vSize() override { return end - start; }
  bool vEndOfFile() override { return start + (vTellG() - LookAheadCount()) >= end; }
  std::uint32_t vSeekG(std::int32_t off, Dir dir) override {
    const std::int32_t t = Window(Target(std::int64_t{under.get} - under.LookAheadCount(), off, dir));
    if (t == 0) under.DropLookAhead();
    return under.vSeekG(t, Begin) - start;
  }
  std::uint32_t vSeekP(std::int32_t off, Dir dir) override {
    return under.vSeekP(Window(Target(under.put, off, dir)), Begin) - start;
  }
  std::uint32_t vPut(const void* data, std::uint32_t n) override { return under.vPut(data, n); }
  std::uint32_t vGet(void* dest, std::uint32_t n) override {
    return under.Get(dest, U32(Clamp(std::int64_t{LookAheadCount()} + vSize() - vTellG(), 0, n)));
  }
  void vFlush() override {}
  void vClear() override { Refuse("SubBinaryStreamBuf::Clear: Not implemented!"); }
  void vClearMemory() override { Refuse("SubBinaryStreamBuf::ClearMemory: Not implemented!"); }
  void vClearEnd() override { Refuse("SubBinaryStreamBuf::ClearEnd: Not implemented!"); }
  std::uint32_t start, end;
  MemModel& under;
};

// The bytes of a memory buffer or of its model and its capacity, the get position put back.
std::string Shown(Buf& b, std::uint32_t capacity) {
  const std::uint32_t get = b.vTellG();
  std::string out = " capacity " + std::to_string(capacity);
  if (get > b.vSize()) return out;  // ClearEnd may leave it there, and seeking back could not
  b.vSeekG(0, Begin), b.vCopy(out, Buf::kAll), b.vSeekG(static_cast<std::int32_t>(get), Begin);
  return out;
}

}  // namespace

// Chunk size 0 stands for 1024.
TEST(MemoryBuffer, AgreesWithItsModel) {
  Driver(0x4D454D31u).Run(Ops(), kEpisode, [](Driver& d) {
    const std::uint32_t cs = std::vector<std::uint32_t>{1, 2, 7, 16, 0}[d.Below(5)];
    auto real = std::make_unique<MemoryBuffer>(cs);
    auto reference = std::make_unique<MemModel>(cs == 0 ? 1024 : cs);
    MemoryBuffer& b = *real;
    MemModel& m = *reference;
    return Pair{std::move(real), std::move(reference), [&b] { return Shown(b, b.Capacity()); },
                [&m] { return Shown(m, m.chunks * m.cs); }};
  });
}

TEST(StaticMemoryBuffer, AgreesWithItsModel) {
  Bytes block;
  Driver(0x5354A7u).Run(Ops(), kEpisode, [&](Driver& d) {
    block = d.Random(d.Below(64));
    const bool constant = d.Below(3) == 0;
    auto real = constant
                    ? std::make_unique<StaticMemoryBuffer>(static_cast<const void*>(block.data()), U32(block.size()))
                    : std::make_unique<StaticMemoryBuffer>(block.data(), U32(block.size()));
    auto reference = std::make_unique<StaticModel>(block, constant);
    StaticModel& m = *reference;
    return Pair{std::move(real), std::move(reference), [&block] { return std::string(block.begin(), block.end()); },
                [&m] { return std::string(m.bytes.begin(), m.bytes.end()); }};
  });
}

TEST(SubBinaryStreamBuf, AgreesWithItsModel) {
  std::unique_ptr<MemoryBuffer> under;
  std::unique_ptr<MemModel> underModel;
  Driver(0x5B5B0Fu).Run(Ops(), kEpisode, [&](Driver& d) {
    const Bytes content = d.Random(d.Below(80));
    under = std::make_unique<MemoryBuffer>(content.data(), U32(content.size()), 7);
    underModel = std::make_unique<MemModel>(7);
    underModel->vPut(content.data(), U32(content.size()));
    std::uint8_t held[16];  // a look-ahead store for the window to drop or to count
    const std::uint32_t ahead = d.Below(17);
    under->Peek(held, ahead), underModel->Peek(held, ahead);
    const std::uint32_t start = d.Below(d.Below(4) != 0 ? U32(content.size()) + 10 : 1);
    const std::uint32_t end = start + d.Below(U32(content.size()) + 11);
    MemoryBuffer& b = *under;
    MemModel& m = *underModel;
    return Pair{std::make_unique<SubBinaryStreamBuf>(start, end, b), std::make_unique<SubModel>(start, end, m),
                [&b] { return Driver::State(b) + Shown(b, 0); }, [&m] { return Driver::State(m) + Shown(m, 0); }};
  });
}

TEST(FastVector, GrowsByTheFamilyRuleAndKeepsItsValues) {
  ORV::FastVector<unsigned char*> v;
  std::vector<std::size_t> capacities{0};
  for (std::size_t i = 0; i < 1600; ++i)
    if (v.PushBack(reinterpret_cast<unsigned char*>(i + 1)), capacities.back() != v.Capacity())
      capacities.push_back(v.Capacity());
  EXPECT_EQ(capacities, (std::vector<std::size_t>{0, 16, 32, 64, 128, 256, 512, 640, 800, 1000, 1250, 1562, 1952}));
  for (std::size_t i = 0; i < v.Size(); i += 7) ASSERT_EQ(v[i], reinterpret_cast<unsigned char*>(i + 1));
}
