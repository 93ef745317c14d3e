#include "streaming/gdalmessages.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <iterator>

namespace vexel {

namespace {

thread_local EachGdalMessageOnce* once = nullptr;
thread_local int listeners = 0; // one may live within another, to which it hands its messages on

} // namespace

GdalMessages::GdalMessages(Fate fate) : m_fate(fate), m_exceptionsBefore(std::uncaught_exceptions())
{
    CPLPushErrorHandlerEx(&GdalMessages::listen, this);
    if (m_fate != Fate::Dropped)
        CPLSetCurrentErrorHandlerCatchDebug(FALSE);
    ++listeners;
}

GdalMessages::~GdalMessages() noexcept(false)
{
    const int error = errno;
    const std::exception_ptr thrown = handOn();
    errno = error;
    if (thrown && m_fate == Fate::HandedOn && std::uncaught_exceptions() == m_exceptionsBefore)
        std::rethrow_exception(thrown);
}

std::exception_ptr GdalMessages::handOn()
{
    CPLPopErrorHandler();
    --listeners;
    return m_fate == Fate::Dropped ? nullptr : handOn(m_messages);
}

std::exception_ptr GdalMessages::handOn(const std::vector<Message>& messages)
{
    const bool toTheApplication = listeners == 0;
    std::exception_ptr thrown;
    for (const Message& message : messages)
        try {
            if (toTheApplication && once)
                once->handOn(message.severity, message.number, message.text);
            else
                CPLError(message.severity, message.number, "%s", message.text.c_str());
        } catch (...) {
            if (!thrown)
                thrown = std::current_exception();
        }
    return thrown;
}

void GdalMessages::listen(CPLErr severity, CPLErrorNum number, const char* text)
{
    auto* self = static_cast<GdalMessages*>(CPLGetErrorHandlerUserData());
    try {
        self->note(severity, number, text ? text : "");
    } catch (...) {
        // GDAL's code is no place for exceptions. That there was a failure counts more than its text.
        if (severity >= CE_Failure)
            self->m_hasLostFailure = true;
    }
}

void GdalMessages::note(CPLErr severity, CPLErrorNum number, const char* text)
{
    if (m_fate == Fate::Dropped && (severity < CE_Failure || hasFailure()))
        return;
    if (m_fate != Fate::Dropped && severity == CE_Fatal)
        handOnFatal(number, text);
    m_messages.push_back({severity, number, text});
}

void GdalMessages::handOnFatal(CPLErrorNum number, const char* text)
{
    // The text is in GDAL's buffer, where the next message goes, and there may be no memory left.
    std::array<char, 2000> copy{};
    std::snprintf(copy.data(), copy.size(), "%s", text);
    handOn();
    CPLError(CE_Fatal, number, "%s", copy.data());
}

const GdalMessages::Message* GdalMessages::firstFailureMessage() const
{
    const auto first = m_messages.begin() + static_cast<std::ptrdiff_t>(m_firstThatCounts);
    const auto found =
        std::find_if(first, m_messages.end(), [](const Message& m) { return m.severity >= CE_Failure; });
    return found == m_messages.end() ? nullptr : &*found;
}

bool GdalMessages::hasFailure() const
{
    return m_hasLostFailure || firstFailureMessage();
}

void GdalMessages::ignoreSoFar()
{
    if (m_fate == Fate::Dropped)
        m_messages.clear();
    m_firstThatCounts = m_messages.size();
    m_hasLostFailure = false;
}

void GdalMessages::forgetFailures()
{
    const auto isFailure = [](const Message& message) { return message.severity == CE_Failure; };
    const auto counted = m_messages.begin() + static_cast<std::ptrdiff_t>(m_firstThatCounts);
    m_firstThatCounts -= static_cast<std::size_t>(std::count_if(m_messages.begin(), counted, isFailure));
    m_messages.erase(std::remove_if(m_messages.begin(), m_messages.end(), isFailure), m_messages.end());
}

QString GdalMessages::firstFailure(const QString& otherwise) const
{
    const Message* message = firstFailureMessage();
    return message && !message->text.empty() ? QString::fromUtf8(message->text.c_str()) : otherwise;
}

HeldGdalMessages::Collector::~Collector() noexcept(false)
{
    std::vector<GdalMessages::Message> messages = m_messages.take();
    m_to.m_messages.insert(m_to.m_messages.end(), std::make_move_iterator(messages.begin()),
                           std::make_move_iterator(messages.end()));
}

void HeldGdalMessages::handOn()
{
    const int error = errno;
    const std::exception_ptr thrown = GdalMessages::handOn(std::exchange(m_messages, {}));
    errno = error;
    if (thrown)
        std::rethrow_exception(thrown);
}

EachGdalMessageOnce::EachGdalMessageOnce() : m_outer(once)
{
    once = this;
}

EachGdalMessageOnce::~EachGdalMessageOnce()
{
    once = m_outer;
}

void EachGdalMessageOnce::handOn(CPLErr severity, CPLErrorNum number, const std::string& text)
{
    constexpr std::size_t most = 1000;
    const bool isFull = m_known.size() == most;
    if (m_isLeftOut || (isFull ? m_known.count({number, text}) != 0 : !m_known.emplace(number, text).second))
        return;
    m_isLeftOut = isFull;
    if (isFull)
        CPLError(CE_Warning, CPLE_AppDefined, "There were %d different messages; the rest is left out",
                 static_cast<int>(most));
    else
        CPLError(severity, number, "%s", text.c_str());
}

} // namespace vexel
