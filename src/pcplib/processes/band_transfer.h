#pragma once

#include "codec/actual_brisko_codec.h"
#include "writers/tile_grid_writer.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace QelPcpLib {

/// A scan whose bands of 256 columns are read apart.
struct BandSource {
    /// Another reader of the scan, open, in the scanner's frame, with a batch interface; null where there is
    /// none.
    std::function<std::unique_ptr<brisko::ActualBriskoCodec>()> open;
    std::shared_ptr<const brisko::CL3TileTable> tiles;  // of an indexed CL3 scan
    std::uint64_t columns = 0, rows = 0;                // of the grid
};

/// How many threads to read a scan by bands with: 1 where it has too few of them, or they take too much
/// memory.
std::size_t bandThreads(std::uint64_t columns, std::uint64_t rows);

/// Writes a scan band by band; several threads read and encode.
///   onBand  called in the calling thread as bands come: columns and points done. It may throw.
/// Returns: false where something about the scan or its readers is not as it should be. The output then holds
///          some of the points, and what is to become of such a scan is decided by going through it from front
///          to back.
bool transferBands(const BandSource& source, std::size_t threads, brisko::TileGridWriter& output,
                   const std::function<void(std::uint64_t columns, std::uint64_t points)>& onBand);

}  // namespace QelPcpLib
