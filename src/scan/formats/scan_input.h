#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_codec/cell_reader.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/scan_photos.h>
#include <brisko_scan/scan_info.h>
#include <brisko_scan/scan_reader.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace brisko::scan {

/// Reads the points of a scan in the scanner's frame, whatever its format.
class ScanInput {
public:
    virtual ~ScanInput() = default;

    const ScanInfo& info() const { return m_info; }

    /// Replaces the points by the next ones, in the scanner's frame; none at the end of the scan.
    /// Throws ScanError(Damaged).
    virtual void read(std::vector<CellPoint>& points) = 0;
    /// Whether readInto is there, too.
    virtual bool readsIntoArrays() const { return false; }
    /// The same points straight into a caller's arrays; the two are not mixed within a pass.
    /// Returns: how many, at most `capacity`; 0 only at the end of the scan.
    virtual std::size_t readInto(const PointArrays& arrays, std::size_t capacity) {
        static_cast<void>(arrays);
        static_cast<void>(capacity);
        return 0;
    }
    /// Starts again with the first point.
    virtual void rewind() = 0;
    /// Points are not taken steadily, but many at a time with pauses between: more of them may wait, some 20 MB.
    virtual void expectPauses() {}

    /// How far the reading has come, for a Progress: steps done, of so many, called so.
    virtual std::uint64_t stepsDone() const = 0;
    virtual std::uint64_t steps() const = 0;
    virtual const char* stepUnit() const = 0;

    /// What the user should know of the points read so far; empty where there is nothing.
    virtual std::string remark() const { return {}; }
    /// The pictures in the file that show this scan.
    virtual std::size_t pictures() const { return 0; }

protected:
    static constexpr std::size_t kBatch = 1 << 12;  // points

    ScanInfo m_info;
};

/// Takes the bytes of a picture inside a scan's file, part by part.
using ImageSink = std::function<void(std::span<const std::uint8_t>)>;

/// A picture inside a scan's file as its camera took it.
struct PlacedImage {
    std::size_t image = 0;  // its number in the file
    std::string name;       // may be empty
    std::string scanGuid;   // of the scan that it shows; may be empty
    PinholeCamera camera;   // in the frame of the file; without pixels where there is none
};

/// Opens a scan. Its files are checked for completeness first, and an alignment that is there but
/// cannot be read is an error: the points would be in the wrong place without a word.
/// Throws ScanError(Request) for a name that is not a scan's, ScanError(Damaged) for everything else.
std::unique_ptr<ScanInput> openScan(const std::string& path, const ReadOptions& options = {});

/// The same for a raw scan that lies in several files.
///   later  the files after the first, in their order
std::unique_ptr<ScanInput> openSeries(const std::string& first,
                                      const std::vector<std::string>& later);

}  // namespace brisko::scan
