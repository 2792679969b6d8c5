#include "limits/modes.h"
#include "limits/readers.h"
#include "limits/writers.h"
#include "synthetic/check_values.h"

#include <charconv>
#include <string_view>

/// PTX text: ten lines of header, then a line for every cell, column by column:
/// x y z intensity red green blue, the intensity as a share of 2200.
namespace brisko::limits {

namespace {

constexpr double kFullScale = 2200;
constexpr std::size_t kLongestLine = 256;

/// Text on its way to a file, in large blocks.
class TextFile {
public:
    explicit TextFile(const std::string& path) : m_file(openOrExit(path, "wb")) {
        std::setvbuf(m_file.get(), nullptr, _IONBF, 0);
    }
    ~TextFile() { put(m_file.get(), m_text.data(), m_size); }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;

    char* line() {
        if (m_size + kLongestLine > m_text.size()) {
            put(m_file.get(), m_text.data(), m_size);
            m_size = 0;
        }
        return m_text.data() + m_size;
    }
    void endAt(const char* end) { m_size = static_cast<std::size_t>(end - m_text.data()); }
    void add(std::string_view text) { endAt(std::copy(text.begin(), text.end(), line())); }

private:
    File m_file;
    std::vector<char> m_text = std::vector<char>(std::size_t{256} << 10);
    std::size_t m_size = 0;
};

char* number(char* out, double value) {
    return std::to_chars(out, out + 32, value, std::chars_format::fixed).ptr;
}

void printHeader(TextFile& file, std::uint32_t columns, std::uint32_t rows) {
    const double* m = alignment().m;
    const auto line = [&](std::initializer_list<double> values) {
        char* out = file.line();
        for (const double value : values) {
            out = number(out, value);
            *out++ = ' ';
        }
        out[-1] = '\n';
        file.endAt(out);
    };
    line({static_cast<double>(columns)});
    line({static_cast<double>(rows)});
    line({m[3], m[7], m[11]});
    for (int axis = 0; axis < 3; ++axis)
        line({m[axis], m[4 + axis], m[8 + axis]});
    for (int column = 0; column < 4; ++column)
        line({m[column], m[4 + column], m[8 + column], m[12 + column]});
}

void printPoint(TextFile& file, const Point& p) {
    char* out = file.line();
    for (const double value : {p.x, p.y, p.z}) {
        out = number(out, value);
        *out++ = ' ';
    }
    const auto share = static_cast<float>(static_cast<double>(p.intensity) / kFullScale);
    out = std::to_chars(out, out + 32, share, std::chars_format::fixed).ptr;
    for (const std::uint8_t value : {p.red, p.green, p.blue}) {
        *out++ = ' ';
        out = std::to_chars(out, out + 4, value).ptr;
    }
    *out++ = '\n';
    file.endAt(out);
}

/// An indexed scan comes by tiles; text goes by columns. So a band is kept.
class PtxPrinter {
public:
    PtxPrinter(const std::string& path, std::uint32_t columns, std::uint32_t rows)
        : m_file(path),
          m_columns(columns),
          m_rows(rows),
          m_cells(std::size_t{kTile} * rows),
          m_live(m_cells.size()) {
        printHeader(m_file, columns, rows);
    }

    void add(const Point& p, std::uint32_t column, std::uint32_t row) {
        while (column >= m_first + kTile)
            printBand();
        const std::size_t at = std::size_t{column - m_first} * m_rows + row;
        m_cells[at] = p;
        m_live[at] = 1;
    }
    void finish() {
        while (m_first < m_columns)
            printBand();
    }

private:
    void printBand() {
        const std::size_t cells = std::size_t{std::min(kTile, m_columns - m_first)} * m_rows;
        for (std::size_t cell = 0; cell < cells; ++cell) {
            if (m_live[cell]) {
                printPoint(m_file, m_cells[cell]);
            } else {
                m_file.add("0 0 0 0.5 0 0 0\n");
            }
        }
        std::fill(m_live.begin(), m_live.end(), std::uint8_t{0});
        m_first += kTile;
    }

