#pragma once

#include <brisko_codec/read_problem.h>

#include "pcplib/files/progress_callback.h"

#include <cstdint>
#include <string>

namespace brisko {
class ActualCL3Codec;
}

namespace QelPcpLib {

class IndexedOutput;
class ProcessProgress;

/// More about a failure, for a report.
struct IndexingTrouble {
    bool isOutput = false;       // it could not be written
    bool isUnreadable = false;   // an input could not be read to its end
    brisko::ReadProblem damage;  // of the scan with the points
};

/// Results of the indexing drivers; anything but 0 is a failure.
namespace indexing_result {
inline constexpr std::uint16_t kDone = 0;
inline constexpr std::uint16_t kNotConverted = 100;
inline constexpr std::uint16_t kBadInput = 101;
inline constexpr std::uint16_t kBadOutput = 102;
}  // namespace indexing_result

/// "Indexing": writes a plain CL3 scan again as an indexed one. Points are carried in the scanner's
/// frame and the alignment of the scan goes into the output's ALG file.
///   input     scan.cl3
///   rawScan   the CLR scan that it was made from: it is walked in step, and gives every point its
///             own cell, whatever the coordinates are
///   output    the new scan.cl3; its ".ij" and ".alg" are written beside it
///   callback  may be null; what it throws comes out, with the output half-written
///   trouble   may be null
std::uint16_t Indexing(const std::string& input, const std::string& rawScan,
                       const std::string& output, CProgressCallback* callback,
                       IndexingTrouble* trouble = nullptr);

/// "Indexing2": the same for an indexed CL3 scan; cells come from its index, whatever its tile size.
std::uint16_t Indexing2(const std::string& input, const std::string& output,
                        CProgressCallback* callback, IndexingTrouble* trouble = nullptr);

/// How each driver ends: closes its output, and answers whether all points arrived.
///   readErrors  met by anything but the scan's reader
std::uint16_t closeOutput(IndexedOutput& output, bool transferred, ProcessProgress& steps,
                          const brisko::ActualCL3Codec& scan, std::uint64_t readErrors,
                          IndexingTrouble* trouble);

/// Indexes a CL3 scan that has no index and no raw scan: each point goes into the cell in whose
/// direction it lies, by the angles of the header. Of two points in one cell the later one goes to
/// the nearest free cell of its 256 columns, or on to the next ones where these are full; none is
/// lost. Results as in indexing.h: bad input also where the header gives no usable grid.
///   spill  a file of this name is made for the time of the call: 40 bytes for every point
std::uint16_t IndexingByAngles(const std::string& input, const std::string& output,
                               const std::string& spill, CProgressCallback* callback,
                               IndexingTrouble* trouble = nullptr);

}  // namespace QelPcpLib
