#include <brisko_scan/scan_writer.h>

#include "scan/formats/format_table.h"
#include "scan/jobs/column_order.h"
#include "scan/jobs/output_choice.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>

#include <optional>
#include <vector>

namespace brisko::scan {
namespace {

OutputChoice requireWritable(const std::string& path, const ScanInfo& info,
                             const WriteOptions& options) {
    const FormatDriver& driver = writerOf(path);
    constexpr std::uint32_t kMost = 0x7fffffff;  // a CLR header counts with a sign
    if (driver.traits.needsGrid && !info.hasGrid) {
        throw ScanError(ErrorKind::Request, path, "the format needs the cells of the points");
    }
    if (info.columns > kMost || info.rows > kMost || info.bandColumns == 0) {
        throw ScanError(ErrorKind::Request, path,
                        "the grid is too large, or has bands of no column");
    }
    requireNew(path, options.overwrite);
    return makeChoice(driver, info, options.plain);
}

GridPart wholeOf(const ScanInfo& info) {
    return {{0, info.columns, 0, info.rows}};
}

}  // namespace

class ScanWriter::State {
public:
    State(const std::string& path, const ScanInfo& info, const WriteOptions& options)
        : m_path(path),
          m_choice(requireWritable(path, info, options)),
          m_staged(path),
          m_target(makeTarget(info)),
          m_output(m_choice.driver->create(m_target)) {
        m_staged.requireAlignment(toAlignment(m_target.matrix).matrix);
        if (!needsOrder(m_choice, info, wholeOf(info))) return;
        m_order.emplace(info.bandColumns, path, path,
                        [this](std::span<const CellPoint> points) { m_output->write(points); });
    }

    void write(std::span<const CellPoint> points) {
        blameCaller([&] {
            if (m_order) {
                m_order->add(points);
            } else {
                m_output->write(points);
            }
        });
    }

    std::uint64_t commit(const ProgressFunction& progress) {
        blameCaller([this] {
            if (m_order) m_order->finish();
            m_output->finish();
        });
        m_staged.commit(progress);
        return m_output->points();
    }

private:
    /// In a conversion the input is at fault for points that cannot be stored; here it is who hands them in.
    template <class Step>
    static void blameCaller(const Step& step) {
        try {
            step();
        } catch (const ScanError& error) {
            if (error.kind() != ErrorKind::Damaged) throw;
            throw ScanError(ErrorKind::Request, error.file(), error.reason(), error.advice());
        }
    }

    OutputTarget makeTarget(const ScanInfo& info) const {
        OutputTarget target = targetOf(m_choice, info, wholeOf(info));
        target.path = m_staged.path();
        target.shownPath = m_path;
        target.withColour = info.storesColour;
        target.matrix = std::to_array(info.alignment.matrix);
        return target;
    }

    std::string m_path;
    OutputChoice m_choice;
    StagedScan m_staged;
    OutputTarget m_target;
    std::unique_ptr<ScanOutput> m_output;
    std::optional<ColumnOrder> m_order;
};

ScanWriter::ScanWriter(std::unique_ptr<State> state) : m_state(std::move(state)) {
}
ScanWriter::ScanWriter(ScanWriter&&) noexcept = default;
ScanWriter& ScanWriter::operator=(ScanWriter&&) noexcept = default;
ScanWriter::~ScanWriter() = default;

ScanWriter ScanWriter::create(const std::string& path, const ScanInfo& info,
                              const WriteOptions& options) {
    return ScanWriter(std::make_unique<State>(path, info, options));
}

void ScanWriter::write(const CellPoint* points, std::size_t count) {
    m_state->write({points, count});
}

std::uint64_t ScanWriter::commit(const ProgressFunction& progress) {
    return m_state->commit(progress);
}

}  // namespace brisko::scan
