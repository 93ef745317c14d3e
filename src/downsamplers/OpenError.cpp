#include "downsamplers/OpenError.h"

#include <utility>

namespace vexel {

OpenError::OpenError(const std::string& what, StreamError why)
    : std::runtime_error(what), reason(std::move(why))
{}

OpenError::~OpenError() = default;

} // namespace vexel
