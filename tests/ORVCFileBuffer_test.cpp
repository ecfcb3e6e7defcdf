// The adapters: OCFileBuffer and ICFileBuffer over a file handle, OStreamBuffer
// and IStreamBuffer over standard streams: the seek checks of the file
// adapters, a round trip through a file from the memory buffers, failed streams.
#include "win32.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <sstream>
#include <string>

#include "ORVCFile.h"
#include "ORVCFileBuffer.h"
#include "ORVFileTestSupport.h"
#include "ORVMemoryBuffer.h"
#include "ORVNotImplemented.h"
#include "ORVStaticMemoryBuffer.h"
#include "ORVStreamBuffer.h"

namespace {

using Buf = ORV::BinaryStreamBuf;
using ORVFile::CFile;
using ORVFile::ICFileBuffer;
using ORVFile::IStreamBuffer;
using ORVFile::OCFileBuffer;
using ORVFile::OpenMode;
using ORVFile::OStreamBuffer;
using orvtest::Catch;

class CFileBufferTest : public orvtest::TempDirTest {};

// A negative offset is made absolute; one that would reach before the start
// is the seek error (ERROR_NEGATIVE_SEEK recorded), the position unmoved. Both
// file adapters, alike.
TEST_F(CFileBufferTest, FileAdapterSeeks) {
  Put("f", std::string(30, 'x'));
  const std::string error = "FileException 11 ORVCFileBuffer.cpp 131";
  const std::tuple<std::uint32_t, std::int32_t, Buf::Direction, std::string> rows[] = {
      {4, -10, Buf::Current, error}, {20, -10, Buf::Current, "10"}, {5, -1, Buf::Begin, error},
      {5, -30, Buf::End, "0"},       {5, -31, Buf::End, error},     {5, 5, Buf::End, "35"}};
  CFile file(P("f"));
  OCFileBuffer out(file);
  ICFileBuffer in(file);
  for (std::size_t i = 0; i < std::size(rows) * 2; ++i) {
    const auto [from, offset, direction, expected] = rows[i / 2];
    file.Open(OpenMode::ReadWrite);
    file.Seek(from, ORVFile::SeekMethod::Begin);
    std::uint32_t to = from;
    const auto r = Catch([&, offset = offset, direction = direction] {
      to = i % 2 == 0 ? out.vSeekP(offset, direction) : in.vSeekG(offset, direction);
    });
    const std::string why =
        r.type + " " + std::to_string(r.number) + " " + r.source + " " + std::to_string(r.lastError);
    EXPECT_EQ(r.type.empty() ? std::to_string(to) : why, expected) << i;
    EXPECT_EQ(file.Tell(), to) << i;
  }
  file.Close();
  Remove("f");
}

// A file adapter that notes the largest piece it is given.
struct PieceSpy : OCFileBuffer {
  using OCFileBuffer::OCFileBuffer;
  std::uint32_t vPut(const void* data, std::uint32_t count) override {
    largest = std::max(largest, count);
    return OCFileBuffer::vPut(data, count);
  }
  std::uint32_t largest = 0;
};

// The memory buffers hand a file adapter pieces of 32 KiB at most.
TEST_F(CFileBufferTest, RoundTripThroughAFileInPiecesOf32KiBAtMost) {
  std::string bytes(100000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
  ORVFile::MemoryBuffer chunked(bytes.data(), 100000, 65536);
  ORVFile::StaticMemoryBuffer fixed(static_cast<const void*>(bytes.data()), 100000);
  for (Buf* source : {static_cast<Buf*>(&chunked), static_cast<Buf*>(&fixed)}) {
    CFile scratch(P("scratch")), file(P("f"));
    file.Open(OpenMode::CreateReadWrite);
    PieceSpy out(scratch);
    out.SetCFile(file);
    EXPECT_EQ(source->Copy(out), bytes.size());
    EXPECT_EQ(out.largest, 32768u);
    out.vSeekP(1000, Buf::Begin);
    EXPECT_EQ(out.vSize(), bytes.size());
    EXPECT_EQ(out.vTellP(), 1000u);  // vSize leaves the position where it was
    file.Open(OpenMode::OpenRead);
    ICFileBuffer in(file);
    EXPECT_EQ(out.Capabilities() * 10 + in.Capabilities(), 23);
    std::string back;
    EXPECT_EQ(in.Copy(back), bytes.size());
    EXPECT_EQ(back, bytes);
    EXPECT_TRUE(in.vEndOfFile());
    file.Close();
  }
  Remove("f");
}

TEST(StreamBufferTest, OnGoodAndFailedStreamsAndOwningOnlyWhenTold) {
  static int s_gone = 0;
  struct Out : std::ostringstream {
    ~Out() override { ++s_gone; }
  };
  Out kept;
  { OStreamBuffer borrowed(kept); }
  auto* os = new Out;
  {
    OStreamBuffer out(os, true);
    out.vPut("hello world", 11);
    EXPECT_EQ(out.vSeekP(-5, Buf::End), 6u);
    out.vPut("W", 1);
    EXPECT_EQ(out.vSize() * 100 + out.vTellP(), 1107u);  // vSize leaves the position where it was
    EXPECT_EQ(os->str(), "hello World");
    os->setstate(std::ios_base::failbit);  // unknown positions, and vPut still says it took all
    EXPECT_EQ(std::to_string(out.vTellP()) + " " + std::to_string(out.vSize()) + " " + std::to_string(out.vPut("x", 1)),
              "4294967295 4294967295 1");
  }
  EXPECT_EQ(s_gone, 1);
  std::istringstream is(std::string("abcdefghijklmnopqrstuvwxyz0123"));
  IStreamBuffer in(is);
  EXPECT_EQ(in.Capabilities() * 10 + OStreamBuffer(kept).Capabilities(), 32);
  char buffer[100];
  EXPECT_EQ(in.vGet(buffer, 100), 30u);
  EXPECT_TRUE(in.vEndOfFile());
  EXPECT_EQ(in.vTellG(), 0xFFFFFFFFu);        // the short read set the fail bit too
  EXPECT_EQ(in.vSeekG(10, Buf::Begin), 10u);  // seeking clears the end-of-file state first
  EXPECT_EQ(std::string(buffer, in.vGet(buffer, 5)), "klmno");
}

// Each adapter works one way: every operation of the other side, and every
// clear, is refused with NotImplemented and leaves the medium alone.
TEST_F(CFileBufferTest, TheOtherSideIsRefused) {
  Put("f", "abc");
  CFile file(P("f"));
  file.Open(OpenMode::ReadWrite);
  std::stringstream stream("abc");
  OCFileBuffer fileOut(file);
  ICFileBuffer fileIn(file);
  OStreamBuffer streamOut(stream);
  IStreamBuffer streamIn(stream);
  char byte = 0;
  const std::function<void(Buf&)> operations[] = {
      [&](Buf& b) { b.vGet(&byte, 1); }, [](Buf& b) { b.vTellG(); },       [](Buf& b) { b.vSeekG(0, Buf::Begin); },
      [&](Buf& b) { b.vPut(&byte, 1); }, [](Buf& b) { b.vTellP(); },       [](Buf& b) { b.vSeekP(0, Buf::Begin); },
      [](Buf& b) { b.vClear(); },        [](Buf& b) { b.vClearMemory(); }, [](Buf& b) { b.vClearEnd(); }};
  for (Buf* buffer : std::initializer_list<Buf*>{&fileOut, &streamOut, &fileIn, &streamIn}) {
    const std::size_t ownSide = buffer == &fileIn || buffer == &streamIn ? 0 : 1;  // the rows of three above
    for (std::size_t i = 0; i < std::size(operations); ++i) {
      if (i / 3 == ownSide) continue;
      EXPECT_THROW(operations[i](*buffer), ORVFile::NotImplemented) << i;
    }
  }
  file.Close();
  EXPECT_EQ(Got("f") + stream.str(), "abcabc");
  Remove("f");
}

}  // namespace
