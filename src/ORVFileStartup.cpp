// What happens when the library is loaded and unloaded. Everything is done by
// the static objects below, constructed in this order at load and destroyed
// in the reverse order at unload.
#include "ORVFileStartup.h"

#include "ORVFileCatalogue.h"
#include "ORVMessages.h"

namespace ORVFile::detail {
namespace {

// The library counts as three users of the message registry, one for each of
// its units that raises catalogue messages (exceptions, paths, files); the
// second registers the catalogue. The registry therefore stays initialised
// until the last guard of the last module in the process goes.
ORV::ORVMessagesInit g_exceptionUnitUser;
ORV::ORVMessagesInit g_pathUnitUser(kCatalogue.data(), static_cast<unsigned int>(kCatalogue.size()),
                                    MSG_CATALOGUE_NAME);
ORV::ORVMessagesInit g_fileUnitUser;

const std::wstring g_emptyText;

}  // namespace

const std::wstring& SharedEmptyText() { return g_emptyText; }

}  // namespace ORVFile::detail
