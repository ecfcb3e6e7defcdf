#pragma once

#include <string>

namespace ORVFile::detail {

// The empty message of a default-built FileException, created when the
// library loads.
const std::wstring& SharedEmptyText();

}  // namespace ORVFile::detail
