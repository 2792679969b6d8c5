#include "layouts/records.h"
#include "scan/files/scan_path.h"
#include "scan/formats/encoded_output.h"
#include "scan/formats/ptx/number_text.h"

#include <brisko_codec/codec.h>

#include <charconv>
#include <cmath>
#include <cstddef>
#include <string>

namespace brisko::scan {
namespace {

/// Seven numbers and their separators.
constexpr std::size_t kLongestLine = std::size_t{7} * (kLongestNumber + 1);

/// The number of points, in a line of the same length for every number: it is known when all are written.
/// Blanks at the end of a line are read as none.
std::string countLine(std::uint64_t points) {
    constexpr std::size_t kMostDigits = 20;
    std::string line = std::to_string(points);
    line.resize(kMostDigits, ' ');
    return line + "\n";
}

/// -2048 to 2047 for 0 to 2200, to the next whole number: what programs of this format expect.
double toPtsIntensity(float intensity) {
    const double number =
        static_cast<double>(intensity) * 4095 / static_cast<double>(BriskoCodec::i_range) - 2048;
    return std::round(number) + 0.0;  // no "-0"
}

/// Points as lines of text: "x y z intensity", and a colour where the scan has any.
class PtsEncoder : public UsualEncoder {
public:
    static constexpr std::size_t kLongest = kLongestLine;

    explicit PtsEncoder(const OutputTarget& target)
        : m_isCounted(hasExtension(target.shownPath, ".pts")), m_withColour(target.withColour) {}

    std::string head(std::uint64_t points) const {
        return m_isCounted ? countLine(points) : std::string();
    }
    static bool takes(const CellPoint& point, LeftOut& leftOut) {
        if (isFinite(point)) return true;
        ++leftOut.notFinite;
        return false;
    }
    std::uint8_t* put(const CellPoint& point, std::uint8_t* line) const {
        char* out = reinterpret_cast<char*>(line);
        for (const double place : {point.x, point.y, point.z}) {
            out = putCoordinate(out, place);
            *out++ = ' ';
        }
        char* const end = out + kLongestNumber;
        out = m_isCounted ? putCoordinate(out, toPtsIntensity(point.intensity))
                          : std::to_chars(out, end, point.intensity).ptr;
        if (m_withColour) {
            for (const std::uint8_t colour : {point.red, point.green, point.blue}) {
                *out++ = ' ';
                out = std::to_chars(out, out + kLongestNumber, colour).ptr;
            }
        }
        *out++ = '\n';
        return reinterpret_cast<std::uint8_t*>(out);
    }

private:
    bool m_isCounted;
    bool m_withColour;
};

}  // namespace

std::unique_ptr<ScanOutput> createPtsOutput(const OutputTarget& target) {
    return std::make_unique<EncodedOutput<PtsEncoder>>(target, PtsEncoder(target));
}

}  // namespace brisko::scan
