#include "GDALMutex.h"

namespace vexel {

std::recursive_mutex GDALMutex::m_mutex;

GDALMutex::GDALMutex() : m_lock(m_mutex)
{
    m_lock.lock();
}

GDALMutex::~GDALMutex()
{
    m_lock.unlock();
}

} // namespace vexel
