#pragma once

#include "scan/formats/ptx/ptx_reader.h"
#include "scan/formats/scan_input.h"

#include <brisko_scan/inspect.h>

namespace brisko::scan {

/// A PTX file as a scan.
class PtxInput : public ScanInput {
public:
    explicit PtxInput(const std::string& path);

    void read(std::vector<CellPoint>& points) override;
    void rewind() override;
    std::uint64_t stepsDone() const override { return m_reader->bytesRead(); }
    std::uint64_t steps() const override { return m_reader->bytes(); }
    const char* stepUnit() const override { return "bytes"; }
    std::string remark() const override;

private:
    std::unique_ptr<PtxReader> m_reader;
    bool m_foreignIntensity = false;  // files of some programs hold other scales than 0 to 1
};

/// What its header and its first line with a point say.
ScanReport describePtx(const std::string& path);

}  // namespace brisko::scan
