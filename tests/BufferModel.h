// Reference models of the library's buffers and the random driver that runs
// a real buffer and its model side by side. A model is the plainest code that
// follows a buffer's rules: a byte vector and positions. Refusals are
// modelled as exceptions carrying the text the real buffer must throw.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "ORVBaseException.h"
#include "ORVBinaryStreamBuf.h"
#include "ORVMemoryBuffer.h"
#include "ORVStaticMemoryBuffer.h"

namespace model {

using Bytes = std::vector<std::uint8_t>;
using Dir = ORV::BinaryStreamBuf::Direction;

inline std::int64_t Clamp(std::int64_t v, std::int64_t lo, std::int64_t hi) { return std::max(lo, std::min(v, hi)); }
inline std::uint32_t U32(std::size_t n) { return static_cast<std::uint32_t>(n); }
[[noreturn]] inline void Refuse(const char* text) { throw std::runtime_error(text); }

// Bytes outside printable ASCII as \xNN, for failure messages.
inline std::string Shown(const std::string& text) {
  std::string out;
  for (unsigned char c : text) {
    char hex[5];
    std::snprintf(hex, sizeof hex, "\\x%02X", c);
    out += c >= 32 && c < 127 ? std::string(1, static_cast<char>(c)) : hex;
  }
  return out;
}

// The v-operations of a buffer, with the base library's look-ahead store and
// the wrappers that use it.
struct Model {
  virtual ~Model() = default;
  virtual std::uint32_t vPut(const std::uint8_t* data, std::uint32_t n) = 0;
  virtual std::uint32_t vGet(std::uint8_t* dest, std::uint32_t n) = 0;
  virtual std::uint32_t vSeekG(std::int32_t off, Dir dir) = 0;
  virtual std::uint32_t vSeekP(std::int32_t off, Dir dir) = 0;
  virtual std::uint32_t vTellG() = 0;
  virtual std::uint32_t vTellP() = 0;
  virtual std::uint32_t vSize() = 0;
  virtual bool vEndOfFile() { return vTellG() >= vSize(); }
  virtual void vClear() = 0;
  virtual void vClearMemory() = 0;
  virtual void vClearEnd() = 0;
  // The base library's default copies, over vGet.
  virtual std::uint32_t CopyW(std::wstring& out, std::uint32_t n) {
    if (n == 0) return 0;
    std::uint8_t b[64];
    std::uint32_t got = vGet(b, n);
    if (got % 2 != 0 && got < n) got += vGet(b + got, 1);
    for (std::uint32_t i = 0; i + 1 < got; i += 2) out += static_cast<wchar_t>(b[i] | b[i + 1] << 8);
    return got == n || got == 0 || got % 2 != 0 ? got : got + CopyW(out, n - got);
  }
  virtual std::uint32_t CopyInto(Model& dest, std::uint32_t n) {
    const Bytes bytes = CopyBytes(n);
    if (dest.vPut(bytes.data(), U32(bytes.size())) < bytes.size()) Refuse("ORV::Exception");  // what SafePut throws
    return U32(bytes.size());
  }
  /// What the real buffer shows beyond positions and sizes (its bytes, its chunks, ...).
  virtual std::string Extra() = 0;

