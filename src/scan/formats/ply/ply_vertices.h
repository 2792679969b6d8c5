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

/// Reads the numbers of the vertices, a batch at a time, whatever the encoding and the other elements.
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

    /// Reads the next vertices; how many, 0 at the end. Throws ScanError(Damaged).
    std::size_t read();
    std::uint64_t done() const { return m_done; }
    /// Of the vertices that were just read. NaN where the file has no number.
    const double* values(Role role) const {
        return m_values[static_cast<std::size_t>(role)].data();
    }

private:
    static constexpr std::size_t kBatch = 1 << 15;

    struct Field {
        Role role;
        Type type;
        std::size_t offset;  // in the record
    };

    void chooseFields();
    void requireRoom() const;
    void passElement(const Element& element);
    void passRecord(const Element& element, std::size_t vertex);
    void readPlain(std::size_t count);
    void readText(std::size_t vertex);
    bool takeText(std::string_view line, std::size_t vertex);
    double takeBinary(Type type);
    bool isSwapped() const { return m_header.encoding == Encoding::Big; }
    [[noreturn]] void fail(const std::string& reason) const;
    [[noreturn]] void failAtEnd() const;

    std::string m_path;
    ByteStream m_stream;
    Header m_header;
    const Element* m_element = nullptr;
    std::optional<LineReader> m_lines;  // of a text file
    std::vector<Role> m_roles;          // of the element's properties
    std::vector<Field> m_fields;        // of a record without lists
    std::array<std::vector<double>, kRoles> m_values;
    std::uint64_t m_done = 0;
};

}  // namespace brisko::scan::ply
