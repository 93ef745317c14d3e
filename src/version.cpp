#include <vexel/version.h>

#define VEXEL_TEXT_OF(x) #x
#define VEXEL_DOTTED(major, minor, patch)                                                                    \
    VEXEL_TEXT_OF(major) "." VEXEL_TEXT_OF(minor) "." VEXEL_TEXT_OF(patch)

namespace vexel {

const char* version()
{
    return VEXEL_DOTTED(VEXEL_VERSION_MAJOR, VEXEL_VERSION_MINOR, VEXEL_VERSION_PATCH);
}

} // namespace vexel
