/// \class ORVFile::WPath
/// WPath: the older path class over UTF-16 text, for names the ANSI code page
/// cannot spell. The design, its queries, operations and failures are
/// BasicPath's (ORVBasePath.h), each call made with the wide form of its
/// Win32 or runtime function; narrow text given to it is read in the ANSI
/// code page. Exceptions name ORVWPath.cpp.
#pragma once

#include "ORVBasePath.h"

namespace ORVFile {

ORVFILE_DECLARE_PATH_CLASS(WPath, wchar);

}  // namespace ORVFile
