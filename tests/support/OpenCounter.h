#ifndef VEXEL_TESTS_SUPPORT_OPENCOUNTER_H
#define VEXEL_TESTS_SUPPORT_OPENCOUNTER_H

#include <QString>

#include <map>
#include <string>

class GDALDriver;

/// Counts how often GDAL is asked to open each path while it lives, whatever the format and whether it
/// succeeds. One lives at a time. Not to be used while datasets are opened in other threads.
///
/// A driver of its own is asked before all others and turns every file down.
class OpenCounter
{
public:
    OpenCounter();
    ~OpenCounter();
    OpenCounter(const OpenCounter&) = delete;
    OpenCounter& operator=(const OpenCounter&) = delete;

    /// How often that path was opened.
    int opens(const QString& path) const;
    /// All paths that were opened, and how often.
    std::map<std::string, int> opens() const;
    /// How often any path was opened.
    int total() const;
    /// Forgets what was counted.
    void reset();

private:
    GDALDriver* m_spy;
};

#endif
