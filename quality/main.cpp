// Measures the quality of what downsampling makes:
// vexel-quality rasters|downsample|measure FOLDER, vexel-quality picture SCENE RESULT PNG, vexel-quality check
//
// The folder holds the test rasters, in `scenes`, and below `results` a folder for each method, the library's or
// another program's, with one for each factor. `check` does all of that in a folder of its own, for the library alone.
// Exit codes: 0 done, 1 something failed or a promise does not hold (standard error says what), 2 wrong usage.

#include "downsample.h"
#include "measures.h"
#include "picture.h"
#include "promises.h"
#include "scenes.h"

#include <CLI/CLI.hpp>
#include <cpl_error.h>
#include <gdal_priv.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

namespace files = std::filesystem;

struct Arguments
{
    std::string folder;
    std::string scene;
    std::string result;
    std::string picture;
};

/// A folder that is removed with all that is in it.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::string pattern = (files::temp_directory_path() / "vexel-quality-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            throw std::runtime_error("Unable to create a folder like '" + pattern + "'");
        m_path = pattern;
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        files::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

void makeScenes(const std::string& folder)
{
    files::create_directories(folder + "/scenes");
    quality::writeScenes(folder + "/scenes");
}

void downsample(const std::string& folder)
{
    quality::downsampleScenes(folder + "/scenes", folder + "/results");
}

/// Names of what is in a folder, sorted.
std::set<std::string> namesIn(const std::string& folder)
{
    std::set<std::string> names;
    for (const files::directory_entry& entry : files::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

/// Prints a line for each figure: method, factor, name and value, between tabs. Sizes of the scenes are figures of the
/// method "scene".
void measure(const std::string& folder)
{
    std::cout.precision(10);
    for (const quality::Scene& scene : quality::scenes())
        std::cout << "scene\t1\t" << scene.name << '\t' << scene.width << '\n';
    const std::string results = folder + "/results";
    for (const std::string& method : namesIn(results))
        for (const std::string& factor : namesIn(results + "/" + method))
            for (const auto& [name, value] :
                 quality::measured({results + "/" + method + "/" + factor, std::stoi(factor)}))
                std::cout << method << '\t' << factor << '\t' << name << '\t' << value << '\n';
}

void check()
{
    const TemporaryFolder folder;
    makeScenes(folder.path());
    downsample(folder.path());
    const std::vector<std::string> broken = quality::brokenPromises(folder.path() + "/results");
    for (const std::string& line : broken)
        std::cerr << line << '\n';
    if (!broken.empty())
        throw std::runtime_error(std::to_string(broken.size()) + " promises do not hold");
    std::cout << "All promises hold" << std::endl;
}

/// Warnings are no news: GDAL tells with each warp of bytes that -10000 is none.
void CPL_STDCALL printErrors(CPLErr severity, CPLErrorNum, const char* text)
{
    if (severity >= CE_Failure)
        std::cerr << text << '\n';
}

void declareCommands(CLI::App& app, Arguments& arguments)
{
    const auto declare = [&](const char* name, const char* what, auto action) {
        CLI::App* command = app.add_subcommand(name, what);
        command->final_callback(action);
        return command;
    };
    const auto withFolder = [&](CLI::App* command) {
        command->add_option("FOLDER", arguments.folder, "holds all files")->required();
    };
    withFolder(declare("rasters", "makes the test rasters", [&] { makeScenes(arguments.folder); }));
    withFolder(declare("downsample", "runs the library on them", [&] { downsample(arguments.folder); }));
    withFolder(declare("measure", "prints figures of all results", [&] { measure(arguments.folder); }));
    CLI::App* picture = declare("picture", "makes a result a picture", [&] {
        quality::writePicture(arguments.scene, arguments.result, arguments.picture);
    });
    picture->add_option("SCENE", arguments.scene, "what it is a result of")->required();
    picture->add_option("RESULT", arguments.result, "raster file")->required();
    picture->add_option("PNG", arguments.picture, "picture to create")->required();
    declare("check", "fails if a promise of the library does not hold", [] { check(); });
    app.require_subcommand(1);
}

} // namespace

int main(int argc, char** argv)
{
    GDALAllRegister();
    CPLSetErrorHandler(printErrors);
    CLI::App app("Measures the quality of what downsampling makes.", "vexel-quality");
    Arguments arguments;
    declareCommands(app, arguments);
    try {
        app.parse(argc, argv);
        return 0;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const std::exception& error) {
        std::cerr << "vexel-quality: " << error.what() << std::endl;
        return 1;
    }
}
