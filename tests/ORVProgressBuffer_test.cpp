#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "ORVBinaryStreamMemory.h"
#include "ORVProgressBuffer.h"

using ORV::BinaryStreamMemory;
using ORVFile::IProgressBuffer;
using ORVFile::OProgressBuffer;
using ORVFile::ProgressBuffer;
using Fractions = std::vector<double>;

namespace {

struct Recorder : ORV::LogEntryCallInterface {
  void Progress(double fraction) override { reports.push_back(fraction); }
  Fractions reports;
};

struct Callback {
  Recorder* recorder = new Recorder;
  ORV::SmartPtr<ORV::LogEntryCallInterface> handle{recorder};
};

std::vector<unsigned char> Pattern(std::uint32_t size) {
  std::vector<unsigned char> bytes(size);
  for (std::uint32_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + i / 251);
  return bytes;
}

}  // namespace

TEST(ProgressBuffer, UpdateChunkIsTotalOverStepsButNeverBelow4096) {
  BinaryStreamMemory sized(Pattern(1 << 20).data(), 1 << 20);
  EXPECT_EQ(OProgressBuffer(sized, nullptr, 100000, 3).UpdateChunk(), 33333u);
  EXPECT_THROW(OProgressBuffer(sized, nullptr, 10000, 0), std::invalid_argument);
  BinaryStreamMemory sink;  // a report is due at once; the null callback takes it silently
  EXPECT_EQ(OProgressBuffer(sink, nullptr, 1, 1).Put(Pattern(4096).data(), 4096), 4096u);
  ProgressBuffer plain(sized, nullptr, 100);
  plain.UpdateChunk(4095);
  EXPECT_EQ(plain.UpdateChunk(), 4096u);
}

TEST(ProgressBuffer, OutputReportsCountedBytesCappedAtOne) {
  const struct {
    std::uint32_t total, steps;
    std::vector<std::uint32_t> puts;
    Fractions reports;
  } rows[] = {
      {10000, 100, {20000}, {1.0}},
      {10000, 100, std::vector<std::uint32_t>(12, 1000), {0.5, 1.0}},
      {10000, 100, {4095, 1, 4095, 1}, {0.4096, 0.8192}},  // exactly at the mark reports
      {40000, 4, {10000, 10000, 10000, 10000}, {0.25, 0.5, 0.75, 1.0}},
      {0, 1, {4096, 4096}, {1.0, 1.0}},  // no total: complete at each due report
  };
  const std::vector<unsigned char> data = Pattern(20000);
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(i);
    Callback callback;
    BinaryStreamMemory sink;
    OProgressBuffer progress(sink, callback.handle, rows[i].total, rows[i].steps);
    std::uint32_t written = 0;
    for (std::uint32_t n : rows[i].puts) {
      EXPECT_EQ(progress.Put(data.data(), n), n);
      written += n;
    }
    EXPECT_EQ(callback.recorder->reports, rows[i].reports);
    EXPECT_EQ(callback.recorder->NbRef(), 2);  // the caller's and the buffer's
    ASSERT_EQ(sink.Size(), written);
    EXPECT_TRUE(std::equal(sink.Bytes().begin(), sink.Bytes().begin() + rows[i].puts[0], data.begin()));
  }
}

TEST(ProgressBuffer, InputReportsPositionBeforeTheReadUnclamped) {
  const struct {
    std::uint32_t size, total, steps, read;
    Fractions reports;
  } rows[] = {
      {10000, 10000, 100, 3000, {0.3, 0.9}},             // lags one read behind; the read at the end asks too little
      {10000, 10000, 100, 4096, {0.4096, 0.8192, 1.0}},  // none at 0; 1.0 from the read that finds the end
      {20000, 5000, 1, 5000, {1.0, 2.0, 3.0, 4.0}},      // more data than the total: beyond 1
      {20000, 0, 4, 5000, {0.25, 0.5, 0.75, 1.0}},       // total from the size
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(i);
    const std::vector<unsigned char> data = Pattern(rows[i].size);
    BinaryStreamMemory source(data.data(), rows[i].size);
    unsigned char peeked[16];
    source.Peek(peeked, 16);  // the position must count the wrapped look-ahead store back
    Callback callback;
    IProgressBuffer progress(source, callback.handle, rows[i].total, rows[i].steps);
    std::vector<unsigned char> read(rows[i].size + rows[i].read);
    std::uint32_t got = 0;
    while (std::uint32_t piece = progress.Get(read.data() + got, rows[i].read)) got += piece;
    EXPECT_EQ(got, rows[i].size);
    EXPECT_TRUE(std::equal(data.begin(), data.end(), read.begin()));
    EXPECT_EQ(callback.recorder->reports, rows[i].reports);
  }
}
