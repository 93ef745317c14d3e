#ifndef VEXEL_TESTS_SUPPORT_CACHESIZE_H
#define VEXEL_TESTS_SUPPORT_CACHESIZE_H

#include <gdal.h>

#include <cstdint>

/// GDAL's block cache has that size while it lives.
class CacheSize
{
public:
    explicit CacheSize(std::int64_t bytes) : m_former(GDALGetCacheMax64()) { GDALSetCacheMax64(bytes); }
    ~CacheSize() { GDALSetCacheMax64(m_former); }
    CacheSize(const CacheSize&) = delete;
    CacheSize& operator=(const CacheSize&) = delete;

private:
    GIntBig m_former;
};

#endif
