#ifndef VEXEL_DOWNSAMPLERS_OPENERROR_H
#define VEXEL_DOWNSAMPLERS_OPENERROR_H

#include "../companion/StreamError.h"
#include "../export.h"

#include <stdexcept>
#include <string>

namespace vexel {

/// What `DownsamplerFactory::createDownsampler` throws when the input cannot be opened or the output not created.
///
/// @code
/// try {
///     job = DownsamplerFactory::createDownsampler(…);
/// } catch (const OpenError& error) {
///     std::cerr << error.reason << std::endl;
/// }
/// @endcode
class VEXEL_EXPORT OpenError : public std::runtime_error
{
public:
    /// @param what "Unable to open input file '…'", or output.
    OpenError(const std::string& what, StreamError reason);
    OpenError(const OpenError&) = default;
    OpenError& operator=(const OpenError&) = default;
    ~OpenError() override;

    StreamError reason; ///< which file, and why; a resolution that is too fine with both numbers
};

} // namespace vexel

#endif