  Bytes CopyBytes(std::uint32_t n) {
    Bytes out(n);
    std::uint32_t done = 0;
    for (std::uint32_t got = 1; done < n && got != 0; done += got) got = vGet(out.data() + done, n - done);
    out.resize(done);
    return out;
  }
  std::uint32_t Get(std::uint8_t* dest, std::uint32_t n) {
    std::uint32_t taken = 0;
    for (; taken < n && !store.empty(); ++taken, store.pop_front()) dest[taken] = store.front();
    return taken == n ? n : taken + vGet(dest + taken, n - taken);
  }
  std::uint32_t Peek(std::uint32_t n) {
    const std::uint32_t wanted = std::min(n, 16u);
    for (std::uint8_t b[16]; store.size() < wanted;) {
      const std::uint32_t got = vGet(b, wanted - U32(store.size()));
      if (got == 0) break;
      store.insert(store.end(), b, b + got);
    }
    return std::min(wanted, U32(store.size()));
  }
  std::deque<std::uint8_t> store;
};

// MemoryBuffer. chunks is what Capacity must report, in chunks.
struct MemModel : Model {
  explicit MemModel(std::uint32_t chunk) : cs(chunk) {}
  std::uint32_t Size() const { return U32(bytes.size()); }
  void FillToPut() {
    if (put > Size()) bytes.resize(put, 0);
    chunks = std::max(chunks, (Size() + cs - 1) / cs);
  }
  std::uint32_t vPut(const std::uint8_t* data, std::uint32_t n) override {
    if (n == 0) return 0;
    FillToPut();
    if (put + n > Size()) bytes.resize(put + n);
    for (std::uint32_t i = 0; i < n; ++i) bytes[put + i] = data ? data[i] : 0;
    put += n;
    FillToPut();
    return n;
  }
  std::uint32_t vGet(std::uint8_t* dest, std::uint32_t n) override {
    n = std::min(n, Size() - std::min(get, Size()));
    if (n != 0) std::memcpy(dest, bytes.data() + get, n);
    get += n;
    return n;
  }
  std::int64_t Target(std::uint32_t pos, std::int32_t off, Dir dir) const {
    return dir == Dir::Begin     ? off
           : dir == Dir::End     ? Size() + std::int64_t{off}
           : dir == Dir::Current ? pos + std::int64_t{off}
                                 : pos;
  }
  std::uint32_t vSeekG(std::int32_t off, Dir dir) override {
    return get = U32(Clamp(Target(get, off, dir), 0, Size()));
  }
  std::uint32_t vSeekP(std::int32_t off, Dir dir) override {
    const std::int64_t t = std::max<std::int64_t>(Target(put, off, dir), 0);
    if (t > Size()) vPut(nullptr, U32(t - Size()));
    return put = U32(t);
  }
  std::uint32_t vTellG() override { return get; }
  std::uint32_t vTellP() override { return put; }
  std::uint32_t vSize() override { return Size(); }
  void vClear() override { bytes.clear(), get = put = 0; }
  void vClearMemory() override { vClear(), chunks = 0; }
  void vClearEnd() override {
    FillToPut();
    bytes.resize(put);
    chunks = std::min(chunks, (put + cs - 1) / cs);
  }
  // Chunk piece by chunk piece: an odd byte at a piece's end is dropped.
  std::uint32_t CopyW(std::wstring& out, std::uint32_t n) override {
    n = std::min(n, Size() - std::min(get, Size()));
    for (std::uint32_t left = n, k; left > 0; left -= k, get += k) {
      k = std::min(left, cs - get % cs);
      for (std::uint32_t i = 0; i + 1 < k; i += 2)
        out += static_cast<wchar_t>(bytes[get + i] | bytes[get + i + 1] << 8);
    }
    return n;
  }
  // What is left, put at once; the get position moves by what dest took.
  std::uint32_t CopyInto(Model& dest, std::uint32_t n) override {
    n = std::min(n, Size() - std::min(get, Size()));
    const std::uint32_t taken = n == 0 ? 0 : dest.vPut(bytes.data() + get, n);
    get += taken;
    return taken;
  }
  std::string Extra() override {
    const std::string shown = get > Size() ? "(get beyond the size)" : std::string(bytes.begin(), bytes.end());
    return shown + " chunks " + std::to_string(chunks);
  }
  std::uint32_t cs, get = 0, put = 0, chunks = 0;
  Bytes bytes;
};

// StaticMemoryBuffer over the caller's block.
struct StaticModel : Model {
  StaticModel(Bytes block, bool isConst) : bytes(std::move(block)), constant(isConst) {}
  std::uint32_t Size() const { return U32(bytes.size()); }
  void Writable(const char* op) const {
    if (constant) Refuse((std::string("StaticMemoryBuffer::") + op + ": Buffer is const!").c_str());
  }
  std::uint32_t Seek(std::uint32_t pos, std::int32_t off, Dir dir) const {
    const std::int64_t t = dir == Dir::Begin     ? off
                           : dir == Dir::End     ? Size() - std::int64_t{off}
                           : dir == Dir::Current ? pos + std::int64_t{off}
                                                 : 0;
    return U32(Clamp(t, 0, Size()));
  }
  std::uint32_t vPut(const std::uint8_t* data, std::uint32_t n) override {
    Writable("Put");
    n = std::min(n, Size() - put);
    std::copy(data, data + n, bytes.begin() + put);
    put += n;
    return n;
  }
  std::uint32_t vGet(std::uint8_t* dest, std::uint32_t n) override {
    n = std::min(n, Size() - get);
    std::copy(bytes.begin() + get, bytes.begin() + get + n, dest);
    get += n;
    return n;
  }
  std::uint32_t vSeekG(std::int32_t off, Dir dir) override { return get = Seek(get, off, dir); }
  std::uint32_t vSeekP(std::int32_t off, Dir dir) override { return Writable("SeekP"), put = Seek(put, off, dir); }
  std::uint32_t vTellG() override { return get; }
  std::uint32_t vTellP() override { return Writable("TellP"), put; }
  std::uint32_t vSize() override { return Size(); }
  void vClear() override { Refuse("StaticMemoryBuffer::Clear: Not implemented!"); }
  void vClearMemory() override { Refuse("StaticMemoryBuffer::ClearMemory: Not implemented!"); }
  void vClearEnd() override { Refuse("StaticMemoryBuffer::ClearEnd: Not implemented!"); }
  // Units from twice the get position, as far as the block goes.
  std::uint32_t CopyW(std::wstring& out, std::uint32_t n) override {
    n = std::min(n, Size() - get);
    for (std::uint32_t i = 0; i + 1 < n && 2 * get + i + 1 < Size(); i += 2)
      out += static_cast<wchar_t>(bytes[2 * get + i] | bytes[2 * get + i + 1] << 8);
    get += n;
    return n;
  }
  std::uint32_t CopyInto(Model& dest, std::uint32_t n) override {
    const std::uint32_t taken = dest.vPut(bytes.data() + get, std::min(n, Size() - get));
    get += taken;
    return taken;
  }
  std::string Extra() override { return std::string(bytes.begin(), bytes.end()); }
  Bytes bytes;
  bool constant;
  std::uint32_t get = 0, put = 0;
};

// The bytes of a MemoryBuffer, read from 0 with the get position put back
// (when it can be: ClearEnd may leave it beyond the size).
inline std::string Contents(ORV::BinaryStreamBuf& b) {
  const std::uint32_t get = b.vTellG();
  if (get > b.vSize()) return "(get beyond the size)";
  std::string out;
  b.vSeekG(0, Dir::Begin), b.vCopy(out, ORV::BinaryStreamBuf::kAll),
      b.vSeekG(static_cast<std::int32_t>(get), Dir::Begin);
  return out;
}

// One real buffer and its model; extra gives the real side of Model::Extra.
struct Pair {
  std::unique_ptr<ORV::BinaryStreamBuf> real;
  std::unique_ptr<Model> model;
  std::function<std::string()> extra;
  std::function<void(std::uint32_t)> peekUnder;  // optional: Peek on the buffer beneath
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

