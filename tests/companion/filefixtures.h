#ifndef VEXEL_TESTS_COMPANION_FILEFIXTURES_H
#define VEXEL_TESTS_COMPANION_FILEFIXTURES_H

#include "companion/file.h"
#include "companion/nativepath.h"

#include <gtest/gtest.h>

#include <fstream>

/// What the tests of file functions share.
namespace filetest {

namespace file = vexel::file;

inline void touch(const QString& path)
{
    ASSERT_TRUE(std::ofstream(file::nativePath(path)).good()) << path.toStdString();
}

inline const QString tooLong = QString(5000, 'x');

} // namespace filetest

#endif
