#ifndef VEXEL_COMPANION_TEXT_H
#define VEXEL_COMPANION_TEXT_H

#include "../export.h"

#include <QString>
#include <QStringList>

/// Splits texts and reads numbers.
namespace vexel::text {

/// Splits a text at every occurrence of a separator.
///
/// @param s         the text. If it does not contain the separator, the result is one piece.
/// @param separator can have any length. An empty separator occurs nowhere.
/// @param skipEmpty true to drop empty pieces.
VEXEL_EXPORT QStringList tokenize(const QString& s, const QString& separator, bool skipEmpty);

/// Converts a text to a value. You can use it with `int`, which reads a decimal integer.
///
/// @throws std::invalid_argument if `s` is not such a number or does not fit.
template <class T>
[[nodiscard]] T fromString(const QString& s);

/// Reads a decimal integer. It can have a sign, and spaces around it.
template <>
[[nodiscard]] VEXEL_EXPORT int fromString<int>(const QString& s);

} // namespace vexel::text

#endif
