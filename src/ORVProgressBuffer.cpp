#include "ORVProgressBuffer.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>

namespace ORVFile {
namespace {

std::uint32_t TotalOrSize(std::uint32_t total, ORV::BinaryStreamBuf& buffer) {
  return total != 0 ? total : buffer.vSize();
}

}  // namespace

ProgressBuffer::ProgressBuffer(ORV::BinaryStreamBuf& buffer, const SmartPtr<LogEntryCallInterface>& callback,
                               std::uint32_t updateChunk)
    : BinaryStreamBufWrapper(buffer), m_callback(callback), m_updateChunk(std::max(updateChunk, kMinUpdateChunk)) {}

ProgressBuffer::~ProgressBuffer() = default;

std::uint32_t ProgressBuffer::UpdateChunk() const { return m_updateChunk; }

void ProgressBuffer::UpdateChunk(std::uint32_t n) { m_updateChunk = std::max(n, kMinUpdateChunk); }

std::uint32_t ProgressBuffer::ChunkOf(std::uint32_t total, std::uint32_t steps, const char* what) {
  if (steps == 0) throw std::invalid_argument(std::string(what) + ": steps must not be 0");
  return total / steps;  // the base raises it to kMinUpdateChunk
}

double ProgressBuffer::Fraction(std::uint32_t part, std::uint32_t total) {
  // Dividing by a zero total gives +infinity under IEEE rules, but is undefined in C++.
  return total == 0 ? std::numeric_limits<double>::infinity() : static_cast<double>(part) / total;
}

void ProgressBuffer::Report(double fraction) {
  if (m_callback) m_callback->Progress(fraction);
}

OProgressBuffer::OProgressBuffer(ORV::BinaryStreamBuf& buffer, const SmartPtr<LogEntryCallInterface>& callback,
                                 std::uint32_t total, std::uint32_t steps)
    : ProgressBuffer(buffer, callback, ChunkOf(total, steps, "OProgressBuffer")) {
  m_total = total;
  m_mark = m_updateChunk;
}

OProgressBuffer::~OProgressBuffer() = default;

std::uint32_t OProgressBuffer::vPut(const void* data, std::uint32_t count) {
  const std::uint32_t taken = BinaryStreamBufWrapper::vPut(data, count);
  m_counter += count;
  if (m_counter >= m_mark) {
    Report(std::min(Fraction(m_counter, m_total), 1.0));
    m_mark = m_counter + m_updateChunk;
  }
  return taken;
}

IProgressBuffer::IProgressBuffer(ORV::BinaryStreamBuf& buffer, const SmartPtr<LogEntryCallInterface>& callback,
                                 std::uint32_t total, std::uint32_t steps)
    : ProgressBuffer(buffer, callback, ChunkOf(TotalOrSize(total, buffer), steps, "IProgressBuffer")) {
  m_total = TotalOrSize(total, buffer);
}

IProgressBuffer::~IProgressBuffer() = default;

std::uint32_t IProgressBuffer::vGet(void* dest, std::uint32_t count) {
  // Only a read that brings the counter to the chunk can report: the others skip the position query.
  const bool due = static_cast<std::uint32_t>(m_counter + count) >= m_updateChunk;
  // The caller's position, before this read moves it: TellG counts the wrapped look-ahead store back.
  const std::uint32_t position = due ? Wrapped().TellG() : 0;
  const std::uint32_t got = BinaryStreamBufWrapper::vGet(dest, count);
  m_counter += count;
  if (due && position > m_mark) {
    Report(Fraction(position, m_total));
    m_counter = 0;
    m_mark = position;
  }
  return got;
}

}  // namespace ORVFile
