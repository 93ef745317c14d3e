#ifndef VEXEL_DOWNSAMPLERS_OPENERROR_H
#define VEXEL_DOWNSAMPLERS_OPENERROR_H

#include "../companion/StreamError.h"
#include "../export.h"

#include <stdexcept>
#include <string>

namespace vexel {

/// Thrown by `DownsamplerFactory::createDownsampler` if the input cannot be opened or the output cannot be created.
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
    /// Makes an error with a message and a reason.
    ///
    /// @param what   the message, for example "Unable to open input file '…'".
    /// @param reason which file it is, and why it failed.
    OpenError(const std::string& what, StreamError reason);
    /// Copies the message and the reason.
    OpenError(const OpenError&) = default;
    /// Copies the message and the reason.
    OpenError& operator=(const OpenError&) = default;
    /// Releases the message and the reason.
    ~OpenError() override;

    StreamError reason; ///< which file, and why. If the resolution is too fine, it has both numbers.
};

} // namespace vexel

#endif
