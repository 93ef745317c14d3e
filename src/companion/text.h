#ifndef VEXEL_COMPANION_TEXT_H
#define VEXEL_COMPANION_TEXT_H

#include "../export.h"

#include <QString>
#include <QStringList>

namespace vexel::text {

/// Splits `s` at every occurrence of `separator`; a text without it is one piece.
///
/// @param skipEmpty true drops empty pieces.
VEXEL_EXPORT QStringList tokenize(const QString& s, const QString& separator, bool skipEmpty);

/// The value written in `s`; there is one for `int`, which reads a decimal integer.
///
/// @throws std::invalid_argument if `s` is not such a number or does not fit.
template <class T>
[[nodiscard]] T fromString(const QString& s);

template <>
[[nodiscard]] VEXEL_EXPORT int fromString<int>(const QString& s);

} // namespace vexel::text

#endif
