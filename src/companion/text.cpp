#include "companion/text.h"

#include <stdexcept>

namespace vexel::text {

QStringList tokenize(const QString& s, const QString& separator, bool skipEmpty)
{
    QStringList pieces;
    decltype(s.size()) start = 0; // int in Qt 5, wider in Qt 6
    // An empty separator occurs nowhere.
    while (!separator.isEmpty()) {
        const auto end = s.indexOf(separator, start);
        if (end < 0)
            break;
        pieces.append(s.mid(start, end - start));
        start = end + separator.size();
    }
    pieces.append(s.mid(start));
    if (skipEmpty)
        pieces.removeAll(QString());
    return pieces;
}

template <>
int fromString<int>(const QString& s)
{
    bool isNumber = false;
    const int value = s.toInt(&isNumber, 10);
    if (!isNumber)
        throw std::invalid_argument("'" + s.toStdString() + "' is not a decimal integer");
    return value;
}

} // namespace vexel::text
