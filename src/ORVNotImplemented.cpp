#include "ORVNotImplemented.h"

namespace ORVFile {

// Out of line, so that the DLL exports every member (see ORVNewPath.cpp).
NotImplemented::NotImplemented(const char* text) noexcept : m_text(text) {}

NotImplemented::NotImplemented(const NotImplemented& other) noexcept = default;

NotImplemented& NotImplemented::operator=(const NotImplemented& other) noexcept = default;

NotImplemented::~NotImplemented() = default;

const char* NotImplemented::what() const noexcept { return m_text; }

}  // namespace ORVFile
