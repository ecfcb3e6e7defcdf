#include "ORVFunction.h"

namespace ORV {

Function::Function() noexcept = default;

Function::~Function() = default;

UnhandledExceptionFunction::UnhandledExceptionFunction() noexcept = default;

UnhandledExceptionFunction::~UnhandledExceptionFunction() = default;

}  // namespace ORV
