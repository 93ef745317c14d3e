#include "RAIIErrorSilencer.h"

#include "../companion/errorhandler.h"

namespace vexel::gdal {

RAIIErrorSilencer::RAIIErrorSilencer()
{
    setErrorHandler(silentErrorHandler);
}

RAIIErrorSilencer::~RAIIErrorSilencer()
{
    setErrorHandler(logErrorHandler);
}

} // namespace vexel::gdal
