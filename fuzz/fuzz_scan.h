#pragma once

#include "support/read_points.h"
#include "support/temp_folder.h"

#include <cstdlib>
#include <cstring>
#include <span>

namespace brisko::fuzz {

inline void expect(bool holds) {
    if (!holds) std::abort();
}

/// Cuts one input into several files: a length byte in front of each slice but the last.
class Slices {
public:
    Slices(const std::uint8_t* bytes, std::size_t size) : m_bytes(bytes, size) {}

    std::span<const std::uint8_t> take() {
        if (m_bytes.empty()) return {};
        const std::size_t length = std::min<std::size_t>(4 * m_bytes[0], m_bytes.size() - 1);
        const auto slice = m_bytes.subspan(1, length);
        m_bytes = m_bytes.subspan(1 + length);
        return slice;
    }
    std::span<const std::uint8_t> rest() const { return m_bytes; }

private:
    std::span<const std::uint8_t> m_bytes;
};

/// The folder of this process; its files are written anew for every input.
class ScanFolder : public test::TempFolder {
public:
    void write(const char* name, std::span<const std::uint8_t> bytes) const {
        test::writeFile(*this / name, test::Bytes(bytes.begin(), bytes.end()));
    }
};

inline const ScanFolder& scanFolder() {
    static const ScanFolder folder;
    return folder;
}

/// Reads a scan point by point and in batches; both give the same points, to the bit.
template <class Codec>
std::vector<test::TestPoint> expectOneScan(const std::string& path) {
    const auto codec = test::openScan<Codec>(path);
    if (!codec) return {};
    // Small batches cost their time: some of a long pass are enough.
    constexpr std::size_t kCapacity = 333;
    std::vector<test::TestPoint> points = test::readAll(*codec);
    const std::vector<test::TestPoint> batched = test::readAllBatched(*codec, kCapacity);
    expect(points.size() == batched.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double a[] = {points[i].x, points[i].y, points[i].z};
        const double b[] = {batched[i].x, batched[i].y, batched[i].z};
        for (int axis = 0; axis < 3; ++axis)
            expect(a[axis] == b[axis] || (a[axis] != a[axis] && b[axis] != b[axis]));
        expect(points[i].red == batched[i].red && points[i].blue == batched[i].blue);
    }
    return points;
}

}  // namespace brisko::fuzz
