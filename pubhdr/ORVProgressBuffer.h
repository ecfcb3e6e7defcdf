/// \class ORVFile::ProgressBuffer
/// ProgressBuffer, OProgressBuffer, IProgressBuffer: wrappers that pass the
/// bytes of another buffer through unchanged and tell a LogEntryCallInterface
/// how far a long write (OProgressBuffer) or read (IProgressBuffer) has come,
/// as a fraction of a total byte count the caller gives. Every operation but
/// the write (vPut) of the output form and the read (vGet) of the input form
/// goes straight to the wrapped buffer (see ORVBinaryStreamBufWrapper.h), so
/// Copy does not report: use Get or Put to be told.
///
/// Ownership: the wrapped buffer is borrowed and must outlive the wrapper. The
/// callback is shared: the wrapper holds its own reference from construction
/// to destruction. A null callback reports nothing; the counting goes on the
/// same. One thread at a time; the callback runs on that thread, inside the
/// Put or Get that triggered it, and what it throws leaves through that call
/// (the bytes have then already gone through).
///
/// Reports come at most once per update chunk: total / steps bytes, but never
/// fewer than 4096 (steps 0 throws std::invalid_argument: it is a caller's
/// mistake, not a failure of the file system):
/// ~~~
///   total 10000 in 100 steps  ->  a chunk of 4096, not 100
/// ~~~
///
/// Output: after each Put the requested byte count is added to a counter
/// (requested, not taken: a partial put that SafePut then completes is counted
/// twice); once the counter reaches the mark, counter / total is reported,
/// capped at 1.0, and the mark moves to counter + chunk:
/// ~~~
///   total 10000, one Put of 20000 bytes   ->  1.0
///   total 10000, Puts of 1000 bytes       ->  0.5 (at 5000), 1.0 (at 10000)
/// ~~~
/// A total of 0 reports 1.0 at each due report.
///
/// Input: the report gives the wrapped buffer's caller position (TellG, its
/// look-ahead store counted back) taken *before* the read that triggers it,
/// and is not capped: a buffer that holds more than the total reports more
/// than 1.0. A report is due when the bytes requested since the last one reach
/// the chunk and the position has moved past that of the last report:
/// ~~~
///   10000 bytes, total 10000, reads of 3000  ->  0.3 (read at 3000), 0.9 (read at 9000)
/// ~~~
/// so the last report lags one read behind and 1.0 comes only from a read at
/// the end. A total of 0 stands for the wrapped buffer's size at construction
/// (the chunk is then size / steps, at least 4096); with both 0 the reports are
/// +infinity.
#pragma once

#include <cstdint>

#include "ORVBinaryStreamBufWrapper.h"
#include "ORVFileDefs.h"
#include "ORVLogEntryCallInterface.h"

namespace ORVFile {

using ORV::LogEntryCallInterface;

class ORVFILE_API ProgressBuffer : public ORV::BinaryStreamBufWrapper {
 public:
  /// The smallest update chunk; a smaller one asked for is raised to it.
  static constexpr std::uint32_t kMinUpdateChunk = 4096;

  /// updateChunk is raised to kMinUpdateChunk when below.
  ProgressBuffer(ORV::BinaryStreamBuf& buffer, const SmartPtr<LogEntryCallInterface>& callback,
                 std::uint32_t updateChunk);
  ~ProgressBuffer() override;

  /// The bytes at least between two reports; never below kMinUpdateChunk.
  std::uint32_t UpdateChunk() const;
  /// Sets the chunk to n, or to kMinUpdateChunk when n is below it.
  void UpdateChunk(std::uint32_t n);

 protected:
  /// total / steps; std::invalid_argument for steps 0.
  static std::uint32_t ChunkOf(std::uint32_t total, std::uint32_t steps, const char* what);
  /// part / total, +infinity for a total of 0.
  static double Fraction(std::uint32_t part, std::uint32_t total);
  /// Passes fraction to the callback, if there is one.
  void Report(double fraction);

  SmartPtr<LogEntryCallInterface> m_callback;  ///< may be null: nothing is reported
  std::uint32_t m_updateChunk;                 ///< see UpdateChunk()
  std::uint32_t m_counter = 0;                 ///< bytes requested since the last report (output: since the start)
  std::uint32_t m_total = 0;                   ///< the byte count that stands for 1.0
  std::uint32_t m_mark = 0;                    ///< output: counter due for the next report; input: position at the last
};

/// Reports the progress of writes; see the top of this header.
class ORVFILE_API OProgressBuffer : public ProgressBuffer {
 public:
  /// total: the bytes that stand for 1.0; steps: reports wanted over total,
  /// which sets the chunk to total / steps (at least kMinUpdateChunk).
  /// std::invalid_argument for steps 0.
  OProgressBuffer(ORV::BinaryStreamBuf& buffer, const SmartPtr<LogEntryCallInterface>& callback, std::uint32_t total,
                  std::uint32_t steps);
  ~OProgressBuffer() override;

  std::uint32_t vPut(const void* data, std::uint32_t count) override;
};

/// Reports the progress of reads; see the top of this header.
class ORVFILE_API IProgressBuffer : public ProgressBuffer {
 public:
  /// As OProgressBuffer's, but total 0 stands for the wrapped buffer's size
  /// now. std::invalid_argument for steps 0.
  IProgressBuffer(ORV::BinaryStreamBuf& buffer, const SmartPtr<LogEntryCallInterface>& callback, std::uint32_t total,
                  std::uint32_t steps);
  ~IProgressBuffer() override;

  std::uint32_t vGet(void* dest, std::uint32_t count) override;
};

}  // namespace ORVFile
