#include "scan/formats/ply/ply_header.h"

#include "scan/formats/ptx/line_reader.h"
#include "scan/formats/ptx/number_text.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>

namespace brisko::scan::ply {
namespace {

constexpr struct {
    std::string_view name;
    Type type;
} kTypes[] = {
    {"char", Type::I8},   {"int8", Type::I8},     {"uchar", Type::U8},   {"uint8", Type::U8},
    {"short", Type::I16}, {"int16", Type::I16},   {"ushort", Type::U16}, {"uint16", Type::U16},
    {"int", Type::I32},   {"int32", Type::I32},   {"uint", Type::U32},   {"uint32", Type::U32},
    {"float", Type::F32}, {"float32", Type::F32}, {"double", Type::F64}, {"float64", Type::F64},
};

constexpr struct {
    std::string_view name;
    Encoding encoding;
} kEncodings[] = {{"ascii", Encoding::Ascii},
                  {"binary_little_endian", Encoding::Little},
                  {"binary_big_endian", Encoding::Big}};

/// Takes the header apart, line by line.
class HeaderText {
public:
    HeaderText(std::string_view text, const std::string& path) : m_text(text), m_path(path) {}

    Header read() {
        if (next() != "ply") fail("not the first line of a PLY file");
        bool hasFormat = false;
        for (;;) {
            std::string_view line = next();
            const std::string_view word = takeWord(line);
            if (word == "end_header") break;
            if (word == "comment" || word == "obj_info") continue;
            if (word == "format") {
                takeFormat(line);
                hasFormat = true;
            } else if (word == "element") {
                takeElement(line);
            } else if (word == "property") {
                takeProperty(line);
            } else {
                fail("not a line of a PLY header");
            }
        }
        if (!hasFormat) fail("the header has no line \"format\"");
        m_header.bytes = m_place;
        return std::move(m_header);
    }

private:
    [[noreturn]] void fail(const std::string& reason) const {
        throw ScanError(ErrorKind::Damaged, m_path,
                        "line " + std::to_string(m_header.lines) + ": " + reason);
    }

    std::string_view next() {
        const std::size_t end = m_text.find('\n', m_place);
        ++m_header.lines;
        if (end == std::string_view::npos) fail("the header of a PLY file does not end");
        const std::string_view line = withoutCarriageReturn(m_text.substr(m_place, end - m_place));
        m_place = end + 1;
        return line;
    }

    void takeFormat(std::string_view line) {
        const std::string_view name = takeWord(line);
        const auto found = std::find_if(std::begin(kEncodings), std::end(kEncodings),
                                        [&](const auto& known) { return known.name == name; });
        if (found == std::end(kEncodings)) fail("a format that is not known");
        m_header.encoding = found->encoding;
    }

    void takeElement(std::string_view line) {
        Element element;
        element.name = takeWord(line);
        const std::string_view count = takeWord(line);
        const char* const end = count.data() + count.size();
        const auto [stop, error] = std::from_chars(count.data(), end, element.count);
        if (element.name.empty() || error != std::errc() || stop != end || !isBlank(line)) {
            fail("not \"element\", a name and a count");
        }
        m_header.elements.push_back(std::move(element));
    }

    Type takeType(std::string_view& line) const {
        const std::string_view name = takeWord(line);
        const auto found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                        [&](const auto& known) { return known.name == name; });
        if (found == std::end(kTypes)) fail("a property of a type that is not known");
        return found->type;
    }

    void takeProperty(std::string_view line) {
        if (m_header.elements.empty()) fail("a property of no element");
        Property property;
        std::string_view rest = line;
        if (takeWord(rest) == "list") {
            property.countType = takeType(rest);
            if (*property.countType >= Type::F32) fail("a list whose count is not a whole number");
            line = rest;
        }
        property.type = takeType(line);
        property.name = takeWord(line);
        if (property.name.empty() || !isBlank(line)) fail("not a type and a name");
        m_header.elements.back().properties.push_back(std::move(property));
    }

    std::string_view m_text;
    const std::string& m_path;
    std::size_t m_place = 0;
    Header m_header;
};

}  // namespace

std::size_t sizeOf(Type type) {
    constexpr std::size_t kSizes[] = {1, 1, 2, 2, 4, 4, 4, 8};
    return kSizes[static_cast<std::size_t>(type)];
}

bool Element::hasLists() const {
    return std::any_of(properties.begin(), properties.end(),
                       [](const Property& property) { return property.countType.has_value(); });
}

std::size_t Element::leastSize() const {
    std::size_t size = 0;
    for (const Property& property : properties)
        size += sizeOf(property.countType.value_or(property.type));
    return size;
}

Header readHeader(ByteStream& stream, const std::string& path) {
    const auto bytes = stream.atLeast(ByteStream::kMost);
    Header header =
        HeaderText({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, path).read();
    stream.seek(header.bytes);
    return header;
}

}  // namespace brisko::scan::ply
