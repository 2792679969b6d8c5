// Writes every second column and row of a scan as a new scan, of any format: what the scan library's
// readers and writers need.
#include <brisko_scan/scan_error.h>
#include <brisko_scan/scan_reader.h>
#include <brisko_scan/scan_writer.h>

#include <cstdio>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 3) return std::fprintf(stderr, "usage: thin_scan INPUT OUTPUT\n"), 2;
    try {
        // Points stay in the scanner's frame; the alignment goes along as a matrix.
        auto reader = brisko::scan::ScanReader::open(argv[1], {brisko::Frame::Scanner});
        brisko::scan::ScanInfo info = reader.info();
        info.columns = (info.columns + 1) / 2;
        info.rows = (info.rows + 1) / 2;
        if (info.bandColumns > 1) info.bandColumns /= 2;
        auto writer = brisko::scan::ScanWriter::create(argv[2], info);

        constexpr std::size_t kBatch = 1 << 15;
        std::vector<double> positions(3 * kBatch);
        std::vector<float> intensities(kBatch);
        std::vector<std::uint8_t> colours(3 * kBatch);
        std::vector<std::uint32_t> columns(kBatch), rows(kBatch);
        std::vector<brisko::CellPoint> kept;
        for (std::size_t count = kBatch; count == kBatch;) {
            count = reader.read(
                {positions.data(), intensities.data(), colours.data(), columns.data(), rows.data()},
                kBatch);
            kept.clear();
            for (std::size_t i = 0; i < count; ++i) {
                if (columns[i] % 2 != 0 || rows[i] % 2 != 0) continue;
                kept.push_back({positions[3 * i], positions[3 * i + 1], positions[3 * i + 2],
                                intensities[i], colours[3 * i], colours[3 * i + 1],
                                colours[3 * i + 2], columns[i] / 2, rows[i] / 2});
            }
            writer.write(kept.data(), kept.size());
        }
        const auto points = static_cast<unsigned long long>(writer.commit());
        std::printf("%s: %llu points\n", argv[2], points);
    } catch (const brisko::scan::ScanError& error) {
        return std::fprintf(stderr, "%s\n", error.what()), 1;
    }
    return 0;
}
