#include "support/rasters.h"

#include <ogr_spatialref.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <locale>
#include <sstream>
#include <stdexcept>

namespace rasters {

namespace {

void registerDrivers()
{
    if (GetGDALDriverManager()->GetDriverCount() == 0)
        GDALAllRegister();
}

} // namespace

GDALDriver& driver(const std::string& name)
{
    registerDrivers();
    GDALDriver* driver = GetGDALDriverManager()->GetDriverByName(name.c_str());
    if (!driver)
        throw std::runtime_error("GDAL has no driver " + name);
    return *driver;
}

namespace {

Dataset create(const char* path, const Description& d, const std::string& driverName,
               const CPLStringList& options)
{
    Dataset dataset(
        driver(driverName)
            .Create(path, d.width, d.height, d.bands, d.type, const_cast<CPLStringList&>(options).List()));
    if (!dataset)
        throw std::runtime_error(std::string("GDAL cannot create ") + path);
    if (d.geotransform) {
        std::array<double, 6> coefficients = *d.geotransform;
        if (dataset->SetGeoTransform(coefficients.data()) != CE_None)
            throw std::runtime_error("GDAL cannot set the geotransform");
    }
    if (!d.wkt.empty() && dataset->SetProjection(d.wkt.c_str()) != CE_None)
        throw std::runtime_error("GDAL cannot set the projection");
    return dataset;
}

void fill(GDALDataset& dataset, const Description& d, const PixelValue& value)
{
    std::vector<double> row(static_cast<std::size_t>(d.width));
    for (int band = 1; band <= d.bands; ++band)
        for (int y = 0; y < d.height; ++y) {
            for (int x = 0; x < d.width; ++x)
                row[static_cast<std::size_t>(x)] = value(x, y, band);
            if (dataset.GetRasterBand(band)->RasterIO(GF_Write, 0, y, d.width, 1, row.data(), d.width, 1,
                                                      GDT_Float64, 0, 0, nullptr) != CE_None)
                throw std::runtime_error("GDAL cannot write pixels");
        }
}

} // namespace

void make(const QString& path, const Description& d, const PixelValue& value)
{
    CPLStringList options;
    for (const std::string& option : d.options)
        options.AddString(option.c_str());
    const QByteArray name = path.toUtf8();
    if (d.driver == "GTiff") {
        const Dataset dataset = create(name.constData(), d, d.driver, options);
        fill(*dataset, d, value);
        return;
    }
    const Dataset memory = create("", d, "MEM", CPLStringList());
    fill(*memory, d, value);
    const Dataset copy(
        driver(d.driver).CreateCopy(name.constData(), memory.get(), FALSE, options.List(), nullptr, nullptr));
    if (!copy)
        throw std::runtime_error("GDAL cannot write " + path.toStdString());
}

void makeVirtual(const QString& path, int width, int height, const std::vector<GDALDataType>& bandTypes,
                 const std::optional<std::array<double, 6>>& geotransform)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::setprecision(17) << "<VRTDataset rasterXSize=\"" << width << "\" rasterYSize=\"" << height
         << "\">\n";
    if (geotransform) {
        text << "<GeoTransform>";
        for (std::size_t i = 0; i < geotransform->size(); ++i)
            text << (i == 0 ? "" : ", ") << (*geotransform)[i];
        text << "</GeoTransform>\n";
    }
    for (std::size_t band = 0; band < bandTypes.size(); ++band)
        text << "<VRTRasterBand dataType=\"" << GDALGetDataTypeName(bandTypes[band]) << "\" band=\""
             << band + 1 << "\"/>\n";
    text << "</VRTDataset>\n";
    std::ofstream file(path.toStdString(), std::ios::binary);
    file << text.str();
    if (!file.flush())
        throw std::runtime_error("cannot write " + path.toStdString());
}

Dataset open(const QString& path, bool update)
{
    registerDrivers();
    return Dataset(GDALDataset::FromHandle(
        GDALOpenEx(path.toUtf8().constData(), GDAL_OF_RASTER | (update ? GDAL_OF_UPDATE : GDAL_OF_READONLY),
                   nullptr, nullptr, nullptr)));
}

std::vector<double> pixels(const QString& path, int band)
{
    const Dataset dataset = open(path);
    if (!dataset)
        throw std::runtime_error("GDAL cannot open " + path.toStdString());
    const int width = dataset->GetRasterXSize();
    const int height = dataset->GetRasterYSize();
    std::vector<double> values(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    GDALRasterBand* raster = dataset->GetRasterBand(band);
    if (!raster || raster->RasterIO(GF_Read, 0, 0, width, height, values.data(), width, height, GDT_Float64,
                                    0, 0, nullptr) != CE_None)
        throw std::runtime_error("GDAL cannot read " + path.toStdString());
    return values;
}

int openDatasets()
{
    int count = 0;
    GDALDataset::GetOpenDatasets(&count);
    return count;
}

std::string wkt(int epsg)
{
    OGRSpatialReference reference;
    char* text = nullptr;
    if (reference.importFromEPSG(epsg) != OGRERR_NONE || reference.exportToWkt(&text) != OGRERR_NONE)
        throw std::runtime_error("GDAL does not know EPSG:" + std::to_string(epsg));
    const std::string copy(text);
    CPLFree(text);
    return copy;
}

double noise(int x, int y, int band, unsigned seed)
{
    std::uint64_t h = static_cast<std::uint32_t>(x) * 0x9E3779B97F4A7C15u;
    h ^= static_cast<std::uint32_t>(y) * 0xC2B2AE3D27D4EB4Fu + (h << 6) + (h >> 2);
    h ^= (static_cast<std::uint32_t>(band) + 31u * seed) * 0x165667B19E3779F9u + (h << 6) + (h >> 2);
    h ^= h >> 33;
    h *= 0xFF51AFD7ED558CCDu;
    h ^= h >> 33;
    return static_cast<double>(h >> 11) * 0x1.0p-53;
}

std::string run(const std::vector<std::string>& command)
{
    std::string line;
    for (const std::string& argument : command) {
        std::string quoted;
        for (const char c : argument)
            quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        line += (line.empty() ? "'" : " '") + quoted + "'";
    }
    std::FILE* pipe = popen(line.c_str(), "r");
    if (!pipe)
        throw std::runtime_error("cannot run " + line);
    std::string output;
    std::array<char, 4096> buffer{};
    for (std::size_t n = 0; (n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
        output.append(buffer.data(), n);
    if (pclose(pipe) != 0)
        throw std::runtime_error("failed: " + line);
    return output;
}

} // namespace rasters
