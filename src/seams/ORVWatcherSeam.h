// The watchers' one test seam: how the disk space watcher asks for the free
// bytes of a directory. Production code leaves it at the legacy path's
// GetAvailableDiskSpace; a test swaps it before it creates a watcher and puts
// it back after the watcher is gone, so that free space is what the test says.
// Not installed: only the DLL's sources and the test programs see it.
#pragma once

#include <cstdint>

#include "ORVFileDefs.h"
#include "ORVPath.h"

namespace ORVFile::detail {

using AvailableBytesCall = std::uint64_t (*)(const Path& directory);

AvailableBytesCall AvailableBytes() noexcept;

/// Test-only: the entry the watcher calls through.
ORVFILE_API AvailableBytesCall& AvailableBytesForTesting() noexcept;

}  // namespace ORVFile::detail
