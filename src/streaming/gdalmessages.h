#ifndef VEXEL_STREAMING_GDALMESSAGES_H
#define VEXEL_STREAMING_GDALMESSAGES_H

#include <QString>

#include <cpl_error.h>

#include <cstddef>
#include <exception>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vexel {

/// Listens to what GDAL says on this thread while it lives, and then lets the application's handler have it, or drops
/// it.
///
/// Some failures, a full disk for one, GDAL reports by its messages alone, from functions that return nothing.
class GdalMessages
{
public:
    /// What becomes of the messages.
    enum class Fate
    {
        /// The application's handler gets them in the end, in order. If it throws, the first exception comes out once
        /// all have been handed on. It gets a fatal message, with which GDAL ends the process, at once, and those
        /// before it too. GDAL's debug messages never wait here.
        HandedOn,
        /// The same, but exceptions of the handler are dropped: where what was done cannot be taken back, for example
        /// a file that has taken its place.
        HandedOnNoThrow,
        /// Nobody gets them, debug messages included. Only the first failure is kept, because a damaged file can give
        /// rise to billions, and those that follow only tell what came of the first.
        Dropped
    };

    explicit GdalMessages(Fate fate = Fate::HandedOn);
    /// Leaves `errno` as it is.
    ~GdalMessages() noexcept(false);

    GdalMessages(const GdalMessages&) = delete;
    GdalMessages& operator=(const GdalMessages&) = delete;

    /// True if GDAL has reported a failure, not just a warning, since the start or the last `ignoreSoFar()`.
    bool hasFailure() const;

    /// The text of the first such failure, `otherwise` if there is none, or none with a text.
    QString firstFailure(const QString& otherwise = QString()) const;

    /// Failures so far do not count any more.
    void ignoreSoFar();

    struct Message
    {
        CPLErr severity;
        CPLErrorNum number;
        std::string text;
    };

    /// Forgets the failures, so that they are not handed on. For a file that was stopped: GDAL reports the stop as one,
    /// and what its libraries say of a file without an end.
    void forgetFailures();

    /// Hands out what there is, so that it is not handed on.
    std::vector<Message> take() { return std::exchange(m_messages, {}); }

private:
    static void CPL_STDCALL listen(CPLErr severity, CPLErrorNum number, const char* text);
    void note(CPLErr severity, CPLErrorNum number, const char* text);
    void handOnFatal(CPLErrorNum number, const char* text);
    /// Stops listening and hands on what there is. Gives the first exception that came of it, null if none.
    std::exception_ptr handOn();
    static std::exception_ptr handOn(const std::vector<Message>& messages);
    friend class HeldGdalMessages;
    const Message* firstFailureMessage() const;

    Fate m_fate;
    int m_exceptionsBefore;
    std::vector<Message> m_messages;
    std::size_t m_firstThatCounts = 0;
    bool m_hasLostFailure = false; ///< one that counts, but that there was no memory for
};

/// Messages about something that was done before its turn: the application's handler has them when its turn comes, or
/// never.
class HeldGdalMessages
{
public:
    /// Collects what GDAL says on this thread while it lives.
    class Collector
    {
    public:
        explicit Collector(HeldGdalMessages& to) : m_to(to) {}
        ~Collector() noexcept(false);
        Collector(const Collector&) = delete;
        Collector& operator=(const Collector&) = delete;

    private:
        HeldGdalMessages& m_to;
        GdalMessages m_messages;
    };

    /// Hands all on, in order, and forgets them. Rethrows the first exception that the handler throws.
    void handOn();

private:
    std::vector<GdalMessages::Message> m_messages;
};

/// While one lives, the application's handler gets each message of the same number and text once from the
/// `GdalMessages` of this thread, however many transfers give rise to it. After a thousand different ones, it gets a
/// warning that the rest is left out: a file may be damaged in a hundred thousand places. Within another one, it begins
/// anew.
class EachGdalMessageOnce
{
public:
    EachGdalMessageOnce();
    ~EachGdalMessageOnce();
    EachGdalMessageOnce(const EachGdalMessageOnce&) = delete;
    EachGdalMessageOnce& operator=(const EachGdalMessageOnce&) = delete;

    /// Hands a message on, unless that has been done before.
    void handOn(CPLErr severity, CPLErrorNum number, const std::string& text);

private:
    std::set<std::pair<CPLErrorNum, std::string>> m_known;
    bool m_isLeftOut = false;
    EachGdalMessageOnce* m_outer;
};

} // namespace vexel

#endif
