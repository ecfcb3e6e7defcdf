#include "win32.h"

#include "ORVWPath.h"

#include "ORVPathCommon.h"

namespace ORVFile {

// The export already comes from the extern declaration in the header; GCC
// reports the repeated attribute as ignored, which is harmless here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattributes"
template class ORVFILE_API BasicPath<wchar, WPath>;
#pragma GCC diagnostic pop

}  // namespace ORVFile
