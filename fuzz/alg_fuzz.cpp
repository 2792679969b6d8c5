// ALG files: what was read is written in a form that reads as the same and is written the same again;
// and what has no finite matrix aligns nothing.

#include "same_points.h"
#include "scan_folder.h"

#include <brisko_codec/alignment.h>

#include "pcplib/files/pt_cld_alg_file.h"

#include <cmath>

namespace brisko::fuzz {

namespace {

using QelPcpLib::AlgArea;
using QelPcpLib::AlgHeader;
using QelPcpLib::CPtCldAlgFile;
using QelPcpLib::OpenMode;

struct Content {
    AlgHeader header;
    std::vector<AlgArea> areas;
};

/// Returns false when the file has no header that can be used.
bool read(const std::string& path, Content& content) {
    CPtCldAlgFile file;
    expect(file.Open(path, OpenMode::ReadText));
    if (!file.ReadHeader(content.header)) return false;
    AlgArea area;
    while (content.areas.size() < 20 && file.ReadArea(area))
        content.areas.push_back(area);
    return true;
}

void write(const std::string& path, const Content& content) {
    CPtCldAlgFile file;
    expect(file.Open(path, OpenMode::WriteText));
    file.WriteHeader(content.header);
    for (const AlgArea& area : content.areas)
        file.WriteArea(area);
    file.Close();
    expect(!file.HasFailed());
}

/// Equal to the twelve digits that are written.
void expectClose(double a, double b) {
    expect(isSame(a, b) || std::abs(a - b) <= 1e-12 * std::abs(a));
}

void expectRoundTrip(const ScanFolder& folder) {
    Content first, second;
    if (!read(folder / "scan.alg", first)) return;
    write(folder / "again.alg", first);
    expect(read(folder / "again.alg", second));
    expect(second.areas.size() == first.areas.size());
    for (std::size_t i = 0; i < 16; ++i)
        expectClose(first.header.matrix[i], second.header.matrix[i]);
    for (std::size_t i = 0; i < first.areas.size(); ++i) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            expectClose(first.areas[i].max[axis], second.areas[i].max[axis]);
            expectClose(first.areas[i].min[axis], second.areas[i].min[axis]);
        }
    }
    expect(first.header.blockSize == second.header.blockSize);
    write(folder / "third.alg", second);
    expect(test::readFile(folder / "third.alg") == test::readFile(folder / "again.alg"));
}

void expectAlignment(const ScanFolder& folder) {
    double matrix[16], again[16];
    std::fill(std::begin(matrix), std::end(matrix), 7.0);
    if (!readAlignmentFile((folder / "scan.alg").c_str(), matrix)) {
        for (const double element : matrix)
            expect(element == 7);
        return;
    }
    expect(writeAlignmentFile((folder / "again.alg").c_str(), matrix, {}));
    expect(readAlignmentFile((folder / "again.alg").c_str(), again));
    for (int i = 0; i < 16; ++i) {
        expect(std::isfinite(matrix[i]));
        expect(std::abs(matrix[i] - again[i]) <= 1e-18);
    }
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    folder.write("scan.alg", input);
    expectRoundTrip(folder);
    expectAlignment(folder);
}

std::vector<Bytes> seeds() {
    const std::string rows =
        "CL3_ALG_0.1\n"
        "0.0 -1.000000000000e+00 0 1.0e+01//matrix 1\n1 0 0 0//matrix 2\n"
        "0 0 1 2.5 //matrix 3\r\n0 0 0 1//matrix 4\n";
    return {toBytes(rows + "2200.000000 // max intensity\n1.0 // min intensity\n1// block size\n"
                           "4.25 3 1.5 // max area\n-4 -3 -1.25 // min area\n1 2 3\n4 5 6\n"),
            toBytes(rows), toBytes("CL3_ALG_0.1\n1e400 nan -inf 1e-320\n\n")};
}

const Registered registered({"alg", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
