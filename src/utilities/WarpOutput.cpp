#include "utilities/WarpOutput.h"

#include "companion/nativepath.h"
#include "streaming/gdalmessages.h"
#include "streaming/writetargets.h"

namespace vexel::gdal {

WarpOutput::WarpOutput(const QString& path) : m_path(path), m_before(timeOfFile()) {}

std::optional<WarpOutput::Time> WarpOutput::timeOfFile() const
{
    namespace fs = std::filesystem;
    const fs::path output = file::nativePath(m_path);
    std::error_code error;
    if (!fs::is_regular_file(output, error))
        return std::nullopt;
    const Time time = fs::last_write_time(output, error);
    return error ? std::nullopt : std::optional<Time>(time);
}

bool WarpOutput::finish(Dataset result) const
{
    bool isWhole = result != nullptr;
    {
        const GdalMessages messages(GdalMessages::Fate::HandedOnNoThrow);
        result.reset();
        isWhole = isWhole && !messages.hasFailure();
    }
    if (!isWhole)
        discard();
    return isWhole;
}

void WarpOutput::discard() const
{
    if (timeOfFile() != m_before)
        removeRasterFile(m_path);
}

} // namespace vexel::gdal
