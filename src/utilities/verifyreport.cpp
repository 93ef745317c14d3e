#include "utilities/verifyreport.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace vexel::gdal::verification {

void add(VerifyReport& report, VerifyFinding finding)
{
    ++report.noFindings;
    if (report.findings.size() < VerifyReport::maxFindings)
        report.findings.push_back(std::move(finding));
}

void add(VerifyReport& report, const QString& file, VerifyCode code, const QString& text)
{
    VerifyFinding finding;
    finding.file = file;
    finding.code = code;
    finding.text = text;
    add(report, std::move(finding));
}

void append(VerifyReport& report, const VerifyReport& ofFile)
{
    const std::size_t room = VerifyReport::maxFindings - report.findings.size();
    const auto taken = static_cast<std::ptrdiff_t>(std::min(room, ofFile.findings.size()));
    report.findings.insert(report.findings.end(), ofFile.findings.begin(), ofFile.findings.begin() + taken);
    report.noFindings += ofFile.noFindings;
    report.noFiles += ofFile.noFiles;
    report.noBlocks += ofFile.noBlocks;
    report.noSparseBlocks += ofFile.noSparseBlocks;
    report.noFilesNotChecked += ofFile.noFilesNotChecked;
}

void Run::end()
{
    if (m_length > 1)
        m_first.text += m_length == 2 ? QString(", and the next %1").arg(m_one)
                                      : QString(", and the next %1 %2").arg(m_length - 1).arg(m_many);
    if (m_length > 0)
        add(m_report, std::move(m_first));
    m_length = 0;
}

} // namespace vexel::gdal::verification