    TextFile m_file;
    std::uint32_t m_columns, m_rows, m_first = 0;
    std::vector<Point> m_cells;
    Bytes m_live;
};

void print(const std::string& path) {
    IndexedReader reader(inputPath("grid.cl3"), identity());
    PtxPrinter printer(path, reader.columns(), reader.rows());
    Point p{};
    unsigned column, row;
    while (reader.take(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, column, row))
        printer.add(p, column, row);
    printer.finish();
}

/// The lines of a file, read in large blocks.
class LineFile {
public:
    explicit LineFile(const std::string& path) : m_file(openOrExit(path, "rb")) {}

    /// The next line, up to its end or a little beyond; null at the end of the file.
    const char* next() {
        if (static_cast<std::size_t>(m_end - m_at) < kLongestLine && !m_atEnd) readOn();
        if (m_at == m_end) return nullptr;
        return m_at;
    }
    void endAt(const char* end) {
        const auto* newline =
            static_cast<const char*>(std::memchr(end, '\n', static_cast<std::size_t>(m_end - end)));
        m_at = newline ? newline + 1 : m_end;
    }
    const char* end() const { return m_end; }

private:
    void readOn() {
        const auto left = static_cast<std::size_t>(m_end - m_at);
        std::memmove(m_text.data(), m_at, left);
        const std::size_t found = get(m_file.get(), m_text.data() + left, m_text.size() - left);
        m_atEnd = found == 0;
        m_at = m_text.data();
        m_end = m_at + left + found;
    }

    File m_file;
    std::vector<char> m_text = std::vector<char>(std::size_t{256} << 10);
    const char *m_at = m_text.data(), *m_end = m_text.data();
    bool m_atEnd = false;
};

/// The number at the front, after blanks; returns where it ends.
template <class Number>
const char* take(const char* in, const char* end, Number& value) {
    while (in != end && *in == ' ')
        ++in;
    return std::from_chars(in, end, value).ptr;
}

double parse(const std::string& path, const std::string& indexPath) {
    LineFile file(inputPath("grid.ptx"));
    std::uint32_t size[2] = {};
    for (int line = 0; line < 10; ++line) {
        const char* text = file.next();
        if (line < 2) text = take(text, file.end(), size[line]);
        file.endAt(text);
    }
    Band band(path, indexPath, size[0], size[1]);
    std::uint32_t points = 0;
    for (std::uint32_t column = 0; column < size[0]; ++column) {
        for (std::uint32_t row = 0; row < size[1]; ++row) {
            const char* text = file.next();
            if (!text) return points;
            Point p{};
            double share = 0;
            for (double* value : {&p.x, &p.y, &p.z, &share})
                text = take(text, file.end(), *value);
            for (std::uint8_t* value : {&p.red, &p.green, &p.blue})
                text = take(text, file.end(), *value);
            file.endAt(text);
            if (p.x == 0 && p.y == 0 && p.z == 0) continue;
            p.intensity = static_cast<float>(share * kFullScale);
            band.add(p, column, row);
            ++points;
        }
    }
    band.close();
    return points;
}

}  // namespace

void generatePtx() {
    print(inputPath("grid.ptx"));
}

void printPtx() {
    const std::string path = outputPath("reference.ptx");
    measure("ptx-print", static_cast<double>(options().columns) * options().rows,
            [&](Watch& watch) {
                watch.start();
                print(path);
                watch.stop();
                const double check = bench::checkPtx(path);
                removeFiles({path});
                return check;
            });
}

void parsePtx() {
    const std::string path = outputPath("reference.cl3"), index = outputPath("reference.ij");
    measure("ptx-parse", static_cast<double>(options().columns) * options().rows,
            [&](Watch& watch) {
                watch.start();
                parse(path, index);
                watch.stop();
                const double check =
                    bench::checkFile(path, kCL3Header) + bench::checkFile(index, kIJHeader);
                removeFiles({path, index});
                return check;
            });
}

}  // namespace brisko::limits
