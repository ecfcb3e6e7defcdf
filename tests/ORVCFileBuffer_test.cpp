// The adapters: OCFileBuffer and ICFileBuffer over a file handle, OStreamBuffer
// and IStreamBuffer over standard streams. Their exact "Not implemented!"
// texts, the seek checks of the file adapters, a round trip through a file,
// and the stream adapters' answers on good and failed streams.
#include "win32.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <sstream>
#include <string>

#include "ORVBinaryStreamMemory.h"
#include "ORVCFile.h"
#include "ORVCFileBuffer.h"
#include "ORVFileTestSupport.h"
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

TEST_F(CFileBufferTest, UnsupportedOperationsAndTheirTexts) {
  CFile file(P("f"));
  OCFileBuffer out(file);
  ICFileBuffer in(file);
  std::ostringstream os;
  std::istringstream is;
  OStreamBuffer streamOut(os);
  IStreamBuffer streamIn(is);
  EXPECT_EQ(out.Capabilities(), 2);
  EXPECT_EQ(streamOut.Capabilities(), 2);
  EXPECT_EQ(in.Capabilities(), 3);
  EXPECT_EQ(streamIn.Capabilities(), 3);
  char byte = 0;
  const std::pair<std::function<void()>, const char*> rows[] = {
      {[&] { out.vGet(&byte, 1); }, "OCFileBuffer::Get : Not implemented!"},
      {[&] { out.vTellG(); }, "OCFileBuffer::TellG : Not implemented!"},
      {[&] { out.vSeekG(0, Buf::Begin); }, "OCFileBuffer::SeekG : Not implemented!"},
      {[&] { out.vClear(); }, "OCFileBuffer::Clear : Not implemented!"},
      {[&] { out.vClearMemory(); }, "OCFileBuffer::ClearClearMemory : Not implemented!"},
      {[&] { out.vClearEnd(); }, "OCFileBuffer::ClearEnd : Not implemented!"},
      {[&] { in.vPut(&byte, 1); }, "ICFileBuffer::SeekP: Not implemented!"},
      {[&] { in.vSeekP(0, Buf::Begin); }, "ICFileBuffer::SeekP: Not implemented!"},
      {[&] { in.vTellP(); }, "PCFileBuffer::TellP : Not implemented!"},
      {[&] { in.vClear(); }, "ICFileBuffer::Clear : Not implemented!"},
      {[&] { in.vClearMemory(); }, "ICFileBuffer::ClearMemory : Not implemented!"},
      {[&] { in.vClearEnd(); }, "ICFileBuffer::ClearEnd : Not implemented!"},
      {[&] { streamOut.vGet(&byte, 1); }, "OStreamBuffer::Get : Not implemented!"},
      {[&] { streamOut.vTellG(); }, "OStreamBuffer::TellG : Not implemented!"},
      {[&] { streamOut.vSeekG(0, Buf::Begin); }, "OStreamBuffer::SeekG : Not implemented!"},
      {[&] { streamOut.vClear(); }, "OStreamBuffer::Clear : Not implemented!"},
      {[&] { streamOut.vClearMemory(); }, "OStreamBuffer::ClearMemory : Not implemented!"},
      {[&] { streamOut.vClearEnd(); }, "OStreamBuffer::ClearEnd : Not implemented!"},
      {[&] { streamIn.vPut(&byte, 1); }, "IStreamBuffer::SeekP: Not implemented!"},
      {[&] { streamIn.vSeekP(0, Buf::Begin); }, "IStreamBuffer::SeekP: Not implemented!"},
      {[&] { streamIn.vTellP(); }, "PStreamBuffer::TellP : Not implemented!"},
      {[&] { streamIn.vClear(); }, "IStreamBuffer::Clear : Not implemented!"},
      {[&] { streamIn.vClearMemory(); }, "IStreamBuffer::ClearMemory : Not implemented!"},
      {[&] { streamIn.vClearEnd(); }, "IStreamBuffer::ClearEnd : Not implemented!"},
  };
  for (const auto& [operation, text] : rows) {
    try {
      operation();
      ADD_FAILURE() << "nothing thrown, expected " << text;
    } catch (const ORV::BaseException& e) {
      ADD_FAILURE() << "a file exception, expected the standard one: " << text;
    } catch (const std::exception& e) {
      EXPECT_STREQ(e.what(), text);
    }
  }
}

