#ifndef VEXEL_TESTS_SUPPORT_EXAMPLEDATA_H
#define VEXEL_TESTS_SUPPORT_EXAMPLEDATA_H

#include <QString>

/// The path of a file of examples/data.
inline QString exampleData(const char* name)
{
    return QStringLiteral(VEXEL_EXAMPLE_DATA "/") + name;
}

#endif
