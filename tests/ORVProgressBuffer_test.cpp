// The progress wrappers: the chunk between reports, then one table of writes
// and reads in even pieces with the fractions each must report.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "ORVBinaryStreamMemory.h"
#include "ORVProgressBuffer.h"

using ORV::BinaryStreamMemory;
using ORVFile::IProgressBuffer;
using ORVFile::OProgressBuffer;

namespace {

struct Recorder : ORV::LogEntryCallInterface {
  void Progress(double fraction) override { reports.push_back(fraction); }
  std::vector<double> reports;
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
  ORVFile::ProgressBuffer plain(sized, nullptr, 100);
  plain.UpdateChunk(4095);
  EXPECT_EQ(plain.UpdateChunk(), 4096u);
}

// Writes report the bytes counted so far, capped at 1; reads report the
// position before the read, not capped, each read asking for a whole piece.
TEST(ProgressBuffer, ReportsTheFractionsOfWritesAndReads) {
  const struct {
    bool read;
    std::uint32_t size, total, steps, piece;
    std::vector<double> reports;
  } rows[] = {
      {false, 20000, 10000, 100, 20000, {1.0}},
      {false, 12000, 10000, 100, 1000, {0.5, 1.0}},
      {false, 8192, 10000, 100, 4096, {0.4096, 0.8192}},  // exactly at the mark reports
      {false, 40000, 40000, 4, 10000, {0.25, 0.5, 0.75, 1.0}},
      {false, 8192, 0, 1, 4096, {1.0, 1.0}},                   // no total: complete at each due report
      {true, 10000, 10000, 100, 3000, {0.3, 0.9}},             // lags one read behind; the last read asks too little
      {true, 10000, 10000, 100, 4096, {0.4096, 0.8192, 1.0}},  // none at 0; 1.0 from the read that finds the end
      {true, 20000, 5000, 1, 5000, {1.0, 2.0, 3.0, 4.0}},      // more data than the total: beyond 1
      {true, 20000, 0, 4, 5000, {0.25, 0.5, 0.75, 1.0}},       // total from the size
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.read << " " << row.size << " " << row.piece);
    const std::vector<unsigned char> data = Pattern(row.size);
    auto* recorder = new Recorder;
    const ORV::SmartPtr<ORV::LogEntryCallInterface> callback(recorder);
    std::vector<unsigned char> moved(row.size + row.piece);
    if (row.read) {
      BinaryStreamMemory source(data.data(), row.size);
      unsigned char peeked[16];
      source.Peek(peeked, 16);  // the position must count the wrapped look-ahead store back
      IProgressBuffer progress(source, callback, row.total, row.steps);
      std::uint32_t got = 0;
      while (std::uint32_t piece = progress.Get(moved.data() + got, row.piece)) got += piece;
      EXPECT_EQ(got, row.size);
    } else {
      BinaryStreamMemory sink;
      OProgressBuffer progress(sink, callback, row.total, row.steps);
      for (std::uint32_t done = 0; done < row.size; done += row.piece)  // the writes' sizes divide the size
        EXPECT_EQ(progress.Put(data.data() + done, row.piece), row.piece);
      EXPECT_EQ(recorder->NbRef(), 2);  // the caller's and the buffer's
      std::copy(sink.Bytes().begin(), sink.Bytes().end(), moved.begin());
      EXPECT_EQ(sink.Size(), row.size);
    }
    EXPECT_TRUE(std::equal(data.begin(), data.end(), moved.begin()));
    EXPECT_EQ(recorder->reports, row.reports);
  }
}
