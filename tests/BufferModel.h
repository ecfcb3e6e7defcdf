// Reference models of the memory buffers and the random driver that runs a
// real buffer and its reference side by side. A model is the plainest code
// that follows a buffer's rules (a byte vector and positions) and is itself a
// BinaryStreamBuf, so that the base library's wrappers (Get, Peek, Copy) serve
// both sides alike. Refusals are modelled as exceptions with the real text.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ORVBaseException.h"
#include "ORVBinaryStreamMemory.h"

namespace model {

using Bytes = std::vector<std::uint8_t>;
using Buf = ORV::BinaryStreamBuf;
using Dir = Buf::Direction;
constexpr Dir Begin = Buf::Begin, End = Buf::End, Current = Buf::Current;

inline std::int64_t Clamp(std::int64_t v, std::int64_t lo, std::int64_t hi) { return std::max(lo, std::min(v, hi)); }
inline std::uint32_t U32(std::size_t n) { return static_cast<std::uint32_t>(n); }
[[noreturn]] inline void Refuse(const char* text) { throw std::runtime_error(text); }

// The parts every model shares: bytes and two positions.
struct Model : Buf {
  explicit Model(unsigned char caps = CanGet | CanSeek) : Buf(caps) {}
  std::uint32_t Size() const { return U32(bytes.size()); }
  // Where a seek aims: End adds endSign times the offset, an unknown direction aims at `unknown`.
  std::int64_t Target(std::int64_t pos, std::int32_t off, Dir dir, int endSign, std::int64_t unknown) const {
    return dir == Begin     ? off
           : dir == End     ? Size() + endSign * std::int64_t{off}
           : dir == Current ? pos + off
                            : unknown;
  }
  std::uint32_t Left(std::uint32_t n) const { return std::min(n, Size() - std::min(get, Size())); }
  std::uint32_t vGet(void* dest, std::uint32_t n) override {
    n = Left(n);
    if (n != 0) std::memcpy(dest, bytes.data() + get, n);
    get += n;
    return n;
  }
  std::uint32_t vTellG() override { return get; }
  std::uint32_t vTellP() override { return put; }
  std::uint32_t vSize() override { return Size(); }
  bool vEndOfFile() override { return get >= Size(); }
  void vFlush() override {}
  // What is left, put at once; the get position moves by what dest took.
  std::uint32_t vCopy(Buf& dest, std::uint32_t n) override {
    n = Left(n);
    const std::uint32_t taken = n == 0 ? 0 : dest.vPut(bytes.data() + get, n);
    get += taken;
    return taken;
  }
  using Buf::vCopy;
  Bytes bytes;
  std::uint32_t get = 0, put = 0;
};

// MemoryBuffer of chunk size cs; chunks: what Capacity must report, in chunks.
struct MemModel : Model {
  explicit MemModel(std::uint32_t chunk, unsigned char caps = CanGet | CanSeek) : Model(caps), cs(chunk) {}
  void FillToPut() {
    if (put > Size()) bytes.resize(put, 0);
    chunks = std::max(chunks, (Size() + cs - 1) / cs);
  }
  std::uint32_t vPut(const void* data, std::uint32_t n) override {
    if (n == 0) return 0;
    FillToPut();
    if (put + n > Size()) bytes.resize(put + n);
    for (std::uint32_t i = 0; i < n; ++i) bytes[put + i] = data ? static_cast<const std::uint8_t*>(data)[i] : 0;
    put += n;
    FillToPut();
    return n;
  }
  std::uint32_t vSeekG(std::int32_t off, Dir dir) override {
    return get = U32(Clamp(Target(get, off, dir, 1, get), 0, Size()));
  }
  std::uint32_t vSeekP(std::int32_t off, Dir dir) override {
    const std::int64_t t = std::max<std::int64_t>(Target(put, off, dir, 1, put), 0);
    if (t > Size()) vPut(nullptr, U32(t - Size()));
    return put = U32(t);
  }
  void vClear() override { bytes.clear(), get = put = 0; }
  void vClearMemory() override { vClear(), chunks = 0; }
  void vClearEnd() override {
    FillToPut();
    bytes.resize(put);
    chunks = std::min(chunks, (put + cs - 1) / cs);
  }
  // Chunk piece by chunk piece: an odd byte at a piece's end is dropped.
  std::uint32_t vCopy(std::wstring& out, std::uint32_t n) override {
    n = Left(n);
    for (std::uint32_t left = n, k; left > 0; left -= k, get += k) {
      k = std::min(left, cs - get % cs);
      for (std::uint32_t i = 0; i + 1 < k; i += 2)
        out += static_cast<wchar_t>(bytes[get + i] | bytes[get + i + 1] << 8);
    }
    return n;
  }
  using Model::vCopy;
  std::uint32_t cs, chunks = 0;
};

// StaticMemoryBuffer over the caller's block.
struct StaticModel : Model {
  StaticModel(Bytes block, bool isConst) : constant(isConst) { bytes = std::move(block); }
  void Writable(const char* op) const {
    if (constant) Refuse((std::string("StaticMemoryBuffer::") + op + ": Buffer is const!").c_str());
  }
  std::uint32_t Seek(std::uint32_t pos, std::int32_t off, Dir dir) const {
    return U32(Clamp(Target(pos, off, dir, -1, 0), 0, Size()));  // End counts back
  }
  std::uint32_t vPut(const void* data, std::uint32_t n) override {
    Writable("Put");
    n = std::min(n, Size() - put);
    if (n != 0) std::memcpy(bytes.data() + put, data, n);
    return put += n, n;
  }
  std::uint32_t vSeekG(std::int32_t off, Dir dir) override { return get = Seek(get, off, dir); }
  std::uint32_t vSeekP(std::int32_t off, Dir dir) override { return Writable("SeekP"), put = Seek(put, off, dir); }
  std::uint32_t vTellP() override { return Writable("TellP"), put; }
  void vClear() override { Refuse("StaticMemoryBuffer::Clear: Not implemented!"); }
  void vClearMemory() override { Refuse("StaticMemoryBuffer::ClearMemory: Not implemented!"); }
  void vClearEnd() override { Refuse("StaticMemoryBuffer::ClearEnd: Not implemented!"); }
  // Units from twice the get position, as far as the block goes.
  std::uint32_t vCopy(std::wstring& out, std::uint32_t n) override {
    n = Left(n);
    for (std::uint32_t i = 0; i + 1 < n && 2 * get + i + 1 < Size(); i += 2)
      out += static_cast<wchar_t>(bytes[2 * get + i] | bytes[2 * get + i + 1] << 8);
    return get += n, n;
  }
  using Model::vCopy;
  bool constant;
};

// A copy destination that takes at most room bytes in all.
struct Filling : ORV::BinaryStreamMemory {
  explicit Filling(std::uint32_t room) : BinaryStreamMemory(std::string(room, '.').data(), room) {}
  std::uint32_t vPut(const void* data, std::uint32_t n) override {
    return BinaryStreamMemory::vPut(data, std::min(n, Size() - std::min(vTellP(), Size())));
  }
};

// One real buffer and its reference; each extra shows what its side holds
// beyond positions and sizes.
struct Pair {
  std::unique_ptr<Buf> real, reference;
  std::function<std::string()> realExtra{}, referenceExtra{};  // optional
  bool clearMemory = true;                                     // whether ClearMemory is among the operations
};

class Driver {
 public:
  explicit Driver(std::uint32_t seed) : rng_(seed), seed_(seed) {}
  std::uint32_t Below(std::uint32_t n) { return std::uniform_int_distribution<std::uint32_t>(0, n - 1)(rng_); }
  Bytes Random(std::uint32_t n) {
    Bytes b(n);
    for (auto& x : b) x = static_cast<std::uint8_t>(Below(256));
    return b;
  }
  // Sizes, positions and the look-ahead count, an exception's text in place of a value.
  static std::string State(Buf& b) {
    return Try([&] { return b.vSize(); }) + "/" + Try([&] { return b.vTellG(); }) + "/" +
           Try([&] { return b.vTellP(); }) + "/" + std::to_string(b.vEndOfFile()) + "/" +
           std::to_string(b.LookAheadCount());
  }
  // ops operations, a fresh pair every episode operations.
  void Run(int ops, int episode, const std::function<Pair(Driver&)>& fresh) {
    Pair p;
    for (int step = 0; step < ops; ++step) {
      if (step % episode == 0) p = fresh(*this);
      std::string op, results;
      const bool same = Step(p, op, results);
      const std::string real = State(*p.real) + " " + (p.realExtra ? p.realExtra() : "");
      const std::string expected = State(*p.reference) + " " + (p.referenceExtra ? p.referenceExtra() : "");
      if (!same || real != expected) {
        ADD_FAILURE() << "seed " << seed_ << " step " << step << " " << op << ": " << results
                      << "\n real:      " << testing::PrintToString(real)
                      << "\n reference: " << testing::PrintToString(expected);
        return;
      }
    }
  }

