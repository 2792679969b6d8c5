#include "scan/jobs/header_angles.h"

#include "scan/files/scan_path.h"
#include "scan/formats/native/native_check.h"
#include "scan/formats/native/scan_layout.h"

#include <cmath>
#include <limits>

namespace brisko::scan {
namespace {

constexpr double kDefaultStep = 1;  // degrees, where the points show none

/// An angle of a damaged header may be anything; what a float cannot hold becomes 0.
float narrow(double degrees) {
    return std::abs(degrees) <= static_cast<double>(std::numeric_limits<float>::max())
               ? static_cast<float>(degrees)
               : 0.0f;
}

struct Span {
    double start = 0;
    double step = 0;
    double lines = 0;  // after so many comes `stop`; 0 where it is not known
    double stop = 0;

    /// Before a line, from 0. The last one's end is that of the header, not what rounding makes of it.
    double at(double line) const { return lines > 0 && line == lines ? stop : start + line * step; }
};

/// A header's span as a start and a signed step.
Span spanOf(float start, float stop, std::uint32_t count) {
    if (count == 0) return {start, 0};
    return {start, (static_cast<double>(stop) - static_cast<double>(start)) / count,
            static_cast<double>(count), stop};
}

/// Where a line after the last one of the output would be, in lines of the input.
double endOf(std::uint32_t first, std::uint32_t lines, std::uint32_t every) {
    return first + static_cast<double>(lines) * every;
}

void setAzimuth(CLFileHeader& header, const Span& span, const GridPart& part) {
    const double end = endOf(part.firstColumn, part.columns(), part.every);
    header.SetStartAzimuthAngle(narrow(span.at(part.firstColumn)));
    header.SetStopAzimuthAngle(narrow(span.at(end)));
}

void setZenith(CLFileHeader& header, const Span& span, const GridPart& part) {
    const double end = endOf(part.firstRow, part.rows(), part.every);
    header.SetStartZenithAngle(narrow(span.at(part.firstRow)));
    header.SetStopZenithAngle(narrow(span.at(end)));
}

bool isWhole(const ScanInfo& input, const GridPart& part) {
    return part.firstColumn == 0 && part.firstRow == 0 && part.endColumn == input.columns &&
           part.endRow == input.rows && part.every == 1;
}

/// The writers put their version into CL3 files; in CLR files they leave what they are given.
void setRawVersion(CLFileHeader& header) {
    const std::string version = header.GetFileVersion();
    if (version.front() == '\0' || version.starts_with("CL3")) header.SetFileVersion("CLR_0.7");
}

void readBack(CLFileHeader& header, const OutputTarget& target) {
    if (!header.Read(target.path.c_str())) failToWrite(target.shownPath);
}

}  // namespace

CLRFileHeader outputHeader(const ScanInfo& input, const GridPart& part) {
    CLRFileHeader header;
    if (input.header) {
        static_cast<CLFileHeader&>(header) = *input.header;
        if (!isWhole(input, part)) {
            const CLFileHeader& from = *input.header;
            setAzimuth(
                header,
                spanOf(from.GetStartAzimuthAngle(), from.GetStopAzimuthAngle(), input.columns),
                part);
            setZenith(header,
                      spanOf(from.GetStartZenithAngle(), from.GetStopZenithAngle(), input.rows),
                      part);
        }
    }
    setRawVersion(header);
    header.SetAzimuthResolution(static_cast<int>(part.columns()));
    header.SetZenithResolution(static_cast<int>(part.rows()));
    return header;
}

void setAngles(CLFileHeader& header, const AngleEstimate& estimate, const GridPart& part) {
    const AngleStep azimuth = estimate.azimuth();
    const AngleStep zenith = estimate.zenith();
    // Cells are about as wide as they are high, so one axis helps out for the other.
    const double other = zenith.known ? std::abs(zenith.step) : kDefaultStep;
    const double zenithOther = azimuth.known ? std::abs(azimuth.step) : kDefaultStep;
    setAzimuth(header, {.start = azimuth.start, .step = azimuth.known ? azimuth.step : other},
               part);
    setZenith(header, {.start = zenith.start, .step = zenith.known ? zenith.step : zenithOther},
              part);
}

void patchAngles(const OutputTarget& target, const AngleEstimate& estimate, const GridPart& part) {
    if (hasExtension(target.path, ".clr")) {
        CLRFileHeader header;
        readBack(header, target);
        setAngles(header, estimate, part);
        rewriteHeader(target.path, header, target.shownPath);
        return;
    }
    CL3FileHeader header;
    readBack(header, target);
    setAngles(header, estimate, part);
    const auto step = [](float start, float stop, std::uint32_t count) {
        return std::abs((stop - start) / static_cast<float>(count));
    };
    header.SetDeltaAzimuthAngle(
        step(header.GetStartAzimuthAngle(), header.GetStopAzimuthAngle(), part.columns()));
    header.SetDeltaZenithAngle(
        step(header.GetStartZenithAngle(), header.GetStopZenithAngle(), part.rows()));
    rewriteHeader(target.path, header, target.shownPath);
}

void patchSteps(const OutputTarget& target, const CLFileHeader& input) {
    CL3FileHeader header;
    readBack(header, target);
    header.SetDeltaAzimuthAngle(input.GetDeltaAzimuthAngle());
    header.SetDeltaZenithAngle(input.GetDeltaZenithAngle());
    rewriteHeader(target.path, header, target.shownPath);
}

}  // namespace brisko::scan
