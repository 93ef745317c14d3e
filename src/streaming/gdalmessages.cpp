#include "streaming/gdalmessages.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>

namespace vexel {

GdalMessages::GdalMessages(HandlerException exception)
    : m_exception(exception), m_exceptionsBefore(std::uncaught_exceptions())
{
    CPLPushErrorHandlerEx(&GdalMessages::note, this);
    CPLSetCurrentErrorHandlerCatchDebug(FALSE);
}

GdalMessages::~GdalMessages() noexcept(false)
{
    const int error = errno;
    CPLPopErrorHandler();
    std::exception_ptr thrown;
    for (const Message& message : m_messages)
        try {
            CPLError(message.severity, message.number, "%s", message.text.c_str());
        } catch (...) {
            if (!thrown)
                thrown = std::current_exception();
        }
    errno = error;
    if (thrown && m_exception == HandlerException::ComesOut &&
        std::uncaught_exceptions() == m_exceptionsBefore)
        std::rethrow_exception(thrown);
}

void GdalMessages::note(CPLErr severity, CPLErrorNum number, const char* text)
{
    auto* self = static_cast<GdalMessages*>(CPLGetErrorHandlerUserData());
    try {
        self->m_messages.push_back({severity, number, text ? text : ""});
    } catch (...) {
        // GDAL's code is no place for exceptions. That there was a failure its results tell in most cases.
    }
}

const GdalMessages::Message* GdalMessages::firstFailureMessage() const
{
    const auto first = m_messages.begin() + static_cast<std::ptrdiff_t>(m_firstThatCounts);
    const auto found =
        std::find_if(first, m_messages.end(), [](const Message& m) { return m.severity >= CE_Failure; });
    return found == m_messages.end() ? nullptr : &*found;
}

bool GdalMessages::tellOfFailure() const
{
    return firstFailureMessage() != nullptr;
}

QString GdalMessages::firstFailure() const
{
    const Message* message = firstFailureMessage();
    return message ? QString::fromUtf8(message->text.c_str()) : QString();
}

} // namespace vexel
