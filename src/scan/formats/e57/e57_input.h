#pragma once

#include "scan/formats/e57/e57_file.h"
#include "scan/formats/e57/record_points.h"
#include "scan/formats/scan_input.h"

#include <brisko_scan/inspect.h>

#include <optional>
#include <string>
#include <vector>

namespace brisko::scan {

/// A scan of an E57 file.
class E57Input : public ScanInput {
public:
    E57Input(const std::string& path, const ReadOptions& options);

    void read(std::vector<CellPoint>& points) override { m_points->read(points); }
    void rewind() override { start(); }
    std::uint64_t stepsDone() const override { return m_points->recordsDone(); }
    std::uint64_t steps() const override { return m_scan.records; }
    const char* stepUnit() const override { return "records"; }
    std::string remark() const override;
    std::size_t pictures() const override;

private:
    void start() { m_points.emplace(m_file.pages(), m_scan, m_rule); }
    void takeInfo();
    void takeGrid(const ReadOptions& options);

    e57::File m_file;
    const e57::Scan& m_scan;
    e57::PointRule m_rule;
    std::optional<e57::RecordPoints> m_points;
};

/// What the file says of itself and of each of its scans.
ScanReport describeE57(const std::string& path);
std::vector<ScanEntry> listE57(const std::string& path);

}  // namespace brisko::scan
