#pragma once

#include "scan/formats/scan_input.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace brisko::scan {

/// The points of another input; what differs is up to those who derive from it.
class WrappedInput : public ScanInput {
public:
    explicit WrappedInput(std::unique_ptr<ScanInput> inner) : m_inner(std::move(inner)) {
        m_info = m_inner->info();
    }

    void read(std::vector<CellPoint>& points) override { m_inner->read(points); }
    void rewind() override { m_inner->rewind(); }
    void expectPauses() override { m_inner->expectPauses(); }
    std::uint64_t stepsDone() const override { return m_inner->stepsDone(); }
    std::uint64_t steps() const override { return m_inner->steps(); }
    const char* stepUnit() const override { return m_inner->stepUnit(); }
    std::string remark() const override { return m_inner->remark(); }
    std::size_t pictures() const override { return m_inner->pictures(); }

protected:
    std::unique_ptr<ScanInput> m_inner;
};

}  // namespace brisko::scan
