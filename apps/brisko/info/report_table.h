#pragma once

#include <brisko_scan/inspect.h>

#include <array>
#include <iosfwd>
#include <string>
#include <vector>

namespace brisko::tool {

/// A table of scans, one line each; of a file with several scans one line each of them.
class ReportTable {
public:
    void add(const scan::ScanReport& report);
    void print(std::ostream& out) const;

private:
    static constexpr std::size_t kColumns = 8;
    using Row = std::array<std::string, kColumns>;

    std::vector<Row> m_rows;
};

}  // namespace brisko::tool
