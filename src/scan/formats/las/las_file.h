#pragma once

#include "scan/files/input_file.h"
#include "scan/formats/las/las_layout.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace brisko::scan {

/// How compressed files become such as are read.
inline constexpr const char* kLasUnpackAdvice =
    "unpack it first, for example with 'laszip -i in.laz -o out.las' or 'pdal translate in.laz "
    "out.las'";

/// What a LAS file says before its points are read. Nothing in it is believed that the file has no
/// room for.
class LasFile {
public:
    /// Throws ScanError(Damaged) where this is no LAS file.
    explicit LasFile(const std::string& path);
    LasFile(const LasFile&) = delete;
    LasFile& operator=(const LasFile&) = delete;

    const std::string& path() const { return m_path; }
    std::uint64_t bytes() const { return m_bytes; }
    const LasHeader& header() const { return m_header; }

    /// Why the points cannot be read; empty where they can.
    const std::string& problem() const { return m_problem; }
    /// What the user can do then; may be empty.
    const std::string& advice() const { return m_advice; }
    /// Throws ScanError(Damaged) where there is a problem.
    void requireReadable() const;

    /// Point records that the file has room for, at most those that the header announces.
    std::uint64_t pointsThere() const;
    /// Offset of the colour in a point record; 0: there is none.
    std::size_t colourOffset() const { return kLasPointFormats[m_header.pointFormat].colour; }
    /// The fields after those of the point format.
    const std::vector<LasField>& fields() const { return m_fields; }
    /// Two of these fields that name the cell of a point, null where there are none.
    const LasField* columnField() const { return m_column; }
    const LasField* rowField() const { return m_row; }

    /// Our record.
    const std::optional<LasScanRecord>& scanRecord() const { return m_scan; }
    /// Whether the file is as we wrote it: other programs keep our record, but put their own name as that
    /// of the software, and may have taken points out, or sorted them.
    bool isOurs() const { return m_scan && m_header.software.starts_with(kSoftware); }

    /// Records of variable length that are whole, extended ones included.
    std::uint64_t recordsThere() const { return m_records; }
    /// Records that are announced but are not there.
    std::uint64_t recordsMissing() const;
    bool hasCoordinateSystem() const { return m_hasCoordinateSystem; }

    static constexpr const char* kSoftware = "brisko ";

private:
    void readHeader(InputFile& file);
    void findProblem();
    std::string layoutProblem();
    void readRecords(InputFile& file, std::uint64_t at, std::uint64_t end, std::uint64_t count,
                     bool isExtended);
    void takeRecord(InputFile& file, const LasRecord& record, std::uint64_t at);
    void findCellFields();
    const LasField* cellField(const char* name) const;

    std::string m_path;
    std::uint64_t m_bytes = 0;
    LasHeader m_header;
    std::string m_problem, m_advice;
    std::vector<LasField> m_fields;
    const LasField* m_column = nullptr;
    const LasField* m_row = nullptr;
    std::optional<LasScanRecord> m_scan;
    std::uint64_t m_records = 0;
    bool m_hasCoordinateSystem = false;
};

}  // namespace brisko::scan
