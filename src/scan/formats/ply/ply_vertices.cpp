#include "scan/formats/ply/ply_vertices.h"

#include "scan/formats/point_pieces.h"
#include "scan/formats/ptx/number_text.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace brisko::scan::ply {
namespace {

template <class Number, bool kSwapped>
double load(const std::uint8_t* in) {
    std::uint8_t bytes[sizeof(Number)];
    if constexpr (kSwapped) {
        std::reverse_copy(in, in + sizeof bytes, bytes);
    } else {
        std::memcpy(bytes, in, sizeof bytes);
    }
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return static_cast<double>(number);
}

/// Numbers that lie `stride` bytes apart.
template <class Number, bool kSwapped>
void loadAll(const std::uint8_t* in, std::size_t stride, std::size_t count, double* out) {
    for (std::size_t i = 0; i < count; ++i, in += stride)
        out[i] = load<Number, kSwapped>(in);
}

using LoadAll = void (*)(const std::uint8_t*, std::size_t, std::size_t, double*);

template <bool kSwapped>
LoadAll loaderOf(Type type) {
    constexpr LoadAll kLoaders[] = {
        loadAll<std::int8_t, kSwapped>,  loadAll<std::uint8_t, kSwapped>,
        loadAll<std::int16_t, kSwapped>, loadAll<std::uint16_t, kSwapped>,
        loadAll<std::int32_t, kSwapped>, loadAll<std::uint32_t, kSwapped>,
        loadAll<float, kSwapped>,        loadAll<double, kSwapped>};
    return kLoaders[static_cast<std::size_t>(type)];
}

LoadAll loaderOf(Type type, bool isSwapped) {
    return isSwapped ? loaderOf<true>(type) : loaderOf<false>(type);
}

}  // namespace

Vertices::Vertices(const std::string& path)
    : m_path(path), m_stream(path), m_file(path), m_header(readHeader(m_stream, path)) {
    const auto vertex =
        std::find_if(m_header.elements.begin(), m_header.elements.end(),
                     [](const Element& element) { return element.name == "vertex"; });
    if (vertex == m_header.elements.end()) fail("there is no element \"vertex\"");
    m_element = &*vertex;
    chooseFields();
    requireRoom();
    if (m_header.encoding == Encoding::Ascii) {
        m_lines.emplace(path);
        m_lines->pass(m_header.lines);
    }
    for (auto element = m_header.elements.begin(); element != vertex; ++element)
        passElement(*element);
}

void Vertices::fail(const std::string& reason) const {
    throw ScanError(ErrorKind::Damaged, m_path, reason);
}

void Vertices::failAtEnd() const {
    fail("the file ends in or before vertex " + std::to_string(m_done + 1) + " of " +
         std::to_string(count()));
}

/// Of several properties of one meaning, the first counts.
void Vertices::chooseFields() {
    std::size_t offset = 0;
    for (const Property& property : m_element->properties) {
        Role role = property.countType ? Role::Other : roleOf(property.name);
        if (std::find(m_roles.begin(), m_roles.end(), role) != m_roles.end()) role = Role::Other;
        m_roles.push_back(role);
        if (role != Role::Other) m_fields.push_back({role, property.type, offset});
        offset += sizeOf(property.type);
    }
    for (const Role role : {Role::X, Role::Y, Role::Z}) {
        if (!typeOf(role)) fail("its vertices have no x, y and z");
    }
}

std::optional<Type> Vertices::typeOf(Role role) const {
    for (const Field& field : m_fields) {
        if (field.role == role) return field.type;
    }
    return {};
}

void Vertices::want(std::initializer_list<Role> roles) {
    std::erase_if(m_fields, [&](const Field& field) {
        return std::find(roles.begin(), roles.end(), field.role) == roles.end();
    });
}

/// Refuses more vertices than the file can hold, before anything is sized by their number.
void Vertices::requireRoom() const {
    const bool isText = m_header.encoding == Encoding::Ascii;
    const std::size_t least = isText ? 2 * m_element->properties.size() : m_element->leastSize();
    const std::uint64_t bytes = m_stream.left() + isText;  // the last line may lack its end
    if (bytes / least >= count()) return;
    fail("its header announces " + std::to_string(count()) +
         " vertices, but the file is too short for them");
}

void Vertices::passElement(const Element& element) {
    if (m_lines) {
        if (m_lines->pass(element.count) < element.count) failAtEnd();
        return;
    }
    const std::size_t size = element.leastSize();
    if (size == 0) return;
    if (element.count > m_stream.left() / size) failAtEnd();
    if (!element.hasLists()) {
        m_stream.seek(m_stream.offset() + element.count * size);
        return;
    }
    for (std::uint64_t record = 0; record < element.count; ++record)
        passRecord(element, nullptr, 0);
}

