#include "utilities/gdalonthread.h"

#include <cpl_conv.h>

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

ThreadOption::ThreadOption(const char* name, const char* value) : m_name(name)
{
    if (const char* former = CPLGetThreadLocalConfigOption(name, nullptr))
        m_former = former;
    CPLSetThreadLocalConfigOption(name, value);
}

ThreadOption::~ThreadOption()
{
    CPLSetThreadLocalConfigOption(m_name, m_former ? m_former->c_str() : nullptr);
}

} // namespace vexel::gdal::verification
