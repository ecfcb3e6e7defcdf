/// \class ORVFile::Path
/// Path: the older narrow path class, its text in the ANSI code page. The
/// design, its queries, operations and failures are BasicPath's: see
/// ORVBasePath.h. Built from wide text, the text is converted to the ANSI code
/// page; a character the code page lacks becomes "?", so such a path may name
/// nothing (use WPath for those names). Exceptions name ORVPath.cpp.
///
/// \code
///   Path log("C:/logs/today/");          // "C:\logs\today"
///   log.Create();                        // C:\logs, then C:\logs\today
///   Path file("C:\\logs\\today\\run.txt");
///   file.Extension("bak", Path::BP_REPLACE_EXTENSION);   // "...\run.bak"
/// \endcode
#pragma once

#include "ORVBasePath.h"

namespace ORVFile {

ORVFILE_DECLARE_PATH_CLASS(Path, char);

}  // namespace ORVFile
