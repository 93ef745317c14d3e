#include "commandline.h"

#include <CLI/CLI.hpp>
#include <cpl_conv.h>
#include <vexel/vexel.h>

#include <exception>
#include <iostream>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace example {

namespace {

/// GDAL's threads and memory are the application's to allow; the library takes what it finds. A user's own settings,
/// in the environment, go first.
void configureGdal()
{
    // Blocks of GeoTIFFs are decoded and encoded on all processors. That is most of what these programs do.
    if (!CPLGetConfigOption("GDAL_NUM_THREADS", nullptr))
        CPLSetConfigOption("GDAL_NUM_THREADS", "ALL_CPUS");
    // By default GDAL keeps decoded blocks until they fill a twentieth of the machine's memory. The library asks for
    // each block once, so that a larger cache than this one gains nothing.
    if (!CPLGetConfigOption("GDAL_CACHEMAX", nullptr))
        CPLSetConfigOption("GDAL_CACHEMAX", "64");
}

/// For each block, GDAL allocates some hundred kilobytes and releases them again. The C library would give them back to
/// the system each time, which then has to clear them anew.
void keepReleasedMemory()
{
#ifdef __GLIBC__
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
#endif
}

void tell(const char* kind, const std::string& text)
{
    std::cerr << kind << ": " << text << std::endl;
}

/// What the library logs; notices are for those who look for a mistake in a program.
void tellMessage(vexel::log::level level, const QString&, const vexel::log::FileAndLine&, const QString& text)
{
    if (level == vexel::log::level::warning || level == vexel::log::level::error)
        tell(level == vexel::log::level::error ? "error" : "warning", text.toStdString());
}

void tellGdalMessage(CPLErr severity, int, const char* text)
{
    if (severity >= CE_Warning)
        tell(severity == CE_Warning ? "warning" : "error", text);
}

} // namespace

Argument& Argument::required()
{
    m_option->required();
    return *this;
}

Argument& Argument::values(int count)
{
    m_option->expected(count);
    return *this;
}

Argument& Argument::check(const std::function<std::string(const std::string&)>& problem)
{
    m_option->check(CLI::Validator([problem](std::string& value) { return problem(value); }, ""));
    return *this;
}

Argument& Argument::range(int first, int last)
{
    m_option->check(CLI::Range(first, last));
    return *this;
}

Argument& Argument::oneOf(const std::vector<std::string>& names)
{
    m_option->check(CLI::IsMember(names));
    return *this;
}

Argument& Argument::placeholder(const std::string& text)
{
    m_option->type_name(text);
    return *this;
}

Argument& Argument::showDefault()
{
    m_option->capture_default_str();
    return *this;
}

CommandLine::CommandLine(const std::string& description, const std::string& program)
    : m_app(std::make_unique<CLI::App>(description, program))
{
    m_app->failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string("error: ") + error.what() + "\nRun with --help for more information.\n";
    });
}

CommandLine::~CommandLine() = default;

Argument CommandLine::add(const std::string& name, std::string& value, const std::string& help)
{
    return Argument(m_app->add_option(name, value, help));
}

Argument CommandLine::add(const std::string& name, int& value, const std::string& help)
{
    return Argument(m_app->add_option(name, value, help));
}

Argument CommandLine::add(const std::string& name, double& value, const std::string& help)
{
    return Argument(m_app->add_option(name, value, help));
}

Argument CommandLine::add(const std::string& name, std::vector<float>& values, const std::string& help)
{
    return Argument(m_app->add_option(name, values, help));
}

Argument CommandLine::add(const std::string& name, std::vector<std::string>& values, const std::string& help)
{
    return Argument(m_app->add_option(name, values, help));
}

void CommandLine::addFlag(const std::string& name, bool& value, const std::string& help)
{
    m_app->add_flag(name, value, help);
}

void CommandLine::addVersion(const std::string& text)
{
    m_app->set_version_flag("--version", text);
}

void CommandLine::setFooter(const std::string& text)
{
    m_app->footer(text);
}

void CommandLine::checkTogether(const std::function<void()>& check)
{
    m_app->callback(check);
}

void CommandLine::refuse(const std::string& name, const std::string& reason)
{
    throw CLI::ValidationError(name, reason);
}

int CommandLine::run(int argc, char** argv, const std::function<void()>& work)
{
    try {
        m_app->parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return m_app->exit(error) == 0 ? done : usage;
    }
    try {
        keepReleasedMemory();
        configureGdal();
        // GDAL's own messages join those of the library.
        vexel::gdal::setErrorHandler(&tellGdalMessage);
        vexel::log::defaultLogSource().setSink(&tellMessage);
        work();
        return done;
    } catch (const Stopped& reason) {
        tell("stopped", reason.what());
        return stopped;
    } catch (const Unread& reason) {
        tell("warning", reason.what());
        return unread;
    } catch (const std::exception& error) {
        tell("error", error.what());
        return failed;
    }
}

} // namespace example