 private:
  // The result of f as text, or the text of what it threw.
  template <class F>
  static std::string Try(F&& f) {
    try {
      return std::to_string(f());
    } catch (const std::exception& e) {
      return std::string("threw ") + e.what();
    } catch (const ORV::BaseException& e) {
      return "threw " + std::string(e.TypeName().begin(), e.TypeName().end());
    }
  }
  // One random operation on both sides; false when their results differ.
  bool Step(Pair& p, std::string& op, std::string& results) {
    const std::uint32_t n = Below(41);
    const auto size = static_cast<std::int32_t>(p.reference->vSize());
    const std::int32_t off = static_cast<std::int32_t>(Below(2 * size + 61)) - size - 30;
    const Dir dir = static_cast<Dir>(Below(10) == 0 ? 3 : Below(3));  // now and then the one unknown value
    const Bytes data = Random(n);
    // Put, Get, SeekG, SeekP and copies into a buffer twice as often as the others; clears rarely, so that
    // buffers grow.
    static constexpr int kWeighted[] = {0, 0, 1, 1, 2, 3, 3, 4, 4, 5, 6, 7, 8, 9, 9};
    const int pick = kWeighted[Below(15)];
    if (pick == 6 && Below(4) != 0) return Step(p, op, results);
    const bool memory = pick == 6 && p.clearMemory && Below(2) == 0;
    char got[64];  // each side's read, in turn
    using Op = std::function<std::uint32_t(Buf&, std::string&)>;
    const std::pair<const char*, Op> ops[] = {
        {"Put", [&](Buf& b, std::string&) { return b.vPut(data.data(), n); }},
        {"Get", [&](Buf& b, std::string& out) { return out.assign(got, b.Get(got, n)), U32(out.size()); }},
        {"Peek", [&](Buf& b, std::string& out) { return out.assign(got, b.Peek(got, n % 20)), U32(out.size()); }},
        {"SeekG", [&](Buf& b, std::string&) { return b.vSeekG(off, dir); }},
        {"SeekP", [&](Buf& b, std::string&) { return b.vSeekP(off, dir); }},
        {"ClearEnd",
         [&](Buf& b, std::string&) {
           if (size > 200) b.vSeekP(static_cast<std::int32_t>(n), Begin);
           return b.vClearEnd(), 0u;
         }},
        {memory ? "ClearMemory" : "Clear",
         [&](Buf& b, std::string&) { return memory ? b.vClearMemory() : b.vClear(), 0u; }},
        {"Copy string", [&](Buf& b, std::string& out) { return b.vCopy(out, n); }},
        {"Copy wstring",
         [&](Buf& b, std::string& out) {
           std::wstring w;
           const std::uint32_t k = b.vCopy(w, n);
           for (wchar_t u : w) out += std::to_string(u) + ",";
           return k;
         }},
        // into a buffer with room for 24 bytes from a random start, or for all that a copy brings
        {"Copy into a buffer", [&](Buf& b, std::string& out) {
           Filling dest(n % 2 == 0 ? 24 : 64);
           dest.vSeekP(n % 2 == 0 ? off : 0, Begin);
           const std::uint32_t k = b.vCopy(dest, n);
           return out = std::string(dest.Bytes().begin(), dest.Bytes().end()), k;
         }}};
    const auto& [name, on] = ops[pick];
    op = std::string(name) + " n " + std::to_string(n) + " offset " + std::to_string(off) + " direction " +
         std::to_string(dir);
    std::string outs[2];
    const std::string r = Try([&, &on = on] { return on(*p.real, outs[0]); });
    const std::string e = Try([&, &on = on] { return on(*p.reference, outs[1]); });
    results = r + " against " + e + ", output " + testing::PrintToString(outs[0]) + " against " +
              testing::PrintToString(outs[1]);
    return r == e && outs[0] == outs[1];
  }

  std::mt19937 rng_;
  std::uint32_t seed_;
};

}  // namespace model
