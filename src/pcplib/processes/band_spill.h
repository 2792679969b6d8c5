#pragma once

#include "base/output_file.h"
#include "codec/ij_entry_stream.h"
#include "layouts/records.h"

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace QelPcpLib {

struct PlacedPoint {
    brisko::CL3Record record;
    brisko::Cell cell;
};

/// What became of a point that was handed out.
enum class Placing { Done, BandIsFull, Failed };

/// Sorts points by bands of 256 columns on the disk: they come in any order and are taken out band by
/// band, in the order in which they came. Memory: a small buffer for every band that holds points.
class BandSpill {
public:
    /// The file appears at the path and goes with the object.
    explicit BandSpill(const std::string& path);
    ~BandSpill();
    BandSpill(const BandSpill&) = delete;
    BandSpill& operator=(const BandSpill&) = delete;

    bool isOpen() const { return m_file.isOpen(); }
    /// False when it cannot be written.
    bool add(const PlacedPoint& point);
    /// Call once between adding and taking. False when anything was not written.
    bool finish();
    /// Hands out the points of a band. Those from the first one on for which there was no room go to
    /// the next band, after its own. False when they cannot be read back, or one could not be placed.
    bool take(std::uint32_t band, const std::function<Placing(const PlacedPoint&)>& use);
    /// Whether every point was taken.
    bool isEmpty() const { return m_bands.empty(); }

private:
    static constexpr std::size_t kChunkPoints = 1024;

    /// Points that lie together in the file.
    struct Chunk {
        std::uint64_t offset;
        std::uint64_t count;
    };
    struct Band {
        std::vector<PlacedPoint> waiting;
        std::vector<Chunk> chunks;
    };
    bool writeChunk(Band& band);

    std::string m_path;
    brisko::OutputFile m_file;
    brisko::FilePtr m_reading;
    std::unordered_map<std::uint32_t, Band> m_bands;
};

}  // namespace QelPcpLib
