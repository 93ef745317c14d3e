#ifndef VEXEL_UTILITIES_VERIFYREPORT_H
#define VEXEL_UTILITIES_VERIFYREPORT_H

#include "utilities/verify.h"

#include <QString>

#include <cstdint>

namespace vexel::gdal::verification {

/// Counts a finding, and lists it if there is room.
void add(VerifyReport& report, VerifyFinding finding);
void add(VerifyReport& report, const QString& file, VerifyCode code, const QString& text);

/// Adds what was found in a file to what was found before.
void append(VerifyReport& report, const VerifyReport& ofFile);

/// Blocks, or rows of blocks, that follow each other and have the same kind of damage: one finding tells of all.
class Run
{
public:
    /// @param one,many what the run consists of.
    Run(VerifyReport& report, const char* one, const char* many) : m_report(report), m_one(one), m_many(many)
    {}
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    /// @param finding makes the finding; asked for the first of the run alone.
    template <class MakeFinding>
    void goOn(const MakeFinding& finding)
    {
        if (m_length++ == 0)
            m_first = finding();
    }

    /// Adds the finding, if there is one.
    void end();

private:
    VerifyReport& m_report;
    const char* m_one;
    const char* m_many;
    VerifyFinding m_first;
    std::uint64_t m_length = 0;
};

} // namespace vexel::gdal::verification

#endif
