#include "ORVLogEntryCallInterface.h"

namespace ORV {

LogEntryCallInterface::LogEntryCallInterface() noexcept = default;

LogEntryCallInterface::~LogEntryCallInterface() = default;

}  // namespace ORV
