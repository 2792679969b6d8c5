#include "decorators/occlusion_pass.h"

#include <brisko_codec/point_batch.h>

#include <boost/thread/thread.hpp>

#include <vector>

namespace brisko {

std::shared_ptr<const DepthMaps> readDepthMaps(BriskoCodec& codec, const RvxScanColorizer& handle,
                                               const ColourOpenProgress& progress) noexcept try {
    constexpr std::size_t kBatch = 1024;
    const std::shared_ptr<DepthMaps> maps = handle.makeDepthMaps();
    PointBatchReader reader(codec);
    std::vector<double> positions(3 * kBatch);
    PointArrays arrays;
    arrays.positions = positions.data();
    std::uint64_t points = 0;
    for (std::size_t count = kBatch; count == kBatch;) {
        if (boost::this_thread::interruption_requested()) return nullptr;
        if (progress && !progress(points)) return nullptr;
        count = points == 0 ? reader.readFirst(arrays, kBatch) : reader.readNext(arrays, kBatch);
        maps->add(positions.data(), count);
        points += count;
    }
    if (reader.hasReadError()) return nullptr;
    maps->finish();
    return maps;
} catch (...) {
    return nullptr;
}

}  // namespace brisko
