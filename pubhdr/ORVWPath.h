// WPath: the older path class over UTF-16 text, for names the ANSI code page
// cannot spell. The design, its queries, operations and failures are
// BasicPath's (ORVBasePath.h), each call made with the wide form of its
// Win32 or runtime function; narrow text given to it is read in the ANSI
// code page. Exceptions name ORVWPath.cpp.
#pragma once

#include "ORVBasePath.h"

namespace ORVFile {

class WPath;
extern template class ORVFILE_API BasicPath<wchar, WPath>;

class ORVFILE_API WPath : public BasicPath<wchar, WPath> {
 public:
  using BasicPath::BasicPath;
  using BasicPath::operator=;
};

}  // namespace ORVFile
