// Owners of the kernel objects that the file handle (ORVCFile.h) and the
// memory-mapped file (ORVMemoryMapFile.h) open: the base library's
// ScopedHandle, closing through the library's table of file calls so that a
// test can watch or fail the close. SeamHandle closes files, events and
// mappings (CloseHandle), SeamView unmaps a view (UnmapViewOfFile). Closing
// keeps the thread's last error. Move-only; one owner per object, one thread.
#pragma once

#include "ORVFileDefs.h"
#include "ORVHandle.h"

namespace ORVFile::detail {

ORVFILE_API void CloseSeamHandle(void* handle) noexcept;
ORVFILE_API void UnmapSeamView(void* address) noexcept;

struct SeamHandleTraits {
  static void Close(void* handle) noexcept { CloseSeamHandle(handle); }
};
struct SeamViewTraits {
  static void Close(void* address) noexcept { UnmapSeamView(address); }
};

using SeamHandle = ORV::ScopedHandle<SeamHandleTraits>;
using SeamView = ORV::ScopedHandle<SeamViewTraits>;

}  // namespace ORVFile::detail
