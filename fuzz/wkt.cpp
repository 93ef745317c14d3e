#include "FuzzInput.h"
#include "companion/file.h"
#include "companion/geo.h"
#include "utilities/sidefiles.h"

#include <QByteArray>
#include <QString>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

// Any text as a spatial reference, and through a projection file.

namespace {

/// The file that all texts go through, in a folder of this process, which the system cleans up.
const QString& projectionFile()
{
    static const QString path = fuzz::temporaryFolder() + "/reference.prj";
    return path;
}

std::string content(const QString& path)
{
    std::ifstream file(path.toStdString(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    fuzz::prepare();
    const QString wkt = QString::fromUtf8(reinterpret_cast<const char*>(bytes), static_cast<int>(size));
    const bool standard = vexel::geo::isStandardWkt(wkt);
    fuzz::require(!(standard && wkt.isEmpty()), "an empty text is no reference");
    fuzz::require(vexel::geo::isStandardWkt(wkt) == standard, "the answer is the same again");

    const QString& path = projectionFile();
    fuzz::require(vexel::gdal::savePRJ(wkt, path), "a projection file is written");
    const std::string written = content(path);
    fuzz::require(written == wkt.toUtf8().toStdString(), "a projection file holds the text as it is");
    fuzz::require(vexel::geo::isStandardWkt(QString::fromStdString(written)) == standard,
                  "a reference comes back from its file");
    return 0;
}
