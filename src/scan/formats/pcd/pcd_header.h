#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brisko::scan {

/// What a field of a point means to us.
enum class PcdRole : std::uint8_t { X, Y, Z, Intensity, Packed, Red, Green, Blue, Column, Row };
inline constexpr std::size_t kPcdRoles = 10;

/// How the points are stored.
enum class PcdData { Ascii, Binary, Compressed };

struct PcdField {
    std::string name;
    std::uint32_t size = 4;    // bytes of a value: 1, 2, 4, 8
    char type = 'F';           // F, I, U
    std::uint64_t count = 1;   // values in a row
    std::uint64_t offset = 0;  // in a point's record
    std::uint64_t bytes() const { return size * count; }
    bool isPadding() const { return name == "_"; }
};

/// The text before the points of a PCD file:
///
///   # comments; ours are "# brisko grid" and "# brisko matrix" with 16 numbers
///   VERSION 0.7
///   FIELDS x y z intensity rgb
///   SIZE 8 8 8 4 4
///   TYPE F F F F F
///   COUNT 1 1 1 1 1
///   WIDTH 300
///   HEIGHT 270
///   VIEWPOINT 0 0 0 1 0 0 0     translation and quaternion (w x y z), from the sensor's frame
///   POINTS 81000
///   DATA binary                 ascii, binary or binary_compressed; the points follow
struct PcdHeader {
    std::string version;
    std::vector<PcdField> fields;
    std::array<std::optional<std::size_t>, kPcdRoles> roles;  // which field
    std::uint64_t width = 0, height = 1, points = 0;
    std::array<double, 7> viewpoint = {0, 0, 0, 1, 0, 0, 0};
    PcdData data = PcdData::Ascii;
    std::uint64_t recordSize = 0;   // bytes of a point, not compressed
    std::uint64_t paddingSize = 0;  // of these in fields without a meaning
    std::uint64_t dataOffset = 0;
    bool isOurGrid = false;                        // organised by us, also with a single row
    std::optional<std::array<double, 16>> matrix;  // ours

    bool isOrganised() const { return height > 1 || isOurGrid; }
    const PcdField* field(PcdRole role) const {
        const auto& index = roles[static_cast<std::size_t>(role)];
        return index ? &fields[*index] : nullptr;
    }
    /// Values of all fields of a point.
    std::uint64_t values() const;
};

/// Takes the header from the beginning of a file. Returns why there is none; empty where there is.
std::string parsePcdHeader(std::string_view file, PcdHeader& header);
/// The text, also of a header without points yet: as long as with them.
std::string pcdHeaderText(const PcdHeader& header, const std::string& software);

/// Longer headers are refused.
inline constexpr std::size_t kPcdLongestHeader = 1 << 16;

}  // namespace brisko::scan
