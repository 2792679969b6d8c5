#pragma once

#include <brisko_codec/brisko_codec.h>

#include "support/read_points.h"
#include "support/scan_bytes.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace brisko::test {

/// What a raw scan of the tests is like.
struct RawSpec {
    std::string model = "OTHER";
    std::uint32_t format = 1;
    std::uint32_t blocks = 1;
    std::int32_t columns = 23, rows = 17;
    unsigned seed = 1;
};

/// A CLR scan with lively points and some empty cells.
Bytes rawScan(const RawSpec& spec);

using PointsByCell = std::map<std::pair<std::uint32_t, std::uint32_t>, TestPoint>;

/// The points of a scan by their cells, as a reader delivers them.
template <class Codec>
PointsByCell pointsByCell(const std::string& path) {
    PointsByCell points;
    for (const TestPoint& p : readScan<Codec>(path))
        points[{p.column, p.row}] = p;
    return points;
}

/// Names and bytes of all files of a folder.
std::map<std::string, Bytes> contentsOf(const TempFolder& folder);

/// What a monitor throws when its own memory runs out.
struct HostOutOfMemory : std::bad_alloc {};

/// A monitor that counts, and answers or throws at its n-th update, or pauses at each.
class CountingMonitor : public vexo::ProgressMonitor {
public:
    void onStart(const std::string& name) override {
        ++starts;
        names.push_back(name);
    }
    void onFinish() override { ++finishes; }
    vexo::ProgressRequest onUpdate(const std::string&, float percentage, bool pausable,
                                   bool cancellable) override {
        ++updates;
        last = percentage;
        mayStop = mayStop && pausable && cancellable;
        if (updates == throwAt) throw HostOutOfMemory();
        if (updates == cancelAt) return vexo::ProgressRequest::Cancel;
        return pauses ? vexo::ProgressRequest::Pause : vexo::ProgressRequest::Continue;
    }

    int starts = 0, finishes = 0, updates = 0;
    int cancelAt = -1, throwAt = -1;
    bool pauses = false;
    float last = -1;
    bool mayStop = true;
    std::vector<std::string> names;
};

/// The library's diagnostics go to standard error while the object lives.
class SilentOutput {
public:
    SilentOutput();
    ~SilentOutput();
    SilentOutput(const SilentOutput&) = delete;
    SilentOutput& operator=(const SilentOutput&) = delete;

private:
    int m_saved;
};

}  // namespace brisko::test
