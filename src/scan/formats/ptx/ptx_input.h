#pragma once

#include "scan/formats/ptx/ptx_reader.h"
#include "scan/formats/scan_input.h"

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

private:
    std::unique_ptr<PtxReader> m_reader;
};

}  // namespace brisko::scan
