#include "companion/StreamError.h"

#include <ostream>
#include <string>

namespace vexel {

namespace {

QString whatFailed(StreamError::Code code)
{
    switch (code) {
    case StreamError::Code::None:
        return QString();
    case StreamError::Code::BadArgument:
        return "was asked for something impossible";
    case StreamError::Code::NotOpen:
        return "is not open";
    case StreamError::Code::CannotOpen:
        return "cannot be opened";
    case StreamError::Code::UnsupportedType:
        return "has no pixels that can be read";
    case StreamError::Code::IncompleteSet:
        return "is no complete set of tiles";
    case StreamError::Code::NoSuchBand:
        return "has no such band";
    case StreamError::Code::NotWritable:
        return "is not open to be written";
    case StreamError::Code::CannotRead:
        return "cannot be read";
    case StreamError::Code::CannotWrite:
        return "cannot be written";
    case StreamError::Code::CannotCreate:
        return "cannot be created";
    case StreamError::Code::CannotComplete:
        return "could not be completed";
    case StreamError::Code::Stopped:
        return "was not completed";
    }
    return "failed";
}

} // namespace

QString StreamError::message() const
{
    if (code == Code::None)
        return QString();
    const QString subject = path.isEmpty() ? QString("The raster") : path + ":";
    return subject + " " + whatFailed(code) + ": " + text;
}

std::ostream& operator<<(std::ostream& stream, const StreamError& error)
{
    const std::string message = error.message().toStdString();
    // Unformatted, so that neither width nor fill of the stream matter.
    return stream.write(message.data(), static_cast<std::streamsize>(message.size()));
}

} // namespace vexel