// A negative offset is made absolute; one that would reach before the start
// is the seek error, the position unmoved. Both file adapters, alike.
TEST_F(CFileBufferTest, FileAdapterSeeks) {
  Put("f", std::string(30, 'x'));
  struct Row {
    std::uint32_t from;
    std::int32_t offset;
    Buf::Direction direction;
    std::int64_t to;  // -1: the seek error
  };
  const Row rows[] = {
      {4, -10, Buf::Current, -1}, {20, -10, Buf::Current, 10}, {20, -20, Buf::Current, 0}, {7, 3, Buf::Current, 10},
      {5, -1, Buf::Begin, -1},    {5, 12, Buf::Begin, 12},     {5, -10, Buf::End, 20},     {5, -30, Buf::End, 0},
      {5, -31, Buf::End, -1},     {5, 5, Buf::End, 35},
  };
  CFile file(P("f"));
  OCFileBuffer out(file);
  ICFileBuffer in(file);
  for (std::size_t i = 0; i < std::size(rows) * 2; ++i) {
    const Row& row = rows[i / 2];
    const bool output = i % 2 == 0;
    SCOPED_TRACE(testing::Message() << "row " << i / 2 << (output ? " vSeekP" : " vSeekG"));
    ASSERT_EQ(file.Open(OpenMode::ReadWrite), 30u);
    file.Seek(row.from, ORVFile::SeekMethod::Begin);
    std::uint32_t to = 0;
    const orvtest::Raised raised =
        Catch([&] { to = output ? out.vSeekP(row.offset, row.direction) : in.vSeekG(row.offset, row.direction); });
    if (row.to < 0) {
      EXPECT_EQ(raised.type, "FileException");
      EXPECT_EQ(raised.number, 11u);
      EXPECT_EQ(raised.source, "ORVCFileBuffer.cpp");
      EXPECT_EQ(raised.lastError, static_cast<DWORD>(ERROR_NEGATIVE_SEEK));
      const std::string path = P("f");
      EXPECT_EQ(raised.what,
                L"An error occurred while seeking in the file " + std::wstring(path.begin(), path.end()) + L".");
      EXPECT_EQ(file.Tell(), row.from);
    } else {
      EXPECT_EQ(raised.type, "");
      EXPECT_EQ(to, row.to);
      EXPECT_EQ(output ? out.vTellP() : in.vTellG(), row.to);
    }
  }
  file.Close();
  Remove("f");
}

TEST_F(CFileBufferTest, RoundTripThroughAFile) {
  std::string bytes(100000, '\0');
  std::mt19937 random(5);
  for (char& c : bytes) c = static_cast<char>(random());
  ORV::BinaryStreamMemory source(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  CFile scratch(P("scratch")), file(P("f"));
  file.Open(OpenMode::CreateReadWrite);
  OCFileBuffer out(scratch);
  out.SetCFile(file);
  EXPECT_EQ(source.Copy(out), bytes.size());
  out.vSeekP(1000, Buf::Begin);
  EXPECT_EQ(out.vSize(), bytes.size());
  EXPECT_EQ(out.vTellP(), 1000u);  // vSize leaves the position where it was
  file.Open(OpenMode::OpenRead);
  ICFileBuffer in(file);
  std::string back;
  EXPECT_EQ(in.Copy(back), bytes.size());
  EXPECT_EQ(back, bytes);
  EXPECT_TRUE(in.vEndOfFile());
  file.Close();
  Remove("f");
}

TEST(StreamBufferTest, OnGoodAndFailedStreams) {
  std::ostringstream os;
  OStreamBuffer out(os);
  EXPECT_EQ(out.vPut("hello world", 11), 11u);
  EXPECT_EQ(out.vSeekP(-5, Buf::End), 6u);
  out.vPut("W", 1);
  EXPECT_EQ(out.vSize(), 11u);
  EXPECT_EQ(out.vTellP(), 7u);  // vSize leaves the position where it was
  EXPECT_EQ(os.str(), "hello World");
  // A failed stream: unknown positions, and vPut still says it took all.
  os.setstate(std::ios_base::failbit);
  EXPECT_EQ(out.vTellP(), 0xFFFFFFFFu);
  EXPECT_EQ(out.vSize(), 0xFFFFFFFFu);
  EXPECT_EQ(out.vPut("x", 1), 1u);

  std::istringstream is(std::string("abcdefghijklmnopqrstuvwxyz0123"));
  IStreamBuffer in(is);
  char buffer[100];
  EXPECT_EQ(in.vGet(buffer, 100), 30u);
  EXPECT_TRUE(in.vEndOfFile());
  EXPECT_EQ(in.vTellG(), 0xFFFFFFFFu);  // the short read set the fail bit too
  // Seeking clears an end-of-file state first, the fail bit with it.
  EXPECT_EQ(in.vSeekG(10, Buf::Begin), 10u);
  EXPECT_EQ(in.vGet(buffer, 5), 5u);
  EXPECT_EQ(std::string(buffer, 5), "klmno");
}

TEST(StreamBufferTest, OwnsOnlyWhenTold) {
  static int s_gone = 0;
  struct Out : std::ostringstream {
    ~Out() override { ++s_gone; }
  };
  const auto kept = std::make_unique<Out>();
  { OStreamBuffer buffer(*kept); }
  { OStreamBuffer buffer(kept.get(), false); }
  EXPECT_EQ(s_gone, 0);
  { OStreamBuffer buffer(new Out, true); }
  EXPECT_EQ(s_gone, 1);
}

}  // namespace
