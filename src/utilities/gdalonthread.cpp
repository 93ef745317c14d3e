#include "utilities/gdalonthread.h"

namespace vexel::gdal::verification {

void CPL_STDCALL Messages::note(CPLErr severity, CPLErrorNum /*number*/, const char* text)
{
    auto& self = *static_cast<Messages*>(CPLGetErrorHandlerUserData());
    if (severity < CE_Failure || self.m_failed)
        return;
    self.m_failed = true;
    try {
        self.m_text = text ? text : "";
    } catch (...) {
        // No exception may pass through GDAL. That there was a failure counts more than its text.
    }
}

} // namespace vexel::gdal::verification
