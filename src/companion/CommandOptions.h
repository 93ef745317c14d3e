#ifndef VEXEL_COMPANION_COMMANDOPTIONS_H
#define VEXEL_COMPANION_COMMANDOPTIONS_H

#include "../export.h"

#include <QString>

#include <string>
#include <vector>

namespace vexel::gdal {

/// Builds the argument list of a GDAL utility, or the creation options of a GDAL driver.
///
/// @code
/// vexel::gdal::CommandOptions arguments;
/// arguments << "-q" << "-r" << "average";
/// GDALTranslateOptions* options = GDALTranslateOptionsNew(arguments.options(), nullptr);
/// @endcode
class VEXEL_EXPORT CommandOptions
{
public:
    /// Starts with an empty list.
    CommandOptions();
    /// Releases the texts, so you must not use the result of `options()` any more.
    ~CommandOptions();
    CommandOptions(const CommandOptions&) = delete;
    CommandOptions& operator=(const CommandOptions&) = delete;

    /// Appends one argument, which GDAL receives as UTF-8.
    CommandOptions& operator<<(const QString& argument);

    /// Sets the option NAME=VALUE. It replaces the option of that name, or is appended if the list has no such option.
    ///
    /// Mind the order of the arguments: the value comes first.
    ///
    /// @param value  the part after "=".
    /// @param option the name. Upper and lower case are treated as equal when names are compared.
    void setValueForOption(const QString& value, const QString& option);

    /// Returns the arguments as a null-terminated list, in the order in which you appended them.
    ///
    /// You can use the list until you change or destroy this object. It is not const because GDAL takes argument lists
    /// as `char**`. GDAL does not change the texts.
    char** options() const;

private:
    void refreshPointers();

    std::vector<std::string> m_arguments;
    std::vector<char*> m_pointers;
};

} // namespace vexel::gdal

#endif
