#include "oddinput/zoo.h"
#include "support/rasters.h"

#include <QString>

#include <cpl_error.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

// Makes the files that the fuzz targets start from: a folder for each target.

namespace {

namespace fs = std::filesystem;

/// Some of the small rasters of every layout.
void makeRasters(const fs::path& folder)
{
    constexpr std::uintmax_t largest = 8192;
    for (const zoo::Specimen& specimen : zoo::specimens()) {
        if (!zoo::missing(specimen).empty())
            continue;
        const std::string& driver = specimen.needs.driver;
        if (driver != "GTiff" && driver != "PNG" && driver != "JPEG" && driver != "VRT")
            continue;
        const fs::path file = folder / specimen.file;
        specimen.make(QString::fromStdString(file.string()));
        if (fs::file_size(file) > largest)
            fs::remove(file);
    }
    // What lies beside them is no input.
    std::vector<fs::path> others;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string extension = entry.path().extension().string();
        if (extension != ".tif" && extension != ".png" && extension != ".jpg" && extension != ".vrt")
            others.push_back(entry.path());
    }
    for (const fs::path& other : others)
        fs::remove(other);
}

void makeText(const fs::path& folder, const std::string& name, const std::string& content)
{
    std::ofstream(folder / name, std::ios::binary) << content;
}

void makeReferences(const fs::path& folder)
{
    for (const int code : {4326, 4978, 32632, 3857, 25832, 5773})
        makeText(folder, std::to_string(code) + ".prj", rasters::wkt(code));
}

void makeNames(const fs::path& folder)
{
    const std::string place("\3\0\0\0\7\0\0\0", 8);
    int count = 0;
    for (const char* name : {"dir/ortho.tif", "dir/ortho_3_7.tif", "a_b_c_1_2.png", "_1_2", "x_01_2.tif",
                             "x_1_2_1_2.tif", "../x.y/z_1_2.tif", "/x_2147483647_1.jpg", "x_1_2"})
        makeText(folder, std::to_string(count++), place + name);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " FOLDER\n";
        return EXIT_FAILURE;
    }
    CPLSetErrorHandler(CPLQuietErrorHandler);
    try {
        const fs::path folder = argv[1];
        for (const char* target : {"raster", "tilenames", "workspace", "wkt", "boxes"})
            fs::create_directories(folder / target);
        makeRasters(folder / "raster");
        makeReferences(folder / "wkt");
        makeNames(folder / "tilenames");
        // Any bytes are as good as others there; a first input of some length spares the fuzzer finding one.
        makeText(folder / "workspace", "start", std::string(200, '\5'));
        makeText(folder / "boxes", "start", std::string(200, '\1'));
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
