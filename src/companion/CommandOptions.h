#ifndef VEXEL_COMPANION_COMMANDOPTIONS_H
#define VEXEL_COMPANION_COMMANDOPTIONS_H

#include "../export.h"

#include <QString>

#include <string>
#include <vector>

namespace vexel::gdal {

/// The argument list of a GDAL utility, or the creation options of a GDAL driver.
///
/// @code
/// vexel::gdal::CommandOptions arguments;
/// arguments << "-q" << "-r" << "average";
/// GDALTranslateOptions* options = GDALTranslateOptionsNew(arguments.options(), nullptr);
/// @endcode
class VEXEL_EXPORT CommandOptions
{
public:
    /// An empty list.
    CommandOptions();
    /// What `options` gave is not valid any more.
    ~CommandOptions();
    CommandOptions(const CommandOptions&) = delete;
    CommandOptions& operator=(const CommandOptions&) = delete;

    /// Appends one argument, as UTF-8.
    CommandOptions& operator<<(const QString& argument);

    /// Sets the option NAME=VALUE: replaces the one of that name (case does not count), or appends it. The value comes
    /// first and the name second.
    void setValueForOption(const QString& value, const QString& option);

    /// The arguments in the order appended, null-terminated; valid until the list changes or is destroyed.
    /// GDAL takes argument lists as `char**` and leaves the texts alone.
    char** options() const;

private:
    void refreshPointers();

    std::vector<std::string> m_arguments;
    std::vector<char*> m_pointers;
};

} // namespace vexel::gdal

#endif
