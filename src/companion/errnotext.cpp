#include "companion/errnotext.h"

#include <cerrno>
#include <system_error>

namespace vexel {

QString errnoText()
{
    const int number = errno;
    return QString::fromLocal8Bit(std::generic_category().message(number).c_str());
}

} // namespace vexel