  // ops operations on pairs from fresh(), a new pair every episode operations.
  void Run(int ops, int episode, const std::function<Pair(Driver&)>& fresh);

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
  // Size, get and put positions, end of file and look-ahead count.
  template <class B>
  static std::string State(B& b, std::size_t ahead) {
    return Try([&] { return b.vSize(); }) + "/" + Try([&] { return b.vTellG(); }) + "/" +
           Try([&] { return b.vTellP(); }) + "/" + std::to_string(b.vEndOfFile()) + "/" + std::to_string(ahead);
  }
  bool Step(Pair& p, std::string& op);

  std::mt19937 rng_;
  std::uint32_t seed_;
  std::string results_[2];            // of the last step: real, model
  ORVFile::MemoryBuffer realMem_{5};  // copy destinations: one that takes everything,
  MemModel modelMem_{5};
  Bytes block_ = Bytes(24);  // and one that fills up
  ORVFile::StaticMemoryBuffer realFixed_{block_.data(), 24};
  StaticModel modelFixed_{block_, false};
};

inline void Driver::Run(int ops, int episode, const std::function<Pair(Driver&)>& fresh) {
  Pair p;
  for (int step = 0; step < ops; ++step) {
    if (step % episode == 0) {
      if (Contents(realMem_) != std::string(modelMem_.bytes.begin(), modelMem_.bytes.end())) {
        ADD_FAILURE() << "seed " << seed_ << " before step " << step << ": the bytes copied differ";
        return;
      }
      realMem_.vClear(), modelMem_.vClear();
      p = fresh(*this);
    }
    std::string op;
    const bool same = Step(p, op);
    const std::string real = State(*p.real, p.real->LookAheadCount()) + " " + p.extra();
    const std::string expected = State(*p.model, p.model->store.size()) + " " + p.model->Extra();
    if (!same || real != expected) {
      ADD_FAILURE() << "seed " << seed_ << " step " << step << " " << op
                    << (same ? "" : ": results differ, " + results_[0] + " against " + results_[1])
                    << "\n real:  " << Shown(real) << "\n model: " << Shown(expected);
      return;
    }
  }
}

// One random operation on both sides; false when their results differ.
inline bool Driver::Step(Pair& p, std::string& op) {
  ORV::BinaryStreamBuf& real = *p.real;
  Model& m = *p.model;
  const std::uint32_t n = Below(41);
  const std::int32_t size = static_cast<std::int32_t>(m.vSize());
  const std::int32_t off = static_cast<std::int32_t>(Below(2 * size + 61)) - size - 30;
  // Now and then 3, the one unknown value the enum can hold.
  const Dir dir = static_cast<Dir>(Below(10) == 0 ? 3 : Below(3));
  const Bytes data = Random(n);
  std::uint8_t got[64] = {}, want[64] = {};
  std::string& r = results_[0];
  std::string& e = results_[1];
  const auto both = [&](const char* name, auto&& onReal, auto&& onModel) {
    op = std::string(name) + " n " + std::to_string(n) + " offset " + std::to_string(off) + " direction " +
         std::to_string(dir);
    r = Try(onReal), e = Try(onModel);
  };
  switch (Below(16)) {
    case 0:
    case 1:
      both(
          "Put", [&] { return real.vPut(data.data(), n); }, [&] { return m.vPut(data.data(), n); });
      break;
    case 2:
    case 3: {
      both(
          "Get", [&] { return real.Get(got, n); }, [&] { return m.Get(want, n); });
      return r == e && std::memcmp(got, want, sizeof got) == 0;
    }
    case 4:
      both(
          "Peek", [&] { return real.Peek(got, n % 20); }, [&] { return m.Peek(n % 20); });
      break;
    case 5:
    case 6:
      both(
          "SeekG", [&] { return real.vSeekG(off, dir); }, [&] { return m.vSeekG(off, dir); });
      break;
    case 7:
    case 8:
      both(
          "SeekP", [&] { return real.vSeekP(off, dir); }, [&] { return m.vSeekP(off, dir); });
      break;
    case 9:
      if (size > 200)
        real.vSeekP(static_cast<std::int32_t>(n), Dir::Begin), m.vSeekP(static_cast<std::int32_t>(n), Dir::Begin);
      both(
          "ClearEnd", [&] { return real.vClearEnd(), 0; }, [&] { return m.vClearEnd(), 0; });
      break;
    case 10: {
      if (Below(4) != 0) return Step(p, op);  // rarely, so that buffers grow
      const bool memory = Below(2) == 0;
      both(
          memory ? "ClearMemory" : "Clear", [&] { return memory ? real.vClearMemory() : real.vClear(), 0; },
          [&] { return memory ? m.vClearMemory() : m.vClear(), 0; });
      break;
    }
    case 11: {
      std::string rs, es;
      both(
          "Copy string", [&] { return real.vCopy(rs, n); },
          [&] {
            const Bytes b = m.CopyBytes(n);
            return es.assign(b.begin(), b.end()).size();
          });
      return r == e && rs == es;
    }
    case 12: {
      std::wstring rs, es;
      both(
          "Copy wstring", [&] { return real.vCopy(rs, n); }, [&] { return m.CopyW(es, n); });
      return r == e && rs == es;
    }
    case 13:
      both(
          "Copy into MemoryBuffer", [&] { return real.vCopy(realMem_, n); }, [&] { return m.CopyInto(modelMem_, n); });
      break;
    case 14:
      realFixed_.vSeekP(off, Dir::Begin), modelFixed_.vSeekP(off, Dir::Begin);
      both(
          "Copy into a filling StaticMemoryBuffer", [&] { return real.vCopy(realFixed_, n); },
          [&] { return m.CopyInto(modelFixed_, n); });
      return r == e && block_ == modelFixed_.bytes;
    default:
      if (!p.peekUnder) return Step(p, op);
      op = "Peek beneath " + std::to_string(n % 20);
      p.peekUnder(n % 20);
      break;
  }
  return r == e;
}

}  // namespace model
