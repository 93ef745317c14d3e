#ifndef VEXEL_COMPANION_ERRNOTEXT_H
#define VEXEL_COMPANION_ERRNOTEXT_H

#include <QString>

namespace vexel {

/// The C library's text for the current `errno`, as `strerror` gives it, but safe to ask from several
/// threads.
QString errnoText();

} // namespace vexel

#endif
