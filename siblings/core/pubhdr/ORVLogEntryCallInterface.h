/// \class ORV::LogEntryCallInterface
/// LogEntryCallInterface: the callback through which a long operation tells
/// its caller how far it has come. The caller derives from it, implements
/// Progress, creates the object with new and hands it over in a SmartPtr; each
/// reporter keeps its own reference for as long as it may call, so the object
/// lives until the last reporter and the caller have let go of it.
///
/// Progress runs synchronously on the thread that does the work, inside the
/// call that made progress (for the progress buffers of ORVFile160NT: the Put
/// or Get on the buffer), so it should be quick. An exception it throws leaves
/// through that call. The fraction is usually between 0 and 1; a reader whose
/// data grew beyond the total it was given may report more than 1.
///
/// Counting is interlocked (RefCounted), so references may be taken and
/// dropped on any thread. Progress itself is not synchronised: an object that
/// reporters on several threads share must guard its own state.
#pragma once

#include "ORVCoreDefs.h"
#include "ORVRefCount.h"

namespace ORV {

class ORV_CORE_API LogEntryCallInterface : public RefCounted {
 public:
  /// fraction: the part of the work done, 1.0 for all of it.
  virtual void Progress(double fraction) = 0;

 protected:
  LogEntryCallInterface() noexcept;
  ~LogEntryCallInterface() override;
};

}  // namespace ORV
