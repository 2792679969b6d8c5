#pragma once

#include "scan/files/input_file.h"
#include "scan/formats/ply/ply_header.h"
#include "scan/formats/point_role.h"
#include "scan/formats/ptx/line_reader.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brisko::scan::ply {

/// Some vertices.
struct VertexBlock {
    std::uint64_t end = 0;  // vertices up to the last of them
    std::size_t count = 0;
    std::vector<std::uint8_t> bytes;  // of a binary file without lists
    LineStretch lines;                // of a text file
    /// NaN where the file has no number.
    std::array<std::vector<double>, kRoles> values;

    const double* of(Role role) const { return values[static_cast<std::size_t>(role)].data(); }
};

/// Reads the numbers of the vertices, a block at a time, whatever the encoding and the other elements.
class Vertices {
public:
    /// Opens the file and finds the first vertex. Throws ScanError(Damaged).
    explicit Vertices(const std::string& path);

    std::uint64_t count() const { return m_element->count; }
    std::uint64_t bytes() const { return m_stream.size(); }
    /// The type of a number; nothing where vertices do not have it.
    std::optional<Type> typeOf(Role role) const;

    /// From now on, plain records are read for these numbers only.
    void want(std::initializer_list<Role> roles);

    /// Takes the next vertices. False at the end. Throws ScanError(Damaged).
    bool fetch(VertexBlock& block);
    /// Brings their values to hand. May be called by several threads at once, for blocks of their own. Throws
    /// ScanError(Damaged).
    void decode(VertexBlock& block) const;

private:
    struct Field {
        Role role;
        Type type;
        std::size_t offset;  // in the record
    };

    void chooseFields();
    void requireRoom() const;
    void makeRoom(VertexBlock& block) const;
    void passElement(const Element& element);
    void passRecord(const Element& element, VertexBlock* block, std::size_t vertex);
    void fetchPlain(VertexBlock& block);
    void fetchLists(VertexBlock& block);
    void fetchText(VertexBlock& block);
    void decodePlain(VertexBlock& block) const;
    void decodeText(VertexBlock& block) const;
    bool takeText(std::string_view line, VertexBlock& block, std::size_t vertex) const;
    double takeBinary(Type type);
    bool isSwapped() const { return m_header.encoding == Encoding::Big; }
    [[noreturn]] void fail(const std::string& reason) const;
    [[noreturn]] void failAtEnd() const;

    std::string m_path;
    ByteStream m_stream;
    InputFile m_file;  // the same, for large pieces
    Header m_header;
    const Element* m_element = nullptr;
    std::optional<LineReader> m_lines;  // of a text file
    std::vector<Role> m_roles;          // of the element's properties
    std::vector<Field> m_fields;        // of a record without lists
    std::uint64_t m_done = 0;           // vertices fetched
};

}  // namespace brisko::scan::ply
