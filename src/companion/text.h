#ifndef VEXEL_COMPANION_TEXT_H
#define VEXEL_COMPANION_TEXT_H

#include "../export.h"

#include <QString>
#include <QStringList>

/// Texts taken apart, and numbers in them.
namespace vexel::text {

/// Splits `s` at every occurrence of `separator`; a text without it is one piece.
///
/// @param s         the text.
/// @param separator of any length; an empty one occurs nowhere.
/// @param skipEmpty true drops empty pieces.
VEXEL_EXPORT QStringList tokenize(const QString& s, const QString& separator, bool skipEmpty);

/// The value written in `s`; there is one for `int`, which reads a decimal integer.
///
/// @throws std::invalid_argument if `s` is not such a number or does not fit.
template <class T>
[[nodiscard]] T fromString(const QString& s);

/// A decimal integer, with a sign and spaces round it if need be.
template <>
[[nodiscard]] VEXEL_EXPORT int fromString<int>(const QString& s);

} // namespace vexel::text

#endif
