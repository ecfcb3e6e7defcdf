// Definitions shared by the public headers of ORVFile160NT: the export macro
// and the names the library takes from the base library.
#pragma once

#include "ORVBaseDefs.h"
#include "ORVMessageInfo.h"
#include "ORVSmartPtr.h"

#if defined(ORVFILE_BUILD)
#define ORVFILE_API __declspec(dllexport)
#else
#define ORVFILE_API __declspec(dllimport)
#endif

/// The file library ORVFile160NT: paths, file handles, buffers over memory,
/// files and streams, directory walking and watching, and its exceptions.
namespace ORVFile {

using ORV::MessageInfo;
using ORV::SmartPtr;
using ORV::wchar;

}  // namespace ORVFile