double Vertices::takeBinary(Type type) {
    const std::uint8_t* const bytes = m_stream.take(sizeOf(type));
    if (!bytes) failAtEnd();
    double value = 0;
    loaderOf(type, isSwapped())(bytes, 0, 1, &value);
    return value;
}

/// Goes over a record with lists; its numbers are kept where it is a vertex of a block.
void Vertices::passRecord(const Element& element, VertexBlock* block, std::size_t vertex) {
    for (std::size_t i = 0; i < element.properties.size(); ++i) {
        const Property& property = element.properties[i];
        const double value = takeBinary(property.countType.value_or(property.type));
        if (property.countType) {
            const std::size_t size = sizeOf(property.type);
            const std::uint64_t most = m_stream.left() / size;
            if (value < 0 || value > static_cast<double>(most)) failAtEnd();
            m_stream.seek(m_stream.offset() + static_cast<std::uint64_t>(value) * size);
        } else if (block && m_roles[i] != Role::Other) {
            block->values[static_cast<std::size_t>(m_roles[i])][vertex] = value;
        }
    }
}

void Vertices::makeRoom(VertexBlock& block) const {
    for (const Role role : m_roles) {
        if (role != Role::Other) block.values[static_cast<std::size_t>(role)].resize(block.count);
    }
}

bool Vertices::fetch(VertexBlock& block) {
    constexpr std::size_t kMostBytes = 1 << 20;
    const std::size_t record = std::max<std::size_t>(m_element->leastSize(), 1);
    const std::uint64_t most = std::clamp<std::size_t>(kMostBytes / record, 1, kPiecePoints);
    block.count = static_cast<std::size_t>(std::min(count() - m_done, most));
    if (block.count == 0) return false;
    if (m_lines) {
        fetchText(block);
    } else if (m_element->hasLists()) {
        fetchLists(block);
    } else {
        fetchPlain(block);
    }
    block.end = m_done;
    return true;
}

void Vertices::fetchPlain(VertexBlock& block) {
    const std::size_t bytes = block.count * m_element->leastSize();
    if (block.bytes.size() < bytes) block.bytes.resize(bytes);
    if (!m_file.readAt(m_stream.offset(), block.bytes.data(), bytes)) failAtEnd();
    m_stream.seek(m_stream.offset() + bytes);
    m_done += block.count;
}

void Vertices::fetchLists(VertexBlock& block) {
    makeRoom(block);
    for (std::size_t vertex = 0; vertex < block.count; ++vertex, ++m_done)
        passRecord(*m_element, &block, vertex);
}

/// Lines are as many as fit into a stretch.
void Vertices::fetchText(VertexBlock& block) {
    if (!m_lines->take(block.lines)) failAtEnd();
    std::size_t end = 0;
    block.count = static_cast<std::size_t>(countLines(block.lines.text(), count() - m_done, end));
    if (end < block.lines.size) m_lines->giveBack(block.lines, end);
    m_done += block.count;
}

void Vertices::decode(VertexBlock& block) const {
    if (m_lines) {
        decodeText(block);
    } else if (!m_element->hasLists()) {
        decodePlain(block);
    }
}

void Vertices::decodePlain(VertexBlock& block) const {
    makeRoom(block);
    for (const Field& field : m_fields) {
        loaderOf(field.type, isSwapped())(
            block.bytes.data() + field.offset, m_element->leastSize(), block.count,
            block.values[static_cast<std::size_t>(field.role)].data());
    }
}

bool Vertices::takeText(std::string_view line, VertexBlock& block, std::size_t vertex) const {
    for (std::size_t i = 0; i < m_roles.size(); ++i) {
        double value = 0;
        if (!takeNumberInside(line, value)) {
            const std::string_view word = takeWord(line);
            if (!isNan(word) && word.find("inf") == std::string_view::npos) return false;
            value = std::numeric_limits<double>::quiet_NaN();
        }
        if (m_element->properties[i].countType) {
            constexpr double kMost = 1e18;
            auto left = value >= 1 ? static_cast<std::uint64_t>(std::min(value, kMost)) : 0;
            for (; left > 0; --left) {
                if (takeWord(line).empty()) return false;
            }
        } else if (m_roles[i] != Role::Other) {
            block.values[static_cast<std::size_t>(m_roles[i])][vertex] = value;
        }
    }
    return isBlank(line);
}

void Vertices::decodeText(VertexBlock& block) const {
    makeRoom(block);
    std::string_view text = block.lines.text();
    std::size_t vertex = 0;
    for (std::uint64_t number = block.lines.before + 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = withoutCarriageReturn(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (isComment(line)) continue;
        if (!takeText(line, block, vertex++)) {
            fail("line " + std::to_string(number) + ": not the " + std::to_string(m_roles.size()) +
                 " properties of a vertex");
        }
    }
}

}  // namespace brisko::scan::ply
