#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_codec/cell_reader.h>
#include <brisko_scan/index.h>

#include <bit>
#include <cstdint>
#include <functional>
#include <string>

namespace brisko::scan {

/// Says how much of a task is done, 0 to 1, and what is being done. Throws ScanError(Cancelled). Called by
/// one thread at a time.
using ShareFunction = std::function<void(double share, const char* stage)>;

/// Indexes an input. Nothing is thrown.
IndexOutcome runIndexTask(const IndexTask& task, const ShareFunction& progress);

/// All points of a scan in one number that does not depend on their order.
struct PointTally {
    std::uint64_t points = 0;
    std::uint64_t sum = 0;

    void add(const CellPoint& p, bool withCell) {
        std::uint64_t one = mixed(1, std::bit_cast<std::uint64_t>(p.x));
        one = mixed(one, std::bit_cast<std::uint64_t>(p.y));
        one = mixed(one, std::bit_cast<std::uint64_t>(p.z));
        const std::uint32_t colour =
            p.red | std::uint32_t{p.green} << 8 | std::uint32_t{p.blue} << 16;
        one = mixed(one, std::uint64_t{std::bit_cast<std::uint32_t>(p.intensity)} << 32 | colour);
        if (withCell) one = mixed(one, std::uint64_t{p.column} << 32 | p.row);
        ++points;
        sum += one;
    }

private:
    static std::uint64_t mixed(std::uint64_t sum, std::uint64_t bits) {
        // Odd factors of no structure; the shift brings high bits down.
        sum = (sum ^ bits) * 0x9e3779b97f4a7c15u;
        return sum ^ sum >> 29;
    }
};

/// What to say of a task whose output is up to date.
std::string upToDateText(const IndexTask& task);

/// Whether the output of a task is there, sound, younger than all that it was made from, and shows no
/// sign that it was made from something else: header, number of points, grid and alignment are those
/// of the input. A file that was replaced by an older one is younger in the one time that no program
/// sets, that of its last change.
bool isUpToDate(const IndexTask& task);

/// Whether something else than an older output of the task has the name of its output: another scan,
/// by the instrument and time in its header and by its angles, or no scan.
bool isAnothersFile(const IndexTask& task);

/// What an indexed scan has to hold.
struct IndexedPoints {
    PointTally tally;
    bool withCells = true;  // whether the tally knows the cells
    Alignment alignment;
};

/// Compares an indexed scan that is not yet in place with the points that it was made from. It asks for
/// every cell by seeking, which shares nothing with the pass that read the input but the records.
///   staged  where the scan lies now
/// Throws ScanError(NotWritten) when it does not hold them.
IndexOutcome checkIndexed(const IndexTask& task, const std::string& staged,
                          const IndexedPoints& given, const std::function<void(double)>& reach);

/// Lets the library's conversion find the cells of a scan by the angles of its points.
///   reach  hears how much of it is done, 0 to 1; throws to end it. Called by two threads, one at a time.
/// Throws what `reach` throws, and ScanError(Damaged) where the conversion fails.
void indexByAngles(const IndexTask& task, const std::string& output,
                   const std::function<void(double share)>& reach);

}  // namespace brisko::scan
