#include <vexel/vexel.h>

#include <fstream>
#include <iostream>
#include <set>
#include <string>

namespace {

/// The names of the files in the memory of this process that hold `part` in their names.
std::set<std::string> loadedFiles(const std::string& part)
{
    std::set<std::string> names;
    std::ifstream map("/proc/self/maps");
    for (std::string line; std::getline(map, line);) {
        const std::string name = line.substr(line.rfind('/') + 1);
        if (name.find(part) != std::string::npos)
            names.insert(name);
    }
    return names;
}

} // namespace

/// Prints the versions of Qt that the program was compiled with and runs with, and the libraries of Qt and vexel that are
/// loaded.
int main()
{
    std::cout << QT_VERSION_MAJOR << ' ' << qVersion()[0] << ' '
              << vexel::gdal::tile2path("a.tif", 1, 2).toStdString();
    for (const char* library : {"libQt", "libvexel"})
        for (const std::string& name : loadedFiles(library))
            std::cout << ' ' << name.substr(0, name.find(".so"));
    std::cout << std::endl;
}
