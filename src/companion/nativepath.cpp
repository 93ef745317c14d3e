#include "companion/nativepath.h"

#include <system_error>

namespace vexel::file {

std::filesystem::path resolvedPath(const QString& path)
{
    namespace fs = std::filesystem;
    const fs::path native = nativePath(path);
    std::error_code error;
    const fs::path absolute = fs::absolute(native, error);
    if (error)
        return native.lexically_normal();
    const fs::path canonical = fs::weakly_canonical(absolute, error);
    return error ? absolute.lexically_normal() : canonical;
}

} // namespace vexel::file
