#ifndef VEXEL_TESTS_SUPPORT_GDALHANDLERS_H
#define VEXEL_TESTS_SUPPORT_GDALHANDLERS_H

#include <cpl_error.h>

#include <functional>
#include <string>
#include <utility>

/// Keeps GDAL's own messages of this thread away while it lives.
class QuietGdal
{
public:
    QuietGdal() { CPLPushErrorHandler(CPLQuietErrorHandler); }
    ~QuietGdal() { CPLPopErrorHandler(); }
    QuietGdal(const QuietGdal&) = delete;
    QuietGdal& operator=(const QuietGdal&) = delete;
};

/// Keeps GDAL's own messages of all threads away while it lives.
class QuietProcess
{
public:
    QuietProcess() : m_former(CPLSetErrorHandler(CPLQuietErrorHandler)) {}
    ~QuietProcess() { CPLSetErrorHandler(m_former); }
    QuietProcess(const QuietProcess&) = delete;
    QuietProcess& operator=(const QuietProcess&) = delete;

private:
    CPLErrorHandler m_former;
};

/// Calls a function with each of GDAL's messages of this thread while it lives. The function may throw, as an
/// application's handler may.
class GdalHandler
{
public:
    using Function = std::function<void(CPLErr level, const std::string& text)>;

    explicit GdalHandler(Function function) : m_function(std::move(function))
    {
        CPLPushErrorHandlerEx(call, this);
    }
    ~GdalHandler() { CPLPopErrorHandler(); }
    GdalHandler(const GdalHandler&) = delete;
    GdalHandler& operator=(const GdalHandler&) = delete;

private:
    static void CPL_STDCALL call(CPLErr level, CPLErrorNum, const char* text)
    {
        static_cast<GdalHandler*>(CPLGetErrorHandlerUserData())->m_function(level, text);
    }

    Function m_function;
};

#endif
